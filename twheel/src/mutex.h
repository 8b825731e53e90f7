#pragma once

#include <pthread.h>

#include "twheel/src/thread_annotations.h"

namespace twheel {

// Mutex is the one lock of a scheduler. It spins for a moment before it sleeps: what it guards takes some
// tens of nanoseconds, a sleep and its wake-up take some thousands.
//
// Threading: not recursive. Trivially destructible in effect: glibc keeps no state outside the object.
class TWHEEL_CAPABILITY("mutex") Mutex final
{
public:
    Mutex() = default;
    Mutex(const Mutex&) = delete;
    Mutex& operator=(const Mutex&) = delete;

    // The calls cannot fail on a valid mutex of this kind that its caller holds or does not hold as
    // annotated.
    void lock() TWHEEL_ACQUIRE() { pthread_mutex_lock(&m_mutex); }
    void unlock() TWHEEL_RELEASE() { pthread_mutex_unlock(&m_mutex); }

private:
    pthread_mutex_t m_mutex = PTHREAD_ADAPTIVE_MUTEX_INITIALIZER_NP;
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
