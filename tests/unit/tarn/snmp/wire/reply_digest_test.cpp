#include "tarn/src/snmp/wire/reply_digest.h"

#include <gtest/gtest.h>

#include "tarn/src/snmp/wire/codec.h"

namespace tarn::snmp::test {
namespace {

std::string answerOf(std::int32_t id, std::int64_t upTime, const std::string& text)
{
    Message message;
    message.community = "public";
    message.pdu.type = PduType::Response;
    message.pdu.requestId = id;
    message.pdu.varbinds.push_back({{1, 3, 6, 1, 2, 1, 1, 3, 0}, {}});
    message.pdu.varbinds.back().value.type = ValueType::TimeTicks;
    message.pdu.varbinds.back().value.number = upTime;
    message.pdu.varbinds.push_back({{1, 3, 6, 1, 2, 1, 1, 5, 0}, {}});
    message.pdu.varbinds.back().value.type = ValueType::OctetString;
    message.pdu.varbinds.back().value.bytes = text;
    return encodeMessage(message);
}

std::optional<ReplyDigest> digest(const std::string& bytes)
{
    return digestOf(readHead({reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()}));
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
    Message message;
    message.pdu.type = PduType::Response;
    message.pdu.requestId = kLeastRequestId;
    message.pdu.varbinds.push_back({{1, 3, 6}, {}});
    const auto good = digest(encodeMessage(message));
    message.pdu.errorStatus = 5;
    EXPECT_FALSE(good->saysTheSame(*digest(encodeMessage(message))));
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
} // namespace tarn::snmp::test
