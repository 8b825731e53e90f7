// How much is asked at once: of devices that refuse GETBULK or drop what is large, and across losses.
#include "tarn/src/snmp/poll/printer_session.h"
#include "tarn/src/snmp/poll/request_sizing.h"

#include <functional>

#include "tests/unit/tarn/snmp/fixtures.h"

namespace tarn::snmp {
namespace {

using engine::ReadKind;
using engine::ReadOutcome;
using kel::testing::fixture;
using kel::testing::RecordedAgent;
using kel::testing::runRead;
using kel::testing::statusOf;

Pdu large()
{
    Pdu pdu;
    pdu.type = PduType::GetNextRequest;
    pdu.varbinds.resize(30);
    return pdu;
}

Pdu small()
{
    Pdu pdu = large();
    pdu.varbinds.resize(4);
    return pdu;
}

class Sizing : public ::testing::Test
{
protected:
    void answer(const Pdu& request)
    {
        sizing.asked(request);
        sizing.answered();
    }
    // The request and its repetition stay unanswered, unless the first miss was enough.
    bool miss(const Pdu& request)
    {
        sizing.asked(request);
        return sizing.unanswered(1) || sizing.unanswered(2);
    }
    bool isSmall() const { return sizing.limits().maxResults <= 8 && !sizing.limits().bulk; }
    // A whole reading of a device that drops what is large. True where it was tried.
    bool readingWithoutLarge()
    {
        sizing.beginRead(true);
        answer(small());
        bool tried = false;
        for (int i = 0; i < 6; ++i) {
            if (isSmall()) {
                answer(small());
            } else {
                tried = true;
                miss(large());
            }
        }
        sizing.endRead(true);
        return tried;
    }
    void goodReading()
    {
        sizing.beginRead(true);
        for (int i = 0; i < 3; ++i) {
            answer(isSmall() ? small() : large());
        }
        sizing.endRead(true);
    }

    RequestSizing sizing{Version::V2c};
};

TEST_F(Sizing, OneSuspicionCostsOneSmallRequest)
{
    sizing.beginRead(true);
    answer(small());
    EXPECT_TRUE(miss(large()));
    EXPECT_TRUE(isSmall());
    answer(small());
    EXPECT_FALSE(isSmall()) << "the large one is put once more";
    answer(large());
    sizing.endRead(true);
    sizing.beginRead(false);
    EXPECT_FALSE(isSmall());
}

TEST_F(Sizing, TheSmallOneAnsweredWhereTheLargeOneFailedAgainIsEvidence)
{
    sizing.beginRead(true);
    answer(small());
    EXPECT_TRUE(miss(large()));
    answer(small());
    EXPECT_TRUE(miss(large()));
    answer(small());
    EXPECT_TRUE(isSmall());
    sizing.endRead(true);
    sizing.beginRead(false);
    EXPECT_TRUE(isSmall()) << "what moves is asked for in small requests, too";
    sizing.endRead(false);
    sizing.beginRead(true);
    EXPECT_FALSE(isSmall()) << "the next whole reading tries again";
}

// Small as the rest may be, what is not as large as the one that failed says nothing about it.
TEST_F(Sizing, OnlyALargeOneOfItsSizeRefutesTheSuspicion)
{
    Pdu middle;
    middle.varbinds.resize(12);
    Pdu whole;
    whole.varbinds.resize(48);
    sizing.beginRead(true);
    EXPECT_TRUE(miss(whole));
    answer(small());
    answer(middle);
    sizing.endRead(true);
    sizing.beginRead(false);
    answer(middle);
    sizing.endRead(false);
    sizing.beginRead(true);
    EXPECT_TRUE(miss(whole)) << "in the next whole reading";
    answer(small());
    EXPECT_TRUE(isSmall());
    sizing.endRead(true);
    sizing.beginRead(true);
    answer(whole);
    sizing.endRead(true);
    sizing.beginRead(true);
    EXPECT_FALSE(isSmall());
}

// Two answered once, and two repeated five times.
TEST_F(Sizing, GetBulkIsAsLargeAsTheAnswerThatItAllows)
{
    Pdu bulk;
    bulk.type = PduType::GetBulkRequest;
    bulk.errorStatus = 2;
    bulk.errorIndex = 5;
    bulk.varbinds.resize(4);
    Pdu less = large();
    less.varbinds.resize(11);
    Pdu same = large();
    same.varbinds.resize(12);
    sizing.beginRead(true);
    EXPECT_TRUE(miss(bulk));
    answer(small());
    answer(same);
    EXPECT_TRUE(miss(bulk));
    answer(small());
    EXPECT_FALSE(isSmall()) << "one as large was answered";
    answer(less);
    EXPECT_TRUE(miss(bulk));
    answer(small());
    EXPECT_TRUE(isSmall());
}

TEST_F(Sizing, TrialsGetRarerAsTheyFailAndNoRarerThanAnHour)
{
    readingWithoutLarge();
    std::vector<int> tried;
    for (int reading = 1; reading <= 400; ++reading) {
        if (readingWithoutLarge()) {
            tried.push_back(reading);
        }
    }
    EXPECT_EQ(tried, (std::vector<int>{1, 3, 7, 15, 31, 63, 123, 183, 243, 303, 363}));
    while (isSmall()) {
        goodReading();
    }
    EXPECT_TRUE(readingWithoutLarge()); // all is forgotten: it takes two failures again
    sizing.beginRead(true);
    EXPECT_FALSE(isSmall());
}

TEST_F(Sizing, OnTrialOneFailureOfTheFirstRequestIsEnough)
{
    sizing.asked(large());
    EXPECT_FALSE(sizing.unanswered(1)) << "the network may have lost it";
    readingWithoutLarge();
    sizing.beginRead(true);
    sizing.asked(large());
    EXPECT_TRUE(sizing.unanswered(1)) << "it must not become unreachable by the trial";
    answer(small());
    EXPECT_TRUE(isSmall());
}

TEST_F(Sizing, ATrialEndsWellOnlyWithTheWholeReading)
{
    readingWithoutLarge();
    sizing.beginRead(true);
    answer(large());
    EXPECT_TRUE(miss(large()));
    answer(small());
    sizing.endRead(true);
    EXPECT_TRUE(isSmall());
    sizing.beginRead(true);
    EXPECT_TRUE(isSmall()) << "the second failure in a row";
}

TEST_F(Sizing, WhoWentAwayCountsAsNothing)
{
    sizing.beginRead(true);
    EXPECT_TRUE(miss(large())) << "it may be too much from the beginning";
    EXPECT_FALSE(miss(small())) << "nobody is there";
    EXPECT_FALSE(isSmall());
    answer(small());
    EXPECT_TRUE(miss(large()));
    answer(small());
    EXPECT_TRUE(miss(large()));
    EXPECT_FALSE(miss(small())) << "now it is known to be away";
    answer(small()); // after hours, perhaps
    EXPECT_FALSE(isSmall());
    sizing.beginRead(false);
    EXPECT_FALSE(isSmall());

    answer(small());
    EXPECT_TRUE(miss(large()));
    sizing.beginRead(false); // given up in the middle
    EXPECT_FALSE(isSmall());
}

TEST_F(Sizing, WhatIsSmallAlreadyIsNotAskedForInLess)
{
    sizing.beginRead(true);
    answer(small());
    EXPECT_FALSE(miss(small()));
    EXPECT_FALSE(isSmall());
}

// ---- devices that refuse GETBULK ----

struct Refusal
{
    const char* name;
    ErrorStatus error;
    std::int32_t index;
    const char* on; // the columns, or all
};

std::ostream& operator<<(std::ostream& out, const Refusal& refusal)
{
    return out << refusal.name;
}

class RefusedBulk : public ::testing::TestWithParam<Refusal>
{
protected:
    void SetUp() override
    {
        expected = statusOf(agent);
        agent.bulkRequests = 0;
        agent.bulkError = GetParam().error;
        agent.bulkErrorIndex = GetParam().index;
        agent.bulkErrorOn = GetParam().on;
    }
    int bulksOf(ReadKind kind)
    {
        const int before = agent.bulkRequests;
        runRead(session, agent, kind);
        return agent.bulkRequests - before;
    }

    RecordedAgent agent = fixture("colour-laser");
    device::DeviceStatus expected;
    PrinterSession session{Version::V2c};
};

INSTANTIATE_TEST_SUITE_P(
    Manners, RefusedBulk,
    ::testing::Values(Refusal{"GenErr0Always", ErrorStatus::GenErr, 0, ""},
                      Refusal{"GenErr1Always", ErrorStatus::GenErr, 1, ""},
                      Refusal{"GenErr14Always", ErrorStatus::GenErr, 14, ""},
                      Refusal{"GenErr0OnSupplies", ErrorStatus::GenErr, 0, "1.3.6.1.2.1.43.11.1.1"},
                      Refusal{"GenErr1OnSupplies", ErrorStatus::GenErr, 1, "1.3.6.1.2.1.43.11.1.1"},
                      Refusal{"GenErr0OnAlerts", ErrorStatus::GenErr, 0, "1.3.6.1.2.1.43.18.1.1.2"},
                      Refusal{"GenErr1OnAlerts", ErrorStatus::GenErr, 1, "1.3.6.1.2.1.43.18.1.1.2"},
                      Refusal{"NoSuchName1Always", ErrorStatus::NoSuchName, 1, ""},
                      Refusal{"TooBigForEver", ErrorStatus::TooBig, 0, ""},
                      Refusal{"TooBigForEverOnTrays", ErrorStatus::TooBig, 0, "1.3.6.1.2.1.43.8"}),
    [](const ::testing::TestParamInfo<Refusal>& it) { return std::string(it.param.name); });

TEST_P(RefusedBulk, LosesNothingOfTheFirstRead)
{
    runRead(session, agent, ReadKind::Identity);
    ASSERT_TRUE(session.status());
    EXPECT_EQ(*session.status(), expected);
    EXPECT_GT(agent.bulkRequests, 0);
    EXPECT_EQ(bulksOf(ReadKind::Fast), 0);
    EXPECT_EQ(session.outcome(), ReadOutcome::Unchanged);
    EXPECT_LE(runRead(session, agent, ReadKind::Fast), 2) << "GETNEXT takes many at once";
}

TEST_P(RefusedBulk, IsTriedAgainEverMoreRarely)
{
    runRead(session, agent, ReadKind::Identity);
    std::vector<int> tried;
    for (int full = 1; full <= 200; ++full) {
        if (bulksOf(ReadKind::Full) > 0) {
            tried.push_back(full);
        }
        ASSERT_EQ(session.outcome(), ReadOutcome::Unchanged) << full;
        ASSERT_EQ(bulksOf(ReadKind::Fast), 0) << full;
    }
    EXPECT_EQ(tried, (std::vector<int>{1, 3, 7, 15, 31, 63, 123, 183}));
}

TEST_P(RefusedBulk, IsUsedFromTheTrialOnThatIsAnswered)
{
    runRead(session, agent, ReadKind::Identity);
    bulksOf(ReadKind::Full);
    agent.bulkError = ErrorStatus::NoError;
    int fulls = 0;
    while (bulksOf(ReadKind::Full) == 0 && fulls < 100) {
        ++fulls;
    }
    EXPECT_EQ(fulls, 1);
    EXPECT_GT(bulksOf(ReadKind::Full), 0);
    EXPECT_GT(bulksOf(ReadKind::Fast), 0);
    ASSERT_TRUE(session.status());
    EXPECT_EQ(*session.status(), expected);
}

// Only where the printer's rows are looked for: the tables are read by GETBULK from the next whole reading
// on.
TEST(RefusedBulkOnDevices, LosesNothing)
{
    RecordedAgent agent = fixture("colour-laser");
    const device::DeviceStatus expected = statusOf(agent);
    agent.bulkRequests = 0;
    agent.bulkError = ErrorStatus::GenErr;
    agent.bulkErrorIndex = 1;
    agent.bulkErrorOn = "1.3.6.1.2.1.25";
    PrinterSession session(Version::V2c);
    runRead(session, agent, ReadKind::Identity);
    ASSERT_TRUE(session.status());
    EXPECT_EQ(*session.status(), expected);
    EXPECT_EQ(agent.bulkRequests, 1);
    runRead(session, agent, ReadKind::Full);
    EXPECT_EQ(session.outcome(), ReadOutcome::Unchanged);
    EXPECT_GT(agent.bulkRequests, 1);
}

// Nothing but tooBig, to GETNEXT too: it ends, and does not spoil what comes after it.
TEST(AnAgentThatAlwaysSaysTooBig, IsNoPrinterUntilItAnswers)
{
    for (const Version version : {Version::V1, Version::V2c}) {
        RecordedAgent agent = fixture("colour-laser");
        agent.v1 = version == Version::V1;
        PrinterSession session(version);
        session.begin(ReadKind::Identity);
        int requests = 0;
        while (std::optional<Pdu> request = session.nextRequest()) {
            request->type = PduType::Response;
            request->errorStatus = static_cast<std::int32_t>(ErrorStatus::TooBig);
            request->errorIndex = 0;
            session.accept(*request);
            ASSERT_LE(++requests, 200);
        }
        EXPECT_EQ(session.outcome(), ReadOutcome::Unusable);
        runRead(session, agent, ReadKind::Identity);
        EXPECT_EQ(session.outcome(), ReadOutcome::Changed);
        EXPECT_EQ(session.status()->supplies.size(), 5u);
    }
}

// One object fails, and the error does not say which: it alone is missing, and the rest is read as quickly as
// ever.
TEST(AnObjectThatFails, IsFoundAmongTheOthers)
{
    for (const Version version : {Version::V1, Version::V2c}) {
        RecordedAgent agent = fixture("colour-laser");
        agent.v1 = version == Version::V1;
        agent.setInteger("1.3.6.1.4.1.99999.7.0", 1); // agents have something behind the Printer-MIB
        agent.bulkError = ErrorStatus::GenErr;
        device::DeviceStatus expected = statusOf(agent);
        expected.trays.front().name.clear();
        agent.genErrOn = "1.3.6.1.2.1.43.8.2.1.13.1.1"; // prtInputName
        agent.namesFailing = false;
        PrinterSession session(version);
        const int requests = runRead(session, agent, ReadKind::Identity);
        ASSERT_TRUE(session.status());
        EXPECT_EQ(session.status()->supplies, expected.supplies);
        EXPECT_EQ(session.status()->trays.size(), expected.trays.size());
        EXPECT_LE(requests, 40);
        EXPECT_LE(runRead(session, agent, ReadKind::Fast), 2);
    }
}

} // namespace
} // namespace tarn::snmp
