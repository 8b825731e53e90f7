#pragma once

#include <array>
#include <atomic>
#include <cstddef>

#include "tarn/src/base/mutex.h"

#define TARN_ACQUIRE_SHARED(...) TARN_THREAD_ANNOTATION(acquire_shared_capability(__VA_ARGS__))
#define TARN_RELEASE_SHARED(...) TARN_THREAD_ANNOTATION(release_shared_capability(__VA_ARGS__))
#define TARN_RELEASE_GENERIC(...) TARN_THREAD_ANNOTATION(release_generic_capability(__VA_ARGS__))

namespace tarn {

// ShardedRwLock is a read-write lock for what is read by many threads all the time and written almost never:
// each reader takes a lock that it shares with few others, a writer takes them all. A reader-writer lock of
// the usual kind has one counter, which the processors of busy readers pass to and fro.
//
// Not recursive, not even for readers. Readers hold it for moments only.
class TARN_CAPABILITY("lock") ShardedRwLock final
{
public:
    ShardedRwLock() = default;
    ShardedRwLock(const ShardedRwLock&) = delete;
    ShardedRwLock& operator=(const ShardedRwLock&) = delete;

    void lockShared() TARN_ACQUIRE_SHARED() TARN_NO_THREAD_SAFETY_ANALYSIS
    {
        m_shards[ownShard()].mutex.lock();
    }
    void unlockShared() TARN_RELEASE_SHARED() TARN_NO_THREAD_SAFETY_ANALYSIS
    {
        m_shards[ownShard()].mutex.unlock();
    }
    void lock() TARN_ACQUIRE() TARN_NO_THREAD_SAFETY_ANALYSIS
    {
        for (Shard& shard : m_shards) { // always in this order
            shard.mutex.lock();
        }
    }
    void unlock() TARN_RELEASE() TARN_NO_THREAD_SAFETY_ANALYSIS
    {
        for (Shard& shard : m_shards) {
            shard.mutex.unlock();
        }
    }

private:
    static constexpr std::size_t kShards = 16;
    struct alignas(64) Shard // a cache line of its own
    {
        Mutex mutex;
    };

    // Of the calling thread: the same for as long as it lives. Relaxed: numbers are dealt out, nothing more.
    static std::size_t ownShard()
    {
        static std::atomic<std::size_t> threads{0};
        thread_local const std::size_t own = threads.fetch_add(1, std::memory_order_relaxed) % kShards;
        return own;
    }

    std::array<Shard, kShards> m_shards;
};

class TARN_SCOPED_CAPABILITY ReadLock final
{
public:
    explicit ReadLock(ShardedRwLock& lock) TARN_ACQUIRE_SHARED(lock) : m_lock(lock) { m_lock.lockShared(); }
    ~ReadLock() TARN_RELEASE_GENERIC() { m_lock.unlockShared(); }
    ReadLock(const ReadLock&) = delete;
    ReadLock& operator=(const ReadLock&) = delete;

private:
    ShardedRwLock& m_lock;
};

class TARN_SCOPED_CAPABILITY WriteLock final
{
public:
    explicit WriteLock(ShardedRwLock& lock) TARN_ACQUIRE(lock) : m_lock(lock) { m_lock.lock(); }
    ~WriteLock() TARN_RELEASE() { m_lock.unlock(); }
    WriteLock(const WriteLock&) = delete;
    WriteLock& operator=(const WriteLock&) = delete;

private:
    ShardedRwLock& m_lock;
};

} // namespace tarn
