#include <gtest/gtest.h>

#include <algorithm>

#include "tarn/src/engine/deadline_heap.h"
#include "tarn/src/engine/endpoint.h"
#include "tarn/src/engine/reachability.h"
#include "tests/unit/tarn/support/simulated_time.h"

namespace tarn::engine::test {
namespace {

using tarn::test::SeededRandom;

TEST(Address, OctetsWithLeadingZerosAreDecimal)
{
    EXPECT_EQ(parseIpv4("010.020.003.040"), parseIpv4("10.20.3.40"));
    EXPECT_EQ(parseIpv4("01.2.3.4"), 0x01020304u);
}

TEST(Address, WhatIsNoAddressIsNone)
{
    for (const char* text :
         {"", "1.2.3", "1.2.3.4.5", "1.2.3.256", "1.2.3.", ".1.2.3", "1..2.3", "1.2.3.4 ", " 1.2.3.4",
          "a.b.c.d", "1.2.3.0004", "-1.2.3.4", "1.2.3.4\n", "1,2,3,4", "localhost"}) {
        EXPECT_FALSE(parseIpv4(text)) << text;
    }
    EXPECT_FALSE(parseIpv4(std::string_view("1.2.3.4\0", 8)));
}

TEST(Address, TextComesBack)
{
    EXPECT_EQ(formatIpv4(*parseIpv4("255.0.19.100")), "255.0.19.100");
}

TEST(Address, OnlyAddressesOfOneDeviceAreUnicast)
{
    EXPECT_TRUE(isUnicast(*parseIpv4("127.0.0.1")));
    EXPECT_TRUE(isUnicast(*parseIpv4("192.168.1.20")));
    EXPECT_TRUE(isUnicast(*parseIpv4("223.255.255.255")));
    for (const char* text :
         {"0.0.0.0", "0.1.2.3", "224.0.0.1", "239.1.1.1", "240.0.0.1", "255.255.255.255"}) {
        EXPECT_FALSE(isUnicast(*parseIpv4(text))) << text;
    }
}

struct Item
{
    std::size_t heapSlot = DeadlineHeap<Item>::kOutside;
    TimePoint expected{}; // the test's own note
};

TEST(DeadlineHeap, AlwaysYieldsTheEarliestOfRandomItems)
{
    const std::uint64_t seed = 20261;
    SCOPED_TRACE("seed " + std::to_string(seed));
    SeededRandom dice(seed);
    std::vector<Item> items(100);
    DeadlineHeap<Item> heap;
    for (int step = 0; step < 20000; ++step) {
        Item& item = items[dice.below(100)];
        if (dice.below(3) == 0) {
            heap.remove(item);
            ASSERT_EQ(item.heapSlot, DeadlineHeap<Item>::kOutside);
        } else {
            item.expected = TimePoint(Milliseconds(dice.below(1000)));
            heap.schedule(item, item.expected);
        }
        TimePoint earliest = kNever;
        for (const Item& each : items) {
            if (each.heapSlot != DeadlineHeap<Item>::kOutside) {
                earliest = std::min(earliest, each.expected);
            }
        }
        ASSERT_EQ(heap.nextDeadline(), earliest);
        ASSERT_TRUE(heap.empty() || heap.front()->expected == earliest);
    }
}

const TimePoint kStart{Milliseconds(5000000)};

TEST(Reachability, ThreeMissesWithinFiveSecondsAreNotEnough)
{
    Reachability reachability;
    EXPECT_FALSE(reachability.missed(kStart, kStart + Milliseconds(1000)));
    EXPECT_FALSE(reachability.missed(kStart + Milliseconds(1000), kStart + Milliseconds(2000)));
    EXPECT_FALSE(reachability.missed(kStart + Milliseconds(2000), kStart + Milliseconds(4999)));
    EXPECT_FALSE(reachability.isOffline());
    EXPECT_TRUE(reachability.missed(kStart + Milliseconds(4999), kStart + Milliseconds(5000)));
    EXPECT_TRUE(reachability.isOffline());
}

TEST(Reachability, TwoMissesAreNotEnoughHoweverLongTheyTook)
{
    Reachability reachability;
    EXPECT_FALSE(reachability.missed(kStart, kStart + Milliseconds(30000)));
    EXPECT_FALSE(reachability.missed(kStart + Milliseconds(30000), kStart + Milliseconds(60000)));
    EXPECT_FALSE(reachability.isOffline());
}

TEST(Reachability, OfflineIsSaidOnce)
{
    Reachability reachability;
    reachability.missed(kStart, kStart + Milliseconds(2000));
    reachability.missed(kStart, kStart + Milliseconds(4000));
    EXPECT_TRUE(reachability.missed(kStart, kStart + Milliseconds(6000)));
    EXPECT_FALSE(reachability.missed(kStart, kStart + Milliseconds(9000)));
    reachability.answered(Milliseconds(3));
    EXPECT_FALSE(reachability.isOffline());
    EXPECT_FALSE(reachability.isSilent());
}

TEST(Reachability, WhoNeverAnsweredOrMissedTheLastRequestIsSuspect)
{
    Reachability reachability;
    EXPECT_TRUE(reachability.isSuspect());
    reachability.answered(Milliseconds(0));
    EXPECT_FALSE(reachability.isSuspect());
    reachability.missed(kStart, kStart + Milliseconds(1000));
    EXPECT_TRUE(reachability.isSuspect());
    reachability.answered(Milliseconds(3));
    EXPECT_FALSE(reachability.isSuspect());
}

TEST(Reachability, RequestCountsAsInFlightForAsLongAsAnAnswerIsLikely)
{
    RoundTrip ofAll;
    Reachability reachability;
    EXPECT_EQ(reachability.flight(ofAll), Milliseconds(400)); // nobody has answered yet
    ofAll.add(Milliseconds(300));
    EXPECT_EQ(reachability.flight(ofAll), Milliseconds(600)); // as the others
    reachability.answered(Milliseconds(50));
    EXPECT_EQ(reachability.flight(ofAll), Milliseconds(200));
    reachability.missed(kStart, kStart + Milliseconds(1000));
    EXPECT_EQ(reachability.flight(ofAll), Milliseconds(100)); // likely dead
    reachability.answered(Milliseconds(60000));
    EXPECT_EQ(reachability.flight(ofAll), Milliseconds(2000));
}

TEST(Reachability, PatienceFollowsASlowPrinterButHasAnEnd)
{
    SeededRandom random(3);
    Reachability reachability;
    EXPECT_EQ(reachability.patience(kStart, random), Milliseconds(1000));
    for (int i = 0; i < 20; ++i) {
        reachability.answered(Milliseconds(1500));
    }
    EXPECT_GE(reachability.patience(kStart, random), Milliseconds(2900));
    for (int i = 0; i < 20; ++i) {
        reachability.answered(Milliseconds(15000));
    }
    EXPECT_EQ(reachability.patience(kStart, random), Milliseconds(5000));
}

TEST(Reachability, WhoIsOfflineIsAskedEverMoreSeldom)
{
    tarn::test::ConstantRandom least(0);
    tarn::test::ConstantRandom most(0xFFFFFFFF);
    Reachability reachability;
    for (const int ms : {1000, 3000, 6000}) {
        reachability.missed(kStart, kStart + Milliseconds(ms));
    }
    ASSERT_TRUE(reachability.isOffline());
    const struct
    {
        int silent;
        int longest;
    } cases[] = {{0, 3000},         {6001, 3000},      {10'000, 5000},
                 {20'000, 10'000},  {119'999, 10'000}, {120'000, 20'000},
                 {149'999, 20'000}, {150'000, 30'000}, {3'600'000, 30'000}};
    for (const auto& each : cases) {
        const TimePoint now = kStart + Milliseconds(each.silent);
        EXPECT_EQ(reachability.patience(now, least), Milliseconds(each.longest)) << each.silent;
        EXPECT_EQ(reachability.patience(now, most), Milliseconds(each.longest * 85 / 100)) << each.silent;
    }
}

TEST(Reachability, MissesBeforeAResetDoNotAddUp)
{
    Reachability reachability;
    reachability.missed(kStart, kStart + Milliseconds(2000));
    reachability.missed(kStart, kStart + Milliseconds(4900));
    reachability.reset(kStart + Milliseconds(100000));
    EXPECT_FALSE(reachability.missed(kStart + Milliseconds(100000), kStart + Milliseconds(101000)));
}

TEST(Reachability, ForgivenWhoIsOfflineStaysSoAndIsAskedAsIfItHadJustFallenSilent)
{
    SeededRandom random(3);
    Reachability reachability;
    reachability.missed(kStart, kStart + Milliseconds(1000));
    reachability.missed(kStart, kStart + Milliseconds(3000));
    ASSERT_TRUE(reachability.missed(kStart, kStart + Milliseconds(6000)));
    const TimePoint later = kStart + Milliseconds(3600000);
    EXPECT_GT(reachability.patience(later, random), Milliseconds(20000));
    const unsigned misses = reachability.misses();
    reachability.reset(later);
    EXPECT_EQ(reachability.misses(), misses);
    EXPECT_TRUE(reachability.isOffline());
    EXPECT_TRUE(reachability.isSilent());
    EXPECT_EQ(reachability.since(), later);
    EXPECT_LE(reachability.patience(later, random), Milliseconds(3000));
    EXPECT_FALSE(reachability.missed(later, later + Milliseconds(9000))) << "it is offline already";
}

} // namespace
} // namespace tarn::engine::test
