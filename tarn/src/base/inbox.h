#pragma once

#include <cstddef>
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
//  (4) Where nothing else is put, what was announced by expect() is put without memory being taken.
//  (5) Room for more than kMostKept values is given back by the take() after the one that emptied it.
// Threading: open() before other threads see the object; take() and the waiting by the one that receives; the
// others from any thread. T is moved, and never destroyed under the lock by take().
template <typename T>
class Inbox final
{
public:
    static constexpr std::size_t kMostKept = 256;

    // False when the system gives no descriptor; may be called again. See WakeupFd::open().
    [[nodiscard]] bool open() { return m_wakeup.open(); }
    // Constant once open, -1 before.
    int descriptor() const { return m_wakeup.descriptor(); }

    // False, and the value is dropped, after close(). Throws what std::vector throws without memory: nothing
    // is put then.
    bool put(T value) TARN_EXCLUDES(m_mutex)
    {
        const MutexLock lock(m_mutex);
        if (m_closed) {
            return false;
        }
        add(std::move(value));
        return true;
    }

    // Announces one more value that putExpected() is to put. Throws without memory: it is not announced then.
    void expect() TARN_EXCLUDES(m_mutex)
    {
        const MutexLock lock(m_mutex);
        m_values.reserve(m_values.size() + m_expected + 1);
        ++m_expected;
    }
    // So many of them do not come.
    void expectLess(std::size_t count) TARN_EXCLUDES(m_mutex)
    {
        const MutexLock lock(m_mutex);
        m_expected -= count;
    }
    void putExpected(T value) noexcept TARN_EXCLUDES(m_mutex)
    {
        const MutexLock lock(m_mutex);
        --m_expected;
        if (!m_closed) {
            add(std::move(value));
        }
    }

    // Exchanges all that there is for out, whose values go and whose memory is used again, see (5). False when
    // the inbox is closed. Throws without memory for what is expected: nothing is taken then.
    bool take(std::vector<T>& out) TARN_EXCLUDES(m_mutex)
    {
        out.clear();
        if (out.capacity() > kMostKept) { // a list of ten thousand printers comes once
            std::vector<T>().swap(out);
        }
        const MutexLock lock(m_mutex);
        if (!m_values.empty()) {
            out.reserve(m_expected);
            out.swap(m_values);
            if (!m_closed) {
                m_wakeup.clear();
            }
        }
        return !m_closed;
    }
    bool isClosed() TARN_EXCLUDES(m_mutex)
    {
        const MutexLock lock(m_mutex);
        return m_closed;
    }

    void close() TARN_EXCLUDES(m_mutex)
    {
        const MutexLock lock(m_mutex);
        m_closed = true;
        m_wakeup.signal();
    }

private:
    // Signals under the lock: whoever finds nothing need not look whether the descriptor says so.
    void add(T value) TARN_REQUIRES(m_mutex)
    {
        m_values.push_back(std::move(value));
        if (m_values.size() == 1) {
            m_wakeup.signal();
        }
    }

    WakeupFd m_wakeup;
    Mutex m_mutex;
    std::vector<T> m_values TARN_GUARDED_BY(m_mutex);
    std::size_t m_expected TARN_GUARDED_BY(m_mutex) = 0;
    bool m_closed TARN_GUARDED_BY(m_mutex) = false;
};

} // namespace tarn
