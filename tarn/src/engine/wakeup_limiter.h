#pragma once

#include <algorithm>

#include "tarn/src/base/clock.h"

namespace tarn::engine {

// WakeupLimiter says when the engine's thread may be woken again. Waking costs as much as several polls: with
// hundreds of printers, answers and deadlines that come one by one are let gather for a few milliseconds.
//
// Invariants
//  (1) Who keeps to it wakes no more than kAtOnce times, and once more each kPause, over any time.
//  (2) Who woke seldom is granted the next kAtOnce at once: a handful of printers never waits.
//  (3) Nobody waits longer than kPause, however often the thread woke against the advice.
// Threading: one thread.
class WakeupLimiter final
{
public:
    static constexpr Milliseconds kPause{8};
    static constexpr int kAtOnce = 32;

    // The thread woke. Returns when the next wake-up may come; at once, unless that is later than now.
    TimePoint woke(TimePoint now)
    {
        m_paidUntil = std::clamp(m_paidUntil + kPause, now + kPause, now + kPause + kAtOnce * kPause);
        return m_paidUntil - kAtOnce * kPause;
    }

private:
    TimePoint m_paidUntil{};
};

} // namespace tarn::engine
