#pragma once

#include <utility>
#include <vector>

#include "tarn/src/base/mutex.h"
#include "tarn/src/base/wakeup_fd.h"

namespace tarn {

// Inbox hands values from any number of threads to one, which may sleep on descriptor() until there are some.
//
// Invariants
//  (1) What put() took comes out of take() once; what one thread put, in the order in which it did.
//  (2) descriptor() is readable when there is something to take, and from close() on.
//  (3) After close() nothing is taken in; what was there can still be taken.
// Threading: open() before other threads see the object; take() and the waiting by the one that receives; the
// others from any thread. T is moved, and never destroyed under the lock by take().
template <typename T>
class Inbox final
{
public:
    // False when the system gives no descriptor; may be called again. See WakeupFd::open().
    [[nodiscard]] bool open() { return m_wakeup.open(); }
    // Constant once open, -1 before.
    int descriptor() const { return m_wakeup.descriptor(); }

    // False, and the value is dropped, after close(). Throws what std::vector throws without memory: nothing
    // is put then.
    bool put(T value) TARN_EXCLUDES(m_mutex)
    {
        {
            const MutexLock lock(m_mutex);
            if (m_closed) {
                return false;
            }
            m_values.push_back(std::move(value));
            if (m_values.size() > 1) {
                return true; // whoever put the first one wakes the receiver
            }
        }
        m_wakeup.signal();
        return true;
    }

    // Exchanges all that there is for out, whose values go and whose memory is used again. False when the
    // inbox is closed.
    bool take(std::vector<T>& out) TARN_EXCLUDES(m_mutex)
    {
        out.clear();
        const MutexLock lock(m_mutex);
        if (!m_closed) {
            m_wakeup.clear();
        }
        out.swap(m_values);
        return !m_closed;
    }

    void close() TARN_EXCLUDES(m_mutex)
    {
        const MutexLock lock(m_mutex);
        m_closed = true;
        m_wakeup.signal();
    }

private:
    WakeupFd m_wakeup;
    Mutex m_mutex;
    std::vector<T> m_values TARN_GUARDED_BY(m_mutex);
    bool m_closed TARN_GUARDED_BY(m_mutex) = false;
};

} // namespace tarn
