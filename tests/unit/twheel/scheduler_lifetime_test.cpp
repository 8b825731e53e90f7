// Cancelling, and who dies first.
#include <memory>
#include <thread>
#include <vector>

#include <boost/weak_ptr.hpp>
#include <gtest/gtest.h>

#include "tests/unit/twheel/runnables.h"

namespace twheel::testing {
namespace {

// Cancels its own scheduling when it is destroyed, as a record of something monitored does.
class SelfCancelling final : public TwheelRunnable
{
public:
    explicit SelfCancelling(Counter& destroyed) : m_destroyed(destroyed) {}
    ~SelfCancelling() override
    {
        if (m_handle) {
            m_handle->cancel();
        }
        m_destroyed.add();
    }
    void run() override { m_runs.add(); }
    void keep(boost::shared_ptr<TaskHandle> handle) { m_handle = std::move(handle); }
    Counter& runs() { return m_runs; }

private:
    Counter& m_destroyed;
    Counter m_runs;
    boost::shared_ptr<TaskHandle> m_handle;
};

TEST(TaskHandle, cancelledTaskDoesNotRunAndIsReleased)
{
    Counter runs;
    TaskScheduler scheduler(1);
    auto task = runnable([&] { runs.add(); });
    const boost::weak_ptr<TwheelRunnable> watch = task;
    const auto handle = scheduler.schedule(20, 20, std::move(task));
    EXPECT_FALSE(watch.expired());
    handle->cancel();
    EXPECT_TRUE(watch.expired());
    Counter later;
    scheduler.schedule(40, runnable([&] { later.add(); }));
    ASSERT_TRUE(later.waitFor(1));
    EXPECT_EQ(runs.value(), 0);
    handle->cancel();
}

TEST(TaskHandle, cancelStopsARunThatIsQueuedButNotStarted)
{
    Counter blocked;
    Counter runs;
    Door door;
    TaskScheduler scheduler(1);
    scheduler.schedule(0, runnable([&] {
                           blocked.add();
                           door.pass();
                       }));
    ASSERT_TRUE(blocked.waitFor(1));
    const auto queued = scheduler.schedule(0, runnable([&] { runs.add(); }));
    Counter other;
    scheduler.schedule(0, runnable([&] { other.add(); }));
    queued->cancel();
    door.open();
    ASSERT_TRUE(other.waitFor(1));
    EXPECT_EQ(runs.value(), 0);
}

TEST(TaskHandle, cancelNeitherInterruptsNorWaitsForARun)
{
    Counter entered;
    Counter left;
    Door door;
    TaskScheduler scheduler(2);
    auto task = runnable([&] {
        entered.add();
        door.pass();
        left.add();
    });
    const boost::weak_ptr<TwheelRunnable> watch = task;
    const auto handle = scheduler.schedule(0, std::move(task));
    ASSERT_TRUE(entered.waitFor(1));
    handle->cancel();
    EXPECT_EQ(left.value(), 0);
    EXPECT_FALSE(watch.expired());
    door.open();
    EXPECT_TRUE(left.waitFor(1));
}

TEST(TaskHandle, periodicTaskMayCancelItselfFromItsRun)
{
    Counter destroyed;
    Counter runs;
    boost::shared_ptr<TaskHandle> handle;
    Door ready;
    TaskScheduler scheduler(2);
    handle = scheduler.schedule(0, 1, runnable([&] {
                                    ready.pass();
                                    handle->cancel();
                                    runs.add();
                                }));
    ready.open();
    ASSERT_TRUE(runs.waitFor(1));
    Counter later;
    scheduler.schedule(20, runnable([&] { later.add(); }));
    ASSERT_TRUE(later.waitFor(1));
    // Both workers may have entered it while the door was shut.
    EXPECT_LE(runs.value(), 2);
}

TEST(TaskHandle, runsMayScheduleMoreWork)
{
    Counter runs;
    std::function<void(int)> chain;
    TaskScheduler scheduler(1);
    chain = [&](int left) {
        runs.add();
        if (left > 0) {
            scheduler.schedule(left % 3, runnable([&chain, left] { chain(left - 1); }));
        }
    };
    scheduler.schedule(0, runnable([&] { chain(20); }));
    EXPECT_TRUE(runs.waitFor(21));
}

TEST(TaskHandle, droppedHandleLeavesTheTaskScheduled)
{
    Counter runs;
    TaskScheduler scheduler(1);
    scheduler.schedule(1, 1, runnable([&] { runs.add(); }));
    EXPECT_TRUE(runs.waitFor(3));
}

TEST(TaskHandle, oneShotIsReleasedAfterItsRunWhileTheHandleLives)
{
    Counter destroyed;
    TaskScheduler scheduler(1);
    const auto handle = scheduler.schedule(0, boost::make_shared<SelfCancelling>(destroyed));
    EXPECT_TRUE(destroyed.waitFor(1));
}

TEST(TaskHandle, outlivesItsSchedulerAndThenDoesNothing)
{
    boost::shared_ptr<TaskHandle> handle;
    Counter destroyed;
    {
        TaskScheduler scheduler(1);
        handle = scheduler.schedule(1000000, 10, boost::make_shared<SelfCancelling>(destroyed));
    }
    EXPECT_EQ(destroyed.value(), 1);
    handle->cancel();
    // A later scheduler takes over what the first one left; the old handle must not touch its tasks.
    TaskScheduler next(1);
    Counter runs;
    const auto own = next.schedule(10, runnable([&] { runs.add(); }));
    handle->cancel();
    EXPECT_TRUE(runs.waitFor(1));
}

TEST(TaskScheduler, destructorReleasesEverythingThatIsScheduled)
{
    Counter destroyed;
    std::vector<boost::shared_ptr<TaskHandle>> handles;
    {
        TaskScheduler scheduler(2);
        for (long i = 0; i < 100; ++i) {
            auto task = boost::make_shared<SelfCancelling>(destroyed);
            auto handle = scheduler.schedule(1000000 + i * i * i * 1000, i, task);
            task->keep(handle);
            handles.push_back(handle);
        }
    }
    EXPECT_EQ(destroyed.value(), 100);
}

TEST(TaskScheduler, destructorWaitsForRunsInProgressAndStartsNoOthers)
{
    Counter entered;
    Counter left;
    Counter queued;
    Door door;
    auto scheduler = std::make_unique<TaskScheduler>(2);
    for (int i = 0; i < 2; ++i) {
        scheduler->schedule(0, runnable([&] {
                                entered.add();
                                door.pass();
                                left.add();
                            }));
    }
    ASSERT_TRUE(entered.waitFor(2));
    for (int i = 0; i < 5; ++i) {
        scheduler->schedule(0, runnable([&] { queued.add(); }));
    }
    std::thread opener([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        door.open();
    });
    scheduler.reset();
    EXPECT_EQ(left.value(), 2);
    EXPECT_EQ(queued.value(), 0);
    opener.join();
}

TEST(TaskScheduler, runnableReleasedByTheDestructorMayScheduleInVain)
{
    Counter runs;
    Counter released;
    {
        std::unique_ptr<TaskScheduler> scheduler = std::make_unique<TaskScheduler>(1);
        TaskScheduler* pointer = scheduler.get();
        boost::shared_ptr<int> onDestruction(new int, [&, pointer](int* number) {
            delete number;
            pointer->schedule(0, runnable([&] { runs.add(); }))->cancel();
            released.add();
        });
        scheduler->schedule(1000000, runnable([onDestruction] {}));
        onDestruction.reset();
        scheduler.reset();
    }
    EXPECT_EQ(released.value(), 1);
    EXPECT_EQ(runs.value(), 0);
}

} // namespace
} // namespace twheel::testing
