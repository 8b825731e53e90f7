#pragma once

#include <boost/shared_ptr.hpp>

#include <memory>

#include "twheel/task_handle.h"
#include "twheel/twheel_runnable.h"

namespace twheel {

// TaskScheduler runs work once or periodically on its own worker threads.
//
// Threading: every function may be called from any thread, schedule() also from inside a run. The destructor
// must not be called from a worker.
class __attribute__((visibility("default"))) TaskScheduler
{
public:
    // workers: number of worker threads; less than 1 counts as 1. Throws std::system_error when the system
    // has no thread or descriptor left.
    explicit TaskScheduler(int workers);
    // Stops and joins the workers (waiting for runs in progress), then releases every scheduled runnable.
    // What a runnable's destructor schedules meanwhile is released without having run.
    ~TaskScheduler();
    TaskScheduler(const TaskScheduler&) = delete;
    TaskScheduler& operator=(const TaskScheduler&) = delete;

    // Runs task->run() once, delay milliseconds from now: never earlier, usually within a millisecond and a
    // bit. A delay of 0 or less is due at once; one beyond a hundred million years never ends. Throws
    // std::invalid_argument for a null task.
    boost::shared_ptr<TaskHandle> schedule(long delay, boost::shared_ptr<TwheelRunnable> task);
    // Runs task->run() first after delay milliseconds, then every period milliseconds until cancelled: run n
    // is due at first + n * period. A run that is still in progress does not keep the next from starting on a
    // free worker; with no worker free one run waits, and the ticks missed meanwhile are dropped. A period of
    // 0 or less means once, as above.
    boost::shared_ptr<TaskHandle> schedule(long delay, long period, boost::shared_ptr<TwheelRunnable> task);

private:
    class Wheel;
    std::shared_ptr<Wheel> m_wheel;
};

} // namespace twheel
