#pragma once

#include <thread>
#include <vector>

#include "twheel/src/alarm.h"
#include "twheel/src/gate.h"
#include "twheel/src/task_core.h"

namespace twheel {

// WorkerPool is a scheduler at work: the core, its lock, its alarm and its threads.
//
// Free workers all sleep on the one alarm, which wakes a single one of them. That worker runs everything that
// is due, one task after the other, without waking anybody. What guards against a slow run is the alarm
// again: before each run it is set to the moment at which somebody else must look, the next due tick, or 50
// us from now while work is left waiting; a worker that gets through its work in time moves it on and no
// thread has been woken.
//
// Invariants
//  (1) While a worker sleeps, the alarm is set no later than the moment that needs one (needsAttentionAt).
//  (2) No foreign code (run(), a runnable's destructor) is called with the lock held.
// Threading: schedule() from any thread; stop() from any but a worker, not by two at once.
class WorkerPool
{
public:
    explicit WorkerPool(int workers);
    ~WorkerPool();
    WorkerPool(const WorkerPool&) = delete;
    WorkerPool& operator=(const WorkerPool&) = delete;

    // Joins the workers, then releases everything that is scheduled. What is scheduled afterwards never runs.
    void stop();
    // Delay and period in milliseconds; a delay of 0 or less is due at once, a period of 0 runs once.
    boost::shared_ptr<TaskHandle> schedule(long delay, long period, boost::shared_ptr<TwheelRunnable>&& task);

private:
    void start(int workers);
    void work();
    // Both let go of the lock meanwhile.
    void runNext(Task& task) TWHEEL_REQUIRES(m_gate.mutex);
    void sleep() TWHEEL_REQUIRES(m_gate.mutex);
    void guardRun(Nanoseconds now) TWHEEL_REQUIRES(m_gate.mutex);
    void setAlarm(Nanoseconds at) TWHEEL_REQUIRES(m_gate.mutex);

    // Constant after construction.
    Gate& m_gate;
    std::vector<std::thread> m_threads;

    // Guarded by the gate's mutex.
    Alarm m_alarm;
    TaskCore m_core TWHEEL_GUARDED_BY(m_gate.mutex);
    // What the alarm is set to; the largest value when it is not.
    Nanoseconds m_alarmAt TWHEEL_GUARDED_BY(m_gate.mutex);
    // Runs started since the alarm was set to guard them.
    int m_runsGuarded TWHEEL_GUARDED_BY(m_gate.mutex) = 0;
    int m_sleeping TWHEEL_GUARDED_BY(m_gate.mutex) = 0;
    // The alarm stands for work left waiting; whoever it wakes knows that runs are slow just now.
    bool m_guarding TWHEEL_GUARDED_BY(m_gate.mutex) = false;
    bool m_runsAreSlow TWHEEL_GUARDED_BY(m_gate.mutex) = false;
    bool m_stopped TWHEEL_GUARDED_BY(m_gate.mutex) = false;
};

} // namespace twheel
