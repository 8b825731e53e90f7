#pragma once

namespace twheel {

// TaskHandle stands for one scheduling of a runnable. It may outlive the scheduler; cancel() is then a no-op.
//
// Threading: any thread, also from inside run().
class __attribute__((visibility("default"))) TaskHandle
{
public:
    virtual ~TaskHandle();
    // No further run of this scheduling starts once this returns, runs queued but not started included. A run
    // in progress is neither interrupted nor waited for. Idempotent.
    virtual void cancel() = 0;
};

} // namespace twheel
