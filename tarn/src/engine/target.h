#pragma once

#include <array>
#include <atomic>
#include <memory>
#include <optional>
#include <string>

#include "tarn/src/base/clock.h"
#include "tarn/src/base/mutex.h"
#include "tarn/src/engine/printer_address.h"
#include "tarn/src/engine/snapshot.h"

namespace tarn::engine {

// Target is one printer that back-ends watch: what the callers of the ABI and the engine share about it.
//
// Several back-ends may reach the same printer. Each reports what it reads; the snapshot is made of the
// status of the first source that answers, in the order of Source, with what that does not tell taken from
// the others.
//
// Invariants
//  (1) snapshot() is never null.
//  (2) Whoever opens a target that a back-end has suspended is told so exactly once, by markOpened().
//  (3) A report is published whole or, without memory, leaves everything as it was.
//  (4) Without m_reports no more than one source has reported a status: that of the snapshot.
// Threading: any thread, but where a function says engine.
class Target final
{
public:
    Target(PrinterAddress address, std::shared_ptr<const Snapshot> initial, TimePoint now)
        : m_address(std::move(address)), m_lastOpened(count(now)),
          m_answering(initial->online ? initial->source : Source::None), m_snapshot(std::move(initial))
    {
    }
    Target(const Target&) = delete;
    Target& operator=(const Target&) = delete;

    const PrinterAddress& address() const { return m_address; }

    std::shared_ptr<const Snapshot> snapshot() const
    {
        const MutexLock lock(m_mutex);
        return m_snapshot;
    }

    // Engine: the printer answers through that source, and this is its status.
    void report(Source source, const device::DeviceStatus& status);
    // Engine: it said that through that source, which is asked too seldom to tell whether the printer can be
    // reached.
    void reportKnown(Source source, const device::DeviceStatus& status);
    // Engine: it does not, or does no longer. What it said last stays known.
    void reportOffline(Source source);
    // Engine: whether it answered through that source when that was last reported.
    bool answers(Source source) const;
    // Engine: what it said through that source, or what is remembered of a printer that said nothing yet
    // through any.
    device::DeviceStatus statusBy(Source source) const;
    // Engine: the same as it is kept; valid until the next report, through whichever source.
    const device::PackedStatus& packedStatusBy(Source source) const;

    // When the printer answered last; nothing before the first answer. Relaxed: a time alone, which is marked
    // before the answer is reported; who has seen the report has passed the reports' mutex.
    std::optional<TimePoint> lastAnswer() const
    {
        const std::int64_t ms = m_lastAnswer.load(std::memory_order_relaxed);
        return ms < 0 ? std::nullopt : std::optional(TimePoint(Milliseconds(ms)));
    }
    // Engine.
    void markAnswered(TimePoint now) { m_lastAnswer.store(count(now), std::memory_order_relaxed); }

    // True when the engine must be told to ask the printer again.
    bool markOpened(TimePoint now)
    {
        m_lastOpened.store(count(now));
        return m_suspended.load() != 0 && m_suspended.exchange(0) != 0;
    }
    TimePoint lastOpened() const { return TimePoint(Milliseconds(m_lastOpened.load())); }
    // Engine: the back-end of that source suspends the target unless it was opened since the given time. The
    // order of the two steps, mirrored in markOpened(), is what keeps an opening from being lost.
    bool suspend(Source source, TimePoint unlessOpenedSince)
    {
        const auto mark = static_cast<std::uint8_t>(1u << static_cast<unsigned>(source));
        m_suspended.fetch_or(mark);
        if (lastOpened() < unlessOpenedSince) {
            return true;
        }
        // Where markOpened() was quicker it has told the engine, which then finds a target that is not
        // suspended.
        m_suspended.fetch_and(static_cast<std::uint8_t>(~mark));
        return false;
    }

    // Whether the first read is over: it answered, or it is known to be silent. Acquire and release: what that
    // read came to is there by then.
    bool isMet() const { return m_met.load(std::memory_order_acquire); }
    // Engine.
    void markMet() { m_met.store(true, std::memory_order_release); }

    // The identity that the owner of the list has taken note of: its own, under its own lock.
    std::uint64_t rememberedIdentity = 0;

private:
    // What one of several sources said last.
    struct Report
    {
        device::PackedStatus status;
        bool answers = false;
        bool known = false; // it said something once
    };
    using Reports = std::array<Report, kSourceCount>;

    Reports& reports();
    void exchangeReport(Source source, Report report);
    void publishReports();
    void publish(std::shared_ptr<const Snapshot> snapshot)
    {
        m_answering = snapshot->online ? snapshot->source : Source::None;
        const MutexLock lock(m_mutex);
        m_snapshot.swap(snapshot); // the old one dies after the lock
    }

    static std::int64_t count(TimePoint time) { return time.time_since_epoch().count(); }

    const PrinterAddress m_address;
    std::atomic<std::int64_t> m_lastOpened;
    std::atomic<std::int64_t> m_lastAnswer{-1};
    std::atomic<std::uint8_t> m_suspended{0}; // a bit for each source
    std::atomic<bool> m_met{false};
    Source m_answering = Source::None;  // the snapshot's source while it is online; the engine's thread only
    std::unique_ptr<Reports> m_reports; // the engine's thread only
    mutable Mutex m_mutex;
    std::shared_ptr<const Snapshot> m_snapshot TARN_GUARDED_BY(m_mutex);
};

} // namespace tarn::engine
