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
// This many runs taken in half the patience are short ones. A second worker would only fight over the lock
// and the cache with the first, which then goes on alone.
constexpr unsigned kShortRuns = 8;
// After this many short runs the next are taken to be short, too.
constexpr unsigned kTrusted = 1000;

Tick tickAt(Nanoseconds time)
{
    return Tick(time / kTickLength);
}

Nanoseconds timeOf(Tick tick)
{
    constexpr Tick kLast = Tick(kNotSet / kTickLength);
    return tick >= kLast ? kNotSet : Nanoseconds(tick) * kTickLength;
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
    : m_ref(SchedulerRef::obtain()), m_core(tickAt(monotonicNow())), m_alarmAt(kNotSet)
{
    {
        MutexLock lock(m_ref.mutex);
        m_ref.core = &m_core;
    }
    try {
        start(std::max(workers, 1));
    } catch (...) {
        stop();
        SchedulerRef::giveBack(m_ref);
        throw;
    }
}

WorkerPool::~WorkerPool()
{
    SchedulerRef::giveBack(m_ref);
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
            // All that a worker ever lets go of at once, its own batch's and all others' when it recalls
            // them: where memory runs out there is somebody to tell here, and nobody in the thread.
            Releases released;
            released.reserve(std::size_t{Batch::kMost} * std::size_t(workers));
            m_threads.emplace_back([this, released = std::move(released)]() mutable {
                // From inside: another thread's name is written through /proc.
                pthread_setname_np(pthread_self(), "twheel");
                work(released);
            });
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
        MutexLock lock(m_ref.mutex);
        m_stopped = true;
        m_core.recallAll();
        m_alarm.call(int(m_threads.size()));
    }
    for (std::thread& thread : m_threads) {
        thread.join();
    }
    for (bool more = true; more;) {
        Released released; // goes after the lock
        MutexLock lock(m_ref.mutex);
        more = m_core.releaseAny(released);
        if (!more) {
            m_ref.core = nullptr;
        }
    }
}

boost::shared_ptr<TaskHandle> WorkerPool::schedule(long delay, long period,
                                                   boost::shared_ptr<TwheelRunnable>&& task)
{
    const auto ticks = Tick(std::max(period, 0L));
    boost::shared_ptr<Task> node = Task::make(m_ref, std::move(task), std::min(ticks, kFarthest));
    const Nanoseconds now = monotonicNow();
    const Tick expiry = expiryAfter(now, delay);
    MutexLock lock(m_ref.mutex);
    if (m_stopped) {
        return node;
    }
    m_core.keepUp(tickAt(now));
    m_core.schedule(*node, expiry);
    if (m_sleeping > 0 && timeOf(expiry) < m_alarmAt) {
        setAlarm(timeOf(expiry));
    }
    return node;
}

void WorkerPool::work(Releases& released)
{
    Batch batch;
    MutexLock lock(m_ref.mutex);
    Nanoseconds now = monotonicNow();
    while (!m_stopped) {
        if (m_sleeping == 0) {
            m_core.recallAll();
        }
        const bool complete = m_core.advance(tickAt(now));
        // Alone, it must look at the time between two runs: nobody would recall what a slow one keeps
        // waiting. Among slow runs it leaves all but one to those that are called.
        const bool alone = m_sleeping == 0 || m_slowInARow > 0;
        const unsigned runs = m_core.fill(batch, tickAt(now), alone ? 1 : Batch::kMost);
        if (runs > 0) {
            batch.since = now;
            guard(now, runs);
            now = run(batch, released);
            const bool quick = now - batch.since < kPatience / 2;
            if (!quick || !m_core.active()) {
                continue;
            }
            // Short runs, and another is at them.
        }
        batch.forget();
        if (complete) {
            now = sleep(released);
        } else {
            // A great many tasks on their way to finer slots: let the others have the lock in between.
            lock.unlock();
            lock.lock();
        }
    }
}

Nanoseconds WorkerPool::run(Batch& batch, Releases& released)
{
    unsigned runs = 0;
    m_ref.mutex.unlock();
    for (Task* task = batch.next(); task != nullptr; task = batch.next()) {
        ++runs;
        runGuarded(TaskCore::runnable(*task));
    }
    // Before the lock: who has to wait for it has not been slow.
    const Nanoseconds now = monotonicNow();
    m_ref.mutex.lock();
    if (now - batch.since > kPatience) {
        m_shortRuns /= 2;
    } else {
        m_shortRuns = std::min(m_shortRuns + runs, kTrusted);
        m_slowInARow = 0;
    }
    m_core.end(batch, released);
    if (!released.empty()) {
        letGo(released);
        batch.forget();
        return monotonicNow();
    }
    return now;
}

void WorkerPool::letGo(Releases& released)
{
    m_ref.mutex.unlock();
    released.clear();
    m_ref.mutex.lock();
}

Nanoseconds WorkerPool::sleep(Releases& released)
{
    if (!m_core.waiting()) {
        m_slowInARow = 0;
    }
    // Something is left when this one only makes way for another: then it looks after that other's runs.
    const Nanoseconds event = timeOf(m_core.nextEvent());
    const bool left = m_core.waiting() || m_core.sharesLeft();
    bool called = waitUntil(left ? std::min(event, monotonicNow() + patience()) : event);
    for (;;) {
        const Nanoseconds now = monotonicNow();
        if (m_alarmAt <= now) {
            m_alarmAt = kNotSet;
        }
        // Who was called and finds work waiting has met slow runs as well: none has ended since the call.
        const bool needed = called && m_slowInARow > 0 && m_core.waiting();
        if (needed || recallSlow(now, released)) {
            ++m_slowInARow;
            return monotonicNow();
        }
        if (m_stopped || !m_core.active()) {
            return monotonicNow();
        }
        called = waitUntil(now + patience());
    }
}

bool WorkerPool::waitUntil(Nanoseconds at)
{
    setAlarm(at);
    ++m_sleeping;
    m_ref.mutex.unlock();
    m_alarm.wait();
    m_ref.mutex.lock();
    --m_sleeping;
    if (m_called == 0) {
        return false;
    }
    --m_called;
    return true;
}

// What has not begun behind a slow run goes back to the queue, and what has ended before it is let go of.
bool WorkerPool::recallSlow(Nanoseconds now, Releases& released)
{
    if (!m_core.recallSlow(now - kPatience / 2, released)) {
        return false;
    }
    m_shortRuns /= 2;
    if (!released.empty()) {
        letGo(released);
    }
    return true;
}

bool WorkerPool::runsAreShort() const
{
    return m_shortRuns >= kTrusted;
}

Nanoseconds WorkerPool::patience() const
{
    return runsAreShort() ? kTickLength : kPatience;
}

void WorkerPool::guard(Nanoseconds now, unsigned runs)
{
    if (m_sleeping == 0) {
        return;
    }
    if (!m_core.waiting() && !m_core.sharesLeft()) {
        setAlarm(timeOf(m_core.nextEvent()));
        return;
    }
    m_runsGuarded += runs;
    const Nanoseconds end = now + patience();
    const bool unset = m_alarmAt > end;
    const bool closeBy = m_alarmAt > now && m_alarmAt < now + kPatience / 2;
    if (unset || (closeBy && m_runsGuarded >= kShortRuns && !runsAreShort())) {
        m_runsGuarded = 0;
        setAlarm(std::min(end, timeOf(m_core.nextEvent())));
    }
    if (m_slowInARow > 0) {
        callOthers();
    }
}

// Runs that outlast the patience come in company. The first that is met brings one worker more; each that
// comes and finds others still waiting brings one more than the last did, so that ten blocked runs need four
// steps and not nine, and a single slow one among many short ones wakes no more than one.
void WorkerPool::callOthers()
{
    const int free = std::min(m_slowInARow, m_sleeping - m_called);
    const int calls = std::min(free, m_core.waiting(m_called + free) - m_called);
    if (calls > 0) {
        m_called += calls;
        m_alarm.call(calls);
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
