#include "tarn/src/base/inbox.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <poll.h>

#include <array>
#include <memory>
#include <thread>
#include <vector>

#include "tests/unit/tarn/support/no_descriptors.h"

namespace tarn {
namespace {

bool isReadable(int descriptor)
{
    pollfd wait{descriptor, POLLIN, 0};
    return ::poll(&wait, 1, 0) == 1;
}

TEST(WakeupFd, IsReadableFromASignalToTheNextClear)
{
    WakeupFd wakeup;
    EXPECT_EQ(wakeup.descriptor(), -1);
    ASSERT_TRUE(wakeup.open());
    EXPECT_FALSE(isReadable(wakeup.descriptor()));
    wakeup.signal();
    wakeup.signal();
    EXPECT_TRUE(isReadable(wakeup.descriptor()));
    wakeup.clear();
    EXPECT_FALSE(isReadable(wakeup.descriptor()));
    wakeup.clear(); // does not wait
}

TEST(WakeupFd, WithoutDescriptorsSaysSoAndOpensLater)
{
    WakeupFd wakeup;
    {
        const test::NoDescriptors none;
        EXPECT_FALSE(wakeup.open());
    }
    ASSERT_TRUE(wakeup.open());
    const int descriptor = wakeup.descriptor();
    EXPECT_TRUE(wakeup.open());
    EXPECT_EQ(wakeup.descriptor(), descriptor);
}

TEST(WakeupFd, ClosesItsDescriptorAndDoesNotHandItToOtherPrograms)
{
    int descriptor = -1;
    {
        WakeupFd wakeup;
        ASSERT_TRUE(wakeup.open());
        descriptor = wakeup.descriptor();
        EXPECT_NE(::fcntl(descriptor, F_GETFD) & FD_CLOEXEC, 0);
    }
    EXPECT_EQ(::fcntl(descriptor, F_GETFD), -1);
}

TEST(Inbox, HandsOverInOrderAndIsReadableWhileThereIsSomething)
{
    Inbox<std::unique_ptr<int>> inbox;
    ASSERT_TRUE(inbox.open());
    EXPECT_FALSE(isReadable(inbox.descriptor()));
    EXPECT_TRUE(inbox.put(std::make_unique<int>(1)));
    EXPECT_TRUE(inbox.put(std::make_unique<int>(2)));
    EXPECT_TRUE(isReadable(inbox.descriptor()));
    std::vector<std::unique_ptr<int>> taken;
    taken.push_back(std::make_unique<int>(9)); // of the last round
    EXPECT_TRUE(inbox.take(taken));
    ASSERT_EQ(taken.size(), 2U);
    EXPECT_EQ(*taken[0], 1);
    EXPECT_EQ(*taken[1], 2);
    EXPECT_FALSE(isReadable(inbox.descriptor()));
    EXPECT_TRUE(inbox.take(taken));
    EXPECT_TRUE(taken.empty());
    EXPECT_TRUE(inbox.put(std::make_unique<int>(3)));
    EXPECT_TRUE(isReadable(inbox.descriptor()));
}

TEST(Inbox, ClosedTakesNothingInStaysReadableAndGivesWhatWasThere)
{
    Inbox<int> inbox;
    ASSERT_TRUE(inbox.open());
    inbox.put(1);
    inbox.close();
    EXPECT_FALSE(inbox.put(2));
    std::vector<int> taken;
    EXPECT_FALSE(inbox.take(taken));
    EXPECT_EQ(taken, std::vector<int>{1});
    EXPECT_TRUE(isReadable(inbox.descriptor()));
}

// A receiver that only looks when the descriptor says so gets everything of everybody, each sender's in
// order.
TEST(Inbox, RoomForManyIsGivenBackWhenTheyWereTaken)
{
    Inbox<int> inbox;
    ASSERT_TRUE(inbox.open());
    std::vector<int> taken;
    for (int round = 0; round < 2; ++round) { // both vectors have been in the inbox
        for (int i = 0; i < 10'000; ++i) {
            inbox.put(i);
        }
        ASSERT_TRUE(inbox.take(taken));
        ASSERT_EQ(taken.size(), 10'000u);
    }
    for (int round = 0; round < 2; ++round) {
        inbox.put(1);
        ASSERT_TRUE(inbox.take(taken));
        EXPECT_EQ(taken, std::vector<int>{1});
        EXPECT_LE(taken.capacity(), Inbox<int>::kMostKept);
    }
    ASSERT_TRUE(inbox.take(taken));
    EXPECT_TRUE(taken.empty());
}

TEST(Inbox, LosesNothingBetweenThreads)
{
    constexpr int kSenders = 4;
    constexpr int kEach = 20000;
    Inbox<std::pair<int, int>> inbox;
    ASSERT_TRUE(inbox.open());
    std::vector<std::thread> threads;
    for (int sender = 0; sender < kSenders; ++sender) {
        threads.emplace_back([&inbox, sender] {
            for (int i = 0; i < kEach; ++i) {
                inbox.put({sender, i});
            }
        });
    }
    std::array<int, kSenders> next{};
    std::vector<std::pair<int, int>> taken;
    for (int count = 0; count < kSenders * kEach; count += static_cast<int>(taken.size())) {
        pollfd wait{inbox.descriptor(), POLLIN, 0};
        ASSERT_EQ(::poll(&wait, 1, 60000), 1) << "after " << count;
        inbox.take(taken);
        for (const auto& [sender, i] : taken) {
            ASSERT_EQ(i, next[static_cast<std::size_t>(sender)]++);
        }
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_FALSE(isReadable(inbox.descriptor()));
}

} // namespace
} // namespace tarn
