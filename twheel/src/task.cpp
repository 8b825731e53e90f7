#include "twheel/src/task.h"

#include "twheel/src/scheduler_ref.h"
#include "twheel/src/task_core.h"

namespace twheel {

// Allocates the reference count of a task's handles inside the task. The count is the last that is needed of
// the handles, also by weak ones: when it goes, so does their ownership.
template <typename T>
struct InTask
{
    using value_type = T;

    explicit InTask(Task* owner) : task(owner) {}
    template <typename U>
    InTask(const InTask<U>& other) : task(other.task)
    {
    }

    T* allocate(std::size_t)
    {
        static_assert(sizeof(T) <= Task::kCountSize && alignof(T) <= alignof(void*));
        return reinterpret_cast<T*>(task->m_count);
    }
    void deallocate(T*, std::size_t) { task->dropOwner(); }

    template <typename U>
    bool operator==(const InTask<U>& other) const
    {
        return task == other.task;
    }
    template <typename U>
    bool operator!=(const InTask<U>& other) const
    {
        return task != other.task;
    }

    Task* task;
};

boost::shared_ptr<Task> Task::make(SchedulerRef& ref, boost::shared_ptr<TwheelRunnable>&& runnable,
                                   Tick period)
{
    Task* task = new Task(ref, std::move(runnable), period);
    return boost::shared_ptr<Task>(
        task, [](Task*) {}, InTask<Task>(task));
}

void Task::cancel()
{
    Released released;
    MutexLock lock(m_ref.mutex);
    if (m_ref.core != nullptr) {
        m_ref.core->cancel(*this, released);
    }
    // Unlocked before `released` goes: a runnable's destructor may call cancel() in its turn.
    lock.unlock();
    if (released.task != nullptr) {
        // The handle through which this was called cannot go meanwhile, so it becomes the only owner
        // uncounted. Relaxed: the last handle sees it through the handles' own count.
        released.task.release()->m_owners.store(1, std::memory_order_relaxed);
    }
}

} // namespace twheel
