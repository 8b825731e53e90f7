#include "tarn/src/usm/usm_codec.h"

#include <gtest/gtest.h>

#include "tarn/src/usm/net_snmp_library.h"
#include "tarn/src/usm/pdu_conversion.h"
#include "tarn/src/usm/usm_frame.h"
#include "tests/unit/tarn/support/scratch_directory.h"
#include "tests/unit/tarn/usm/fake_agent.h"

namespace tarn::usm {

using engine::UsmUser;
using snmp::Value;
using snmp::ValueType;

namespace {

const TimePoint kNow{Milliseconds(5000000)};

UsmUser user(UsmUser::Auth auth, const std::string& authPassword, const std::string& privPassword = "")
{
    UsmUser user;
    user.name = "mon";
    user.auth = auth;
    user.authPassword = authPassword;
    user.isPrivate = !privPassword.empty();
    user.privPassword = privPassword;
    return user;
}

std::string hex(const Bytes& bytes)
{
    std::string text;
    char two[3];
    for (const unsigned char byte : bytes) {
        std::snprintf(two, sizeof two, "%02x", byte);
        text += two;
    }
    return text;
}

snmp::ByteView view(const std::string& bytes)
{
    return {reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()};
}

Value number(ValueType type, std::int64_t number)
{
    Value value;
    value.type = type;
    value.number = number;
    return value;
}

Value bytes(ValueType type, const std::string& bytes)
{
    Value value;
    value.type = type;
    value.bytes = bytes;
    return value;
}

class UsmCodecTest : public testing::Test
{
protected:
    void SetUp() override
    {
        std::string why;
        m_codec = UsmCodec::start(NetSnmpLibrary::kSoname, why);
        ASSERT_TRUE(m_codec) << why;
    }
    std::shared_ptr<const UsmKeys> keysOf(const UsmUser& user) const
    {
        std::string why;
        return m_codec->keysOf(user, why);
    }

    const test::ScratchDirectory m_scratch;
    const test::ScopedVariable m_path{"SNMPCONFPATH", m_scratch.path("")};
    std::unique_ptr<UsmCodec> m_codec;
};

} // namespace

TEST_F(UsmCodecTest, EveryKindOfValueGoesThereAndBack)
{
    const NetSnmpLibrary library(NetSnmpLibrary::kSoname);
    Value oid;
    oid.type = ValueType::ObjectId;
    oid.oid = {1, 3, 6, 1, 4294967295u};
    snmp::Pdu pdu;
    pdu.type = snmp::PduType::Response;
    pdu.requestId = 77;
    pdu.errorStatus = 2;
    pdu.errorIndex = 3;
    for (const Value& value :
         {number(ValueType::Integer, -3), bytes(ValueType::OctetString, std::string("a\0b", 3)), Value(), oid,
          bytes(ValueType::IpAddress, "\x7F\x01\x02\x03"), number(ValueType::Counter32, 4294967295),
          number(ValueType::Gauge32, 7), number(ValueType::TimeTicks, 3000000000),
          bytes(ValueType::Opaque, "xyz"), number(ValueType::Counter64, -2),
          number(ValueType::NoSuchObject, 0), number(ValueType::NoSuchInstance, 0),
          number(ValueType::EndOfMibView, 0), bytes(ValueType::OctetString, std::string(300, 'x'))}) {
        pdu.varbinds.push_back(
            {{1, 3, 6, 1, 2, 1, 1, static_cast<std::uint32_t>(pdu.varbinds.size())}, value});
    }
    const OwnedPdu raw = toNetSnmp(library, pdu);
    ASSERT_NE(raw, nullptr);
    const snmp::Pdu back = fromNetSnmp(*raw, 1000);
    EXPECT_EQ(fromNetSnmp(*raw, 3).varbinds.size(), 3u);
    EXPECT_EQ(back.type, pdu.type);
    EXPECT_EQ(back.requestId, 77);
    EXPECT_EQ(back.errorStatus, 2);
    EXPECT_EQ(back.errorIndex, 3);
    ASSERT_EQ(back.varbinds.size(), pdu.varbinds.size());
    for (std::size_t i = 0; i < back.varbinds.size(); ++i) {
        EXPECT_EQ(back.varbinds[i].name, pdu.varbinds[i].name) << i;
        EXPECT_EQ(back.varbinds[i].value.type, pdu.varbinds[i].value.type) << i;
        EXPECT_EQ(back.varbinds[i].value.number, pdu.varbinds[i].value.number) << i;
        EXPECT_EQ(back.varbinds[i].value.bytes, pdu.varbinds[i].value.bytes) << i;
        EXPECT_EQ(back.varbinds[i].value.oid, pdu.varbinds[i].value.oid) << i;
    }
}

TEST(UsmCodecStart, WithoutTheLibrarySaysWhy)
{
    std::string why;
    EXPECT_EQ(UsmCodec::start("libnetsnmp.so.none", why), nullptr);
    EXPECT_NE(why.find("libnetsnmp.so.none"), std::string::npos) << why;
}

// RFC 3414 A.3.1 and A.3.2.
TEST_F(UsmCodecTest, MakesTheKeysOfTheStandardsExamples)
{
    UsmEngine engine;
    engine.id = std::string("\0\0\0\0\0\0\0\0\0\0\0\x02", 12);
    const auto md5 = keysOf(user(UsmUser::Auth::Md5, "maplesyrup"));
    ASSERT_TRUE(md5);
    EXPECT_EQ(hex(md5->authKey), "9faf3283884e92834ebc9847d8edd963");
    ASSERT_TRUE(m_codec->localize(*md5, engine));
    EXPECT_EQ(hex(engine.authKey), "526f5eed9fcce26f8964c2930787d82b");
    const auto sha = keysOf(user(UsmUser::Auth::Sha, "maplesyrup"));
    ASSERT_TRUE(sha);
    ASSERT_TRUE(m_codec->localize(*sha, engine));
    EXPECT_EQ(hex(engine.authKey), "6695febc9288e36282235fc7151f128497b38f3f");
}

TEST_F(UsmCodecTest, RefusesUsersAndEnginesThatCannotBe)
{
    std::string why;
    EXPECT_EQ(m_codec->keysOf(user(UsmUser::Auth::Sha, "secret7"), why), nullptr);
    EXPECT_NE(why.find("mon"), std::string::npos);
    EXPECT_EQ(why.find("secret7"), std::string::npos);
    const auto keys = keysOf(user(UsmUser::Auth::Sha, "authpass12"));
    for (const std::size_t size : {0u, 4u, 33u}) {
        UsmEngine engine;
        engine.id = std::string(size, 'e');
        EXPECT_FALSE(m_codec->localize(*keys, engine)) << size;
    }
}

TEST_F(UsmCodecTest, AnswersOfEveryProtectionAreRead)
{
    for (const UsmUser& who :
         {user(UsmUser::Auth::Md5, "authpass12"), user(UsmUser::Auth::Sha, "authpass12"),
          user(UsmUser::Auth::Sha256, "authpass12"), user(UsmUser::Auth::Md5, "authpass12", "privpass12"),
          user(UsmUser::Auth::Sha, "authpass12", "privpass12"),
          user(UsmUser::Auth::Sha256, "authpass12", "privpass12")}) {
        const auto keys = keysOf(who);
        ASSERT_TRUE(keys);
        const FakeAgent agent(*m_codec, keys, "engine-1");
        UsmEngine known = agent.engine;
        const std::string response = agent.response({70001, 70002}, kNow, "toner is low");
        EXPECT_EQ(response.find("toner is low") == std::string::npos, who.isPrivate);
        const UsmMessage message = m_codec->read(view(response), *keys, &known, kNow);
        ASSERT_EQ(message.kind, UsmMessage::Kind::Response);
        EXPECT_TRUE(message.isProtected);
        EXPECT_EQ(message.ids.message, 70001);
        EXPECT_EQ(message.ids.request, 70002);
        EXPECT_EQ(message.engine.id, "engine-1");
        ASSERT_EQ(message.pdu.varbinds.size(), 1u);
        EXPECT_EQ(message.pdu.varbinds[0].value.bytes, "toner is low");
    }
}

TEST_F(UsmCodecTest, ReadsNothingThatAnotherKeyProtects)
{
    const auto keys = keysOf(user(UsmUser::Auth::Sha, "authpass12", "privpass12"));
    const auto others = keysOf(user(UsmUser::Auth::Sha, "authpass13", "privpass12"));
    const FakeAgent agent(*m_codec, others, "engine-1");
    UsmEngine known = agent.engine;
    ASSERT_TRUE(m_codec->localize(*keys, known));
    const UsmMessage message = m_codec->read(view(agent.response({1, 2}, kNow)), *keys, &known, kNow);
    EXPECT_EQ(message.kind, UsmMessage::Kind::Unreadable);
}

TEST_F(UsmCodecTest, AnyOctetThatIsChangedMakesItUnreadable)
{
    const auto keys = keysOf(user(UsmUser::Auth::Sha256, "authpass12", "privpass12"));
    const FakeAgent agent(*m_codec, keys, "engine-1");
    const std::string response = agent.response({70001, 70002}, kNow);
    for (std::size_t i = 0; i < response.size(); ++i) {
        std::string changed = response;
        changed[i] = static_cast<char>(changed[i] ^ 0x15);
        UsmEngine known = agent.engine;
        EXPECT_NE(m_codec->read(view(changed), *keys, &known, kNow).kind, UsmMessage::Kind::Response) << i;
        const UsmMessage cut = m_codec->read({view(response).data, i}, *keys, &known, kNow);
        EXPECT_EQ(cut.kind, UsmMessage::Kind::Unreadable) << i;
    }
}

// Net-SNMP would read on behind the end.
TEST_F(UsmCodecTest, InnerElementsMustNotLeadOutside)
{
    // Found by the fuzzer: the engine's name, at the very end, says that it has ten octets. It has eight.
    const char octets[] = "\x30\x24\x02\x01\x03\x30\x11\x02\x04\x11\x22\x33\x44\x02\x03\x00\xff\xe3\x04\x01"
                          "\x00\x02\x01\x03\x04\x1a\x30\x18\x04\x0a\x80\x00\x1f\x88\x04\x01\x02\x03";
    EXPECT_FALSE(isWholeMessage(view(std::string(octets, sizeof octets - 1))));

    const auto keys = keysOf(user(UsmUser::Auth::Sha, "authpass12"));
    const std::string whole = FakeAgent(*m_codec, keys, "engine-1").response({1, 2}, kNow, "text");
    ASSERT_TRUE(isWholeMessage(view(whole)));
    ASSERT_EQ(whole.substr(whole.size() - 5), "\x04text");
    for (const char length : {'\x05', '\x7F'}) {
        std::string longer = whole;
        longer[longer.size() - 5] = length;
        EXPECT_FALSE(isWholeMessage(view(longer)));
    }
}

TEST_F(UsmCodecTest, NothingLargerThanWeAreReadyForIsLookedAt)
{
    const auto keys = keysOf(user(UsmUser::Auth::Sha, "authpass12"));
    const FakeAgent agent(*m_codec, keys, "engine-1");
    UsmEngine known = agent.engine;
    const std::string large = agent.response({1, 2}, kNow, std::string(UsmCodec::kLargestMessage, 'x'));
    ASSERT_GT(large.size(), UsmCodec::kLargestMessage);
    EXPECT_EQ(m_codec->read(view(large), *keys, &known, kNow).kind, UsmMessage::Kind::Unreadable);
}

TEST_F(UsmCodecTest, AnOldMessageIsOutOfTimeAndANewOneSetsTheClock)
{
    const auto keys = keysOf(user(UsmUser::Auth::Sha, "authpass12"));
    FakeAgent agent(*m_codec, keys, "engine-1");
    agent.engine.learnt = kNow;
    UsmEngine known = agent.engine;
    const std::string old = agent.response({1, 2}, kNow);
    // Ten minutes on, by our clock; within the 150 s of RFC 3414 3.2 (7) it would be good.
    const TimePoint later = kNow + std::chrono::minutes(10);
    EXPECT_EQ(m_codec->read(view(old), *keys, &known, later).kind, UsmMessage::Kind::OutOfTime);
    agent.engine.boots = 4;
    agent.engine.time = 5;
    agent.engine.learnt = later;
    EXPECT_EQ(m_codec->read(view(agent.response({1, 2}, later)), *keys, &known, later).kind,
              UsmMessage::Kind::Response);
    EXPECT_EQ(known.boots, 4u);
    EXPECT_EQ(known.time, 5u);
}

TEST_F(UsmCodecTest, TwoDevicesWithOneEngineIdDoNotDisturbEachOther)
{
    const auto keys = keysOf(user(UsmUser::Auth::Sha, "authpass12"));
    const auto others = keysOf(user(UsmUser::Auth::Md5, "authpass34"));
    FakeAgent first(*m_codec, keys, "engine-1");
    FakeAgent second(*m_codec, others, "engine-1");
    second.engine.boots = 900;
    UsmEngine knownFirst = first.engine;
    UsmEngine knownSecond = second.engine;
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(m_codec->read(view(first.response({1, 2}, kNow)), *keys, &knownFirst, kNow).kind,
                  UsmMessage::Kind::Response);
        EXPECT_EQ(m_codec->read(view(second.response({1, 2}, kNow)), *others, &knownSecond, kNow).kind,
                  UsmMessage::Kind::Response);
    }
    EXPECT_EQ(knownFirst.boots, 3u);
    EXPECT_EQ(knownSecond.boots, 900u);
}

TEST(UsmCodecSnmpConf, GivesTheUserThatNobodyNamed)
{
    const test::ScratchDirectory scratch;
    const test::ScopedVariable path("SNMPCONFPATH", scratch.path(""));
    UsmUser unnamed;
    unnamed.isFromSnmpConf = true;
    for (const auto& [text, works, isPrivate] :
         {std::tuple("defSecurityName mon\ndefAuthType SHA-256\ndefAuthPassphrase authpass12\n"
                     "defSecurityLevel authPriv\ndefPrivType AES\ndefPrivPassphrase privpass12\n",
                     true, true),
          std::tuple("defSecurityName mon\ndefPassphrase authpass12\ndefSecurityLevel authNoPriv\n", true,
                     false),
          std::tuple("defSecurityName mon\ndefSecurityLevel noAuthNoPriv\ndefAuthPassphrase authpass12\n",
                     false, false),
          std::tuple("defSecurityName mon\n", false, false), std::tuple("", false, false)}) {
        scratch.write("snmp.conf", text);
        std::string why;
        const std::unique_ptr<UsmCodec> codec = UsmCodec::start(NetSnmpLibrary::kSoname, why);
        ASSERT_TRUE(codec) << why;
        const std::shared_ptr<const UsmKeys> keys = codec->keysOf(unnamed, why);
        EXPECT_EQ(keys != nullptr, works) << text << why;
        if (keys) {
            EXPECT_EQ(keys->name, "mon");
            EXPECT_EQ(!keys->privProtocol.empty(), isPrivate);
        } else {
            EXPECT_NE(why.find("snmp.conf"), std::string::npos) << why;
        }
    }
}

} // namespace tarn::usm
