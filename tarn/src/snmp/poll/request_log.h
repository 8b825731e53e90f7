#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>

#include "tarn/src/base/clock.h"

namespace tarn::snmp {

// RequestLog remembers when one printer was sent its last requests, and says how long the next one has to
// wait so that an idle printer sees at most kMost of them in any minute: a read of the tables that takes many
// requests is spread over the turns of the small ones.
//
// Guarantees
//  (1) One request each 3.66 s or more, and a burst of any length once a minute, become no more than kPaced
//      in any window of kWindow.
//  (2) Nobody waits until more than kLongestGap after the last request: behind a busy time, or a first
//      meeting, more than kMost in a minute is less bad than a status that gets old.
// Threading: one thread.
class RequestLog final
{
public:
    static constexpr std::size_t kMost = 18;
    static constexpr std::size_t kPaced = kMost - 1; // one is left for a request that has to be repeated
    static constexpr Milliseconds kWindow{60000};
    static constexpr Milliseconds kLongestGap{3900};

    void sent(TimePoint now)
    {
        m_sent[m_next] = stamp(now);
        m_next = static_cast<std::uint8_t>((m_next + 1u) % kPaced);
        m_count = static_cast<std::uint8_t>(std::min(m_count + std::size_t{1}, kPaced));
    }

    // Zero: now.
    Milliseconds wait(TimePoint now) const
    {
        if (m_count < kPaced) {
            return Milliseconds(0);
        }
        const Milliseconds sinceFirst(stamp(now) - m_sent[m_next]); // of the last kPaced
        const Milliseconds sinceLast(stamp(now) - m_sent[(m_next + kPaced - 1) % kPaced]);
        return std::max(Milliseconds(0), std::min(kWindow - sinceFirst, kLongestGap - sinceLast));
    }

private:
    // Milliseconds modulo 2^32: differences are right for seven weeks, and after that too long a wait is not
    // long.
    static std::uint32_t stamp(TimePoint time)
    {
        return static_cast<std::uint32_t>(time.time_since_epoch().count());
    }

    std::array<std::uint32_t, kPaced> m_sent{};
    std::uint8_t m_next = 0; // the oldest, once all are in use
    std::uint8_t m_count = 0;
};

} // namespace tarn::snmp
