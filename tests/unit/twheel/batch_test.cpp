// What a worker takes at once, and how the others get back what waits behind a slow run.
#include <chrono>
#include <thread>

#include <boost/weak_ptr.hpp>
#include <gtest/gtest.h>

#include "tests/unit/twheel/core_fixture.h"
#include "tests/unit/twheel/runnables.h"

namespace twheel::testing {
namespace {

class BatchTest : public ::testing::Test
{
protected:
    ~BatchTest() override
    {
        EXPECT_EQ(m_core.check(), "");
        releaseAll(m_core);
        EXPECT_EQ(m_core.count(), 0U);
    }

    boost::shared_ptr<Task> add(Tick expiry, Tick period, int id)
    {
        auto task = m_tasks.make(period, id, &m_destroyed);
        m_core.schedule(*task, expiry);
        return task;
    }
    unsigned take(Batch& batch, Tick now)
    {
        advanceFully(m_core, now);
        return m_core.fill(batch, now, Batch::kMost);
    }
    // The ids of what is left to begin, which it begins.
    static std::vector<int> beginRest(Batch& batch)
    {
        std::vector<int> ids;
        while (Task* task = batch.next()) {
            ids.push_back(idOf(*task));
        }
        return ids;
    }
    void end(Batch& batch)
    {
        Releases released;
        m_core.end(batch, released);
    }

    Tasks m_tasks;
    TaskCore m_core{1000};
    int m_destroyed = 0;
};

TEST_F(BatchTest, takesWhatIsDueInOrderUpToItsSize)
{
    for (int i = 0; i < int(Batch::kMost) + 2; ++i) {
        add(1005, 0, i);
    }
    Batch batch;
    EXPECT_EQ(take(batch, 1005), Batch::kMost);
    EXPECT_EQ(beginRest(batch).back(), int(Batch::kMost) - 1);
    end(batch);
    EXPECT_EQ(take(batch, 1005), 2U);
    EXPECT_EQ(beginRest(batch), (std::vector<int>{16, 17}));
    end(batch);
    EXPECT_EQ(m_destroyed, int(Batch::kMost) + 2);
}

TEST_F(BatchTest, whatIsRecalledGoesToTheNextInItsOldOrder)
{
    for (int i = 0; i < 5; ++i) {
        add(1005, i % 2 == 0 ? 10 : 0, i);
    }
    Batch slow;
    take(slow, 1005);
    ASSERT_NE(slow.next(), nullptr);
    ASSERT_NE(slow.next(), nullptr);
    m_core.recallAll();
    EXPECT_EQ(m_core.check(), "");
    Batch other;
    EXPECT_EQ(take(other, 1005), 3U);
    EXPECT_EQ(slow.next(), nullptr);
    EXPECT_EQ(beginRest(other), (std::vector<int>{2, 3, 4}));
    end(slow);
    end(other);
    // The periodic ones come back at their own time, none twice.
    EXPECT_EQ(take(other, 1015), 3U);
    EXPECT_EQ(beginRest(other), (std::vector<int>{0, 2, 4}));
    end(other);
}

TEST_F(BatchTest, aLaterTickRecallsWhatHasNotBegunSoThatNothingWaitsTwice)
{
    add(1005, 1, 1);
    add(1005, 1, 2);
    Batch slow;
    take(slow, 1005);
    ASSERT_NE(slow.next(), nullptr);
    advanceFully(m_core, 1006);
    EXPECT_EQ(m_core.check(), "");
    EXPECT_EQ(slow.next(), nullptr);
    Batch other;
    EXPECT_EQ(take(other, 1006), 2U);
    EXPECT_EQ(beginRest(other), (std::vector<int>{2, 1}));
    end(other);
    end(slow);
}

TEST_F(BatchTest, cancelTakesOutARunThatHasNotBegun)
{
    add(1005, 10, 1);
    const auto second = add(1005, 10, 2);
    add(1005, 10, 3);
    Batch batch;
    take(batch, 1005);
    ASSERT_NE(batch.next(), nullptr);
    {
        Released released;
        m_core.cancel(*second, released);
        EXPECT_TRUE(released);
    }
    EXPECT_EQ(m_destroyed, 1);
    EXPECT_EQ(beginRest(batch), (std::vector<int>{}));
    end(batch);
    take(batch, 1005);
    EXPECT_EQ(beginRest(batch), (std::vector<int>{3}));
    end(batch);
}

TEST_F(BatchTest, cancelLetsGoOfARunThatHasEndedWhileTheBatchGoesOn)
{
    const auto first = add(1005, 0, 1);
    const auto second = add(1005, 10, 2);
    Batch batch;
    take(batch, 1005);
    beginRest(batch);
    // The second is in progress: next() was not called again by its worker, as far as the core can tell.
    Released released;
    m_core.cancel(*first, released);
    EXPECT_TRUE(released);
    end(batch);
    m_core.cancel(*second, released);
}

TEST_F(BatchTest, whatHasEndedBehindASlowRunIsLetGoOf)
{
    add(1005, 0, 1);
    add(1005, 0, 2);
    add(1005, 0, 3);
    Batch slow;
    take(slow, 1005);
    slow.since = 7;
    ASSERT_NE(slow.next(), nullptr);
    ASSERT_NE(slow.next(), nullptr);
    Releases released;
    EXPECT_FALSE(m_core.recallSlow(7, released));
    EXPECT_TRUE(m_core.recallSlow(8, released));
    EXPECT_EQ(released.size(), 1U);
    EXPECT_FALSE(m_core.recallSlow(8, released)) << "once is enough";
    released.clear();
    EXPECT_EQ(m_destroyed, 1);
    end(slow);
    EXPECT_EQ(m_destroyed, 2);
}

TEST_F(BatchTest, aWorkerWithAnOldTimeDoesNotPutATaskIntoThePast)
{
    add(1005, 1, 1);
    advanceFully(m_core, 1008);
    Batch batch;
    EXPECT_EQ(m_core.fill(batch, 1006, Batch::kMost), 1U);
    EXPECT_EQ(m_core.nextEvent(), 1009U);
    beginRest(batch);
    end(batch);
}

TEST_F(BatchTest, tellsWhetherRunsMayWaitInIt)
{
    add(1005, 0, 1);
    Batch one;
    take(one, 1005);
    EXPECT_TRUE(m_core.active());
    EXPECT_FALSE(m_core.sharesLeft());
    add(1005, 0, 2);
    add(1005, 0, 3);
    Batch two;
    take(two, 1005);
    EXPECT_TRUE(m_core.sharesLeft());
    m_core.recallAll();
    EXPECT_FALSE(m_core.sharesLeft());
    EXPECT_FALSE(m_core.active());
    end(one);
    end(two);
}

// Due in one tick behind a run that blocks, in a scheduler with workers to spare.
TEST(TaskScheduler, letsGoOfWhatHasEndedInFrontOfABlockedRun)
{
    Counter entered;
    Counter runs;
    Door door;
    TaskScheduler scheduler(3);
    auto quick = runnable([&] { runs.add(); });
    const boost::weak_ptr<TwheelRunnable> watch = quick;
    scheduler.schedule(20, std::move(quick));
    scheduler.schedule(20, runnable([&] {
                           entered.add();
                           door.pass();
                       }));
    ASSERT_TRUE(entered.waitFor(1));
    ASSERT_TRUE(runs.waitFor(1));
    const auto giveUp = std::chrono::steady_clock::now() + kPatience;
    while (!watch.expired() && std::chrono::steady_clock::now() < giveUp) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    EXPECT_TRUE(watch.expired());
    door.open();
}

TEST(TaskScheduler, startsWhatIsDueBehindBlockedRunsThoughManyShortRunsWentBefore)
{
    Counter runs;
    Counter entered;
    Counter after;
    Door door;
    TaskScheduler scheduler(4);
    for (int i = 0; i < 3000; ++i) {
        scheduler.schedule(1 + i % 20, runnable([&] { runs.add(); }));
    }
    ASSERT_TRUE(runs.waitFor(3000));
    for (int i = 0; i < 3; ++i) {
        scheduler.schedule(10, runnable([&] {
                               entered.add();
                               door.pass();
                           }));
    }
    for (int i = 0; i < 10; ++i) {
        scheduler.schedule(10, runnable([&] { after.add(); }));
    }
    EXPECT_TRUE(entered.waitFor(3));
    EXPECT_TRUE(after.waitFor(10));
    door.open();
}

TEST(TaskScheduler, collapsesTicksMissedByAllThatWereDueBehindARunOnTheOnlyWorker)
{
    Counter runs;
    std::mutex mutex;
    std::vector<std::chrono::steady_clock::time_point> starts;
    Counter blocked;
    Door door;
    TaskScheduler scheduler(1);
    scheduler.schedule(10, runnable([&] {
                           blocked.add();
                           door.pass();
                       }));
    const auto handle = scheduler.schedule(10, 10, runnable([&] {
                                               const std::lock_guard<std::mutex> lock(mutex);
                                               starts.push_back(std::chrono::steady_clock::now());
                                               runs.add();
                                           }));
    ASSERT_TRUE(blocked.waitFor(1));
    std::this_thread::sleep_for(std::chrono::milliseconds(65));
    door.open();
    ASSERT_TRUE(runs.waitFor(3));
    handle->cancel();
    const std::lock_guard<std::mutex> lock(mutex);
    // The one that waited starts at once, the next keep to the grid: two more take over 10 ms.
    EXPECT_GT(starts[2] - starts[0], std::chrono::milliseconds(10));
}

} // namespace
} // namespace twheel::testing
