#pragma once

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdint>
#include <vector>

#include "twheel/src/task.h"

namespace twheel {

// Released carries what a scheduling held out of the lock, where letting go of it may run anybody's
// destructor.
struct Released
{
    TaskOwner task;
    boost::shared_ptr<TwheelRunnable> runnable;

    explicit operator bool() const { return task != nullptr; }
};

using Releases = std::vector<Released>;

// Batch is what a worker takes from the queue under one hold of the lock and then runs one after the other
// without it. Taking the lock, the time and the next task for each run costs more than a short run itself.
// What is taken is not lost to the others: whoever holds the lock may recall the runs that have not begun.
//
// Invariants
//  (1) Each entry either begins, on the owner's thread, or is recalled: one atomic operation decides.
//  (2) An entry that has not begun belongs to a task that is not cancelled and that no other batch holds so.
//  (3) An entry keeps its task and the runnable alive from fill() until it is recalled or finished.
// Threading: next() by the owner without the lock; everything else under the lock.
class Batch final
{
public:
    // The longest: some microseconds of short runs, and about as many lines of memory as a core can wait for.
    static constexpr unsigned kMost = 16;

    // The task whose run begins now; null when there is no other. Releases what the runs before it did to
    // whoever recalls the rest, and lets their tasks go.
    Task* next()
    {
        const unsigned begun = m_next.fetch_add(1, std::memory_order_acq_rel);
        return begun < m_size ? m_entries[begun].task : nullptr;
    }
    // Call when the lock has been left otherwise than for the runs: what the entries still name may be gone.
    void forget();

    // What it holds at a place that has not begun, for tests.
    Task* taken(unsigned place) const { return m_entries[place].task; }

    // The owner's; when the batch was taken, by its clock.
    std::int64_t since = 0;

private:
    friend class TaskCore;

    // Too many for any entry: next() finds none from then on.
    static constexpr unsigned kRecalled = 1U << 30;

    struct Entry
    {
        // Null when it is finished and the task may be gone.
        Task* task = nullptr;
        // When the run was due: the task itself is already waiting for the next one.
        Tick expiry = 0;
    };

    // How many runs have begun. All but the last of them have ended.
    unsigned begun() const
    {
        return m_recalled ? m_begun : std::min(m_next.load(std::memory_order_acquire), m_size);
    }

    std::atomic<unsigned> m_next{0};
    unsigned m_size = 0;
    bool m_recalled = false;
    // Valid once it is recalled.
    unsigned m_begun = 0;
    Tick m_tick = 0;
    Batch* m_older = nullptr;
    std::array<Entry, kMost> m_entries{};
};

} // namespace twheel
