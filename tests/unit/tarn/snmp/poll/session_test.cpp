#include "tarn/src/snmp/poll/printer_session.h"

#include <filesystem>
#include <random>

#include "tarn/src/device/rendering.h"
#include "tests/unit/tarn/snmp/fixtures.h"
#include "tests/unit/tarn/snmp/object_names.h"

namespace tarn::snmp {
namespace {

using engine::ReadKind;
using engine::ReadOutcome;
using kel::testing::fixture;
using kel::testing::RecordedAgent;
using kel::testing::runRead;
using namespace test::objects;

class ASession : public ::testing::TestWithParam<Version>
{
protected:
    void SetUp() override
    {
        agent.v1 = GetParam() == Version::V1;
        agent.setInteger("1.3.6.1.4.1.99999.7.0", 1); // agents have something behind the Printer-MIB
    }

    ReadOutcome read(ReadKind kind)
    {
        requests = runRead(session, agent, kind);
        return session.outcome();
    }

    int requests = 0;
    RecordedAgent agent = fixture("colour-laser");
    PrinterSession session{GetParam()};
};

INSTANTIATE_TEST_SUITE_P(BothVersions, ASession, ::testing::Values(Version::V1, Version::V2c));

TEST_P(ASession, BeginsWithASmallRequest)
{
    session.begin(ReadKind::Identity);
    const std::optional<Pdu> first = session.nextRequest();
    ASSERT_TRUE(first);
    EXPECT_EQ(first->type, PduType::GetRequest);
    EXPECT_LE(first->varbinds.size(), 5u);
    EXPECT_EQ(first->requestId, 0);
}

TEST_P(ASession, HasAStatusAfterTheFirstRead)
{
    EXPECT_EQ(session.status(), nullptr);
    EXPECT_EQ(read(ReadKind::Identity), ReadOutcome::Changed);
    ASSERT_NE(session.status(), nullptr);
    EXPECT_EQ(session.status()->model, "Acme ColorJet 500");
    EXPECT_EQ(session.status()->supplies.size(), 5u);
    EXPECT_LE(requests, GetParam() == Version::V1 ? 25 : 8);
}

TEST_P(ASession, DoesIdentityFirstWhateverIsAsked)
{
    EXPECT_EQ(read(ReadKind::Fast), ReadOutcome::Changed);
    EXPECT_EQ(session.status()->model, "Acme ColorJet 500");
}

TEST_P(ASession, ReadsWhatMovesInOneSmallRequest)
{
    read(ReadKind::Identity);
    agent.largestAnswer = 0;
    EXPECT_EQ(read(ReadKind::Fast), ReadOutcome::Unchanged);
    EXPECT_EQ(requests, 1);
    EXPECT_LT(agent.largestAnswer, 700u);
}

TEST_P(ASession, ReadsTheWholeAgainInFewRequests)
{
    read(ReadKind::Identity);
    EXPECT_EQ(read(ReadKind::Full), ReadOutcome::Unchanged);
    EXPECT_LE(requests, 4);
}

// Where one table is counted from 0 and another from 1, an empty one may turn out to be like either.
TEST_P(ASession, FindsATableThatWasEmptyAtItsOwnIndex)
{
    agent = fixture("index-0-beside-1");
    agent.v1 = GetParam() == Version::V1;
    kel::testing::RecordedAgent full = agent;
    agent.eraseTree("1.3.6.1.2.1.43.18");
    read(ReadKind::Identity);
    EXPECT_TRUE(session.status()->alerts.empty());
    agent = full;
    EXPECT_EQ(read(ReadKind::Full), ReadOutcome::Changed);
    EXPECT_EQ(session.status()->alerts.size(), 1u);
    agent.eraseTree("1.3.6.1.2.1.43.18");
    EXPECT_EQ(read(ReadKind::Fast), ReadOutcome::NeedsFull);
    read(ReadKind::Full);
    EXPECT_TRUE(session.status()->alerts.empty());
    agent = full;
    EXPECT_EQ(read(ReadKind::Fast), ReadOutcome::NeedsFull); // asked for where it was
}

TEST_P(ASession, KeepsTheVeryStatusWhereNothingMoved)
{
    read(ReadKind::Identity);
    const auto before = session.status();
    read(ReadKind::Fast);
    read(ReadKind::Full);
    EXPECT_EQ(session.status(), before);
}

TEST_P(ASession, ShowsMovedLevelsCountersAndStates)
{
    read(ReadKind::Identity);
    const auto before = session.status();
    agent.setInteger(kBlackLevel, 2500);
    EXPECT_EQ(read(ReadKind::Fast), ReadOutcome::Changed);
    EXPECT_EQ(requests, 1);
    EXPECT_EQ(session.status()->supplies[0].percent, 50);
    EXPECT_EQ(before->supplies[0].percent, 81); // a status that was handed out stays as it is
    agent.setInteger(kLifeCount, 12346);
    agent.setInteger(kPrinterStatus, 4);
    EXPECT_EQ(read(ReadKind::Fast), ReadOutcome::Changed);
    EXPECT_EQ(session.status()->totalPages, 12346);
    EXPECT_EQ(session.status()->activity, device::Activity::Printing);
    agent.setText(kErrorState, std::string("\x40", 1));
    EXPECT_EQ(read(ReadKind::Fast), ReadOutcome::Changed);
    EXPECT_TRUE(session.status()->paperOut);
    EXPECT_EQ(read(ReadKind::Fast), ReadOutcome::Unchanged);
}

TEST_P(ASession, AsksForTheWholeWhenAChangeCounterMoved)
{
    for (const char* counter : {kConfigChanges, kCriticalEvents, kAllEvents}) {
        read(ReadKind::Identity);
        agent.setInteger(counter, 1000);
        EXPECT_EQ(read(ReadKind::Fast), ReadOutcome::NeedsFull) << counter;
        EXPECT_EQ(read(ReadKind::Fast), ReadOutcome::NeedsFull) << counter; // until it was read
        read(ReadKind::Full);
        EXPECT_EQ(read(ReadKind::Fast), ReadOutcome::Unchanged) << counter;
        agent.setInteger(counter, 5);
    }
}

TEST_P(ASession, AsksForTheWholeWhenRowsCameOrWent)
{
    read(ReadKind::Identity);
    agent.setInteger("1.3.6.1.2.1.43.11.1.1.9.1.6", 40);
    EXPECT_EQ(read(ReadKind::Fast), ReadOutcome::NeedsFull);
    EXPECT_EQ(read(ReadKind::Full), ReadOutcome::Changed);
    EXPECT_EQ(session.status()->supplies.size(), 6u);
    EXPECT_EQ(read(ReadKind::Fast), ReadOutcome::Unchanged);
    agent.erase("1.3.6.1.2.1.43.11.1.1.9.1.2");
    EXPECT_EQ(read(ReadKind::Fast), ReadOutcome::NeedsFull);
    read(ReadKind::Full);
    agent.erase("1.3.6.1.2.1.43.8.2.1.10.1.2");
    EXPECT_EQ(read(ReadKind::Fast), ReadOutcome::NeedsFull);
}

TEST_P(ASession, SeesAlertsComeAndGoWithoutChangeCounters)
{
    for (const char* counter : {kConfigChanges, kCriticalEvents, kAllEvents}) {
        agent.erase(counter);
    }
    read(ReadKind::Identity);
    agent.setInteger("1.3.6.1.2.1.43.18.1.1.2.1.77", 3);
    agent.setInteger("1.3.6.1.2.1.43.18.1.1.7.1.77", 8);
    EXPECT_EQ(read(ReadKind::Fast), ReadOutcome::NeedsFull);
    EXPECT_EQ(read(ReadKind::Full), ReadOutcome::Changed);
    ASSERT_EQ(session.status()->alerts.size(), 1u);
    EXPECT_EQ(session.status()->alerts[0].keyword, "jam");
    EXPECT_EQ(read(ReadKind::Fast), ReadOutcome::Unchanged);
    agent.eraseTree("1.3.6.1.2.1.43.18");
    EXPECT_EQ(read(ReadKind::Fast), ReadOutcome::NeedsFull);
    read(ReadKind::Full);
    EXPECT_TRUE(session.status()->alerts.empty());
}

TEST_P(ASession, NoticesARestart)
{
    read(ReadKind::Identity);
    agent.setInteger(kUpTime, 200000);
    EXPECT_EQ(read(ReadKind::Fast), ReadOutcome::Unchanged);
    agent.setInteger(kUpTime, 199999);
    agent.setText("1.3.6.1.2.1.25.3.2.1.3.1", "Acme ColorJet 501");
    EXPECT_EQ(read(ReadKind::Fast), ReadOutcome::Restarted);
    EXPECT_EQ(read(ReadKind::Full), ReadOutcome::Restarted);
    EXPECT_EQ(session.status()->model, "Acme ColorJet 500");
    EXPECT_EQ(read(ReadKind::Identity), ReadOutcome::Changed);
    EXPECT_EQ(session.status()->model, "Acme ColorJet 501");
    EXPECT_EQ(read(ReadKind::Fast), ReadOutcome::Unchanged);
}

TEST_P(ASession, LivesWithoutUpTime)
{
    agent.erase(kUpTime);
    read(ReadKind::Identity);
    EXPECT_EQ(read(ReadKind::Fast), ReadOutcome::Unchanged);
    EXPECT_EQ(read(ReadKind::Full), ReadOutcome::Unchanged);
}

TEST_P(ASession, AbandonsAReadWithoutATrace)
{
    read(ReadKind::Identity);
    const auto before = session.status();
    agent.setInteger(kBlackLevel, 1);
    session.begin(ReadKind::Fast);
    const std::optional<Pdu> request = session.nextRequest();
    ASSERT_TRUE(request);
    session.accept(agent.answer(*request));
    EXPECT_EQ(session.status(), before); // not before it has ended
    agent.setInteger(kBlackLevel, 4050);
    EXPECT_EQ(read(ReadKind::Fast), ReadOutcome::Unchanged);
    EXPECT_EQ(session.status(), before);
}

TEST_P(ASession, KeepsTheStatusWhenThePrinterObjectsVanish)
{
    read(ReadKind::Identity);
    const auto before = session.status();
    agent.eraseTree("1.3.6.1.2.1.25");
    agent.eraseTree("1.3.6.1.2.1.43");
    EXPECT_EQ(read(ReadKind::Identity), ReadOutcome::Unusable);
    EXPECT_EQ(session.status(), before);
}

TEST_P(ASession, FindsLaterWhatTheDeviceDidNotHaveAtFirst)
{
    agent.erase("1.3.6.1.2.1.43.5.1.1.17.1");
    read(ReadKind::Identity);
    EXPECT_EQ(session.status()->serialNumber, "");
    agent.setText("1.3.6.1.2.1.43.5.1.1.17.1", "LATE1");
    for (int i = 0; i < 10; ++i) {
        read(ReadKind::Full);
    }
    EXPECT_EQ(session.status()->serialNumber, "LATE1");
}

// Any Full may be the one after the device's own state came to be; the rest is not so pressing.
TEST_P(ASession, EveryFullAsksForTheDevicesStateEvenWhereItHadNone)
{
    agent.erase(kPrinterStatus);
    agent.erase("1.3.6.1.2.1.43.5.1.1.17.1");
    read(ReadKind::Identity);
    agent.setInteger(kPrinterStatus, 4);
    agent.setText("1.3.6.1.2.1.43.5.1.1.17.1", "LATE1");
    EXPECT_EQ(read(ReadKind::Full), ReadOutcome::Changed);
    EXPECT_EQ(session.status()->activity, device::Activity::Printing);
    EXPECT_EQ(session.status()->serialNumber, "");
}

// It may be another device's agent by then.
TEST_P(ASession, IdentityForgetsHowLittleAnAnswerHeld)
{
    agent.tooBigAbove = 6;
    read(ReadKind::Identity);
    agent.tooBigAbove = 0;
    read(ReadKind::Full);
    const int before = requests;
    read(ReadKind::Identity);
    read(ReadKind::Full);
    EXPECT_LT(requests, before);
}

TEST_P(ASession, TakesTheCharsetOfTheCurrentLocalizationOrElseTheFirst)
{
    agent.eraseTree("1.3.6.1.2.1.43.7");
    agent.setInteger("1.3.6.1.2.1.43.7.1.1.4.1.1", 8); // ISO-8859-5
    agent.setInteger("1.3.6.1.2.1.43.7.1.1.4.1.65535", 5);
    agent.setText("1.3.6.1.2.1.43.11.1.1.6.1.1", "\xC1\xDF");
    for (const auto& [current, text] :
         {std::pair<int, const char*>{0, "Сп"}, {1, "Сп"}, {65535, "Áß"}, {65536, "Сп"}, {-1, "Сп"}}) {
        agent.setInteger("1.3.6.1.2.1.43.5.1.1.2.1", current);
        read(ReadKind::Identity);
        EXPECT_EQ(session.status()->supplies[0].description, text) << current;
    }
}

TEST_P(ASession, ReadsVendorCountersAgain)
{
    agent = fixture("vendor-only");
    agent.v1 = GetParam() == Version::V1;
    read(ReadKind::Identity);
    EXPECT_EQ(session.status()->totalPages, 2652);
    agent.setText("1.3.6.1.4.1.2435.2.3.9.4.2.1.5.5.10.0", std::string("\x00\x01\x02\x01\x00\xff", 6));
    EXPECT_EQ(read(ReadKind::Full), ReadOutcome::Changed);
    EXPECT_EQ(session.status()->totalPages, 256);
    EXPECT_EQ(session.status()->model, "Acme DCP-100W");
}

TEST_P(ASession, ReadsAgentsThatCutOrRefuseLongAnswers)
{
    agent.cutAtOctets = 484;
    EXPECT_EQ(read(ReadKind::Identity), ReadOutcome::Changed);
    EXPECT_EQ(session.status()->supplies.size(), 5u);
    EXPECT_EQ(session.status()->trays.size(), 2u);
    EXPECT_LE(agent.largestAnswer, 484u);
    EXPECT_EQ(read(ReadKind::Fast), ReadOutcome::Unchanged);
    EXPECT_EQ(read(ReadKind::Full), ReadOutcome::Unchanged);
}

TEST_P(ASession, GetsSmallerAfterSilence)
{
    session.begin(ReadKind::Identity);
    session.accept(agent.answer(*session.nextRequest()));
    ASSERT_TRUE(session.nextRequest());
    int refused = 0; // the large ones are dropped
    while (std::optional<Pdu> request = session.nextRequest()) {
        if (request->type == PduType::GetBulkRequest || request->varbinds.size() > 8) {
            ASSERT_TRUE(session.onTimeout(2));
            ++refused;
            continue;
        }
        session.accept(agent.answer(*request));
    }
    EXPECT_EQ(refused, 2); // what failed once more is not tried a third time
    EXPECT_EQ(session.outcome(), ReadOutcome::Changed);
    EXPECT_EQ(session.status()->supplies.size(), 5u);
    session.begin(ReadKind::Fast);
    EXPECT_LE(session.nextRequest()->varbinds.size(), 8u);
}

TEST_P(ASession, NeedsNoCarefulnessForADeviceThatWasSimplyOff)
{
    session.begin(ReadKind::Identity);
    ASSERT_TRUE(session.nextRequest());
    EXPECT_FALSE(session.onTimeout(2)); // what was asked was small
    EXPECT_EQ(read(ReadKind::Identity), ReadOutcome::Changed);
    EXPECT_LE(requests, GetParam() == Version::V1 ? 25 : 8);
}

// Nothing behind the alert table: the first question beyond it fails a v1 request as a whole.
TEST(Sessions, ReadAV1AgentWhoseMibEndsWithTheAlerts)
{
    RecordedAgent agent = fixture("colour-laser");
    agent.v1 = true;
    PrinterSession session(Version::V1);
    runRead(session, agent, ReadKind::Identity);
    EXPECT_LE(runRead(session, agent, ReadKind::Full), 4);
    EXPECT_EQ(session.outcome(), ReadOutcome::Unchanged);
    EXPECT_LE(runRead(session, agent, ReadKind::Fast), 2);
    EXPECT_EQ(session.outcome(), ReadOutcome::Unchanged);
}

// Both versions, cut or not, must see the same printer.
TEST(Sessions, AgreeOverEveryFixture)
{
    int compared = 0;
    for (const auto& entry : std::filesystem::directory_iterator(KEL_SNMP_DATA)) {
        if (entry.path().extension() != ".snmprec") {
            continue;
        }
        std::string reference;
        for (const auto& [v1, cut] :
             {std::pair<bool, std::size_t>{false, 0}, {true, 0}, {false, 300}, {true, 300}}) {
            RecordedAgent agent = RecordedAgent::fromFile(entry.path().string());
            agent.v1 = v1;
            agent.cutAtOctets = cut;
            PrinterSession session(v1 ? Version::V1 : Version::V2c);
            for (const ReadKind kind : {ReadKind::Identity, ReadKind::Full, ReadKind::Fast}) {
                runRead(session, agent, kind);
            }
            const std::string status = session.status() ? device::detailDocument(*session.status()) : "none";
            if (reference.empty()) {
                reference = status;
            }
            EXPECT_EQ(status, reference) << entry.path() << (v1 ? " v1 " : " v2c ") << cut;
            ++compared;
        }
    }
    EXPECT_GE(compared, 30 * 4);
}

// Whatever comes back, a read ends, soon.
TEST(Sessions, EndWhateverTheAnswersAre)
{
    const unsigned seed = 4711;
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    const RecordedAgent whole = fixture("colour-laser");
    for (int round = 0; round < 300; ++round) {
        RecordedAgent agent = whole;
        const bool v1 = random() % 2 != 0;
        agent.v1 = v1;
        PrinterSession session(v1 ? Version::V1 : Version::V2c);
        for (int read = 0; read < 6; ++read) {
            session.begin(static_cast<ReadKind>(random() % 3));
            int requests = 0;
            while (std::optional<Pdu> request = session.nextRequest()) {
                Pdu response = agent.answer(*request);
                switch (random() % 8) {
                case 0:
                    response.errorStatus = static_cast<std::int32_t>(random() % 7);
                    response.errorIndex = static_cast<std::int32_t>(random() % 60) - 3;
                    break;
                case 1:
                    response.varbinds.resize(random() % (response.varbinds.size() + 1));
                    break;
                case 2:
                    std::shuffle(response.varbinds.begin(), response.varbinds.end(), random);
                    break;
                case 3:
                    for (Varbind& bind : response.varbinds) {
                        bind.value.type = static_cast<ValueType>(random() % 13);
                        bind.value.number = static_cast<std::int64_t>(random()) << (random() % 33);
                        bind.name.resize(random() % (bind.name.size() + 1));
                    }
                    break;
                default:
                    break;
                }
                session.accept(response);
                ASSERT_LE(++requests, 200);
            }
        }
    }
}

} // namespace
} // namespace tarn::snmp
