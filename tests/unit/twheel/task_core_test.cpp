#include <vector>

#include <gtest/gtest.h>

#include "tests/unit/twheel/core_fixture.h"

namespace twheel::testing {
namespace {

class TaskCoreTest : public ::testing::Test
{
protected:
    ~TaskCoreTest() override
    {
        EXPECT_EQ(m_core.check(), "");
        releaseAll(m_core);
    }

    Task* startAt(Tick now)
    {
        advanceFully(m_core, now);
        return m_runs.start(now);
    }
    bool finish(const Task* task) { return m_runs.finish(task); }
    // Runs everything due at `now` to its end; how many runs that were.
    int runAt(Tick now)
    {
        int runs = 0;
        advanceFully(m_core, now);
        while (Task* task = m_runs.start(now)) {
            finish(task);
            ++runs;
        }
        return runs;
    }

    Tasks m_tasks;
    TaskCore m_core{1000};
    Runs m_runs{m_core};
};

TEST_F(TaskCoreTest, runsATaskAtItsTickAndNotBefore)
{
    m_core.schedule(*m_tasks.make(0), 1010);
    EXPECT_EQ(m_core.nextEvent(), 1010U);
    EXPECT_EQ(runAt(1009), 0);
    EXPECT_EQ(runAt(1010), 1);
    EXPECT_EQ(runAt(5000), 0);
    EXPECT_EQ(m_core.nextEvent(), kNever);
}

TEST_F(TaskCoreTest, runsInOrderOfExpiryAndOfSchedulingWithinATick)
{
    m_core.schedule(*m_tasks.make(0, 3), 1020);
    m_core.schedule(*m_tasks.make(0, 1), 1010);
    m_core.schedule(*m_tasks.make(0, 2), 1010);
    m_core.schedule(*m_tasks.make(0, 4), 900000);
    std::vector<int> order;
    advanceFully(m_core, 1000000);
    while (Task* task = m_runs.start(1000000)) {
        order.push_back(idOf(*task));
        finish(task);
    }
    EXPECT_EQ(order, (std::vector<int>{1, 2, 3, 4}));
}

TEST_F(TaskCoreTest, keepsToFirstPlusNTimesPeriodHoweverLateRunsStart)
{
    m_core.schedule(*m_tasks.make(10), 1005);
    for (Tick n = 0; n < 1000; ++n) {
        const Tick late = n % 10;
        EXPECT_EQ(runAt(1005 + 10 * n - 1), 0) << n;
        EXPECT_EQ(runAt(1005 + 10 * n + late % 9), 1) << n;
    }
}

TEST_F(TaskCoreTest, collapsesMissedTicksIntoOneRunAndReturnsToTheGrid)
{
    m_core.schedule(*m_tasks.make(10), 1005);
    EXPECT_EQ(runAt(1005 + 10 * 1000 + 3), 1);
    EXPECT_EQ(m_core.nextEvent() <= 1005 + 10 * 1001U, true);
    EXPECT_EQ(runAt(1005 + 10 * 1001 - 1), 0);
    EXPECT_EQ(runAt(1005 + 10 * 1001), 1);
}

TEST_F(TaskCoreTest, collapsesMissedTicksUpToTheOneThatIsDueNow)
{
    m_core.schedule(*m_tasks.make(10), 1005);
    EXPECT_EQ(runAt(1005 + 50), 1);
    EXPECT_EQ(runAt(1005 + 59), 0);
    EXPECT_EQ(runAt(1005 + 60), 1);
}

TEST_F(TaskCoreTest, startsTheNextTickWhileARunIsInProgress)
{
    m_core.schedule(*m_tasks.make(10), 1005);
    Task* first = startAt(1005);
    ASSERT_NE(first, nullptr);
    Task* second = startAt(1015);
    EXPECT_EQ(second, first);
    finish(first);
    finish(second);
    EXPECT_EQ(runAt(1025), 1);
}

TEST_F(TaskCoreTest, queuesAtMostOneRunOfATaskWhileNobodyTakesIt)
{
    m_core.schedule(*m_tasks.make(10), 1005);
    for (Tick now = 1005; now < 1500; now += 10) {
        advanceFully(m_core, now);
        EXPECT_EQ(m_core.check(), "");
    }
    EXPECT_EQ(m_core.count(), 1U);
    EXPECT_EQ(runAt(1500), 1);
}

TEST_F(TaskCoreTest, countsWhatWaitsAsFarAsItIsAsked)
{
    EXPECT_EQ(m_core.waiting(10), 0);
    for (int i = 0; i < 3; ++i) {
        m_core.schedule(*m_tasks.make(0, i), 1005);
    }
    advanceFully(m_core, 1004);
    EXPECT_EQ(m_core.waiting(10), 0);
    advanceFully(m_core, 1005);
    EXPECT_EQ(m_core.waiting(10), 3);
    EXPECT_EQ(m_core.waiting(2), 2);
    EXPECT_EQ(m_core.waiting(0), 0);
    EXPECT_EQ(runAt(1005), 3);
}

TEST_F(TaskCoreTest, cancelTakesARunOutOfTheQueue)
{
    int destroyed = 0;
    const auto task = m_tasks.make(10, 1, &destroyed);
    m_core.schedule(*task, 1005);
    advanceFully(m_core, 1005);
    ASSERT_TRUE(m_core.waiting());
    {
        Released released;
        m_core.cancel(*task, released);
        EXPECT_EQ(destroyed, 0) << "released while the caller's lock would be held";
    }
    EXPECT_EQ(destroyed, 1);
    EXPECT_FALSE(m_core.waiting());
    EXPECT_EQ(runAt(9000), 0);
}

TEST_F(TaskCoreTest, cancelDuringRunsLeavesTheReleaseToTheLastOne)
{
    int destroyed = 0;
    const auto task = m_tasks.make(10, 1, &destroyed);
    m_core.schedule(*task, 1005);
    startAt(1005);
    startAt(1015);
    Released released;
    m_core.cancel(*task, released);
    EXPECT_FALSE(released);
    EXPECT_FALSE(finish(task.get()));
    EXPECT_EQ(destroyed, 0);
    EXPECT_TRUE(finish(task.get()));
    EXPECT_EQ(destroyed, 1);
    EXPECT_EQ(m_core.count(), 0U);
}

TEST_F(TaskCoreTest, cancelIsIdempotentAndHarmlessAfterTheEnd)
{
    const auto task = m_tasks.make(0);
    m_core.schedule(*task, 1005);
    EXPECT_EQ(runAt(1005), 1);
    for (int i = 0; i < 2; ++i) {
        Released released;
        m_core.cancel(*task, released);
        EXPECT_FALSE(released);
    }
}

TEST_F(TaskCoreTest, takesAPastExpiryAsDueWithoutWaitingForTheNextTick)
{
    advanceFully(m_core, 2000);
    m_core.schedule(*m_tasks.make(0), 2000);
    EXPECT_TRUE(m_core.waiting());
    EXPECT_EQ(runAt(2000), 1);
}

TEST_F(TaskCoreTest, holdsExpiriesAndPeriodsAtTheEndOfTime)
{
    const auto task = m_tasks.make(kFarthest);
    m_core.schedule(*task, kNever - 1);
    EXPECT_EQ(m_core.check(), "");
    EXPECT_EQ(runAt(kFarthest - 1), 0);
    EXPECT_EQ(runAt(kFarthest), 1);
}

TEST_F(TaskCoreTest, movesAGreatManyTasksToFinerSlotsInBoundedSteps)
{
    const Tick expiry = 1000 + 100000;
    for (int i = 0; i < 1000; ++i) {
        m_core.schedule(*m_tasks.make(0, i), expiry + Tick(i) % 7);
    }
    int steps = 0;
    while (!m_core.advance(expiry + 7)) {
        ++steps;
        EXPECT_EQ(m_core.check(), "");
    }
    EXPECT_GT(steps, 2);
    EXPECT_EQ(runAt(expiry + 7), 1000);
}

TEST_F(TaskCoreTest, wakesForAFarTaskOnlyAFewTimesOnItsWay)
{
    m_core.schedule(*m_tasks.make(0), 1000 + 3600 * 1000);
    int wakeUps = 0;
    while (m_core.nextEvent() != kNever) {
        const Tick event = m_core.nextEvent();
        runAt(event);
        ++wakeUps;
    }
    EXPECT_LE(wakeUps, 3);
}

TEST_F(TaskCoreTest, isWholeAfterEachTaskThatIsTakenOutAtTheEnd)
{
    int destroyed = 0;
    for (const Tick expiry : {1000, 1005, 1070, 9000, 900000}) {
        m_core.schedule(*m_tasks.make(expiry % 2, 0, &destroyed), expiry);
    }
    for (int released = 1; released <= 5; ++released) {
        Released one;
        EXPECT_TRUE(m_core.releaseAny(one));
        one = Released();
        EXPECT_EQ(destroyed, released);
        EXPECT_EQ(m_core.count(), std::size_t(5 - released));
        EXPECT_EQ(m_core.nextEvent(), kNever);
    }
    Released none;
    EXPECT_FALSE(m_core.releaseAny(none));
}

TEST_F(TaskCoreTest, catchesUpWithTheTimeWithoutPassingAnythingOver)
{
    m_core.schedule(*m_tasks.make(0), 500000);
    m_core.keepUp(400000);
    EXPECT_EQ(m_core.check(), "");
    m_core.keepUp(700000);
    EXPECT_EQ(m_core.check(), "");
    m_core.schedule(*m_tasks.make(0), 700001);
    EXPECT_EQ(runAt(499999), 0);
    EXPECT_EQ(runAt(500000), 1);
    EXPECT_EQ(runAt(700001), 1);
}

} // namespace
} // namespace twheel::testing
