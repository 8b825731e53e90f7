#pragma once

#include <atomic>

#include "twheel/src/thread_annotations.h"

namespace twheel {

// Mutex is the one lock of a scheduler. What it guards takes some tens of nanoseconds, so taking and leaving
// it must cost one atomic operation each, in line, and who finds it taken spins for a moment before sleeping:
// the standard mutex costs twice as much free and a sleep and a wake-up, some microseconds, when it is not.
//
// Threading: not recursive. Has no destructor: it may be of static duration and used until the process is
// gone.
class TWHEEL_CAPABILITY("mutex") Mutex final
{
public:
    constexpr Mutex() = default;
    Mutex(const Mutex&) = delete;
    Mutex& operator=(const Mutex&) = delete;

    void lock() TWHEEL_ACQUIRE()
    {
        int state = kFree;
        if (!m_state.compare_exchange_strong(state, kHeld, std::memory_order_acquire,
                                             std::memory_order_relaxed)) {
            lockContended();
        }
    }
    void unlock() TWHEEL_RELEASE()
    {
        if (m_state.exchange(kFree, std::memory_order_release) == kHeldWithSleepers) {
            wakeOne();
        }
    }

private:
    static constexpr int kFree = 0;
    static constexpr int kHeld = 1;
    // Somebody may be asleep: whoever leaves has to wake.
    static constexpr int kHeldWithSleepers = 2;

    void lockContended();
    void wakeOne();

    std::atomic<int> m_state{kFree};
};

// MutexLock holds a Mutex for a scope, with breaks where the scope asks for them.
class TWHEEL_SCOPED_CAPABILITY MutexLock final
{
public:
    explicit MutexLock(Mutex& mutex) TWHEEL_ACQUIRE(mutex) : m_mutex(mutex) { m_mutex.lock(); }
    ~MutexLock() TWHEEL_RELEASE()
    {
        if (m_held) {
            m_mutex.unlock();
        }
    }
    MutexLock(const MutexLock&) = delete;
    MutexLock& operator=(const MutexLock&) = delete;

    void unlock() TWHEEL_RELEASE()
    {
        m_mutex.unlock();
        m_held = false;
    }
    void lock() TWHEEL_ACQUIRE()
    {
        m_mutex.lock();
        m_held = true;
    }

private:
    Mutex& m_mutex;
    bool m_held = true;
};

} // namespace twheel
