#pragma once

#include "twheel/src/mutex.h"

namespace twheel {

class TaskCore;

// SchedulerRef is how a handle reaches its scheduler: the scheduler's lock, and what the lock guards while
// there is one. References are handed from a destroyed scheduler to the next and never freed, so that a
// handle needs neither a counted reference (two atomic operations a task) nor to know whether its scheduler
// still exists.
//
// Invariants
//  (1) Whoever holds a handle may lock its reference at any time.
//  (2) Once a scheduler has left its reference, no task of that scheduler is in any list, so cancelling one
//      does nothing, whosever reference it is by then.
class SchedulerRef final
{
public:
    // A reference that no scheduler uses.
    static SchedulerRef& obtain();
    // The scheduler is gone; core is null.
    static void giveBack(SchedulerRef& ref);

    Mutex mutex;
    TaskCore* core TWHEEL_GUARDED_BY(mutex) = nullptr;

private:
    SchedulerRef() = default;

    // Guarded by the mutex of the pool of free references.
    SchedulerRef* m_nextFree = nullptr;
};

} // namespace twheel
