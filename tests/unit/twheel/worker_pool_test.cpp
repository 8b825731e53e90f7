// What workers do at one moment and who wakes whom, with a clock and an alarm that only the test moves.
#include <dlfcn.h>
#include <pthread.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include <gmock/gmock.h>

#include "tests/unit/twheel/scripted_alarm.h"
#include "twheel/src/worker_pool.h"

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__) // whose own is not to be replaced
#define REFUSES_THREADS
namespace {

constexpr int kAll = -1;
int threadsLeft = kAll; // that the system is going to give

} // namespace

extern "C" int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*work)(void*),
                              void* argument) noexcept
{
    if (threadsLeft == 0) {
        return EAGAIN;
    }
    threadsLeft -= threadsLeft == kAll ? 0 : 1;
    const auto real = reinterpret_cast<decltype(&pthread_create)>(::dlsym(RTLD_NEXT, "pthread_create"));
    return real(thread, attributes, work, argument);
}
#endif

namespace twheel::testing {
namespace {

using ::testing::UnorderedElementsAre;

constexpr Nanoseconds kMicrosecond = 1000;
constexpr Nanoseconds kMillisecond = 1'000'000;
constexpr Nanoseconds kNotSet = ScriptedAlarm::kNotSet;
// How long work may wait behind a run.
constexpr Nanoseconds kGuard = 50 * kMicrosecond;
// A whole number of milliseconds, as ticks are.
constexpr Nanoseconds kStart = 5'000'000 * kMillisecond;

// Does something when it is destroyed.
class Closing final : public TwheelRunnable
{
public:
    explicit Closing(std::function<void()> atEnd) : m_atEnd(std::move(atEnd)) {}
    ~Closing() override { m_atEnd(); }
    void run() override {}

private:
    const std::function<void()> m_atEnd;
};

// The bytes of a task that nobody is to touch any more; the handle keeps them.
std::string bytesOf(const boost::shared_ptr<TaskHandle>& handle)
{
    std::string bytes(sizeof(Task), '\0');
    std::memcpy(bytes.data(), dynamic_cast<const void*>(handle.get()), bytes.size());
    return bytes;
}

class WorkerPoolTest : public ::testing::Test
{
protected:
    ~WorkerPoolTest() override { end(); }

    void start(int workers)
    {
        m_alarm.reset(kStart);
        m_workers = workers;
        m_pool = std::make_unique<WorkerPool>(workers);
        settle();
        m_wakeUps = m_alarm.wakeUps();
    }
    void end()
    {
        m_hold.open();
        if (m_pool != nullptr) {
            m_pool->stop();
            m_pool.reset();
        }
    }
    void settle() { EXPECT_TRUE(m_alarm.settle(m_workers)) << "workers neither sleep nor are held"; }
    void pass(Nanoseconds time)
    {
        m_alarm.pass(time);
        settle();
    }
    int wakeUps() { return m_alarm.wakeUps() - m_wakeUps; }

    boost::shared_ptr<TaskHandle> schedule(long delay, std::function<void()> body, long period = 0)
    {
        return m_pool->schedule(delay, period, runnable(std::move(body)));
    }
    boost::shared_ptr<TaskHandle> addShort(long delay, int id, long period = 0)
    {
        return schedule(
            delay, [this, id] { note(id); }, period);
    }
    // One that takes so long.
    void addTaking(long delay, int id, Nanoseconds time)
    {
        schedule(delay, [this, id, time] {
            note(id);
            m_alarm.pass(time);
        });
    }
    void addBlocked(long delay, int id)
    {
        schedule(delay, [this, id] {
            note(id);
            m_hold.pass();
        });
    }
    void note(int id)
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_begun.push_back(id);
    }
    // What has begun since it was asked last.
    std::vector<int> begun()
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return std::exchange(m_begun, {});
    }
    std::size_t countOfBegun() { return begun().size(); }

    ScriptedAlarm& m_alarm = ScriptedAlarm::instance();
    Hold m_hold;
    int m_workers = 0;
    int m_wakeUps = 0;
    std::mutex m_mutex;
    std::vector<int> m_begun;
    std::unique_ptr<WorkerPool> m_pool;
};

using Ids = std::vector<int>;

TEST_F(WorkerPoolTest, isWokenAtTheFirstTickThatIsNotTooEarlyAndAtNoOther)
{
    start(3);
    EXPECT_EQ(m_alarm.time(), kNotSet);
    addShort(3, 1);
    EXPECT_EQ(m_alarm.time(), kStart + 3 * kMillisecond);
    pass(1);
    addShort(1, 2); // not before its delay has passed, so a nanosecond before the tick after the next
    EXPECT_EQ(m_alarm.time(), kStart + 2 * kMillisecond);
    addShort(10, 3);
    EXPECT_EQ(m_alarm.time(), kStart + 2 * kMillisecond);
    pass(2 * kMillisecond - 2);
    EXPECT_EQ(wakeUps(), 0);
    pass(1);
    EXPECT_EQ(begun(), Ids{2});
    EXPECT_EQ(m_alarm.time(), kStart + 3 * kMillisecond);
    pass(kMillisecond);
    EXPECT_EQ(begun(), Ids{1});
    EXPECT_EQ(m_alarm.time(), kStart + 11 * kMillisecond);
    pass(8 * kMillisecond);
    EXPECT_EQ(begun(), Ids{3});
    EXPECT_EQ(m_alarm.time(), kNotSet);
    EXPECT_EQ(wakeUps(), 3);
}

TEST_F(WorkerPoolTest, runsWhatIsDueAtOnceWithoutATickPassing)
{
    start(1);
    pass(kMillisecond / 3);
    addShort(0, 1);
    settle();
    EXPECT_EQ(begun(), Ids{1});
    addShort(-7, 2);
    settle();
    EXPECT_EQ(begun(), Ids{2});
    addShort(1, 3);
    settle();
    EXPECT_EQ(begun(), Ids{});
}

TEST_F(WorkerPoolTest, setsNoAlarmForWhatTheClockCannotTell)
{
    start(2);
    constexpr long kLast = kNotSet / kMillisecond;
    addShort(kLast - kStart / kMillisecond, 1);
    EXPECT_EQ(m_alarm.time(), kNotSet);
    addShort(kLast - kStart / kMillisecond - 1, 2);
    EXPECT_EQ(m_alarm.time(), (kLast - 1) * kMillisecond);
}

TEST_F(WorkerPoolTest, oneWorkerRunsAllThatIsDueInOrderAndWakesNobody)
{
    start(4);
    Ids expected;
    for (int id = 0; id < 50; ++id) {
        addShort(2, id);
        expected.push_back(id);
    }
    pass(2 * kMillisecond);
    EXPECT_EQ(begun(), expected);
    EXPECT_EQ(wakeUps(), 1);
    EXPECT_EQ(m_alarm.calls(), 0);
    EXPECT_EQ(m_alarm.time(), kNotSet) << "somebody would be woken for nothing";
}

TEST_F(WorkerPoolTest, theOnlyWorkerGoesOnUntilNothingIsDue)
{
    start(1);
    for (int id = 0; id < 20; ++id) {
        addShort(1, id);
    }
    pass(kMillisecond);
    EXPECT_EQ(countOfBegun(), 20U);
    EXPECT_EQ(wakeUps(), 1);
}

// Idle for an hour, the wheel sorts by the time that it is now: a short delay needs no wake-up on the way.
TEST_F(WorkerPoolTest, wakesNobodyOnTheWayToAShortDelayAfterAnIdleHour)
{
    start(1);
    pass(3'600'000 * kMillisecond);
    addShort(10, 1);
    addShort(4000, 2);
    pass(10 * kMillisecond);
    EXPECT_EQ(begun(), Ids{1});
    EXPECT_EQ(m_alarm.time(), m_alarm.now() + 3990 * kMillisecond);
}

// They come to finer slots in several steps, between which the lock is free.
TEST_F(WorkerPoolTest, runsAThousandThatWereFarAwayInOneTick)
{
    start(2);
    Ids expected;
    for (int id = 0; id < 1000; ++id) {
        addShort(5000, id);
        expected.push_back(id);
    }
    EXPECT_EQ(m_alarm.time(), kStart + 5000 * kMillisecond);
    pass(5000 * kMillisecond);
    EXPECT_EQ(begun(), expected);
    EXPECT_EQ(wakeUps(), 1);
    EXPECT_EQ(m_alarm.time(), kNotSet);
}

TEST_F(WorkerPoolTest, startsWhatWaitsBehindARunWhenThePatienceEnds)
{
    start(2);
    addBlocked(1, 1);
    addShort(1, 2);
    pass(kMillisecond);
    EXPECT_EQ(begun(), Ids{1});
    pass(kGuard - 1);
    EXPECT_EQ(begun(), Ids{});
    EXPECT_EQ(wakeUps(), 1);
    pass(1);
    EXPECT_EQ(begun(), Ids{2});
    EXPECT_EQ(wakeUps(), 2);
    EXPECT_EQ(m_alarm.calls(), 0);
}

TEST_F(WorkerPoolTest, startsTheNextTickWhileARunThatNothingWaitsForIsInProgress)
{
    start(2);
    addBlocked(1, 1);
    addShort(4, 2);
    pass(kMillisecond);
    EXPECT_EQ(m_alarm.time(), kStart + 4 * kMillisecond);
    pass(3 * kMillisecond);
    EXPECT_EQ(begun(), (Ids{1, 2}));
    EXPECT_EQ(wakeUps(), 2);
}

// Woken before half the patience is over a worker leaves a batch to its owner.
TEST_F(WorkerPoolTest, leavesAFreshBatchAlone)
{
    start(2);
    addBlocked(1, 1);
    addShort(1, 2);
    pass(kMillisecond);
    EXPECT_EQ(begun(), Ids{1});
    pass(kGuard / 2 - kMicrosecond);
    addShort(0, 3);
    settle();
    EXPECT_EQ(begun(), Ids{});
    EXPECT_EQ(wakeUps(), 2);
    pass(2 * kMicrosecond);
    addShort(0, 4);
    settle();
    EXPECT_EQ(begun(), (Ids{2, 3, 4}));
}

// The first worker that meets a slow run calls one more, that one two: no more than there are runs for them.
TEST_F(WorkerPoolTest, callsAsManyAsBlockedRunsAreWaiting)
{
    for (const int blocked : {3, 5, 9}) {
        SCOPED_TRACE(blocked);
        start(10);
        for (int round = 1; round <= 3; ++round) {
            const int calls = m_alarm.calls();
            Hold hold;
            for (int id = 0; id < blocked; ++id) {
                schedule(1, [this, &hold, id] {
                    note(id);
                    hold.pass();
                });
            }
            pass(kMillisecond);
            EXPECT_EQ(countOfBegun(), 1U);
            pass(kGuard);
            EXPECT_EQ(countOfBegun(), std::size_t(blocked) - 1);
            EXPECT_EQ(m_alarm.calls() - calls, blocked - 2);
            m_alarm.pass(kMillisecond);
            hold.open();
            settle();
            // The rest of the tick, so that the next round begins at one.
            pass(kMillisecond - kGuard);
        }
        end();
    }
}

// The last one takes back what another has taken and not begun, which then looks again when the patience ends.
TEST_F(WorkerPoolTest, callsNoMoreThanAreFree)
{
    start(4);
    for (int id = 0; id < 9; ++id) {
        addBlocked(1, id);
    }
    pass(kMillisecond);
    pass(kGuard);
    pass(kGuard);
    EXPECT_EQ(countOfBegun(), 4U);
    EXPECT_EQ(m_alarm.calls(), 2);
    m_hold.open();
    settle();
    EXPECT_EQ(countOfBegun(), 5U);
}

TEST_F(WorkerPoolTest, aSlowRunThatIsOverMakesNobodyCallOthers)
{
    start(3);
    {
        Hold hold;
        for (int id = 0; id < 2; ++id) {
            schedule(1, [&hold] { hold.pass(); });
        }
        pass(kMillisecond);
        pass(kGuard);
        m_alarm.pass(kMillisecond - kGuard);
        hold.open();
        settle();
    }
    const int before = wakeUps();
    for (int id = 0; id < 3; ++id) {
        addBlocked(1, id);
    }
    pass(kMillisecond);
    EXPECT_EQ(begun(), Ids{0});
    EXPECT_EQ(wakeUps(), before + 1);
    EXPECT_EQ(m_alarm.calls(), 0);
    EXPECT_EQ(m_alarm.time(), m_alarm.now() + kGuard);
}

// While the work is short the alarm is moved on when it is close by, and no other worker is ever woken.
TEST_F(WorkerPoolTest, movesTheAlarmOnOnlyWhenItIsCloseAndManyRunsWereShort)
{
    struct Case
    {
        int runs;
        Nanoseconds time;
        bool isMoved;
    };
    // Of the second batch of sixteen, or what is left for it: the first sets the alarm.
    for (const Case& one : {Case{16 + 8, 2 * kMicrosecond, true}, Case{16 + 7, 2 * kMicrosecond, false},
                            Case{16 + 8, kMicrosecond, false}}) {
        SCOPED_TRACE(one.runs);
        start(2);
        Nanoseconds first = 0;
        Nanoseconds last = 0;
        for (int id = 0; id < one.runs; ++id) {
            schedule(1, [&, id] {
                (id < 16 ? first : last) = m_alarm.time();
                m_alarm.pass(one.time);
            });
        }
        pass(kMillisecond);
        EXPECT_EQ(first, kStart + kMillisecond + kGuard);
        EXPECT_EQ(last, one.isMoved ? first + 16 * one.time : first);
        EXPECT_EQ(wakeUps(), 1);
        end();
    }
}

// After a thousand short runs the next are taken to be short, until one is not.
TEST_F(WorkerPoolTest, guardsTheNextRunsAtTheNextTickAfterAThousandShortOnes)
{
    for (const int before : {999, 1000, 1500}) {
        SCOPED_TRACE(before);
        start(2);
        for (int id = 0; id < before; ++id) {
            addShort(1, id);
        }
        pass(kMillisecond);
        EXPECT_EQ(countOfBegun(), std::size_t(before));
        addBlocked(1, 1);
        addShort(1, 2);
        pass(kMillisecond);
        EXPECT_EQ(begun(), Ids{1});
        EXPECT_EQ(m_alarm.time(), m_alarm.now() + (before < 1000 ? kGuard : kMillisecond));
        pass(kMillisecond);
        EXPECT_EQ(begun(), Ids{2});
        end();
        m_hold = Hold();
    }
}

TEST_F(WorkerPoolTest, oneRunBeyondThePatienceEndsTheTrustInShortOnes)
{
    for (const Nanoseconds time : {kGuard, kGuard + 1}) {
        SCOPED_TRACE(time);
        start(2);
        for (int id = 0; id < 1100; ++id) {
            addShort(1, id);
        }
        pass(kMillisecond);
        addTaking(1, 1, time);
        pass(kMillisecond);
        pass(kMillisecond - time); // at a tick again
        begun();
        addBlocked(1, 1);
        addShort(1, 2);
        pass(kMillisecond);
        EXPECT_EQ(begun(), Ids{1});
        EXPECT_EQ(m_alarm.time(), m_alarm.now() + (time > kGuard ? kGuard : kMillisecond));
        end();
        m_hold = Hold();
    }
}

// A worker that recalls what waits leaves the lock to let go of what has ended. When the last free one comes
// after that, it takes back what others took meanwhile: nobody else would be there to do it.
TEST_F(WorkerPoolTest, theLastFreeWorkerRecallsWhatOthersTookMeanwhile)
{
    Hold gate;
    start(4);
    m_pool->schedule(1, 0, boost::make_shared<Closing>([&] { gate.pass(); }));
    addBlocked(1, 1);
    pass(kMillisecond);
    EXPECT_EQ(begun(), Ids{1});
    pass(kGuard); // the second worker lets go of the first task, and is kept at it
    EXPECT_EQ(gate.entered(), 1);
    addBlocked(1, 2);
    addShort(1, 3); // behind that in one batch
    pass(2 * kMillisecond - kGuard);
    EXPECT_EQ(begun(), Ids{2});
    addBlocked(0, 4);
    addBlocked(0, 5);
    settle();
    EXPECT_EQ(begun(), Ids{});
    gate.open(); // it takes one of the two and calls the fourth worker
    settle();
    pass(kGuard);
    EXPECT_EQ(m_alarm.calls(), 1);
    EXPECT_THAT(begun(), UnorderedElementsAre(3, 4, 5));
}

// As long as one sleeps, who looks after it: the alarm is set.
TEST_F(WorkerPoolTest, aWorkerThatBecomesFreeLeavesAFreshBatchToItsOwner)
{
    Hold first;
    start(3);
    schedule(1, [&] { first.pass(); });
    pass(kMillisecond);
    addShort(0, 1); // ends the time in which workers take runs one by one
    pass(kGuard);
    EXPECT_EQ(begun(), Ids{1});
    addBlocked(1, 2);
    addShort(1, 3);
    pass(2 * kMillisecond - kGuard);
    EXPECT_EQ(begun(), Ids{2});
    first.open();
    settle();
    EXPECT_EQ(begun(), Ids{});
    pass(kGuard);
    EXPECT_EQ(begun(), Ids{3});
}

TEST_F(WorkerPoolTest, setsNoAlarmWhileNobodySleeps)
{
    start(1);
    addBlocked(0, 1);
    settle();
    addShort(7, 2);
    EXPECT_EQ(m_alarm.time(), kNotSet);
    m_hold.open();
    settle();
    EXPECT_EQ(m_alarm.time(), kStart + 7 * kMillisecond);
}

TEST_F(WorkerPoolTest, startsNothingThatWaitsBehindARunWhenItIsStopped)
{
    start(2);
    addBlocked(1, 1);
    addShort(1, 2);
    pass(kMillisecond);
    std::thread stopper([this] { m_pool->stop(); });
    m_workers = 1;
    settle(); // the other worker was called and has gone
    m_hold.open();
    stopper.join();
    m_pool.reset();
    EXPECT_EQ(begun(), Ids{1});
}

// A batch still names a periodic task whose run is over, so that it can be told what comes next: no longer
// than the task cannot go.
TEST_F(WorkerPoolTest, touchesNoTaskThatWasCancelledWhileItSlept)
{
    start(1);
    const auto handle = addShort(1, 1, 10);
    pass(kMillisecond);
    handle->cancel();
    const std::string bytes = bytesOf(handle);
    addShort(0, 2);
    settle();
    EXPECT_EQ(begun(), (Ids{1, 2}));
    EXPECT_EQ(bytesOf(handle), bytes);
}

TEST_F(WorkerPoolTest, touchesNoTaskThatWasCancelledWhileItLetGoOfAnother)
{
    std::string bytes;
    start(2);
    const auto handle = addShort(1, 1, 10);
    m_pool->schedule(1, 0, boost::make_shared<Closing>([&] {
                         handle->cancel();
                         bytes = bytesOf(handle);
                     }));
    for (unsigned id = 2; id <= Batch::kMost; ++id) { // one more than the first batch takes
        addShort(1, int(id));
    }
    pass(kMillisecond);
    EXPECT_EQ(countOfBegun(), Batch::kMost);
    EXPECT_EQ(wakeUps(), 1);
    EXPECT_EQ(bytesOf(handle), bytes);
}

TEST_F(WorkerPoolTest, workersHaveANameAndNoneOfTheProcessesSignals)
{
    sigset_t before;
    sigset_t after;
    sigset_t inRun;
    std::string name(16, '\0');
    sigemptyset(&inRun);
    pthread_sigmask(SIG_SETMASK, nullptr, &before);
    start(1);
    pthread_sigmask(SIG_SETMASK, nullptr, &after);
    schedule(0, [&] {
        pthread_sigmask(SIG_SETMASK, nullptr, &inRun);
        pthread_getname_np(pthread_self(), name.data(), name.size());
    });
    settle();
    EXPECT_STREQ(name.c_str(), "twheel");
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGUSR1, SIGALRM, SIGCHLD}) {
        EXPECT_EQ(sigismember(&inRun, signal), 1) << signal;
        EXPECT_EQ(sigismember(&after, signal), sigismember(&before, signal)) << signal;
    }
}

// The one that the next pool gets.
SchedulerRef* freeReference()
{
    SchedulerRef& free = SchedulerRef::obtain();
    SchedulerRef::giveBack(free);
    return &free;
}

TEST_F(WorkerPoolTest, leavesItsReferenceToTheNext)
{
    const SchedulerRef* const free = freeReference();
    start(1);
    EXPECT_NE(freeReference(), free);
    end();
    EXPECT_EQ(freeReference(), free);
}

#ifdef REFUSES_THREADS
TEST_F(WorkerPoolTest, leavesNothingBehindWhereAThreadIsRefused)
{
    const SchedulerRef* const free = freeReference();
    sigset_t before;
    sigset_t after;
    pthread_sigmask(SIG_SETMASK, nullptr, &before);
    m_alarm.reset(kStart);
    threadsLeft = 2;
    EXPECT_THROW(WorkerPool(3), std::system_error);
    EXPECT_EQ(threadsLeft, 0);
    threadsLeft = kAll;
    pthread_sigmask(SIG_SETMASK, nullptr, &after);
    for (const int signal : {SIGINT, SIGTERM, SIGUSR1}) {
        EXPECT_EQ(sigismember(&after, signal), sigismember(&before, signal)) << signal;
    }
    EXPECT_EQ(freeReference(), free);
    start(3);
    addShort(0, 1);
    settle();
    EXPECT_EQ(begun(), Ids{1});
}
#endif

} // namespace
} // namespace twheel::testing
