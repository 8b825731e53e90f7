// Session::acceptReplay(): the quick way says what the ordinary one says, or nothing.
#include <cstdlib>
#include <filesystem>
#include <random>

#include "tarn/src/device/rendering.h"
#include "tarn/src/snmp/poll/printer_session.h"
#include "tests/unit/tarn/snmp/fixtures.h"
#include "tests/unit/tarn/snmp/object_names.h"

namespace tarn::snmp {
namespace {

using device::PackedStatus;
using engine::ReadKind;
using engine::ReadOutcome;
using kel::testing::fixture;
using kel::testing::RecordedAgent;
using kel::testing::runRead;
using namespace test::objects;

std::string encoded(Pdu answer)
{
    answer.requestId = 0x40000000;
    return encodeMessage({Version::V2c, "public", std::move(answer)});
}

ByteView viewOf(const std::string& bytes)
{
    return {reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()};
}

// A session whose last read was a Fast one.
class Known final
{
public:
    explicit Known(Version version) : session(version) {}

    void read(RecordedAgent& agent, ReadKind kind)
    {
        requests = runRead(session, agent, kind);
        remember();
    }
    void remember()
    {
        if (session.status()) {
            published = PackedStatus(*session.status());
        }
    }
    std::string status() const { return device::detailDocument(published.unpacked()); }

    PrinterSession session;
    PackedStatus published;
    std::string question; // of the last Fast read
    int requests = 0;
};

class ReplayedAnswer : public ::testing::Test
{
protected:
    void SetUp() override
    {
        known.read(agent, ReadKind::Identity);
        known.read(agent, ReadKind::Fast);
    }
    std::string answer()
    {
        PrinterSession asking = PrinterSession(Version::V2c);
        runRead(asking, first, ReadKind::Identity);
        asking.begin(ReadKind::Fast);
        return encoded(agent.answer(*asking.nextRequest()));
    }
    bool hear() { return hear(answer()); }
    bool hear(const std::string& bytes)
    {
        const bool taken = known.session.acceptReplay(readHead(viewOf(bytes)), known.published);
        known.remember();
        return taken;
    }

    RecordedAgent agent = fixture("colour-laser");
    RecordedAgent first = agent;
    Known known{Version::V2c};
};

TEST_F(ReplayedAnswer, SaysWhatHasMoved)
{
    agent.setInteger(kBlackLevel, 1000);
    agent.setInteger(kTrayLevel, 0);
    agent.setInteger(kLifeCount, 12346);
    agent.setInteger(kPrinterStatus, 4);
    agent.set(kErrorState, kel::testing::octets("\x20"));
    ASSERT_TRUE(hear());
    EXPECT_EQ(known.session.outcome(), ReadOutcome::Changed);
    const device::DeviceStatus status = known.published.unpacked();
    EXPECT_EQ(status.supplies[0].percent, 20);
    EXPECT_TRUE(status.trays[0].empty);
    EXPECT_EQ(status.totalPages, 12346);
    EXPECT_EQ(status.activity, device::Activity::Printing);
    EXPECT_TRUE(status.tonerLow);
    EXPECT_EQ(status, kel::testing::statusOf(agent));

    agent.set(kErrorState, kel::testing::octets(std::string(1, '\0')));
    ASSERT_TRUE(hear());
    EXPECT_EQ(known.published.unpacked(), kel::testing::statusOf(agent));
    EXPECT_TRUE(known.published.unpacked().alerts.empty());
}

TEST_F(ReplayedAnswer, ChangesNothingWhereOnlyTimePassed)
{
    agent.setInteger(kUpTime, 99999999);
    const std::string before = known.status();
    ASSERT_TRUE(hear());
    EXPECT_EQ(known.session.outcome(), ReadOutcome::Unchanged);
    EXPECT_EQ(known.status(), before);
    agent.setInteger(kUpTime, 99999998); // later than at the first read, earlier than at the last
    EXPECT_FALSE(hear());
}

TEST_F(ReplayedAnswer, TakesTheOrdinaryWayForRowsAndCounters)
{
    const RecordedAgent same = agent;
    agent.setInteger(kAllEvents, 77);
    EXPECT_FALSE(hear());
    agent = same;
    agent.erase("1.3.6.1.2.1.43.11.1.1.9.1.2");
    EXPECT_FALSE(hear());
    agent = same;
    agent.setInteger("1.3.6.1.2.1.43.11.1.1.9.1.6", 5);
    EXPECT_FALSE(hear());
    agent = same;
    agent.setInteger("1.3.6.1.2.1.43.18.1.1.2.1.9", 3);
    EXPECT_FALSE(hear());
    agent = same;
    EXPECT_TRUE(hear());
}

TEST_F(ReplayedAnswer, TakesTheOrdinaryWayForCutAndSpoiltMessages)
{
    const std::string whole = answer();
    for (std::size_t size = 0; size < whole.size(); ++size) {
        EXPECT_FALSE(hear(whole.substr(0, size))) << size;
    }
    EXPECT_TRUE(hear(whole));
}

TEST_F(ReplayedAnswer, NeedsTheStatusThatItsSessionMade)
{
    const std::string bytes = answer();
    EXPECT_FALSE(known.session.acceptReplay(readHead(viewOf(bytes)), PackedStatus()));
    known.session.begin(ReadKind::Full);
    known.session.accept(agent.answer(*known.session.nextRequest()));
    ASSERT_TRUE(known.session.nextRequest());
    ASSERT_TRUE(known.session.onTimeout(2));
    EXPECT_FALSE(hear(bytes)); // the next question is a smaller one
}

TEST_F(ReplayedAnswer, IsHeldAgainstTablesReadMeanwhile)
{
    const std::string before = answer();
    agent.setInteger(kBlackLevel, 1000);
    known.read(agent, ReadKind::Full);
    EXPECT_EQ(known.session.outcome(), ReadOutcome::Changed);
    ASSERT_TRUE(known.session.asksTheSame());
    ASSERT_TRUE(hear(before));
    EXPECT_EQ(known.session.outcome(), ReadOutcome::Changed);
    EXPECT_EQ(known.published.unpacked(), kel::testing::statusOf(first));

    agent.erase("1.3.6.1.2.1.43.11.1.1.9.1.5");
    known.read(agent, ReadKind::Full);
    EXPECT_FALSE(known.session.asksTheSame());
    EXPECT_FALSE(hear(before));
}

void spoil(Pdu& answer, std::mt19937& random)
{
    const std::size_t size = answer.varbinds.size();
    if (size == 0) {
        return;
    }
    Varbind& one = answer.varbinds[random() % size];
    switch (random() % 10) {
    case 0:
        answer.varbinds.resize(random() % size);
        break;
    case 1:
        one.value.type = static_cast<ValueType>(random() % 13);
        break;
    case 2:
        one.name.push_back(1);
        break;
    case 3:
        one.name.back() += 1;
        break;
    case 4:
        std::swap(one, answer.varbinds[random() % size]);
        break;
    default:
        break;
    }
}

void change(RecordedAgent& agent, std::mt19937& random)
{
    const auto number = static_cast<std::int64_t>(random() % 120) - 3;
    const std::string row = std::to_string(1 + random() % 6);
    switch (random() % 14) {
    case 0:
        agent.setInteger("1.3.6.1.2.1.43.11.1.1.9.1." + row, number);
        break;
    case 1:
        agent.erase("1.3.6.1.2.1.43.11.1.1.9.1." + row);
        break;
    case 2:
        agent.setInteger("1.3.6.1.2.1.43.18.1.1.2.1." + row, number % 6);
        break;
    case 3:
        agent.setInteger(kAllEvents, number);
        break;
    case 4:
        agent.setInteger(kUpTime, number * 1000);
        break;
    case 5:
        agent.set(kErrorState, kel::testing::octets(std::string(random() % 3, static_cast<char>(number))));
        break;
    case 6:
        agent.setInteger(kPrinterStatus, number % 6);
        break;
    case 7:
        agent.setInteger("1.3.6.1.2.1.43.8.2.1.10.1." + row, number);
        break;
    default:
        if (agent.has(kBlackLevel)) {
            agent.setInteger(kBlackLevel, number);
        }
        agent.setInteger(kLifeCount, number * 50000000);
    }
}

// The rest of a read in the ordinary way.
void finish(Known& known, RecordedAgent& agent, const Pdu& first)
{
    known.session.begin(ReadKind::Fast);
    known.requests = 0;
    while (const std::optional<Pdu> request = known.session.nextRequest()) {
        known.session.accept(known.requests == 0 ? first : agent.answer(*request));
        ++known.requests;
    }
    known.remember();
}

// One step of both ways; true when the quick one was taken.
bool stepOfBoth(Known& ordinary, Known& quick, RecordedAgent& agent, std::mt19937& random)
{
    ordinary.session.begin(ReadKind::Fast);
    const Pdu asked = *ordinary.session.nextRequest();
    EXPECT_TRUE(!quick.session.asksTheSame() || quick.question.empty() || quick.question == encoded(asked));
    quick.question = encoded(asked);
    Pdu answer = agent.answer(asked);
    spoil(answer, random);
    const std::string bytes = encoded(answer);
    const std::optional<Message> message = decodeMessage(viewOf(bytes));
    const bool taken = quick.session.acceptReplay(readHead(viewOf(bytes)), quick.published);
    EXPECT_TRUE(message || !taken);
    if (!message) {
        return false;
    }
    finish(ordinary, agent, message->pdu);
    if (taken) {
        quick.remember();
        EXPECT_EQ(ordinary.requests, 1);
    } else {
        finish(quick, agent, message->pdu);
    }
    EXPECT_EQ(quick.session.outcome(), ordinary.session.outcome());
    EXPECT_EQ(quick.status(), ordinary.status());
    return taken;
}

TEST(BothWays, AgreeWhateverAnyPrinterAnswers)
{
    const char* const given = std::getenv("KEL_SEED");
    const unsigned seed =
        given != nullptr ? static_cast<unsigned>(std::atoll(given)) : std::random_device{}();
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    int taken = 0;
    for (const auto& entry : std::filesystem::directory_iterator(KEL_SNMP_DATA)) {
        RecordedAgent agent = RecordedAgent::fromFile(entry.path().string());
        agent.setInteger("1.3.6.1.4.1.99999.7.0", 1);
        Known ordinary(Version::V2c);
        Known quick(Version::V2c);
        for (Known* known : {&ordinary, &quick}) {
            known->read(agent, ReadKind::Identity);
            known->read(agent, ReadKind::Fast);
        }
        for (int step = 0; step < 60 && ordinary.session.status(); ++step) {
            change(agent, random);
            taken += stepOfBoth(ordinary, quick, agent, random) ? 1 : 0;
            if (ordinary.session.outcome() > ReadOutcome::Changed) {
                const ReadKind kind = random() % 4 == 0 ? ReadKind::Identity : ReadKind::Full;
                for (Known* known : {&ordinary, &quick}) {
                    known->read(agent, kind);
                }
            }
            ASSERT_FALSE(::testing::Test::HasFailure()) << entry.path() << " step " << step;
        }
    }
    EXPECT_GT(taken, 100);
}

} // namespace
} // namespace tarn::snmp
