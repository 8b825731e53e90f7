#include <climits>
#include <ctime>
#include <set>
#include <stdexcept>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "tests/unit/twheel/runnables.h"

namespace twheel::testing {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

TEST(TaskScheduler, runsAOneShotOnceAndNotBeforeItsDelay)
{
    Counter runs;
    TaskScheduler scheduler(2);
    const auto before = Clock::now();
    Clock::time_point at;
    scheduler.schedule(30, runnable([&] {
                           at = Clock::now();
                           runs.add();
                       }));
    ASSERT_TRUE(runs.waitFor(1));
    EXPECT_GE(at - before, milliseconds(30));
    Counter later;
    scheduler.schedule(20, runnable([&] { later.add(); }));
    ASSERT_TRUE(later.waitFor(1));
    EXPECT_EQ(runs.value(), 1);
}

TEST(TaskScheduler, runsAPeriodicTaskAtFirstPlusNTimesPeriodWithoutDrift)
{
    Counter runs;
    std::mutex mutex;
    std::vector<Clock::time_point> starts;
    TaskScheduler scheduler(2);
    const auto before = Clock::now();
    const auto handle = scheduler.schedule(20, 7, runnable([&] {
                                               {
                                                   const std::lock_guard<std::mutex> lock(mutex);
                                                   starts.push_back(Clock::now());
                                               }
                                               runs.add();
                                           }));
    ASSERT_TRUE(runs.waitFor(30));
    handle->cancel();
    const std::lock_guard<std::mutex> lock(mutex);
    for (std::size_t n = 0; n < 30; ++n) {
        EXPECT_GE(starts[n] - before, milliseconds(20 + 7 * long(n))) << "run " << n << " came early";
    }
}

TEST(TaskScheduler, runsOnWorkersAndNeverOnTheCaller)
{
    Counter runs;
    std::thread::id id;
    TaskScheduler scheduler(1);
    scheduler.schedule(0, runnable([&] {
                           id = std::this_thread::get_id();
                           runs.add();
                       }));
    ASSERT_TRUE(runs.waitFor(1));
    EXPECT_NE(id, std::this_thread::get_id());
}

TEST(TaskScheduler, takesNoOrNegativeDelayAsDueAtOnce)
{
    Counter runs;
    TaskScheduler scheduler(1);
    for (const long delay : {0L, -1L, -1000L, LONG_MIN}) {
        scheduler.schedule(delay, runnable([&] { runs.add(); }));
    }
    EXPECT_TRUE(runs.waitFor(4));
}

TEST(TaskScheduler, neverRunsWhatIsDueAtTheEndOfTime)
{
    Counter farRuns;
    Counter nearRuns;
    TaskScheduler scheduler(1);
    const auto far = scheduler.schedule(LONG_MAX, LONG_MAX, runnable([&] { farRuns.add(); }));
    scheduler.schedule(20, runnable([&] { nearRuns.add(); }));
    ASSERT_TRUE(nearRuns.waitFor(1));
    far->cancel();
    EXPECT_EQ(farRuns.value(), 0);
}

TEST(TaskScheduler, waitsTheLongestPeriodAfterTheFirstRun)
{
    Counter runs;
    Counter other;
    TaskScheduler scheduler(1);
    const auto handle = scheduler.schedule(0, LONG_MAX, runnable([&] { runs.add(); }));
    ASSERT_TRUE(runs.waitFor(1));
    scheduler.schedule(20, runnable([&] { other.add(); }));
    ASSERT_TRUE(other.waitFor(1));
    EXPECT_EQ(runs.value(), 1);
    handle->cancel();
}

TEST(TaskScheduler, runsOnceWhenThePeriodIsNotPositive)
{
    TaskScheduler scheduler(1);
    for (const long period : {0L, -1L, LONG_MIN}) {
        Counter runs;
        scheduler.schedule(1, period, runnable([&] { runs.add(); }));
        ASSERT_TRUE(runs.waitFor(1));
        Counter later;
        scheduler.schedule(20, runnable([&] { later.add(); }));
        ASSERT_TRUE(later.waitFor(1));
        EXPECT_EQ(runs.value(), 1);
    }
}

// By the processor's clock, so that a busy machine makes no difference.
TEST(TaskScheduler, workersWithoutWorkUseNoProcessor)
{
    TaskScheduler scheduler(10);
    scheduler.schedule(3600000, runnable([] {}));
    const std::clock_t before = std::clock();
    std::this_thread::sleep_for(milliseconds(500));
    EXPECT_LT(std::clock() - before, CLOCKS_PER_SEC / 50);
}

TEST(TaskScheduler, refusesANullTask)
{
    TaskScheduler scheduler(1);
    EXPECT_THROW(scheduler.schedule(1, nullptr), std::invalid_argument);
    EXPECT_THROW(scheduler.schedule(1, 1, nullptr), std::invalid_argument);
}

TEST(TaskScheduler, hasOneWorkerWhenAskedForNone)
{
    for (const int workers : {0, -3}) {
        Counter runs;
        TaskScheduler scheduler(workers);
        scheduler.schedule(0, runnable([&] { runs.add(); }));
        EXPECT_TRUE(runs.waitFor(1));
    }
}

TEST(TaskScheduler, startsAnOverlappingTickWhileAWorkerIsFree)
{
    Counter entered;
    Door door;
    TaskScheduler scheduler(3);
    const auto handle = scheduler.schedule(0, 5, runnable([&] {
                                               entered.add();
                                               door.pass();
                                           }));
    // Three runs of one task at once, since none ends before the door opens.
    EXPECT_TRUE(entered.waitFor(3));
    handle->cancel();
    door.open();
}

TEST(TaskScheduler, collapsesTheTicksMissedWhileNoWorkerIsFree)
{
    Counter blocked;
    Counter runs;
    Counter clockRuns;
    Door door;
    std::mutex mutex;
    std::vector<Clock::time_point> starts;
    TaskScheduler scheduler(1);
    const auto handle = scheduler.schedule(5, 10, runnable([&] {
                                               {
                                                   const std::lock_guard<std::mutex> lock(mutex);
                                                   starts.push_back(Clock::now());
                                               }
                                               runs.add();
                                           }));
    scheduler.schedule(0, runnable([&] {
                           blocked.add();
                           door.pass();
                       }));
    ASSERT_TRUE(blocked.waitFor(1));
    std::this_thread::sleep_for(milliseconds(105));
    const int before = runs.value();
    const auto opened = Clock::now();
    door.open();
    ASSERT_TRUE(runs.waitFor(before + 3));
    handle->cancel();
    const std::lock_guard<std::mutex> lock(mutex);
    // The one that waited starts at once; the one after it keeps to the grid, so two more take over 10 ms.
    EXPECT_GT(starts[std::size_t(before) + 2] - opened, milliseconds(10));
}

TEST(TaskScheduler, startsOthersWhileARunBlocks)
{
    Counter entered;
    Counter runs;
    Door door;
    TaskScheduler scheduler(10);
    for (int i = 0; i < 9; ++i) {
        scheduler.schedule(10, runnable([&] {
                               entered.add();
                               door.pass();
                           }));
    }
    ASSERT_TRUE(entered.waitFor(9));
    const auto handle = scheduler.schedule(1, 2, runnable([&] { runs.add(); }));
    EXPECT_TRUE(runs.waitFor(20));
    handle->cancel();
    door.open();
}

// Again and again: the workers that one round called must be there for the next. A short run in every tick
// takes back each time what the blocked ones have taught them.
TEST(TaskScheduler, hasAllWorkersAtBlockedRunsThatAreDueAtOnce)
{
    Counter shortRuns;
    TaskScheduler scheduler(10);
    const auto handle = scheduler.schedule(1, 1, runnable([&] { shortRuns.add(); }));
    for (int round = 1; round <= 20; ++round) {
        const bool withShortRuns = round % 2 == 0;
        Counter entered;
        Counter left;
        Door door;
        for (int i = 0; i < 10; ++i) {
            scheduler.schedule(3, runnable([&] {
                                   entered.add();
                                   door.pass();
                                   left.add();
                               }));
        }
        EXPECT_TRUE(entered.waitFor(10)) << "round " << round;
        const int before = shortRuns.value();
        door.open();
        ASSERT_TRUE(left.waitFor(10));
        EXPECT_TRUE(!withShortRuns || shortRuns.waitFor(before + 3));
    }
    handle->cancel();
}

TEST(TaskScheduler, endsWhileWorkersAreBeingCalledToBlockedRuns)
{
    for (int round = 0; round < 30; ++round) {
        Counter entered;
        Counter runs;
        {
            TaskScheduler scheduler(10);
            for (int i = 0; i < 20; ++i) {
                scheduler.schedule(1, runnable([&] {
                                       entered.add();
                                       std::this_thread::sleep_for(std::chrono::microseconds(300));
                                       runs.add();
                                   }));
            }
            ASSERT_TRUE(entered.waitFor(1 + round % 10));
        }
        EXPECT_GE(runs.value(), 1 + round % 10);
    }
}

TEST(TaskScheduler, keepsItsWorkersWhenRunsThrowAnything)
{
    Counter runs;
    TaskScheduler scheduler(1);
    const auto handle = scheduler.schedule(0, 1, runnable([&] {
                                               runs.add();
                                               switch (runs.value() % 3) {
                                               case 0:
                                                   throw std::runtime_error("a run failed");
                                               case 1:
                                                   throw 7;
                                               default:
                                                   break;
                                               }
                                           }));
    EXPECT_TRUE(runs.waitFor(10));
    handle->cancel();
}

} // namespace
} // namespace twheel::testing
