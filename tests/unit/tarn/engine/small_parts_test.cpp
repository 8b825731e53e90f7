#include <gtest/gtest.h>

#include <algorithm>

#include "tarn/src/engine/deadline_heap.h"
#include "tarn/src/engine/endpoint.h"
#include "tarn/src/engine/reply_gate.h"
#include "tarn/src/engine/silence.h"
#include "tests/unit/tarn/engine/simulated_network.h"

namespace tarn::engine::test {
namespace {

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
    TimePoint deadline{};
    std::size_t heapSlot = DeadlineHeap<Item>::kOutside;
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
            heap.schedule(item, TimePoint(Milliseconds(dice.below(1000))));
        }
        TimePoint earliest = kNever;
        for (const Item& each : items) {
            if (each.heapSlot != DeadlineHeap<Item>::kOutside) {
                earliest = std::min(earliest, each.deadline);
            }
        }
        ASSERT_EQ(heap.nextDeadline(), earliest);
        ASSERT_TRUE(heap.empty() || heap.front()->deadline == earliest);
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

std::string response(std::int32_t id)
{
    snmp::Message message;
    message.community = "public";
    message.pdu.type = snmp::PduType::Response;
    message.pdu.requestId = id;
    message.pdu.varbinds.push_back({{1, 3, 6, 1, 2, 1, 1, 3, 0}, {}});
    return snmp::encodeMessage(message);
}

Verdict examine(const std::string& bytes, std::int32_t id)
{
    return examineReply({reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()},
                        {snmp::Version::V2c, "public", id});
}

TEST(ReplyGate, ReadsIdsOfEveryLength)
{
    for (const std::int32_t id : {1, 127, 128, 255, 256, 65535, 65536, 0x7FFFFFFF}) {
        EXPECT_EQ(examine(response(id), id), Verdict::Accepted) << id;
        EXPECT_EQ(examine(response(id), id ^ 1), Verdict::WrongId) << id;
    }
}

TEST(ReplyGate, TakesLengthsThatAreLongerThanNeeded)
{
    const std::string plain = response(7);
    ASSERT_LT(static_cast<unsigned char>(plain[1]), 0x80);
    for (const unsigned octets : {1u, 2u, 4u}) {
        std::string bytes = plain.substr(0, 1);
        bytes += static_cast<char>(0x80 | octets);
        bytes.append(octets - 1, '\0');
        bytes += plain.substr(1);
        EXPECT_EQ(examine(bytes, 7), Verdict::Accepted) << octets;
    }
}

TEST(ReplyGate, RefusesIndefiniteAndAbsurdLengths)
{
    std::string bytes = response(7);
    bytes[1] = '\x80';
    EXPECT_EQ(examine(bytes, 7), Verdict::Malformed);
    EXPECT_EQ(examine(std::string("\x30\x84\xff\xff\xff\xff", 6), 7), Verdict::Malformed);
    EXPECT_EQ(examine(std::string("\x30\x89\x01\x01\x01\x01\x01\x01\x01\x01\x01", 11), 7),
              Verdict::Malformed);
}

TEST(ReplyGate, NeverReadsPastTheEndWhateverTheBytes)
{
    const std::uint64_t seed = 99;
    SCOPED_TRACE("seed " + std::to_string(seed));
    SeededRandom dice(seed);
    const std::string good = response(7);
    std::uint64_t accepted = 0;
    for (int i = 0; i < 20000; ++i) {
        std::string bytes = good.substr(0, dice.below(static_cast<std::uint32_t>(good.size()) + 1));
        for (std::uint32_t flips = dice.below(4); flips > 0 && !bytes.empty(); --flips) {
            bytes[dice.below(static_cast<std::uint32_t>(bytes.size()))] = static_cast<char>(dice.next());
        }
        // On the heap and exactly as long as it says: a sanitizer sees every byte too far.
        const std::vector<std::uint8_t> exact(bytes.begin(), bytes.end());
        accepted += examineReply({exact.data(), exact.size()}, {snmp::Version::V2c, "public", 7}) ==
                    Verdict::Accepted;
    }
    EXPECT_GT(accepted, 0u);
    EXPECT_LT(accepted, 20000u);
}

} // namespace
} // namespace tarn::engine::test
