#include <gtest/gtest.h>

#include <algorithm>

#include "tarn/src/engine/deadline_heap.h"
#include "tarn/src/engine/endpoint.h"
#include "tarn/src/engine/silence.h"
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

TEST(Silence, ThreeMissesWithinFiveSecondsAreNotEnough)
{
    Silence silence;
    EXPECT_FALSE(silence.missed(kStart, kStart + Milliseconds(1000)));
    EXPECT_FALSE(silence.missed(kStart + Milliseconds(1000), kStart + Milliseconds(2000)));
    EXPECT_FALSE(silence.missed(kStart + Milliseconds(2000), kStart + Milliseconds(4999)));
    EXPECT_FALSE(silence.isOffline());
    EXPECT_TRUE(silence.missed(kStart + Milliseconds(4999), kStart + Milliseconds(5000)));
    EXPECT_TRUE(silence.isOffline());
}

TEST(Silence, TwoMissesAreNotEnoughHoweverLongTheyTook)
{
    Silence silence;
    EXPECT_FALSE(silence.missed(kStart, kStart + Milliseconds(30000)));
    EXPECT_FALSE(silence.missed(kStart + Milliseconds(30000), kStart + Milliseconds(60000)));
    EXPECT_FALSE(silence.isOffline());
}

TEST(Silence, OfflineIsSaidOnce)
{
    Silence silence;
    silence.missed(kStart, kStart + Milliseconds(2000));
    silence.missed(kStart, kStart + Milliseconds(4000));
    EXPECT_TRUE(silence.missed(kStart, kStart + Milliseconds(6000)));
    EXPECT_FALSE(silence.missed(kStart, kStart + Milliseconds(9000)));
    silence.answered(Milliseconds(3));
    EXPECT_FALSE(silence.isOffline());
    EXPECT_FALSE(silence.isSilent());
}

TEST(Silence, WhoNeverAnsweredOrMissedTheLastRequestIsSuspect)
{
    Silence silence;
    EXPECT_TRUE(silence.isSuspect());
    silence.answered(Milliseconds(0));
    EXPECT_FALSE(silence.isSuspect());
    silence.missed(kStart, kStart + Milliseconds(1000));
    EXPECT_TRUE(silence.isSuspect());
    silence.answered(Milliseconds(3));
    EXPECT_FALSE(silence.isSuspect());
}

TEST(Silence, RequestCountsAsInFlightForAsLongAsAnAnswerIsLikely)
{
    RoundTrip ofAll;
    Silence silence;
    EXPECT_EQ(silence.flight(ofAll), Milliseconds(400)); // nobody has answered yet
    ofAll.add(Milliseconds(300));
    EXPECT_EQ(silence.flight(ofAll), Milliseconds(600)); // as the others
    silence.answered(Milliseconds(50));
    EXPECT_EQ(silence.flight(ofAll), Milliseconds(200));
    silence.missed(kStart, kStart + Milliseconds(1000));
    EXPECT_EQ(silence.flight(ofAll), Milliseconds(100)); // likely dead
    silence.answered(Milliseconds(60000));
    EXPECT_EQ(silence.flight(ofAll), Milliseconds(2000));
}

TEST(Silence, PatienceFollowsASlowPrinterButHasAnEnd)
{
    SeededRandom random(3);
    Silence silence;
    EXPECT_EQ(silence.patience(kStart, random), Milliseconds(1000));
    for (int i = 0; i < 20; ++i) {
        silence.answered(Milliseconds(1500));
    }
    EXPECT_GE(silence.patience(kStart, random), Milliseconds(2900));
    for (int i = 0; i < 20; ++i) {
        silence.answered(Milliseconds(15000));
    }
    EXPECT_EQ(silence.patience(kStart, random), Milliseconds(5000));
}

TEST(Silence, ForgivenMissesDoNotAddUp)
{
    Silence silence;
    silence.missed(kStart, kStart + Milliseconds(2000));
    silence.missed(kStart, kStart + Milliseconds(4900));
    silence.forgive(kStart + Milliseconds(100000));
    EXPECT_FALSE(silence.missed(kStart + Milliseconds(100000), kStart + Milliseconds(101000)));
}

TEST(Silence, ForgivenWhoIsOfflineStaysSoAndIsAskedAsIfItHadJustFallenSilent)
{
    SeededRandom random(3);
    Silence silence;
    silence.missed(kStart, kStart + Milliseconds(1000));
    silence.missed(kStart, kStart + Milliseconds(3000));
    ASSERT_TRUE(silence.missed(kStart, kStart + Milliseconds(6000)));
    const TimePoint later = kStart + Milliseconds(3600000);
    EXPECT_GT(silence.patience(later, random), Milliseconds(20000));
    const unsigned misses = silence.misses();
    silence.forgive(later);
    EXPECT_EQ(silence.misses(), misses);
    EXPECT_TRUE(silence.isOffline());
    EXPECT_TRUE(silence.isSilent());
    EXPECT_EQ(silence.since(), later);
    EXPECT_LE(silence.patience(later, random), Milliseconds(3000));
    EXPECT_FALSE(silence.missed(later, later + Milliseconds(9000))) << "it is offline already";
}

} // namespace
} // namespace tarn::engine::test
