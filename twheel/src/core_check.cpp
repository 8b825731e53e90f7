// The invariants of the wheel as code, for tests.
#include "twheel/src/slot_wheel.h"
#include "twheel/src/task_core.h"

namespace twheel {

std::string SlotWheel::checkSlot(std::size_t slot) const
{
    const TaskLink* before = m_slots[slot].end();
    for (const TaskLink* link = m_slots[slot].front(); link != m_slots[slot].end(); link = link->next) {
        const Task& task = static_cast<const Task&>(*link);
        if (link->prev != before) {
            return "a link back does not match its link forth";
        }
        before = link;
        if (task.m_slot != slot) {
            return "a task does not know its slot";
        }
        if (task.m_expiry < m_next) {
            return "an expiry has been passed over";
        }
        if (slot < kFineSlots) {
            if (task.m_expiry - m_next >= kFineSlots || (task.m_expiry & (kFineSlots - 1)) != slot) {
                return "a task stands in the wrong fine slot";
            }
            continue;
        }
        const std::size_t ring = (slot - kFineSlots) / kCoarseSlots;
        const Tick ahead = (task.m_expiry >> shift(ring)) - (m_next >> shift(ring));
        const bool atStart = (m_next & ((Tick{1} << shift(ring)) - 1)) == 0;
        if (slotOf(ring, task.m_expiry) != slot || ahead >= kCoarseSlots || (ahead == 0 && !atStart)) {
            return "a task stands in the wrong coarse slot";
        }
    }
    return {};
}

std::string SlotWheel::check() const
{
    for (std::size_t slot = 0; slot < kSlots; ++slot) {
        if (marked(slot) == m_slots[slot].empty()) {
            return "slot " + std::to_string(slot) + ": its bit is wrong";
        }
        const std::string broken = checkSlot(slot);
        if (!broken.empty()) {
            return "slot " + std::to_string(slot) + ": " + broken;
        }
    }
    for (std::size_t word = 0; word < kFineSlots / 64; ++word) {
        if (((m_summary >> word) & 1) != (m_words[word] != 0 ? 1U : 0U)) {
            return "summary bit " + std::to_string(word) + " is wrong";
        }
    }
    return {};
}

std::size_t SlotWheel::count() const
{
    std::size_t tasks = 0;
    for (const TaskList& slot : m_slots) {
        for (const TaskLink* link = slot.front(); link != slot.end(); link = link->next) {
            ++tasks;
        }
    }
    return tasks;
}

std::string TaskCore::checkQueue() const
{
    std::string broken;
    std::size_t queued = 0;
    for (const TaskLink* link = m_due.front(); link != m_due.end(); link = link->next) {
        const Task& task = static_cast<const Task&>(*link);
        ++queued;
        if (task.m_expiry >= m_wheel.next()) {
            broken += "; a task waits in the queue before it is due";
        }
        if (!task.m_runnable) {
            broken += "; a task in the queue holds nothing";
        }
    }
    if (queued + m_wheel.count() != m_count) {
        broken += "; tasks have been lost or gained";
    }
    return broken;
}

std::string TaskCore::checkBatches() const
{
    std::string broken;
    for (const Batch* batch = m_open; batch != nullptr; batch = batch->m_older) {
        for (unsigned i = batch->begun(); i < batch->m_size && !batch->m_recalled; ++i) {
            const Task& task = *batch->m_entries[i].task;
            if (task.m_running == 0 || !task.m_runnable) {
                broken += "; a batch does not hold what it is going to run";
            }
            if (task.m_period != 0 && !task.linked()) {
                broken += "; a run is going to begin that has been cancelled";
            }
            if (task.linked() && task.m_expiry < m_wheel.next()) {
                broken += "; a task waits twice";
            }
        }
    }
    return broken;
}

std::string TaskCore::check() const
{
    return m_wheel.check() + checkQueue() + checkBatches();
}

} // namespace twheel
