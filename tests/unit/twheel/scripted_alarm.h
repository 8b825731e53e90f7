#pragma once

#include <condition_variable>
#include <limits>
#include <mutex>

#include "tests/unit/twheel/runnables.h"
#include "twheel/src/alarm.h"

namespace twheel::testing {

// What a worker pool sees of the system, in place of the real alarm and clock: a time that stands still until
// the test moves it. Between two moves all workers come to rest, asleep or held, so that what they do at one
// moment is known whatever the machine is busy with.
class ScriptedAlarm final
{
public:
    static constexpr Nanoseconds kNotSet = std::numeric_limits<Nanoseconds>::max();

    static ScriptedAlarm& instance();

    void reset(Nanoseconds now);
    // Lets time pass, also from inside a run.
    void pass(Nanoseconds time);
    // Waits until so many workers are at rest; false when they do not come to it.
    [[nodiscard]] bool settle(int workers);

    Nanoseconds now();
    // kNotSet when it has gone off.
    Nanoseconds time();
    // How many waits have ended, and how many waiters were called, since the reset.
    int wakeUps();
    int calls();

    // The alarm's.
    void set(Nanoseconds at);
    void call(int waiters);
    void wait();

private:
    friend class Hold;

    bool mayWake() const { return m_calls > 0 || m_time <= m_now; }

    std::mutex m_mutex;
    std::condition_variable m_changed;
    Nanoseconds m_now = 0;
    Nanoseconds m_time = kNotSet;
    int m_calls = 0;
    int m_waiting = 0;
    int m_held = 0;
    int m_wakeUps = 0;
    int m_callsMade = 0;
};

// Holds who passes until it is opened; who is held counts as being at rest.
class Hold final
{
public:
    void pass();
    void open();
    int entered();

private:
    bool m_open = false;
    int m_held = 0;
    int m_entered = 0;
};

} // namespace twheel::testing
