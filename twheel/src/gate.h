#pragma once

#include "twheel/src/mutex.h"

namespace twheel {

class TaskCore;

// Gate is how a handle reaches its scheduler: the scheduler's lock, and what the lock guards while there is
// one. Gates are handed from a destroyed scheduler to the next and never freed, so that a handle needs
// neither a counted reference (two atomic operations a task) nor to know whether its scheduler still exists.
//
// Invariants
//  (1) Whoever holds a handle may lock its gate at any time.
//  (2) Once a scheduler has left its gate, no task of that scheduler is in any list, so cancelling one does
//      nothing, whosever gate it is by then.
class Gate final
{
public:
    // A gate that no scheduler uses.
    static Gate& obtain();
    // The scheduler is gone; core is null.
    static void giveBack(Gate& gate);

    Mutex mutex;
    TaskCore* core TWHEEL_GUARDED_BY(mutex) = nullptr;

private:
    Gate() = default;

    // Guarded by the mutex of the pool of free gates.
    Gate* m_nextFree = nullptr;
};

} // namespace twheel
