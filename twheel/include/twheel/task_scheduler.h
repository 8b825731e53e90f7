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
    // workers: number of worker threads, at least 1.
    explicit TaskScheduler(int workers);
    // Stops and joins the workers (waiting for runs in progress), then releases every scheduled runnable.
    ~TaskScheduler();
    TaskScheduler(const TaskScheduler&) = delete;
    TaskScheduler& operator=(const TaskScheduler&) = delete;

    // Runs task->run() once, delay milliseconds from now.
    boost::shared_ptr<TaskHandle> schedule(long delay, boost::shared_ptr<TwheelRunnable> task);
    // Runs task->run() first after delay milliseconds, then every period milliseconds until cancelled.
    boost::shared_ptr<TaskHandle> schedule(long delay, long period, boost::shared_ptr<TwheelRunnable> task);

private:
    class Wheel;
    std::shared_ptr<Wheel> m_wheel;
};

} // namespace twheel
