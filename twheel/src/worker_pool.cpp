#include "twheel/src/worker_pool.h"

#include <algorithm>
#include <csignal>
#include <limits>
#include <utility>

#include <pthread.h>

namespace twheel {

namespace {

constexpr Nanoseconds kTickLength = 1'000'000;
constexpr Nanoseconds kNotSet = std::numeric_limits<Nanoseconds>::max();
// How long work may wait behind a run before another worker is woken for it.
constexpr Nanoseconds kPatience = 50'000;
// This many runs started in half the patience are short ones. A second worker would only fight over the lock
// and the cache with the first, which then goes on alone.
constexpr int kShortRuns = 8;

Tick tickAt(Nanoseconds time)
{
    return Tick(time / kTickLength);
}

Nanoseconds timeOf(Tick tick)
{
    constexpr Tick last = Tick(kNotSet / kTickLength);
    return tick >= last ? kNotSet : Nanoseconds(tick) * kTickLength;
}

// Rounded up: nothing runs early.
Tick expiryAfter(Nanoseconds now, long delay)
{
    return delay <= 0 ? tickAt(now) : tickAt(now + kTickLength - 1) + Tick(delay);
}

void runGuarded(TwheelRunnable& runnable)
{
    try {
        runnable.run();
    } catch (...) {
        // A run that throws has ended; its task goes on and so does its worker. There is nobody to tell.
    }
}

} // namespace

WorkerPool::WorkerPool(int workers)
    : m_gate(Gate::obtain()), m_core(tickAt(monotonicNow())), m_alarmAt(kNotSet)
{
    {
        MutexLock lock(m_gate.mutex);
        m_gate.core = &m_core;
    }
    try {
        start(std::max(workers, 1));
    } catch (...) {
        stop();
        Gate::giveBack(m_gate);
        throw;
    }
}

WorkerPool::~WorkerPool()
{
    stop();
    Gate::giveBack(m_gate);
}

void WorkerPool::start(int workers)
{
    // The process's signals are for its own threads.
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    try {
        for (int i = 0; i < workers; ++i) {
            m_threads.emplace_back([this] { work(); });
            pthread_setname_np(m_threads.back().native_handle(), "twheel");
        }
    } catch (...) {
        pthread_sigmask(SIG_SETMASK, &before, nullptr);
        throw;
    }
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

void WorkerPool::stop()
{
    {
        MutexLock lock(m_gate.mutex);
        m_stopped = true;
        setAlarm(0);
    }
    for (std::thread& thread : m_threads) {
        thread.join();
    }
    m_threads.clear();
    for (bool more = true; more;) {
        Released released;
        MutexLock lock(m_gate.mutex);
        more = m_core.releaseAny(released);
        if (!more) {
            m_gate.core = nullptr;
        }
        lock.unlock();
    }
}

boost::shared_ptr<TaskHandle> WorkerPool::schedule(long delay, long period,
                                                   boost::shared_ptr<TwheelRunnable>&& task)
{
    const auto ticks = Tick(std::max(period, 0L));
    boost::shared_ptr<Task> node = Task::make(m_gate, std::move(task), std::min(ticks, kFarthest));
    const Nanoseconds now = monotonicNow();
    const Tick expiry = expiryAfter(now, delay);
    MutexLock lock(m_gate.mutex);
    if (m_stopped) {
        return node;
    }
    m_core.keepUp(tickAt(now));
    m_core.schedule(*node, expiry);
    if (m_sleeping > 0 && timeOf(expiry) < m_alarmAt) {
        m_guarding = false;
        setAlarm(timeOf(expiry));
    }
    return node;
}

void WorkerPool::work()
{
    MutexLock lock(m_gate.mutex);
    while (!m_stopped) {
        const Nanoseconds now = monotonicNow();
        const bool complete = m_core.advance(tickAt(now));
        Task* task = m_core.start(tickAt(now));
        if (task != nullptr) {
            guardRun(now);
            runNext(*task);
        } else if (complete) {
            sleep();
        } else {
            // A great many tasks on their way to finer slots: let the others have the lock in between.
            lock.unlock();
            lock.lock();
        }
    }
    // One expiry wakes one worker: pass it on.
    setAlarm(0);
}

void WorkerPool::runNext(Task& task)
{
    TwheelRunnable& runnable = m_core.runnable(task);
    m_gate.mutex.unlock();
    runGuarded(runnable);
    m_gate.mutex.lock();
    Released released;
    m_core.finish(task, released);
    if (released) {
        m_gate.mutex.unlock();
        released.runnable.reset();
        released.task.reset();
        m_gate.mutex.lock();
    }
}

void WorkerPool::sleep()
{
    m_runsAreSlow = false;
    m_guarding = false;
    setAlarm(timeOf(m_core.nextEvent()));
    ++m_sleeping;
    m_gate.mutex.unlock();
    m_alarm.wait();
    m_gate.mutex.lock();
    --m_sleeping;
    if (m_alarmAt <= monotonicNow()) {
        m_alarmAt = kNotSet;
        m_runsAreSlow = m_guarding;
    }
}

void WorkerPool::guardRun(Nanoseconds now)
{
    if (m_sleeping == 0) {
        return;
    }
    if (!m_core.waiting()) {
        m_guarding = false;
        setAlarm(timeOf(m_core.nextEvent()));
        return;
    }
    ++m_runsGuarded;
    const bool unset = m_alarmAt > now + kPatience;
    const bool closeBy = m_alarmAt > now && m_alarmAt < now + kPatience / 2;
    if (unset || (closeBy && m_runsGuarded >= kShortRuns)) {
        m_guarding = true;
        m_runsGuarded = 0;
        // Runs that outlast the patience come in company: then the next worker is not kept waiting either.
        setAlarm(m_runsAreSlow ? now : now + kPatience);
        m_runsAreSlow = false;
    }
}

void WorkerPool::setAlarm(Nanoseconds at)
{
    if (at == m_alarmAt) {
        return;
    }
    m_alarmAt = at;
    if (at == kNotSet) {
        m_alarm.clear();
    } else {
        m_alarm.set(at);
    }
}

} // namespace twheel
