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

// What a run needs lies in these of a task's bytes, and they may lie across a line's end.
void prefetchTask(const void* task)
{
    __builtin_prefetch(static_cast<const char*>(task) + 8, 1);
    __builtin_prefetch(static_cast<const char*>(task) + 56, 1);
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
    const bool finishedOne = task.m_running != 0 && finishEndedRuns(task);
    if (task.linked()) {
        m_wheel.remove(task);
        --m_count;
    } else if (!finishedOne) {
        return;
    }
    if (task.m_running == 0) {
        release(task, released);
    }
}

bool TaskCore::advance(Tick now)
{
    for (Batch* batch = m_open; batch != nullptr; batch = batch->m_older) {
        if (batch->m_tick < now) {
            recall(*batch);
        }
    }
    return m_wheel.advance(now, m_due, kCascadeBudget);
}

int TaskCore::waiting(int most) const
{
    int count = 0;
    for (const TaskLink* link = m_due.front(); count < most && link != m_due.end(); link = link->next) {
        ++count;
    }
    return count;
}

bool TaskCore::active() const
{
    for (const Batch* batch = m_open; batch != nullptr; batch = batch->m_older) {
        if (!batch->m_recalled) {
            return true;
        }
    }
    return false;
}

bool TaskCore::sharesLeft() const
{
    for (const Batch* batch = m_open; batch != nullptr; batch = batch->m_older) {
        if (!batch->m_recalled && batch->m_size > 1) {
            return true;
        }
    }
    return false;
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

// What the runs of a filled batch need, and the tasks that came after them the last time. All in a row: each
// waits for its page's translation, and these waits overlap only when little lies between them. Asked for one
// by one as the batch is filled they take a third of the time of a million tasks.
void TaskCore::prefetch(const Batch& batch, unsigned size)
{
    for (unsigned i = 0; i < size; ++i) {
        const Task& task = *batch.m_entries[i].task;
        __builtin_prefetch(task.m_runnable.get(), 1);
        prefetchTask(task.m_ahead);
    }
}

unsigned TaskCore::fill(Batch& batch, Tick now, unsigned most)
{
    // Who read the clock and then waited for the lock comes with a time that others have gone beyond.
    now = std::max(now + 1, m_wheel.next()) - 1;
    unsigned size = 0;
    for (; size < most && !m_due.empty(); ++size) {
        Task& task = static_cast<Task&>(*m_due.front());
        Batch::Entry& entry = batch.m_entries[size];
        // A million tasks do not stay in any cache. Those with the same period come in the same order each
        // time, so each can tell which one to ask for while this batch runs.
        if (entry.task != nullptr) {
            entry.task->m_ahead = &task;
        }
        entry = {&task, task.m_expiry};
        task.unlink();
        ++task.m_running;
        if (task.m_period != 0) {
            task.m_expiry = nextExpiry(task.m_expiry, task.m_period, now);
            m_wheel.insert(task);
        } else {
            --m_count;
        }
    }
    if (size == 0) {
        return 0;
    }
    prefetch(batch, size);
    for (unsigned rest = size; rest < Batch::kMost; ++rest) {
        batch.m_entries[rest].task = nullptr;
    }
    batch.m_size = size;
    batch.m_recalled = false;
    batch.m_tick = now;
    batch.m_older = m_open;
    m_open = &batch;
    // Relaxed: others look at it under the lock only, the owner is here.
    batch.m_next.store(0, std::memory_order_relaxed);
    return size;
}

void TaskCore::end(Batch& batch, Releases& released)
{
    Batch** place = &m_open;
    while (*place != &batch) {
        place = &(*place)->m_older;
    }
    *place = batch.m_older;
    finish(batch, batch.begun(), released);
}

void TaskCore::recall(Batch& batch)
{
    if (batch.m_recalled) {
        return;
    }
    batch.m_begun =
        std::min(batch.m_next.exchange(Batch::kRecalled, std::memory_order_acq_rel), batch.m_size);
    batch.m_recalled = true;
    for (unsigned i = batch.m_size; i-- > batch.m_begun;) {
        Batch::Entry& entry = batch.m_entries[i];
        Task& task = *entry.task;
        --task.m_running;
        if (task.linked()) {
            m_wheel.remove(task);
        } else {
            ++m_count;
        }
        task.m_expiry = entry.expiry;
        m_due.pushFront(task);
        entry.task = nullptr;
    }
}

void TaskCore::recallAll()
{
    for (Batch* batch = m_open; batch != nullptr; batch = batch->m_older) {
        recall(*batch);
    }
}

bool TaskCore::recallSlow(std::int64_t since, Releases& released)
{
    bool slow = false;
    for (const Batch* batch = m_open; batch != nullptr; batch = batch->m_older) {
        slow = slow || (batch->since < since && !batch->m_recalled);
    }
    if (!slow) {
        return false;
    }
    recallAll();
    for (Batch* batch = m_open; batch != nullptr; batch = batch->m_older) {
        // All but the one in progress.
        const unsigned ended = std::max(batch->m_begun, 1U) - 1;
        finish(*batch, ended, released);
        std::fill_n(batch->m_entries.begin(), ended, Batch::Entry());
    }
    return true;
}

// Leaves no run of the task in any batch but those in progress. True when it has finished one.
bool TaskCore::finishEndedRuns(Task& task)
{
    bool finishedOne = false;
    for (Batch* batch = m_open; batch != nullptr; batch = batch->m_older) {
        for (unsigned i = 0; i < batch->m_size; ++i) {
            Batch::Entry& entry = batch->m_entries[i];
            if (entry.task == &task && i >= batch->begun()) {
                // All of them, as they are in order. Those that have begun meanwhile are entries still.
                recallAll();
            }
            if (entry.task == &task && i + 1 < batch->begun()) {
                --task.m_running;
                entry.task = nullptr;
                finishedOne = true;
            }
        }
    }
    return finishedOne;
}

void TaskCore::finish(Batch& batch, unsigned end, Releases& released)
{
    for (unsigned i = 0; i < end; ++i) {
        Task* task = batch.m_entries[i].task;
        if (task == nullptr) {
            continue;
        }
        --task->m_running;
        // One that goes on stays named: fill() tells it who comes after it.
        if (!task->linked()) {
            batch.m_entries[i].task = nullptr;
            if (task->m_running == 0) {
                release(*task, released.emplace_back());
            }
        }
    }
}

void TaskCore::release(Task& task, Released& released)
{
    released.runnable = std::move(task.m_runnable);
    released.task.reset(&task);
}

void Batch::forget()
{
    for (Entry& entry : m_entries) {
        entry.task = nullptr;
    }
}

} // namespace twheel
