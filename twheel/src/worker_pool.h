#pragma once

#include <thread>
#include <vector>

#include "twheel/src/alarm.h"
#include "twheel/src/scheduler_ref.h"
#include "twheel/src/task_core.h"

namespace twheel {

// WorkerPool is a scheduler at work: the core, its lock, its alarm and its threads.
//
// Free workers all sleep on the one alarm, which wakes a single one of them. That worker runs everything that
// is due, batch after batch, without waking anybody. What guards against a slow run is the alarm again: while
// work is left waiting behind a run it stands no later than 50 us from now, and a worker that gets through
// its work in time moves it on and no thread has been woken. Moving it costs as much as a hundred short runs,
// so once a great many runs in a row were short it is left at the next tick instead, a millisecond ahead,
// where the worker needs it anyway. Whoever wakes recalls what waits behind a slow run, and a slow run brings
// the 50 us back and calls others, more of them the more slow runs were met in a row. Of short runs one
// worker at a time takes care, and the others go back to sleep: two would take the lock and the cache from
// each other, get less done than one, and stay so once they are behind.
//
// Invariants
//  (1) While a worker sleeps, the alarm is set no later than the moment that needs one: the next due tick, or
//      the end of the patience with a batch whose owner has not come back.
//  (2) No foreign code (run(), a runnable's destructor) is called with the lock held.
//  (3) Runs wait behind another in a batch only while a worker is free to recall them. With none free, and
//      after a slow run, each worker takes one at a time and looks at the clock in between.
//  (4) Only a slow run makes a worker call others; who is woken by the alarm alone wakes nobody.
//  (5) A worker allocates nothing.
// Threading: schedule() from any thread; stop() once, from any but a worker.
class WorkerPool
{
public:
    explicit WorkerPool(int workers);
    // After stop().
    ~WorkerPool();
    WorkerPool(const WorkerPool&) = delete;
    WorkerPool& operator=(const WorkerPool&) = delete;

    // Joins the workers, then releases everything that is scheduled. What is scheduled afterwards never runs.
    void stop();
    // Delay and period in milliseconds; a delay of 0 or less is due at once, a period of 0 runs once.
    boost::shared_ptr<TaskHandle> schedule(long delay, long period, boost::shared_ptr<TwheelRunnable>&& task);

private:
    void start(int workers);
    void work(Releases& released);
    // These let go of the lock meanwhile; some give the time that they have looked at last.
    Nanoseconds run(Batch& batch, Releases& released) TWHEEL_REQUIRES(m_ref.mutex);
    Nanoseconds sleep(Releases& released) TWHEEL_REQUIRES(m_ref.mutex);
    void letGo(Releases& released) TWHEEL_REQUIRES(m_ref.mutex);
    bool recallSlow(Nanoseconds now, Releases& released) TWHEEL_REQUIRES(m_ref.mutex);
    // True when the worker was called by another.
    bool waitUntil(Nanoseconds at) TWHEEL_REQUIRES(m_ref.mutex);

    void guard(Nanoseconds now, unsigned runs) TWHEEL_REQUIRES(m_ref.mutex);
    void callOthers() TWHEEL_REQUIRES(m_ref.mutex);
    bool runsAreShort() const TWHEEL_REQUIRES(m_ref.mutex);
    Nanoseconds patience() const TWHEEL_REQUIRES(m_ref.mutex);
    void setAlarm(Nanoseconds at) TWHEEL_REQUIRES(m_ref.mutex);

    // Constant after construction.
    SchedulerRef& m_ref;
    std::vector<std::thread> m_threads;

    // Guarded by the reference's mutex.
    Alarm m_alarm;
    TaskCore m_core TWHEEL_GUARDED_BY(m_ref.mutex);
    // What the alarm is set to; the largest value when it is not.
    Nanoseconds m_alarmAt TWHEEL_GUARDED_BY(m_ref.mutex);
    // Runs taken since the alarm was set to guard them.
    unsigned m_runsGuarded TWHEEL_GUARDED_BY(m_ref.mutex) = 0;
    // How many of the last runs were short ones.
    unsigned m_shortRuns TWHEEL_GUARDED_BY(m_ref.mutex) = 0;
    int m_sleeping TWHEEL_GUARDED_BY(m_ref.mutex) = 0;
    // How many of those have been called and are not awake yet: no more than the alarm has calls left.
    int m_called TWHEEL_GUARDED_BY(m_ref.mutex) = 0;
    // How many slow runs workers have met since the last short one.
    int m_slowInARow TWHEEL_GUARDED_BY(m_ref.mutex) = 0;
    bool m_stopped TWHEEL_GUARDED_BY(m_ref.mutex) = false;
};

} // namespace twheel
