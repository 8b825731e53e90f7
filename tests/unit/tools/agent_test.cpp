#include "tools/printer-sim/agent.h"

#include <gtest/gtest.h>

namespace printersim {
namespace {

using tarn::snmp::Message;
using tarn::snmp::Pdu;
using tarn::snmp::PduType;
using tarn::snmp::Varbind;
using tarn::snmp::Version;

const Oid kFirst = {1, 3, 6, 1, 1, 0};
const Oid kSecond = {1, 3, 6, 1, 2, 0};
const Oid kCounter64 = {1, 3, 6, 1, 3, 0};
const Oid kLast = {1, 3, 6, 1, 4, 1, 1};

class Agent : public testing::Test
{
protected:
    Agent()
        : m_printer(std::make_shared<const PrinterKind>(
                        PrinterKind{Mib({{kFirst, always(integer(1))},
                                         {kSecond, always(octets("two"))},
                                         {kCounter64, always(integer(3, ValueType::Counter64))},
                                         {kLast, always(integer(4))}}),
                                    Course::constant(1), 0, false}),
                    1, 0x7F000001)
    {
    }

    static Message request(PduType type, Version version, std::vector<Oid> names)
    {
        Message message;
        message.version = version;
        message.community = "public";
        message.pdu.type = type;
        message.pdu.requestId = 77;
        for (Oid& name : names) {
            message.pdu.varbinds.push_back({std::move(name), {}});
        }
        return message;
    }

    std::optional<std::string> raw(const Message& message)
    {
        const std::string bytes = tarn::snmp::encodeMessage(message);
        return answer({reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()}, m_printer, 0,
                      m_settings);
    }

    std::optional<Message> ask(const Message& message)
    {
        const auto bytes = raw(message);
        if (!bytes) {
            return std::nullopt;
        }
        return tarn::snmp::decodeMessage(
            {reinterpret_cast<const std::uint8_t*>(bytes->data()), bytes->size()});
    }

    Message bulk(std::vector<Oid> names, std::int32_t nonRepeaters, std::int32_t repetitions)
    {
        Message message = request(PduType::GetBulkRequest, Version::V2c, std::move(names));
        message.pdu.errorStatus = nonRepeaters;
        message.pdu.errorIndex = repetitions;
        return message;
    }

    Message setRequest(Version version, const std::string& community, const Oid& name, Value value)
    {
        Message message = request(PduType::SetRequest, version, {name});
        message.community = community;
        message.pdu.varbinds[0].value = std::move(value);
        return message;
    }

    static std::vector<Oid> names(const Message& message)
    {
        std::vector<Oid> list;
        for (const Varbind& varbind : message.pdu.varbinds) {
            list.push_back(varbind.name);
        }
        return list;
    }

    AgentSettings m_settings;
    Printer m_printer;
};

TEST_F(Agent, GetAnswersWithTheRequestsIdVersionAndCommunity)
{
    for (const Version version : {Version::V1, Version::V2c}) {
        const auto reply = ask(request(PduType::GetRequest, version, {kSecond, kFirst}));
        ASSERT_TRUE(reply);
        EXPECT_EQ(reply->version, version);
        EXPECT_EQ(reply->community, "public");
        EXPECT_EQ(reply->pdu.type, PduType::Response);
        EXPECT_EQ(reply->pdu.requestId, 77);
        EXPECT_EQ(reply->pdu.errorStatus, 0);
        EXPECT_EQ(names(*reply), (std::vector<Oid>{kSecond, kFirst}));
        EXPECT_EQ(reply->pdu.varbinds[0].value.bytes, "two");
        EXPECT_EQ(reply->pdu.varbinds[1].value.number, 1);
    }
}

TEST_F(Agent, V1NamesTheFirstVarbindThatIsMissing)
{
    const auto reply = ask(request(PduType::GetRequest, Version::V1, {kFirst, {1, 3, 9}, {1, 3, 8}}));
    EXPECT_EQ(reply->pdu.errorStatus, 2);
    EXPECT_EQ(reply->pdu.errorIndex, 2);
    EXPECT_EQ(names(*reply), (std::vector<Oid>{kFirst, {1, 3, 9}, {1, 3, 8}}));
}

TEST_F(Agent, V2cTellsAMissingInstanceFromAMissingObject)
{
    const auto reply =
        ask(request(PduType::GetRequest, Version::V2c, {{1, 3, 6, 1, 4, 1, 9}, {1, 3, 9, 0}, kFirst}));
    EXPECT_EQ(reply->pdu.errorStatus, 0);
    EXPECT_EQ(reply->pdu.varbinds[0].value.type, ValueType::NoSuchInstance);
    EXPECT_EQ(reply->pdu.varbinds[1].value.type, ValueType::NoSuchObject);
    EXPECT_EQ(reply->pdu.varbinds[2].value.number, 1);
}

TEST_F(Agent, Counter64IsNotThereInV1)
{
    EXPECT_EQ(ask(request(PduType::GetRequest, Version::V1, {kCounter64}))->pdu.errorStatus, 2);
    EXPECT_EQ(ask(request(PduType::GetRequest, Version::V2c, {kCounter64}))->pdu.varbinds[0].value.number, 3);
    EXPECT_EQ(names(*ask(request(PduType::GetNextRequest, Version::V1, {kSecond}))), std::vector<Oid>{kLast});
    EXPECT_EQ(names(*ask(request(PduType::GetNextRequest, Version::V2c, {kSecond}))),
              std::vector<Oid>{kCounter64});
}

TEST_F(Agent, GetNextWalksToTheEnd)
{
    EXPECT_EQ(names(*ask(request(PduType::GetNextRequest, Version::V2c, {{1, 3}, kFirst}))),
              (std::vector<Oid>{kFirst, kSecond}));
    const auto end = ask(request(PduType::GetNextRequest, Version::V2c, {kLast}));
    EXPECT_EQ(end->pdu.varbinds[0].value.type, ValueType::EndOfMibView);
    EXPECT_EQ(end->pdu.varbinds[0].name, kLast);
    const auto v1End = ask(request(PduType::GetNextRequest, Version::V1, {kFirst, kLast}));
    EXPECT_EQ(v1End->pdu.errorStatus, 2);
    EXPECT_EQ(v1End->pdu.errorIndex, 2);
}

TEST_F(Agent, GetBulkTakesNonRepeatersOnceAndTheOthersInRounds)
{
    const auto reply = ask(bulk({{1, 3}, {1, 3}, kFirst}, 1, 2));
    EXPECT_EQ(names(*reply), (std::vector<Oid>{kFirst, kFirst, kSecond, kSecond, kCounter64}));
}

TEST_F(Agent, GetBulkEndsWhenEveryColumnHasEnded)
{
    const auto reply = ask(bulk({kCounter64, kLast}, 0, 10));
    ASSERT_EQ(reply->pdu.varbinds.size(), 4U);
    EXPECT_EQ(reply->pdu.varbinds[0].name, kLast);
    EXPECT_EQ(reply->pdu.varbinds[1].value.type, ValueType::EndOfMibView);
    EXPECT_EQ(reply->pdu.varbinds[2].value.type, ValueType::EndOfMibView);
    EXPECT_EQ(reply->pdu.varbinds[3].value.type, ValueType::EndOfMibView);
}

TEST_F(Agent, GetBulkReadsOddNumbersAsTheStandardSays)
{
    EXPECT_EQ(ask(bulk({{1, 3}}, -5, 1))->pdu.varbinds.size(), 1U);
    EXPECT_EQ(ask(bulk({{1, 3}}, 9, 3))->pdu.varbinds.size(), 1U);
    EXPECT_EQ(ask(bulk({{1, 3}}, 0, -1))->pdu.varbinds.size(), 0U);
    EXPECT_EQ(ask(bulk({{1, 3}}, 0, 2147483647))->pdu.varbinds.size(), 5U);
}

TEST_F(Agent, GetBulkIsNoV1)
{
    Message message = bulk({{1, 3}}, 0, 1);
    message.version = Version::V1;
    EXPECT_FALSE(ask(message));
}

TEST_F(Agent, ALongGetBulkAnswerIsCutAsLateAsPossible)
{
    for (std::uint32_t i = 1; i <= 40; ++i) {
        m_printer.set({1, 3, 6, 9, i}, octets(std::string(i % 7, 'x')));
    }
    const auto sizeOf = [this](std::int32_t rows) { // of the whole answer with that many rows
        m_settings.maxMessageSize = 65507;
        return raw(bulk({{1, 3, 6, 9}}, 0, rows))->size();
    };
    for (std::size_t most = 64; most <= 400; ++most) {
        m_settings.maxMessageSize = most;
        const auto reply = ask(bulk({{1, 3, 6, 9}}, 0, 40));
        ASSERT_TRUE(reply) << most;
        const auto rows = static_cast<std::int32_t>(reply->pdu.varbinds.size());
        for (std::uint32_t i = 0; i < reply->pdu.varbinds.size(); ++i) {
            EXPECT_EQ(reply->pdu.varbinds[i].name, (Oid{1, 3, 6, 9, i + 1}));
        }
        ASSERT_GT(rows, 0);
        EXPECT_LE(sizeOf(rows), most);
        EXPECT_GT(sizeOf(rows + 1), most);
    }
}

TEST_F(Agent, AnAnswerThatDoesNotFitIsTooBig)
{
    m_settings.maxMessageSize = 80;
    m_printer.set(kSecond, octets(std::string(100, 'x')));
    const auto v2c = ask(request(PduType::GetRequest, Version::V2c, {kSecond}));
    EXPECT_EQ(v2c->pdu.errorStatus, 1);
    EXPECT_EQ(v2c->pdu.errorIndex, 0);
    EXPECT_TRUE(v2c->pdu.varbinds.empty());
    const auto v1 = ask(request(PduType::GetRequest, Version::V1, {kSecond}));
    EXPECT_EQ(v1->pdu.errorStatus, 1);
    EXPECT_EQ(names(*v1), std::vector<Oid>{kSecond});
}

TEST_F(Agent, WhereNotEvenTheErrorFitsItKeepsSilent)
{
    m_settings.maxMessageSize = 64;
    m_printer.set(kFirst, octets(std::string(100, 'x')));
    EXPECT_FALSE(
        ask(request(PduType::GetRequest, Version::V1, {kFirst, kFirst, kFirst, kFirst, kFirst, kFirst})));
}

TEST_F(Agent, AnUnknownCommunityGetsNoAnswer)
{
    Message message = request(PduType::GetRequest, Version::V2c, {kFirst});
    message.community = "secret";
    EXPECT_FALSE(ask(message));
    message.community = "private";
    EXPECT_TRUE(ask(message));
}

TEST_F(Agent, AV1AgentKeepsSilentToV2c)
{
    m_settings.v1Only = true;
    EXPECT_FALSE(ask(request(PduType::GetRequest, Version::V2c, {kFirst})));
    EXPECT_TRUE(ask(request(PduType::GetRequest, Version::V1, {kFirst})));
}

TEST_F(Agent, SetChangesAValue)
{
    const auto reply = ask(setRequest(Version::V2c, "private", kFirst, integer(42)));
    EXPECT_EQ(reply->pdu.errorStatus, 0);
    EXPECT_EQ(reply->pdu.varbinds[0].value.number, 42);
    EXPECT_EQ(ask(request(PduType::GetRequest, Version::V2c, {kFirst}))->pdu.varbinds[0].value.number, 42);
}

TEST_F(Agent, SetIsRefusedForReadersMissingRowsAndOtherTypes)
{
    EXPECT_EQ(ask(setRequest(Version::V2c, "public", kFirst, integer(42)))->pdu.errorStatus, 6);
    EXPECT_EQ(ask(setRequest(Version::V1, "public", kFirst, integer(42)))->pdu.errorStatus, 2);
    EXPECT_EQ(ask(setRequest(Version::V2c, "private", {1, 3, 9}, integer(42)))->pdu.errorStatus, 17);
    EXPECT_EQ(ask(setRequest(Version::V1, "private", {1, 3, 9}, integer(42)))->pdu.errorStatus, 2);
    EXPECT_EQ(ask(setRequest(Version::V2c, "private", kFirst, octets("x")))->pdu.errorStatus, 7);
    EXPECT_EQ(ask(setRequest(Version::V1, "private", kFirst, octets("x")))->pdu.errorStatus, 3);
    EXPECT_EQ(m_printer.get(kFirst, 0)->number, 1);
}

TEST_F(Agent, OneWrongVarbindOfASetChangesNothing)
{
    Message message = setRequest(Version::V2c, "private", kFirst, integer(42));
    message.pdu.varbinds.push_back({{1, 3, 9}, integer(1)});
    EXPECT_EQ(ask(message)->pdu.errorIndex, 2);
    EXPECT_EQ(m_printer.get(kFirst, 0)->number, 1);
}

TEST_F(Agent, ACounterKeepsItsTypeWhenItIsSetAsAGauge)
{
    m_printer.set(kFirst, integer(1, ValueType::Counter32));
    EXPECT_EQ(
        ask(setRequest(Version::V2c, "private", kFirst, integer(5, ValueType::Gauge32)))->pdu.errorStatus, 0);
    EXPECT_EQ(m_printer.get(kFirst, 0)->type, ValueType::Counter32);
    EXPECT_EQ(m_printer.get(kFirst, 0)->number, 5);
}

TEST_F(Agent, WhatIsNoRequestGetsNoAnswer)
{
    EXPECT_FALSE(ask(request(PduType::Response, Version::V2c, {kFirst})));
    const std::uint8_t junk[] = {0x30, 0x02, 0x05, 0x00};
    EXPECT_FALSE(answer({junk, sizeof junk}, m_printer, 0, m_settings));
    EXPECT_FALSE(answer({junk, 0}, m_printer, 0, m_settings));
}

} // namespace
} // namespace printersim
