#pragma once

#include <mutex>

// Clang checks at compile time that guarded data is touched only under its lock; other compilers see nothing.
#if defined(__clang__)
#define KEL_THREAD_ANNOTATION(x) __attribute__((x))
#else
#define KEL_THREAD_ANNOTATION(x)
#endif
#define KEL_CAPABILITY(x) KEL_THREAD_ANNOTATION(capability(x))
#define KEL_SCOPED_CAPABILITY KEL_THREAD_ANNOTATION(scoped_lockable)
#define KEL_GUARDED_BY(x) KEL_THREAD_ANNOTATION(guarded_by(x))
#define KEL_REQUIRES(...) KEL_THREAD_ANNOTATION(requires_capability(__VA_ARGS__))
#define KEL_EXCLUDES(...) KEL_THREAD_ANNOTATION(locks_excluded(__VA_ARGS__))
#define KEL_ACQUIRE(...) KEL_THREAD_ANNOTATION(acquire_capability(__VA_ARGS__))
#define KEL_TRY_ACQUIRE(...) KEL_THREAD_ANNOTATION(try_acquire_capability(__VA_ARGS__))
#define KEL_RELEASE(...) KEL_THREAD_ANNOTATION(release_capability(__VA_ARGS__))
#define KEL_NO_THREAD_SAFETY_ANALYSIS KEL_THREAD_ANNOTATION(no_thread_safety_analysis)

namespace morvik::kel {

// Mutex is a std::mutex that the thread-safety analysis knows by name. Constant-initialised and without a
// destructor of its own: one with static storage may be used before and after everything else.
class KEL_CAPABILITY("mutex") Mutex final : public std::mutex
{
public:
    void lock() KEL_ACQUIRE() { std::mutex::lock(); }
    bool try_lock() KEL_TRY_ACQUIRE(true) { return std::mutex::try_lock(); }
    void unlock() KEL_RELEASE() { std::mutex::unlock(); }
};

class KEL_SCOPED_CAPABILITY MutexLock final
{
public:
    explicit MutexLock(Mutex& mutex) KEL_ACQUIRE(mutex) : m_mutex(mutex) { m_mutex.lock(); }
    // Takes over a mutex that the caller has locked already.
    MutexLock(Mutex& mutex, std::adopt_lock_t) KEL_REQUIRES(mutex) : m_mutex(mutex) {}
    ~MutexLock() KEL_RELEASE() { m_mutex.unlock(); }
    MutexLock(const MutexLock&) = delete;
    MutexLock& operator=(const MutexLock&) = delete;

private:
    Mutex& m_mutex;
};

} // namespace morvik::kel
