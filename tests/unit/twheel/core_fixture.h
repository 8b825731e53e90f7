#pragma once

#include <boost/make_shared.hpp>

#include "twheel/src/gate.h"
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
    ~Tasks() { Gate::giveBack(m_gate); }

    boost::shared_ptr<Task> make(Tick period, int id = 0, int* destroyed = nullptr)
    {
        return Task::make(m_gate, boost::make_shared<NumberedRunnable>(id, destroyed), period);
    }

private:
    Gate& m_gate = Gate::obtain();
};

inline int idOf(Task& task)
{
    return static_cast<NumberedRunnable&>(TaskCore::runnable(task)).id();
}

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
