// Whom the alarm wakes, and how often.
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "tests/unit/twheel/runnables.h"
#include "twheel/src/alarm.h"

namespace twheel::testing {
namespace {

constexpr Nanoseconds kHour = Nanoseconds{3600} * 1'000'000'000;

// Threads that each wait once.
class Waiters final
{
public:
    Waiters(Alarm& alarm, int count)
    {
        for (int i = 0; i < count; ++i) {
            m_threads.emplace_back([&alarm, this] {
                alarm.wait();
                m_woken.add();
            });
        }
    }
    ~Waiters()
    {
        for (std::thread& thread : m_threads) {
            thread.join();
        }
    }
    [[nodiscard]] bool wakeUp(int count) { return m_woken.waitFor(count); }
    int woken() { return m_woken.value(); }

private:
    Counter m_woken;
    std::vector<std::thread> m_threads;
};

TEST(Alarm, callWakesAsManyAsItSaysWithoutATimeBeingSet)
{
    Alarm alarm;
    Waiters waiters(alarm, 5);
    alarm.call(3);
    EXPECT_TRUE(waiters.wakeUp(3));
    // More would have come at once with the three.
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    EXPECT_EQ(waiters.woken(), 3);
    alarm.call(2);
    EXPECT_TRUE(waiters.wakeUp(5));
}

TEST(Alarm, callsThatFindNobodyEndTheNextWaits)
{
    Alarm alarm;
    alarm.call(2);
    alarm.wait();
    alarm.wait();
    Waiters late(alarm, 1);
    alarm.call(1);
    EXPECT_TRUE(late.wakeUp(1));
}

TEST(Alarm, aCallNeitherUsesUpNorMovesTheTimeThatIsSet)
{
    Alarm alarm;
    alarm.set(monotonicNow() + kHour);
    {
        Waiters called(alarm, 2);
        alarm.call(2);
        EXPECT_TRUE(called.wakeUp(2));
    }
    const Nanoseconds at = monotonicNow() + 20'000'000;
    alarm.set(at);
    alarm.call(1);
    alarm.wait();
    alarm.wait();
    EXPECT_GE(monotonicNow(), at);
}

TEST(Alarm, whatHasBeenTakenBackWakesNobody)
{
    Alarm alarm;
    alarm.set(1); // has passed
    alarm.clear();
    Waiters waiters(alarm, 1);
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    EXPECT_EQ(waiters.woken(), 0);
    alarm.call(1);
    EXPECT_TRUE(waiters.wakeUp(1));
}

TEST(Alarm, oneExpiryWakesOne)
{
    Alarm alarm;
    Waiters waiters(alarm, 3);
    alarm.set(1);
    EXPECT_TRUE(waiters.wakeUp(1));
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    EXPECT_EQ(waiters.woken(), 1);
    alarm.call(2);
    EXPECT_TRUE(waiters.wakeUp(3));
}

// Each call and each waiter meet just once, whatever the order in which they come.
TEST(Alarm, everyCallIsAnsweredWhenManyCallAndWaitAtOnce)
{
    Alarm alarm;
    constexpr int kEach = 500;
    Counter answered;
    std::vector<std::thread> threads;
    for (int i = 0; i < 3; ++i) {
        threads.emplace_back([&] {
            for (int n = 0; n < kEach; ++n) {
                alarm.wait();
            }
            answered.add();
        });
        threads.emplace_back([&] {
            for (int n = 0; n < kEach; n += 2) {
                alarm.call(2);
            }
        });
    }
    EXPECT_TRUE(answered.waitFor(3));
    for (std::thread& thread : threads) {
        thread.join();
    }
}

} // namespace
} // namespace twheel::testing
