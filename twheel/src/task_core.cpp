#include "twheel/src/task_core.h"

#include <algorithm>
#include <utility>

namespace twheel {

namespace {

// How many tasks one call moves to finer slots before it lets others have the lock.
constexpr std::size_t kCascadeBudget = 256;

Tick nextExpiry(Tick expiry, Tick period, Tick now)
{
    // Ticks that passed meanwhile are skipped, not made up for.
    const Tick missed = expiry < now ? (now - expiry) / period : 0;
    // Cannot overflow: both are at most kFarthest, and `now` is a real time.
    return expiry + (missed + 1) * period;
}

} // namespace

void TaskCore::schedule(Task& task, Tick expiry)
{
    // Nobody but the caller has seen the task yet.
    task.m_owners.store(2, std::memory_order_relaxed);
    task.m_expiry = std::min(expiry, kFarthest);
    if (expiry < m_wheel.next()) {
        m_due.pushBack(task);
    } else {
        m_wheel.insert(task);
    }
    ++m_count;
}

void TaskCore::cancel(Task& task, Released& released)
{
    if (task.linked()) {
        m_wheel.remove(task);
        --m_count;
        if (task.m_running == 0) {
            release(task, released);
        }
    }
}

bool TaskCore::advance(Tick now)
{
    return m_wheel.advance(now, m_due, kCascadeBudget);
}

Task* TaskCore::start(Tick now)
{
    if (m_due.empty()) {
        return nullptr;
    }
    Task& task = static_cast<Task&>(*m_due.front());
    m_wheel.remove(task);
    prefetchNext();
    ++task.m_running;
    if (task.m_period != 0) {
        task.m_expiry = nextExpiry(task.m_expiry, task.m_period, now);
        m_wheel.insert(task);
    } else {
        --m_count;
    }
    return &task;
}

// A million tasks do not stay in any cache: the task after the next is asked for now, and the runnable of the
// next, which was asked for a run ago, so that both arrive while this run is under way.
void TaskCore::prefetchNext() const
{
    if (m_due.empty()) {
        return;
    }
    const Task& next = static_cast<const Task&>(*m_due.front());
    const char* afterNext = reinterpret_cast<const char*>(next.next);
    __builtin_prefetch(afterNext, 1);
    __builtin_prefetch(afterNext + 64, 1);
    __builtin_prefetch(next.m_runnable.get());
}

void TaskCore::finish(Task& task, Released& released)
{
    --task.m_running;
    if (task.m_running == 0 && !task.linked()) {
        release(task, released);
    }
}

bool TaskCore::releaseAny(Released& released)
{
    if (m_due.empty()) {
        m_wheel.drain(m_due);
    }
    if (m_due.empty()) {
        return false;
    }
    cancel(static_cast<Task&>(*m_due.front()), released);
    return true;
}

void TaskCore::release(Task& task, Released& released)
{
    released.runnable = std::move(task.m_runnable);
    released.task.reset(&task);
}

} // namespace twheel
