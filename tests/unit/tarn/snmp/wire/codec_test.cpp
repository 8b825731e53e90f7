#include "tarn/src/snmp/wire/codec.h"

#include <gtest/gtest.h>

#include <limits>
#include <random>

namespace tarn::snmp {
namespace {

ByteView view(const std::string& bytes)
{
    return {reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()};
}

std::optional<Message> decode(const std::string& bytes)
{
    return decodeMessage(view(bytes));
}

std::string unhex(const std::string& digits)
{
    std::string bytes;
    for (std::size_t i = 0; i + 1 < digits.size(); i += 2) {
        bytes.push_back(static_cast<char>(std::stoi(digits.substr(i, 2), nullptr, 16)));
    }
    return bytes;
}

// An element with the shortest length octets.
std::string element(int tag, const std::string& content)
{
    std::string out(1, static_cast<char>(tag));
    if (content.size() >= 0x80) {
        out += "\x82";
        out.push_back(static_cast<char>(content.size() >> 8));
    }
    out.push_back(static_cast<char>(content.size() & 0xFF));
    return out + content;
}

std::string varbind(const std::string& value)
{
    return element(0x30, element(0x06, unhex("2b06010201")) + value);
}

std::string messageWith(const std::string& varbinds, int pdu = 0xA2,
                        const std::string& version = unhex("020101"))
{
    const std::string body = unhex("020107") + unhex("020100") + unhex("020100") + element(0x30, varbinds);
    return element(0x30, version + element(0x04, "public") + element(pdu, body));
}

std::optional<Value> valueOf(const std::string& encoded)
{
    const std::optional<Message> message = decode(messageWith(varbind(encoded)));
    if (!message || message->pdu.varbinds.size() != 1) {
        return std::nullopt;
    }
    return message->pdu.varbinds[0].value;
}

std::int64_t numberOf(const std::string& hex)
{
    const std::optional<Value> value = valueOf(unhex(hex));
    EXPECT_TRUE(value.has_value()) << hex;
    return value ? value->number : -999999;
}

Message sample()
{
    Message message;
    message.version = Version::V2c;
    message.community = "public";
    message.pdu.type = PduType::Response;
    message.pdu.requestId = -1234567;
    const std::vector<std::pair<ValueType, std::int64_t>> numbers = {
        {ValueType::Integer, std::numeric_limits<std::int32_t>::min()},
        {ValueType::Integer, -1},
        {ValueType::Integer, 127},
        {ValueType::Integer, 128},
        {ValueType::Counter32, 4294967295},
        {ValueType::Gauge32, 0},
        {ValueType::TimeTicks, 2987802561},
        {ValueType::Counter64, -1}, // all bits set
    };
    for (const auto& [type, number] : numbers) {
        Varbind& bind = message.pdu.varbinds.emplace_back();
        bind.name = {1, 3, 6, 1, 2, 1, 43, 4294967295u, 0, 128};
        bind.value.type = type;
        bind.value.number = number;
    }
    for (const ValueType type : {ValueType::OctetString, ValueType::IpAddress, ValueType::Opaque}) {
        Varbind& bind = message.pdu.varbinds.emplace_back();
        bind.name = {2, 999, 3};
        bind.value.type = type;
        bind.value.bytes = std::string("a\0b", 3) + std::string(200, 'x');
    }
    for (const ValueType type :
         {ValueType::Null, ValueType::NoSuchObject, ValueType::NoSuchInstance, ValueType::EndOfMibView}) {
        Varbind& bind = message.pdu.varbinds.emplace_back();
        bind.name = {0, 0};
        bind.value.type = type;
    }
    Varbind& bind = message.pdu.varbinds.emplace_back();
    bind.name = {1, 3};
    bind.value.type = ValueType::ObjectId;
    bind.value.oid = {1, 3, 6, 1, 4, 1, 2435};
    return message;
}

// BER: the top bit is the sign's, of unsigned types too.
TEST(Codec, UnsignedNumbersBeginWithAZeroWhereTheyWouldReadAsNegative)
{
    const auto encoded = [](ValueType type, std::int64_t number) {
        Message message;
        Varbind& bind = message.pdu.varbinds.emplace_back();
        bind.name = {1, 3};
        bind.value.type = type;
        bind.value.number = number;
        const std::string octets = encodeMessage(message);
        return octets.substr(octets.find(unhex("06012b")) + 3);
    };
    EXPECT_EQ(encoded(ValueType::Gauge32, 0), unhex("420100"));
    EXPECT_EQ(encoded(ValueType::Gauge32, 127), unhex("42017f"));
    EXPECT_EQ(encoded(ValueType::Gauge32, 128), unhex("42020080"));
    EXPECT_EQ(encoded(ValueType::Counter32, 4294967295), unhex("410500ffffffff"));
    EXPECT_EQ(encoded(ValueType::Counter64, -1), unhex("460900ffffffffffffffff"));
}

TEST(Codec, DecodesWhatItEncoded)
{
    const Message message = sample();
    const std::optional<Message> back = decode(encodeMessage(message));
    ASSERT_TRUE(back);
    EXPECT_EQ(back->version, message.version);
    EXPECT_EQ(back->community, "public");
    EXPECT_EQ(back->pdu.requestId, -1234567);
    ASSERT_EQ(back->pdu.varbinds.size(), message.pdu.varbinds.size());
    for (std::size_t i = 0; i < message.pdu.varbinds.size(); ++i) {
        EXPECT_EQ(back->pdu.varbinds[i].name, message.pdu.varbinds[i].name) << i;
        EXPECT_EQ(back->pdu.varbinds[i].value.type, message.pdu.varbinds[i].value.type) << i;
        EXPECT_EQ(back->pdu.varbinds[i].value.number, message.pdu.varbinds[i].value.number) << i;
        EXPECT_EQ(back->pdu.varbinds[i].value.bytes, message.pdu.varbinds[i].value.bytes) << i;
        EXPECT_EQ(back->pdu.varbinds[i].value.oid, message.pdu.varbinds[i].value.oid) << i;
    }
}

TEST(Codec, EncodesAGetRequestOctetForOctet)
{
    Message message;
    message.version = Version::V1;
    message.community = "public";
    message.pdu.requestId = 1;
    message.pdu.varbinds.push_back({{1, 3, 6, 1, 2, 1, 1, 1, 0}, {}});
    EXPECT_EQ(encodeMessage(message),
              unhex("302602010004067075626c6963a019020101020100020100300e300c06082b060102010101000500"));
}

TEST(Codec, RefusesEveryTruncation)
{
    const std::string whole = encodeMessage(sample());
    ASSERT_TRUE(decode(whole));
    for (std::size_t length = 0; length < whole.size(); ++length) {
        // A copy of exactly that size, so that a sanitizer sees any reading beyond it.
        const std::string cut(whole.data(), length);
        EXPECT_FALSE(decode(cut)) << length;
    }
    EXPECT_FALSE(decodeMessage(ByteView{}));
}

TEST(Codec, IgnoresOctetsBehindTheMessage)
{
    EXPECT_TRUE(decode(encodeMessage(sample()) + "junk"));
}

TEST(Codec, ReadsNegativeIntegers)
{
    EXPECT_EQ(numberOf("0201fd"), -3);
    EXPECT_EQ(numberOf("0202ff80"), -128);
    EXPECT_EQ(numberOf("020180"), -128);
    EXPECT_EQ(numberOf("020480000000"), std::numeric_limits<std::int32_t>::min());
}

TEST(Codec, ReadsIntegersWithRedundantLeadingOctets)
{
    EXPECT_EQ(numberOf("0208fffffffffffffffd"), -3);
    EXPECT_EQ(numberOf("020a00000000000000000064"), 100);
    EXPECT_EQ(numberOf("020afffffffffffffffffffe"), -2);
}

TEST(Codec, RefusesIntegersOfNoOctetOrAbove64Bits)
{
    EXPECT_FALSE(valueOf(unhex("0200")));
    EXPECT_FALSE(valueOf(unhex("4100")));
    EXPECT_FALSE(valueOf(unhex("020901000000000000000000").substr(0, 11)));
    EXPECT_FALSE(valueOf(unhex("4609010000000000000000")));
}

TEST(Codec, ReadsCountersWithTheTopBitSet)
{
    EXPECT_EQ(numberOf("4104ffffffff"), 4294967295);   // no leading zero
    EXPECT_EQ(numberOf("410500ffffffff"), 4294967295); // as the standard wants it
    EXPECT_EQ(numberOf("4105ff80000000"), 2147483648); // sign-extended by the agent
    EXPECT_FALSE(valueOf(unhex("41050100000000")));    // does not fit 32 bits
}

TEST(Codec, ReadsCounter64)
{
    EXPECT_EQ(numberOf("46020400"), 1024);
    EXPECT_EQ(numberOf("460900ffffffffffffffff"), -1); // the bit pattern
    EXPECT_EQ(numberOf("4608ffffffffffffffff"), -1);
}

TEST(Codec, AcceptsLongFormAndNonMinimalLengths)
{
    EXPECT_EQ(numberOf("02810105"), 5);
    EXPECT_EQ(numberOf("0282000105"), 5);
    EXPECT_EQ(numberOf("028400000001"
                       "05"),
              5);
    EXPECT_EQ(numberOf("0285000000000105"), 5);
}

TEST(Codec, RefusesIndefiniteAndImpossibleLengths)
{
    EXPECT_FALSE(valueOf(unhex("0280050000")));
    EXPECT_FALSE(valueOf(unhex("0284ffffffff05")));
    EXPECT_FALSE(valueOf(unhex("0288ffffffffffffffff05")));
    EXPECT_FALSE(valueOf(unhex("020505")));
    EXPECT_FALSE(valueOf(unhex("02ff05")));
}

TEST(Codec, ReadsObjectIdentifiersOfEveryRoot)
{
    EXPECT_EQ(valueOf(unhex("060100"))->oid, (Oid{0, 0}));
    EXPECT_EQ(valueOf(unhex("0600"))->oid, (Oid{0, 0})); // what some agents send for 0.0
    EXPECT_EQ(valueOf(unhex("06014f"))->oid, (Oid{1, 39}));
    EXPECT_EQ(valueOf(unhex("06028837"))->oid, (Oid{2, 999}));
    EXPECT_EQ(valueOf(unhex("06062b8fffffff7f"))->oid, (Oid{1, 3, 4294967295u}));
}

TEST(Codec, RefusesObjectIdentifiersThatDoNotFit)
{
    EXPECT_FALSE(valueOf(unhex("06062b9080808000"))); // 2^32
    EXPECT_FALSE(valueOf(unhex("06022b81")));         // does not end
    EXPECT_TRUE(valueOf(element(0x06, std::string(127, '\x01'))));
    EXPECT_FALSE(valueOf(element(0x06, std::string(128, '\x01')))); // 129 sub-identifiers
}

TEST(Codec, ReadsTheExceptionsOfV2c)
{
    EXPECT_EQ(valueOf(unhex("8000"))->type, ValueType::NoSuchObject);
    EXPECT_EQ(valueOf(unhex("8100"))->type, ValueType::NoSuchInstance);
    EXPECT_EQ(valueOf(unhex("8200"))->type, ValueType::EndOfMibView);
    EXPECT_EQ(valueOf(unhex("470105"))->type, ValueType::Gauge32); // UInteger32 of old agents
    EXPECT_FALSE(valueOf(unhex("990100")));
}

TEST(Codec, RefusesOtherVersionsAndPdus)
{
    const std::string good = varbind(unhex("0500"));
    EXPECT_TRUE(decode(messageWith(good, 0xA2, unhex("020100"))));
    EXPECT_FALSE(decode(messageWith(good, 0xA2, unhex("020102"))));
    EXPECT_FALSE(decode(messageWith(good, 0xA2, unhex("020103")))); // v3
    EXPECT_FALSE(decode(messageWith(good, 0xA4)));                  // v1 trap
    EXPECT_FALSE(decode(messageWith(good, 0xA7)));                  // v2 trap
    EXPECT_FALSE(decode(messageWith(good, 0x30)));
}

TEST(Codec, RefusesARequestIdBeyond32Bits)
{
    const std::string body = unhex("02050100000000") + unhex("020100") + unhex("020100") + unhex("3000");
    EXPECT_FALSE(decode(element(0x30, unhex("020101") + element(0x04, "public") + element(0xA2, body))));
}

TEST(Codec, RefusesOctetsBehindTheFieldsOfAPduAndOfAVarbind)
{
    const std::string fields = unhex("020107020100020100") + element(0x30, "");
    const auto wrapped = [](const std::string& pdu) {
        return element(0x30, unhex("020101") + element(0x04, "public") + pdu);
    };
    EXPECT_TRUE(decode(wrapped(element(0xA2, fields))));
    EXPECT_FALSE(decode(wrapped(element(0xA2, fields + unhex("0500")))));
    EXPECT_FALSE(decode(wrapped(element(0xA2, fields) + unhex("0500"))));
    EXPECT_FALSE(decode(messageWith(element(0x30, element(0x06, "\x2b") + unhex("05000500")))));
}

TEST(Codec, BoundsTheNumberOfVarbinds)
{
    std::string varbinds;
    for (std::size_t i = 0; i < kMaxVarbinds; ++i) {
        varbinds += varbind(unhex("0500"));
    }
    const std::optional<Message> full = decode(messageWith(varbinds));
    ASSERT_TRUE(full);
    EXPECT_EQ(full->pdu.varbinds.size(), kMaxVarbinds);
    EXPECT_FALSE(decode(messageWith(varbinds + varbind(unhex("0500")))));
}

TEST(Codec, SurvivesRandomDamage)
{
    const unsigned seed = 20240611;
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    const std::string whole = encodeMessage(sample());
    int accepted = 0;
    for (int round = 0; round < 20000; ++round) {
        std::string damaged = whole;
        for (auto hits = 1 + random() % 4; hits > 0; --hits) {
            damaged[random() % damaged.size()] = static_cast<char>(random() & 0xFF);
        }
        if (const std::optional<Message> message = decode(damaged)) {
            ++accepted;
            EXPECT_TRUE(decode(encodeMessage(*message))) << round; // what was read can be written
        }
    }
    EXPECT_GT(accepted, 0);
}

} // namespace
} // namespace tarn::snmp
