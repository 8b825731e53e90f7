#pragma once

namespace twheel {

// TwheelRunnable is one piece of work that the scheduler runs on a worker thread.
//
// Threading: run() may be entered from two workers at once for the same object when a run outlasts the
// period. Ownership: held by boost::shared_ptr; the scheduler keeps its own reference while the object is
// scheduled.
class __attribute__((visibility("default"))) TwheelRunnable
{
public:
    virtual ~TwheelRunnable();
    virtual void run() = 0;
};

} // namespace twheel
