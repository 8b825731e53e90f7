#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <utility>

#include <boost/shared_ptr.hpp>

#include "twheel/src/task_list.h"
#include "twheel/task_handle.h"
#include "twheel/twheel_runnable.h"

namespace twheel {

class SchedulerRef;

// Time in milliseconds of the monotonic clock.
using Tick = std::uint64_t;
constexpr Tick kNever = ~Tick{0};
// What lies further ahead than this is due then: a hundred million years.
constexpr Tick kFarthest = Tick{1} << 62;

// Task is one scheduling: the node in the wheel, the caller's handle and the handle's reference count in one
// allocation.
//
// Invariants
//  (1) A task is in at most one list: a slot of the wheel, or the queue of what is due.
//  (2) While it is in a list or in a batch, it holds the runnable; afterwards it never runs again.
//  (3) It has up to two owners, the handles together and the core, and goes with the last. A handle is not
//      simply one more shared_ptr inside the core: that costs two atomic operations a task where none is
//      needed.
// Threading: every field but the reference and the owners is guarded by the reference's mutex.
class Task final : public TaskHandle, public TaskLink
{
public:
    // A task that is owned by the returned handle only, until it is scheduled. period 0: runs once.
    static boost::shared_ptr<Task> make(SchedulerRef& ref, boost::shared_ptr<TwheelRunnable>&& runnable,
                                        Tick period);

    void cancel() override;

    // One of two owners has gone.
    void dropOwner()
    {
        // The last one need not count: nobody else is there to see it. What the owner before it did to the
        // task is acquired from its release.
        if (m_owners.load(std::memory_order_acquire) == 1 ||
            m_owners.fetch_sub(1, std::memory_order_acq_rel) == 1) {
            delete this;
        }
    }

private:
    friend class SlotWheel;
    friend class TaskCore;
    template <typename T>
    friend struct InTask;

    Task(SchedulerRef& ref, boost::shared_ptr<TwheelRunnable>&& runnable, Tick period)
        : m_period(period), m_runnable(std::move(runnable)), m_ref(ref)
    {
    }
    ~Task() override = default;

    static constexpr std::size_t kCountSize = 40;

    // What a run touches comes first and together: of a million tasks none is in a cache when its run comes.

    // The task that was due a batch later, the last time: only ever a guess, good for asking for its memory
    // in time. It may be gone.
    const void* m_ahead = nullptr;
    // How many entries of batches it has that are not finished.
    std::uint32_t m_running = 0;
    // The slot it was put into last; meaningless while it is in none.
    std::uint16_t m_slot = 0;
    std::atomic<std::uint8_t> m_owners{1};
    Tick m_expiry = 0;
    const Tick m_period;
    boost::shared_ptr<TwheelRunnable> m_runnable;

    SchedulerRef& m_ref;
    // Room for the reference count of the handles.
    alignas(void*) unsigned char m_count[kCountSize];
};

// The core's ownership of a task.
struct DropOwner
{
    void operator()(Task* task) const { task->dropOwner(); }
};
using TaskOwner = std::unique_ptr<Task, DropOwner>;

} // namespace twheel
