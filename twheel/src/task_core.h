#pragma once

#include <cstddef>
#include <string>

#include "twheel/src/batch.h"
#include "twheel/src/slot_wheel.h"

namespace twheel {

// TaskCore decides what runs when: the wheel, the queue of what is due, the batches that workers took from
// it, and the life of a scheduling. It has neither threads nor a clock, so that tests drive it tick by tick.
//
// Invariants
//  (1) A scheduling waits in the queue or in the part of a batch that has not begun at most once: a periodic
//      task goes back into the wheel when it is taken from the queue, not when it becomes due, and what has
//      not begun when a later tick comes is recalled first. So while workers are free its next tick starts
//      although a run is in progress, and with none free the ticks it misses collapse into the one that
//      waits.
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
    // Takes up to `most` tasks from the front of the queue into a batch that has ended; how many. Call after
    // advance(now); a batch with none need not be ended.
    unsigned fill(Batch& batch, Tick now, unsigned most);
    // By its owner, when next() has given null: all that it began has ended.
    void end(Batch& batch, Releases& released);
    // Puts everything that no owner has begun back to the front of the queue.
    void recallAll();
    // Does that, and finishes what has ended behind runs that go on, when a batch was taken before `since`;
    // false when there is none but those recalled already.
    bool recallSlow(std::int64_t since, Releases& released);

    // Call with each schedule(): lets an idle wheel catch up with the time, so that short delays stay in the
    // finest ring. Moves nothing into the queue.
    void keepUp(Tick now) { m_wheel.skipTo(now); }
    // The runnable of a task in a batch.
    static TwheelRunnable& runnable(Task& task) { return *task.m_runnable; }

    bool waiting() const { return !m_due.empty(); }
    // How many wait in the queue, of which no more than `most` are counted.
    int waiting(int most) const;
    // Is there a batch that has not ended and that nobody has recalled?
    bool active() const;
    // Is there one among them in which runs may wait for another in progress?
    bool sharesLeft() const;
    // The first tick at which something may become due; kNever when the wheel is empty.
    Tick nextEvent() const { return m_wheel.nextEvent(); }
    // Takes any one task out for good; false when none is left. For the end of a scheduler.
    bool releaseAny(Released& released);

    std::string check() const;
    std::size_t count() const { return m_count; }

private:
    static void prefetch(const Batch& batch, unsigned size);
    void recall(Batch& batch);
    // Out of line: cancelling what waits in the wheel, as nearly all do, is not to pay for it.
    __attribute__((noinline)) bool finishEndedRuns(Task& task);
    void finish(Batch& batch, unsigned end, Releases& released);
    static void release(Task& task, Released& released);
    std::string checkQueue() const;
    std::string checkBatches() const;

    SlotWheel m_wheel;
    TaskList m_due;
    // The batches that are filled and not ended, newest first.
    Batch* m_open = nullptr;
    // Tasks in the wheel or the queue.
    std::size_t m_count = 0;
};

} // namespace twheel
