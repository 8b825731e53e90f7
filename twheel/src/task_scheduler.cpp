#include "twheel/task_scheduler.h"

#include <stdexcept>
#include <utility>

#include "twheel/src/worker_pool.h"

namespace twheel {

// Key functions: they anchor the vtables that users of the library link against.
TwheelRunnable::~TwheelRunnable() = default;
TaskHandle::~TaskHandle() = default;

class __attribute__((visibility("hidden"))) TaskScheduler::Wheel final : public WorkerPool
{
public:
    using WorkerPool::WorkerPool;
};

TaskScheduler::TaskScheduler(int workers) : m_wheel(std::make_shared<Wheel>(workers)) {}

TaskScheduler::~TaskScheduler()
{
    // While m_wheel is still whole: what is released here may call schedule().
    m_wheel->stop();
}

boost::shared_ptr<TaskHandle> TaskScheduler::schedule(long delay, boost::shared_ptr<TwheelRunnable> task)
{
    return schedule(delay, 0, std::move(task));
}

boost::shared_ptr<TaskHandle> TaskScheduler::schedule(long delay, long period,
                                                      boost::shared_ptr<TwheelRunnable> task)
{
    if (!task) {
        throw std::invalid_argument("TaskScheduler::schedule: no task");
    }
    return m_wheel->schedule(delay, period, std::move(task));
}

} // namespace twheel
