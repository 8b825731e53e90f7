#pragma once

#include <algorithm>
#include <memory>
#include <utility>
#include <vector>

#include <boost/make_shared.hpp>

#include "twheel/src/scheduler_ref.h"
#include "twheel/src/task_core.h"

namespace twheel::testing {

class NumberedRunnable final : public TwheelRunnable
{
public:
    explicit NumberedRunnable(int id = 0, int* destroyed = nullptr) : m_id(id), m_destroyed(destroyed) {}
    ~NumberedRunnable() override
    {
        if (m_destroyed != nullptr) {
            ++*m_destroyed;
        }
    }
    void run() override {}
    int id() const { return m_id; }

private:
    const int m_id;
    int* const m_destroyed;
};

// Tasks for a core that is driven by hand, without threads or clock.
class Tasks final
{
public:
    ~Tasks() { SchedulerRef::giveBack(m_ref); }

    boost::shared_ptr<Task> make(Tick period, int id = 0, int* destroyed = nullptr)
    {
        return Task::make(m_ref, boost::make_shared<NumberedRunnable>(id, destroyed), period);
    }

private:
    SchedulerRef& m_ref = SchedulerRef::obtain();
};

inline int idOf(Task& task)
{
    return static_cast<NumberedRunnable&>(TaskCore::runnable(task)).id();
}

// Takes runs out of a core one by one, each in a batch of its own.
class Runs final
{
public:
    explicit Runs(TaskCore& core) : m_core(core) {}

    // The next task that is due, whose run begins; null when there is none.
    Task* start(Tick now)
    {
        auto batch = std::make_unique<Batch>();
        if (m_core.fill(*batch, now, 1) == 0) {
            return nullptr;
        }
        Task* task = batch->next();
        m_runs.emplace_back(task, std::move(batch));
        return task;
    }
    // A run of the task has ended. True when that let go of it.
    bool finish(const Task* task)
    {
        const auto run =
            std::find_if(m_runs.begin(), m_runs.end(), [&](const auto& one) { return one.first == task; });
        Releases released;
        m_core.end(*run->second, released);
        m_runs.erase(run);
        return !released.empty();
    }

private:
    TaskCore& m_core;
    std::vector<std::pair<Task*, std::unique_ptr<Batch>>> m_runs;
};

// Advances until everything due at `now` is in the queue.
inline void advanceFully(TaskCore& core, Tick now)
{
    while (!core.advance(now)) {
    }
}

// Takes everything out, as a scheduler does at its end.
inline void releaseAll(TaskCore& core)
{
    for (bool more = true; more;) {
        Released released;
        more = core.releaseAny(released);
    }
}

} // namespace twheel::testing
