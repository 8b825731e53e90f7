// Many threads at once; what counts is what the sanitizers see, and that nothing is lost or runs after its
// end.
#include <cstdlib>
#include <memory>
#include <random>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "tests/unit/twheel/runnables.h"

namespace twheel::testing {
namespace {

struct Tally
{
    std::atomic<int> alive{0};
    std::atomic<int> runs{0};
};

class Tallied final : public TwheelRunnable
{
public:
    explicit Tallied(Tally& tally) : m_tally(tally) { ++m_tally.alive; }
    ~Tallied() override { --m_tally.alive; }
    void run() override { ++m_tally.runs; }

private:
    Tally& m_tally;
};

// Schedules, cancels and forgets at random, so many steps and until something has run: on a busy machine the users may be
// done before the scheduler's threads get a turn.
void useAtRandom(TaskScheduler& scheduler, Tally& tally, std::uint64_t seed, int steps)
{
    std::mt19937_64 random(seed);
    std::vector<boost::shared_ptr<TaskHandle>> handles(64);
    for (int i = 0; i < steps || tally.runs == 0; ++i) {
        auto& handle = handles[random() % handles.size()];
        if (handle && random() % 2 == 0) {
            handle->cancel();
        }
        const auto delay = long(random() % 8);
        auto task = boost::make_shared<Tallied>(tally);
        const bool keptAndPeriodic = random() % 2 == 0;
        if (handle) {
            handle->cancel();
        }
        handle = scheduler.schedule(delay, keptAndPeriodic ? long(1 + random() % 4) : 0, std::move(task));
    }
    for (const auto& handle : handles) {
        if (handle) {
            handle->cancel();
        }
    }
}

TEST(TaskSchedulerStress, releasesEverythingThatManyThreadsScheduleAndCancel)
{
    const std::uint64_t seed = std::random_device{}();
    SCOPED_TRACE("seed " + std::to_string(seed));
    Tally tally;
    {
        TaskScheduler scheduler(4);
        std::vector<std::thread> users;
        for (std::uint64_t i = 0; i < 4; ++i) {
            users.emplace_back([&, i] { useAtRandom(scheduler, tally, seed + i, 20000); });
        }
        for (auto& user : users) {
            user.join();
        }
    }
    EXPECT_EQ(tally.alive, 0);
    EXPECT_GT(tally.runs, 0);
}

TEST(TaskSchedulerStress, handlesMayBeCancelledWhileTheSchedulerIsDestroyed)
{
    for (int round = 0; round < 50; ++round) {
        Tally tally;
        auto scheduler = std::make_unique<TaskScheduler>(3);
        std::vector<boost::shared_ptr<TaskHandle>> handles;
        for (long i = 0; i < 500; ++i) {
            handles.push_back(scheduler->schedule(i % 3, 1 + i % 5, boost::make_shared<Tallied>(tally)));
        }
        std::thread canceller([&] {
            for (const auto& handle : handles) {
                handle->cancel();
            }
        });
        scheduler.reset();
        canceller.join();
        EXPECT_EQ(tally.alive, 0);
    }
}

TEST(TaskSchedulerStress, handlesMayGoWhileTheirTasksEnd)
{
    Tally tally;
    {
        TaskScheduler scheduler(4);
        for (int i = 0; i < 20000; ++i) {
            auto handle = scheduler.schedule(i % 2, boost::make_shared<Tallied>(tally));
            if (i % 3 == 0) {
                handle->cancel();
            }
        }
    }
    EXPECT_EQ(tally.alive, 0);
}

// Some block for a while, so that what waits behind them changes hands.
class Blocking final : public TwheelRunnable
{
public:
    Blocking(Tally& tally, bool blocks) : m_tally(tally), m_blocks(blocks) { ++m_tally.alive; }
    ~Blocking() override { --m_tally.alive; }
    void run() override
    {
        ++m_tally.runs;
        if (m_blocks) {
            std::this_thread::sleep_for(std::chrono::microseconds(200));
        }
    }

private:
    Tally& m_tally;
    const bool m_blocks;
};

// A run that began after its runnable was let go of is what the sanitizers would see.
TEST(TaskSchedulerStress, whatWaitsBehindBlockedRunsMayBeCancelledWhoeverHoldsIt)
{
    const std::uint64_t seed = std::random_device{}();
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937_64 random(seed);
    Tally tally;
    {
        TaskScheduler scheduler(4);
        for (int round = 0; round < 40; ++round) {
            std::vector<boost::shared_ptr<TaskHandle>> handles;
            for (int i = 0; i < 300; ++i) {
                handles.push_back(
                    scheduler.schedule(long(random() % 4), long(random() % 5),
                                       boost::make_shared<Blocking>(tally, random() % 40 == 0)));
            }
            std::this_thread::sleep_for(std::chrono::microseconds(random() % 6000));
            for (const auto& handle : handles) {
                handle->cancel();
            }
        }
    }
    EXPECT_EQ(tally.alive, 0);
    EXPECT_GT(tally.runs, 0);
}

} // namespace
} // namespace twheel::testing
