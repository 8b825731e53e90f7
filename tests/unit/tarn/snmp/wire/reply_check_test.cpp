#include "tarn/src/snmp/wire/reply_check.h"

#include <gtest/gtest.h>

#include "tarn/src/snmp/wire/codec.h"
#include "tests/unit/tarn/support/simulated_time.h"

namespace tarn::snmp::test {
namespace {

using tarn::test::SeededRandom;

std::string response(std::int32_t id)
{
    Message message;
    message.community = "public";
    message.pdu.type = PduType::Response;
    message.pdu.requestId = id;
    message.pdu.varbinds.push_back({{1, 3, 6, 1, 2, 1, 1, 3, 0}, {}});
    return encodeMessage(message);
}

Verdict examine(const std::string& bytes, std::int32_t id)
{
    return examineReply(readHead({reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()}),
                        {Version::V2c, "public", id});
}

TEST(ReplyCheck, ReadsIdsOfEveryLength)
{
    for (const std::int32_t id : {1, 127, 128, 255, 256, 65535, 65536, 0x7FFFFFFF}) {
        EXPECT_EQ(examine(response(id), id), Verdict::Accepted) << id;
        EXPECT_EQ(examine(response(id), id ^ 1), Verdict::WrongId) << id;
    }
}

TEST(ReplyCheck, TakesLengthsThatAreLongerThanNeeded)
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

TEST(ReplyCheck, TakesIntegersThatAreLongerThanNeeded)
{
    std::string bytes = response(7);
    const std::string version("\x02\x01\x01", 3);
    ASSERT_EQ(bytes.substr(2, 3), version);
    bytes.replace(2, 3, std::string("\x02\x0a\0\0\0\0\0\0\0\0\0\x01", 12));
    bytes[1] = static_cast<char>(bytes[1] + 9);
    EXPECT_EQ(examine(bytes, 7), Verdict::Accepted);
    EXPECT_EQ(examine(bytes, 8), Verdict::WrongId);
    ASSERT_TRUE(decodeMessage({reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()}));
}

TEST(ReplyCheck, RefusesIndefiniteAndAbsurdLengths)
{
    std::string bytes = response(7);
    bytes[1] = '\x80';
    EXPECT_EQ(examine(bytes, 7), Verdict::Malformed);
    EXPECT_EQ(examine(std::string("\x30\x84\xff\xff\xff\xff", 6), 7), Verdict::Malformed);
    EXPECT_EQ(examine(std::string("\x30\x89\x01\x01\x01\x01\x01\x01\x01\x01\x01", 11), 7),
              Verdict::Malformed);
}

TEST(ReplyCheck, NeverReadsPastTheEndWhateverTheBytes)
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
        accepted += examineReply(readHead({exact.data(), exact.size()}), {Version::V2c, "public", 7}) ==
                    Verdict::Accepted;
    }
    EXPECT_GT(accepted, 0u);
    EXPECT_LT(accepted, 20000u);
}

} // namespace
} // namespace tarn::snmp::test
