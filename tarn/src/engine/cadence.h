#pragma once

#include <cstdint>

#include "tarn/src/base/clock.h"
#include "tarn/src/base/random.h"
#include "tarn/src/device/device_status.h"
#include "tarn/src/engine/read.h"

namespace tarn::engine {

// How much of the present status the cadence depends on.
enum class Liveliness : std::uint8_t
{
    NoStatus,
    Calm,
    Busy, // prints, warms up, or has alerts
};
Liveliness livelinessOf(const device::DeviceStatus* status); // null: no status

// The two speeds: how often a printer that answers is asked, and what.
//
// One small request every 2 s while the printer prints, warms up, has alerts or changed lately, every 3.9 s
// otherwise, so that whoever looks once a second sees a change within five; the tables when a change counter
// moved and at least every 60 s; everything after a restart. The exceptions protect printers whose counters
// always move, whose tables take many requests, or that restart over and over.
//
// Threading: one thread.
class Cadence final
{
public:
    static constexpr Milliseconds kBusyInterval{2000};
    static constexpr Milliseconds kIdleInterval{3900};
    static constexpr Milliseconds kLately{20000}; // how long a change counts as one of late
    static constexpr Milliseconds kFullInterval{60000};
    static constexpr Milliseconds kFullInTurn{
        10000}; // a longer full read costs this much more time per request
    static constexpr Milliseconds kShortestFullGap{2000};
    static constexpr Milliseconds kNonPrinterInterval{
        60000}; // something answers that is no printer, or not yet

    // Of many printers met at once each gets a moment of its own for its tables, from then on once a minute.
    void disperse(Random& random);

    // What the next read should be.
    ReadKind nextKind(TimePoint now, bool hasStatus) const;

    // Whether a read of that kind can take its time: nothing is known to have happened.
    bool isRoutine(ReadKind kind, Liveliness liveliness, TimePoint now) const;

    // A read of that kind, of that many requests, has ended. True when nextKind() should be begun at
    // once.
    bool finished(ReadKind kind, ReadOutcome outcome, unsigned requests, TimePoint now);

    // From the start of one read to the start of the next, up to 6 % less for jitter.
    Milliseconds interval(Liveliness liveliness, TimePoint now, Random& random) const;

private:
    void finishedTables(ReadKind kind, ReadOutcome outcome, unsigned requests, TimePoint now);
    bool restarted(TimePoint now);
    bool changedLately(TimePoint now) const { return m_changed && now - m_changedAt < kLately; }

    TimePoint m_fullDue{}; // no status is older than this without being read again
    TimePoint m_fullEnded{};
    TimePoint m_changedAt{};
    TimePoint m_restartedAt{};
    Milliseconds m_firstFullGap = kFullInterval; // from the first read of the tables to the second
    Milliseconds m_fullGap = kShortestFullGap;   // between tables that change counters asked for
    unsigned m_restarts = 0;                     // in a row, each soon after the one before
    unsigned m_unusableReads = 0;                // in a row without a status
    bool m_changed = false;
    bool m_fullEver = false;
    bool m_identityWanted = true;
    bool m_restartEver = false;
    bool m_counterMoved = false;
};

} // namespace tarn::engine
