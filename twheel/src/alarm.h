#pragma once

#include <cstdint>

namespace twheel {

using Nanoseconds = std::int64_t;

// Nanoseconds of CLOCK_MONOTONIC.
Nanoseconds monotonicNow();

// Alarm wakes exactly one of the threads that wait for it, at a time that any thread may move while they
// sleep. A condition variable cannot do that: its sleepers' time is fixed when they fall asleep. That is what
// lets a worker say "look after the rest in 50 us, unless I take this back" without waking anybody. Several
// of them can be called at once besides, whatever the time.
//
// Invariants
//  (1) One expiry ends at most one wait(); one that finds nobody waiting ends the next wait() instead.
//  (2) Setting it anew takes back an expiry that no wait() has seen yet, unless the new time has passed as
//      well.
//  (3) call(n) ends n calls of wait(), those that come later where fewer are waiting.
// Threading: any thread may wait or call; set() calls are serialised by the caller.
class Alarm final
{
public:
    // Throws std::system_error when the process is out of descriptors.
    Alarm();
    Alarm(const Alarm&) = delete;
    Alarm& operator=(const Alarm&) = delete;

    // Goes off at this time of the monotonic clock, at once when it has passed.
    void set(Nanoseconds at);
    void clear();
    // Wakes so many, each by itself and not one after the other: a system call for each.
    void call(int waiters);
    // Returns when the alarm goes off or it was called; also, rarely, without reason.
    void wait();

private:
    class Descriptor
    {
    public:
        // Throws for what is none; `what` is the call that failed to give one.
        Descriptor(int number, const char* what);
        ~Descriptor();
        Descriptor(const Descriptor&) = delete;
        Descriptor& operator=(const Descriptor&) = delete;

        const int number;
    };

    void watch(const Descriptor& descriptor, std::uint32_t events);

    Descriptor m_timer;
    // How many calls nobody has answered.
    Descriptor m_calls;
    Descriptor m_poll;
};

} // namespace twheel
