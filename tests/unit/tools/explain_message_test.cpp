#include "tools/tarn-status/explain/snmp_message.h"

#include <gtest/gtest.h>

#include "tools/tarn-status/explain/printer_objects.h"

namespace tarnstatus {
namespace {

using tarn::snmp::Oid;
using tarn::snmp::Pdu;
using tarn::snmp::PduType;
using tarn::snmp::ValueType;
using tarn::snmp::Version;

constexpr std::int32_t kId = 0x12345678;

std::string bytes(std::initializer_list<int> octets)
{
    return std::string(octets.begin(), octets.end());
}

// The discovery as RFC 3412 and RFC 3414 write it down, octet by octet.
TEST(ExplainMessage, DiscoveryIsWhatTheStandardsSay)
{
    EXPECT_EQ(discovery(kId),
              bytes({0x30, 0x3E, 2, 1, 3}) +
                  // number, largest message, reportable, the user-based model
                  bytes({0x30, 0x11, 2, 4, 0x12, 0x34, 0x56, 0x78, 2, 3, 0, 0xFF, 0xE3, 4, 1, 4, 2, 1, 3}) +
                  // no engine, boots and time 0, nobody, neither of the keys
                  bytes({4, 0x10, 0x30, 0x0E, 4, 0, 2, 1, 0, 2, 1, 0, 4, 0, 4, 0, 4, 0}) +
                  // GET of nothing
                  bytes({0x30, 0x14, 4, 0, 4, 0}) +
                  bytes({0xA0, 0x0E, 2, 4, 0x12, 0x34, 0x56, 0x78, 2, 1, 0, 2, 1, 0, 0x30, 0}));
}

std::string report(std::int32_t version, int lastOctetOfId, std::size_t engineSize)
{
    const std::string engine(engineSize, 'e');
    const std::string security = bytes({4, static_cast<int>(engineSize)}) + engine + bytes({2, 1, 0});
    const std::string inner = bytes({0x30, static_cast<int>(security.size())}) + security;
    const std::string header = bytes({2, 4, 0x12, 0x34, 0x56, lastOctetOfId, 2, 2, 5, 0, 4, 1, 0, 2, 1, 3});
    const std::string message = bytes({2, 1, version, 0x30, static_cast<int>(header.size())}) + header +
                                bytes({4, static_cast<int>(inner.size())}) + inner;
    return bytes({0x30, static_cast<int>(message.size())}) + message;
}

TEST(ExplainMessage, EngineOfOurDiscoveryAloneCounts)
{
    EXPECT_TRUE(namesEngine(report(3, 0x78, 5), kId));
    EXPECT_TRUE(namesEngine(report(3, 0x78, 32), kId));
    EXPECT_FALSE(namesEngine(report(3, 0x79, 5), kId)) << "another message's number";
    EXPECT_FALSE(namesEngine(report(1, 0x78, 5), kId)) << "another version";
    EXPECT_FALSE(namesEngine(report(3, 0x78, 4), kId)) << "too short for an engine";
    EXPECT_FALSE(namesEngine(report(3, 0x78, 33), kId)) << "too long for one";
    EXPECT_FALSE(namesEngine(discovery(kId), kId)) << "our own, sent back";
}

TEST(ExplainMessage, NothingThatIsCutOffNamesAnEngine)
{
    const std::string whole = report(3, 0x78, 8);
    for (std::size_t size = 0; size < whole.size(); ++size) {
        EXPECT_FALSE(namesEngine(whole.substr(0, size), kId)) << size;
    }
}

std::string answer(Version version, std::int32_t id, PduType type = PduType::Response)
{
    tarn::snmp::Message message{version, "public", nextRequest(kSystemDescription, id)};
    message.pdu.type = type;
    return tarn::snmp::encodeMessage(message);
}

TEST(ExplainMessage, AnAnswerHasVersionNumberAndTypeOfOne)
{
    EXPECT_TRUE(answerIn(answer(Version::V1, kId), Version::V1, kId));
    EXPECT_FALSE(answerIn(answer(Version::V1, kId), Version::V2c, kId));
    EXPECT_FALSE(answerIn(answer(Version::V1, kId + 1), Version::V1, kId));
    EXPECT_FALSE(answerIn(answer(Version::V1, kId, PduType::GetNextRequest), Version::V1, kId)) << "an echo";
    EXPECT_FALSE(answerIn("", Version::V1, kId));
}

Pdu of(const Oid& name, ValueType type = ValueType::Integer)
{
    Pdu pdu = nextRequest(name, kId);
    pdu.varbinds.front().value.type = type;
    return pdu;
}

TEST(ExplainMessage, WhatLiesBelowIsLongerAndThere)
{
    const Oid name = {1, 3, 6};
    EXPECT_TRUE(isBelow(of({1, 3, 6, 1}), name));
    EXPECT_FALSE(isBelow(of({1, 3, 6}), name));
    EXPECT_FALSE(isBelow(of({1, 3, 7, 1}), name));
    EXPECT_FALSE(isBelow(of({1, 3, 6, 1}, ValueType::EndOfMibView), name));
    Pdu failed = of({1, 3, 6, 1});
    failed.errorStatus = 2;
    EXPECT_FALSE(isBelow(failed, name));
    EXPECT_FALSE(isBelow(Pdu(), name));
}

TEST(ExplainMessage, EitherTableMakesAPrinter)
{
    for (const Oid& has : {Oid{1, 3, 6, 1, 2, 1, 43, 5}, Oid{1, 3, 6, 1, 2, 1, 25, 3, 5, 1, 1, 1}}) {
        std::string detail = "system";
        EXPECT_TRUE(hasPrinterObjects([&has](const Oid&) { return of(has); }, detail));
        EXPECT_EQ(detail, "system") << "no name was told";
    }
    std::string detail;
    EXPECT_FALSE(hasPrinterObjects([](const Oid&) { return of({1, 3, 6, 1, 2, 1, 25, 4, 1}); }, detail));
    EXPECT_FALSE(hasPrinterObjects([](const Oid&) { return std::nullopt; }, detail));
}

} // namespace
} // namespace tarnstatus
