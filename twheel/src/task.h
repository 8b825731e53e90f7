#pragma once

#include <cstdint>

#include <boost/shared_ptr.hpp>

#include "twheel/src/task_list.h"
#include "twheel/task_handle.h"
#include "twheel/twheel_runnable.h"

namespace twheel {

class Gate;

// Time in milliseconds of the monotonic clock.
using Tick = std::uint64_t;
constexpr Tick kNever = ~Tick{0};
// What lies further ahead than this is due then: a hundred million years.
constexpr Tick kFarthest = Tick{1} << 62;

// Task is one scheduling: the node in the wheel and the caller's handle in one allocation.
//
// Invariants
//  (1) A task is in at most one list: a slot of the wheel, or the queue of what is due.
//  (2) While it is in a list or a run is in progress, it holds a reference to itself and to the runnable;
//      afterwards neither, and it never runs again.
// Threading: every field but the gate is guarded by the gate's mutex.
class Task final : public TaskHandle, public TaskLink
{
public:
    Task(Gate& gate, boost::shared_ptr<TwheelRunnable> task, Tick period)
        : m_period(period), m_runnable(std::move(task)), m_gate(gate)
    {
    }

    void cancel() override;

private:
    friend class SlotWheel;
    friend class TaskCore;
    friend class TaskScheduler;

    Tick m_expiry = 0;
    // 0: runs once.
    const Tick m_period;
    boost::shared_ptr<TwheelRunnable> m_runnable;
    boost::shared_ptr<Task> m_self;
    Gate& m_gate;
    std::uint32_t m_running = 0;
    // The slot it was put into last; meaningless while it is in none.
    std::uint16_t m_slot = 0;
};

} // namespace twheel
