#include <gtest/gtest.h>

#include <algorithm>

#include "tarn/src/engine/deadline_heap.h"
#include "tarn/src/engine/endpoint.h"
#include "tarn/src/engine/question_pool.h"
#include "tarn/src/engine/reply_digest.h"
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

TEST(QuestionPool, TheSameBytesAreKeptOnce)
{
    QuestionPool pool;
    const QuestionPool::Question first = pool.shared("toner?");
    EXPECT_EQ(pool.shared("toner?"), first);
    const QuestionPool::Question other = pool.shared("pages?");
    EXPECT_NE(other, first);
    EXPECT_EQ(*other, "pages?");
    EXPECT_EQ(pool.size(), 2u);
}

TEST(QuestionPool, WhatNobodyAsksAnyMoreIsForgotten)
{
    QuestionPool pool;
    const QuestionPool::Question kept = pool.shared("kept");
    for (int i = 0; i < 10000; ++i) {
        pool.shared("question " + std::to_string(i));
    }
    EXPECT_LT(pool.size(), 200u);
    EXPECT_EQ(pool.shared("kept"), kept);
}

TEST(QuestionPool, WhatIsAskedIsNeverForgotten)
{
    QuestionPool pool;
    std::vector<QuestionPool::Question> all;
    for (int i = 0; i < 1000; ++i) {
        all.push_back(pool.shared("question " + std::to_string(i)));
    }
    for (int i = 0; i < 1000; ++i) {
        EXPECT_EQ(pool.shared("question " + std::to_string(i)), all[static_cast<std::size_t>(i)]);
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
    return examineReply(snmp::readHead({reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()}),
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
    for (const unsigned octets : {1u, 2u, 4u, 5u, 126u}) {
        std::string bytes = plain.substr(0, 1);
        bytes += static_cast<char>(0x80 | octets);
        bytes.append(octets - 1, '\0');
        bytes += plain.substr(1);
        EXPECT_EQ(examine(bytes, 7), Verdict::Accepted) << octets;
    }
}

TEST(ReplyGate, TakesIntegersThatAreLongerThanNeeded)
{
    std::string bytes = response(7);
    const std::string version("\x02\x01\x01", 3);
    ASSERT_EQ(bytes.substr(2, 3), version);
    bytes.replace(2, 3, std::string("\x02\x0a\0\0\0\0\0\0\0\0\0\x01", 12));
    bytes[1] = static_cast<char>(bytes[1] + 9);
    EXPECT_EQ(examine(bytes, 7), Verdict::Accepted);
    EXPECT_EQ(examine(bytes, 8), Verdict::WrongId);
    ASSERT_TRUE(snmp::decodeMessage({reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()}));
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
        accepted += examineReply(snmp::readHead({exact.data(), exact.size()}),
                                 {snmp::Version::V2c, "public", 7}) == Verdict::Accepted;
    }
    EXPECT_GT(accepted, 0u);
    EXPECT_LT(accepted, 20000u);
}

std::string answerOf(std::int32_t id, std::int64_t upTime, const std::string& text)
{
    snmp::Message message;
    message.community = "public";
    message.pdu.type = snmp::PduType::Response;
    message.pdu.requestId = id;
    message.pdu.varbinds.push_back({{1, 3, 6, 1, 2, 1, 1, 3, 0}, {}});
    message.pdu.varbinds.back().value.type = snmp::ValueType::TimeTicks;
    message.pdu.varbinds.back().value.number = upTime;
    message.pdu.varbinds.push_back({{1, 3, 6, 1, 2, 1, 1, 5, 0}, {}});
    message.pdu.varbinds.back().value.type = snmp::ValueType::OctetString;
    message.pdu.varbinds.back().value.bytes = text;
    return snmp::encodeMessage(message);
}

std::optional<ReplyDigest> digest(const std::string& bytes)
{
    return digestOf(snmp::readHead({reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()}));
}

TEST(ReplyDigest, IdAndTimeSinceStartMakeNoDifference)
{
    const auto a = digest(answerOf(kLeastRequestId + 5, 70000, "idle"));
    const auto b = digest(answerOf(kLeastRequestId + 6, 70500, "idle"));
    ASSERT_TRUE(a && b);
    EXPECT_TRUE(a->saysTheSame(*b));
    EXPECT_EQ(a->upTime, 70000);
    EXPECT_EQ(b->upTime, 70500);
}

TEST(ReplyDigest, AnyOtherByteMakesOne)
{
    const std::string plain = answerOf(kLeastRequestId, 70000, "a text that is a little longer");
    const auto original = digest(plain);
    const std::size_t valueAt = plain.find("a text");
    for (std::size_t i = valueAt - 12; i < plain.size(); ++i) {
        std::string other = plain;
        other[i] = static_cast<char>(other[i] ^ 1);
        const auto changed = digest(other);
        EXPECT_FALSE(changed && changed->saysTheSame(*original)) << i;
    }
    EXPECT_FALSE(digest(answerOf(kLeastRequestId, 70000, "x"))->saysTheSame(*original));
}

TEST(ReplyDigest, ErrorStatusMakesADifference)
{
    snmp::Message message;
    message.pdu.type = snmp::PduType::Response;
    message.pdu.requestId = kLeastRequestId;
    message.pdu.varbinds.push_back({{1, 3, 6}, {}});
    const auto good = digest(snmp::encodeMessage(message));
    message.pdu.errorStatus = 5;
    EXPECT_FALSE(good->saysTheSame(*digest(snmp::encodeMessage(message))));
    EXPECT_EQ(good->upTime, -1);
}

TEST(ReplyDigest, CutMessagesHaveNoneOrAnother)
{
    const std::string plain = answerOf(kLeastRequestId, 70000, "idle");
    for (std::size_t length = 0; length < plain.size(); ++length) {
        EXPECT_FALSE(digest(plain.substr(0, length))) << length;
    }
}

TEST(RequestId, IsReplacedInPlaceAndOnlyWhereItFits)
{
    std::string message = answerOf(kLeastRequestId, 70000, "idle");
    ASSERT_TRUE(replaceRequestId(message, 0x7ABCDEF1));
    EXPECT_EQ(message, answerOf(0x7ABCDEF1, 70000, "idle"));
    EXPECT_FALSE(replaceRequestId(message, 7));
    std::string small = answerOf(7, 70000, "idle");
    EXPECT_FALSE(replaceRequestId(small, kLeastRequestId));
    EXPECT_EQ(small, answerOf(7, 70000, "idle"));
    std::string none = "no message";
    EXPECT_FALSE(replaceRequestId(none, kLeastRequestId));
}

} // namespace
} // namespace tarn::engine::test
