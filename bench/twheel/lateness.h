#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <memory>

#if defined(__x86_64__)
#include <x86intrin.h>
#endif

namespace bench {

std::int64_t monotonicNs();

// The cheapest clock there is, in units of its own: the measuring is part of every run that is measured, and
// reading the monotonic clock alone costs more than all that an engine does for a run.
inline std::int64_t stamp()
{
#if defined(__x86_64__)
    return std::int64_t(__rdtsc());
#else
    return monotonicNs();
#endif
}
// Units of stamp() in a nanosecond; measured against the monotonic clock by the first call.
double stampsPerNs();

// Where the runs of periodic timers tell how late they were. Any thread.
class Lateness final
{
public:
    void note(std::int64_t lateStamps, std::int64_t lost)
    {
        const auto late = std::size_t(double(lateStamps > 0 ? lateStamps : 0) * m_usPerStamp);
        // Each thread has a share of its own, so that plain additions will do.
        auto& bin = m_shares[share()]->bins[late < kBins ? late : kBins - 1];
        bin.store(bin.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
        if (lost != 0) {
            m_lost.fetch_add(lost, std::memory_order_relaxed);
        }
    }
    void begin();
    std::int64_t runs() const;
    std::int64_t lost() const { return m_lost.load(); }
    // Microseconds.
    double percentile(double part) const;

    Lateness();

private:
    static constexpr std::size_t kBins = 200000;
    static constexpr std::size_t kShares = 16;
    struct Share
    {
        std::array<std::atomic<std::uint32_t>, kBins> bins;
    };
    static unsigned share()
    {
        static std::atomic<unsigned> next{0};
        thread_local const unsigned own = next++ % kShares;
        return own;
    }

    std::array<std::unique_ptr<Share>, kShares> m_shares;
    const double m_usPerStamp;
    std::atomic<std::int64_t> m_lost{0};
};

// What a periodic timer does when it runs: 24 bytes of an application's own, touched each time.
struct Ticking
{
    Ticking() = default;
    // Due first after delayMs from now.
    Ticking(Lateness& to, long delayMs, long periodMs)
        : lateness(&to), due(stamp() + std::int64_t(double(delayMs) * 1e6 * stampsPerNs())),
          period(std::int64_t(double(periodMs) * 1e6 * stampsPerNs()))
    {
    }
    void tick()
    {
        const std::int64_t late = stamp() - due;
        const std::int64_t lost = late >= period ? late / period : 0;
        lateness->note(late, lost);
        due += (lost + 1) * period;
    }

    Lateness* lateness = nullptr;
    std::int64_t due = 0;
    std::int64_t period = 0;
};

} // namespace bench
