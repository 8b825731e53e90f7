#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>

// Clang checks at compile time that guarded data is touched only under its lock; other compilers see nothing.
#if defined(__clang__)
#define TARN_THREAD_ANNOTATION(x) __attribute__((x))
#else
#define TARN_THREAD_ANNOTATION(x)
#endif
#define TARN_CAPABILITY(x) TARN_THREAD_ANNOTATION(capability(x))
#define TARN_SCOPED_CAPABILITY TARN_THREAD_ANNOTATION(scoped_lockable)
#define TARN_GUARDED_BY(x) TARN_THREAD_ANNOTATION(guarded_by(x))
#define TARN_REQUIRES(...) TARN_THREAD_ANNOTATION(requires_capability(__VA_ARGS__))
#define TARN_EXCLUDES(...) TARN_THREAD_ANNOTATION(locks_excluded(__VA_ARGS__))
#define TARN_ACQUIRE(...) TARN_THREAD_ANNOTATION(acquire_capability(__VA_ARGS__))
#define TARN_RELEASE(...) TARN_THREAD_ANNOTATION(release_capability(__VA_ARGS__))
#define TARN_NO_THREAD_SAFETY_ANALYSIS TARN_THREAD_ANNOTATION(no_thread_safety_analysis)

namespace tarn {

// Mutex is std::mutex with a name for the thread-safety analysis. Not recursive.
class TARN_CAPABILITY("mutex") Mutex final
{
public:
    Mutex() = default;
    Mutex(const Mutex&) = delete;
    Mutex& operator=(const Mutex&) = delete;

    void lock() TARN_ACQUIRE() { m_mutex.lock(); }
    void unlock() TARN_RELEASE() { m_mutex.unlock(); }

private:
    std::mutex m_mutex;
};

class TARN_SCOPED_CAPABILITY MutexLock final
{
public:
    explicit MutexLock(Mutex& mutex) TARN_ACQUIRE(mutex) : m_mutex(mutex) { m_mutex.lock(); }
    ~MutexLock() TARN_RELEASE() { m_mutex.unlock(); }
    MutexLock(const MutexLock&) = delete;
    MutexLock& operator=(const MutexLock&) = delete;

private:
    Mutex& m_mutex;
};

// A condition to wait for under a Mutex.
class CondVar final
{
public:
    // False when the deadline passed first. May wake without cause, as std::condition_variable does.
    bool waitUntil(Mutex& mutex, std::chrono::steady_clock::time_point deadline) TARN_REQUIRES(mutex)
    {
        return m_condition.wait_until(mutex, deadline) == std::cv_status::no_timeout;
    }
    // May wake without cause, too.
    void wait(Mutex& mutex) TARN_REQUIRES(mutex) { m_condition.wait(mutex); }
    void notifyAll() { m_condition.notify_all(); }

private:
    std::condition_variable_any m_condition;
};

} // namespace tarn
