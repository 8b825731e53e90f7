#pragma once

#include <cstdint>

namespace twheel {

using Nanoseconds = std::int64_t;

// Nanoseconds of CLOCK_MONOTONIC.
Nanoseconds monotonicNow();

// Alarm wakes exactly one of the threads that wait for it, at a time that any thread may move while they
// sleep. A condition variable cannot do that: its sleepers' time is fixed when they fall asleep. That is what
// lets a worker say "look after the rest in 50 us, unless I take this back" without waking anybody.
//
// Invariants
//  (1) One expiry ends at most one wait(); one that finds nobody waiting ends the next wait() instead.
//  (2) Setting it anew takes back an expiry that no wait() has seen yet, unless the new time has passed as
//  well.
// Threading: any thread may wait; set() calls are serialised by the caller.
class Alarm final
{
public:
    // Throws std::system_error when the process is out of descriptors.
    Alarm();
    ~Alarm();
    Alarm(const Alarm&) = delete;
    Alarm& operator=(const Alarm&) = delete;

    // Goes off at this time of the monotonic clock, at once when it has passed.
    void set(Nanoseconds at);
    void clear();
    // Returns when the alarm goes off; also, rarely, without reason.
    void wait();

private:
    int m_timer;
    int m_poll;
};

} // namespace twheel
