#pragma once

#include <cstddef>
#include <string>

#include "twheel/src/slot_wheel.h"

namespace twheel {

// Released carries what a scheduling held out of the lock, where letting go of it may run anybody's
// destructor.
struct Released
{
    TaskOwner task;
    boost::shared_ptr<TwheelRunnable> runnable;

    explicit operator bool() const { return task != nullptr; }
};

// TaskCore decides what runs when: the wheel, the queue of what is due, and the life of a scheduling. It has
// neither threads nor a clock, so that tests drive it tick by tick.
//
// Invariants
//  (1) A scheduling waits in the queue at most once: a periodic task goes back into the wheel when its run
//  starts,
//      not when it becomes due. So while workers are free its next tick starts although a run is in progress,
//      and with none free the ticks it misses collapse into the one that waits.
//  (2) Run n is due at first + n * period, whatever the runs before it did.
// Threading: none of its own; the caller serialises every call.
class TaskCore final
{
public:
    explicit TaskCore(Tick now) : m_wheel(now) {}

    // Schedules a task that has never been scheduled, and owns it from now on. Due at once when `expiry` lies
    // in the past.
    void schedule(Task& task, Tick expiry);
    // No run of it starts from now on. `released` gets what it held, unless a run in progress still needs
    // that.
    void cancel(Task& task, Released& released);

    // Moves what is due at `now` into the queue. Bounded work; false when it is to be called again.
    bool advance(Tick now);
    // The next task to run, which is then counted as running, or null. Call after advance(now).
    Task* start(Tick now);
    // A run of the task has ended. `released` gets what it held, where that was its last.
    void finish(Task& task, Released& released);

    // Call with each schedule(): lets an idle wheel catch up with the time, so that short delays stay in the
    // finest ring. Moves nothing into the queue.
    void keepUp(Tick now) { m_wheel.skipTo(now); }
    // The runnable of a task that is counted as running.
    static TwheelRunnable& runnable(Task& task) { return *task.m_runnable; }

    bool waiting() const { return !m_due.empty(); }
    // The first tick at which something may become due; kNever when the wheel is empty.
    Tick nextEvent() const { return m_wheel.nextEvent(); }
    // Takes any one task out for good; false when none is left. For the end of a scheduler.
    bool releaseAny(Released& released);

    std::string check() const;
    std::size_t count() const { return m_count; }

private:
    void prefetchNext() const;
    static void release(Task& task, Released& released);

    SlotWheel m_wheel;
    TaskList m_due;
    // Tasks in the wheel or the queue.
    std::size_t m_count = 0;
};

} // namespace twheel
