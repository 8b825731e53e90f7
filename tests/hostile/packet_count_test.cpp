// How many packets printers see, hour by hour, counted where they would pass the wire.
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <iterator>

#include "tests/hostile/simulated_segment.h"

namespace hostile {
namespace {

using std::chrono::hours;
using std::chrono::minutes;
using std::chrono::seconds;

std::string fixture(const std::string& name)
{
    std::ifstream in(KEL_TEST_DATA "/" + name, std::ios::binary);
    EXPECT_TRUE(in.good()) << name;
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

// A printer with nothing to do. The manners of its agent are members of the scenario.
std::string idlePrinter(const std::string& manners, int trays = 4, int alerts = 0)
{
    std::string text =
        R"({"model": "Orion C4000", "serial": "ORC40{n:5}", "pages": 12840, )" + manners + R"("supplies": [)";
    for (const char* colour : {"black", "cyan", "magenta", "yellow"}) {
        text += std::string(R"({"type": "toner", "colour": ")") + colour + R"(", "description": ")" + colour +
                R"( toner", "level": 61}, {"type": "opc", "description": ")" + colour +
                R"( drum", "level": 80}, )";
    }
    text += R"({"class": "receptacleThatIsFilled", "type": "wasteToner", "description": "Waste", "level": 3}],
               "trays": [)";
    for (int i = 1; i <= trays; ++i) {
        text += (i > 1 ? "," : "") + (R"({"name": "Tray )" + std::to_string(i)) + R"(", "level": 300})";
    }
    text += R"(], "alerts": [)";
    for (int i = 1; i <= alerts; ++i) {
        text += (i > 1 ? "," : "") +
                (R"({"severity": 1, "code": 1, "description": "Note )" + std::to_string(i)) + "\"}";
    }
    return text + "]}";
}

struct Agent
{
    const char* name;
    std::string scenario;
};

std::ostream& operator<<(std::ostream& out, const Agent& agent)
{
    return out << agent.name;
}

class IdlePrinter : public testing::TestWithParam<Agent>
{
};

TEST_P(IdlePrinter, SeesAtMostEighteenPacketsInAnyMinuteOfTwoHours)
{
    SimulatedSegment segment({GetParam().scenario});
    segment.watch(1);
    segment.pass(minutes(2)); // met, and read to the end
    ASSERT_TRUE(segment.target(1).snapshot()->online);
    ASSERT_NE(segment.target(1).snapshot()->status.unpacked().model, "");
    const TimePoint from = segment.now();
    for (int minute = 0; minute < 120; ++minute) {
        segment.pass(minutes(1));
        // ... and it is not forgotten either.
        ASSERT_LE(segment.now() - *segment.target(1).lastAnswer(), seconds(6));
    }
    const std::size_t most = busiestMinute(segment.requests(1), from);
    RecordProperty("busiest_minute", static_cast<int>(most));
    EXPECT_LE(most, 18u);
    EXPECT_TRUE(segment.target(1).snapshot()->online);
}

INSTANTIATE_TEST_SUITE_P(
    Agents, IdlePrinter,
    testing::Values(Agent{"V2c", idlePrinter("")},
                    Agent{"V2cShortAnswers", idlePrinter(R"("maxMessageSize": 484, )")},
                    Agent{"V1", idlePrinter(R"("v1Only": true, )")},
                    Agent{"V1ShortAnswers", idlePrinter(R"("v1Only": true, "maxMessageSize": 484, )")},
                    Agent{"ManyTraysAndNotes", idlePrinter("", 20, 30)},
                    Agent{"V1ManyTraysAndNotes", idlePrinter(R"("v1Only": true, )", 20, 30)},
                    Agent{"OldPrintServer", fixture("old-agent.json")}, Agent{"Mono", fixture("mono.json")}),
    [](const auto& agent) { return std::string(agent.param.name); });

// A printer that answers slowly, whose answers get lost or malformed, is idle all the same: it sees no more
// than what that many repetitions cost.
TEST(PacketCount, IdlePrinterOnABadNetworkSeesAFewRepetitionsMore)
{
    SimulatedSegment segment({idlePrinter("")}, 7);
    segment.printer(1).faults.loss = 10;
    segment.printer(1).faults.wrongId = 5;
    segment.printer(1).faults.truncate = 5;
    segment.printer(1).faults.duplicate = 20;
    segment.printer(1).faults.delayMostMs = 800;
    segment.watch(1);
    segment.pass(minutes(2));
    const auto before = segment.requests(1).size();
    segment.pass(hours(1));
    EXPECT_LE(segment.requests(1).size() - before, 22u * 60u); // 18 and a fifth of it
    EXPECT_TRUE(segment.target(1).snapshot()->online);
}

TEST(PacketCount, SilentPrinterSeesAtMostFourPacketsInAnyMinuteOnceSilentForTwoMinutes)
{
    for (const char* manners : {"", R"("v1Only": true, )"}) {
        SimulatedSegment segment({idlePrinter(manners)});
        segment.watch(1);
        segment.pass(minutes(5));
        segment.printer(1).switchOff();
        const TimePoint silent = segment.now();
        segment.pass(hours(4));
        EXPECT_LE(busiestMinute(segment.requests(1), silent + minutes(2)), 4u) << manners;
        // Asked seldom, not given up: it is back soon after it answers again.
        segment.printer(1).switchOn(segment.seconds());
        segment.pass(seconds(31));
        EXPECT_TRUE(segment.target(1).snapshot()->online) << manners;
    }
}

TEST(PacketCount, AddressWhereNobodyLivesSeesAtMostFourPacketsInAnyMinuteAfterTwoMinutes)
{
    SimulatedSegment segment({});
    segment.watch(9);
    const TimePoint begun = segment.now();
    segment.pass(hours(4));
    EXPECT_LE(busiestMinute(segment.requests(9), begun + minutes(2)), 4u);
    EXPECT_GE(segment.requests(9).size(), 4u * 60u * 2u); // and at least every 30 s
}

// What keeps answering rubbish is silent for the library, and must not be asked more for it.
TEST(PacketCount, PrinterThatOnlyLiesIsAskedLikeASilentOne)
{
    for (const auto lie : {&printersim::FaultPlan::garbage, &printersim::FaultPlan::wrongId,
                           &printersim::FaultPlan::wrongPort, &printersim::FaultPlan::wrongAddress}) {
        SimulatedSegment segment({idlePrinter("")});
        segment.printer(1).faults.*lie = 100;
        segment.watch(1);
        const TimePoint begun = segment.now();
        segment.pass(hours(1));
        EXPECT_LE(busiestMinute(segment.requests(1), begun + minutes(2)), 4u);
        EXPECT_FALSE(segment.target(1).snapshot()->online);
    }
}

TEST(PacketCount, UnopenedPrinterSeesNoneAfterAMinute)
{
    // Idle, printing, old, slow and silent ones, left at many different moments of their reads.
    for (int phase = 0; phase < 12; ++phase) {
        SimulatedSegment segment({idlePrinter(""), idlePrinter(R"("state": "printing", )"),
                                  fixture("old-agent.json"), idlePrinter(""), idlePrinter("")});
        segment.printer(4).faults.delayLeastMs = segment.printer(4).faults.delayMostMs = 3000;
        segment.printer(5).switchOff();
        for (std::uint32_t number = 1; number <= 6; ++number) {
            segment.watch(number);
        }
        segment.pass(minutes(3) + Milliseconds(phase * 1723));
        segment.open();
        segment.isOpened = false;
        const TimePoint opened = segment.now();
        segment.pass(minutes(1));
        std::vector<std::size_t> before;
        for (std::uint32_t number = 1; number <= 6; ++number) {
            ASSERT_GT(segment.requests(number).back(), opened) << number;
            before.push_back(segment.requests(number).size());
        }
        segment.pass(hours(1));
        for (std::uint32_t number = 1; number <= 6; ++number) {
            EXPECT_EQ(segment.requests(number).size(), before[number - 1]) << number << ", phase " << phase;
        }
        EXPECT_EQ(segment.poller().nextDeadline(), tarn::kNever);
    }
}

// The end of a busy time must not leave the status unasked for until a quiet minute is full.
TEST(PacketCount, PrinterThatFallsIdleIsStillLookedAt)
{
    SimulatedSegment segment({idlePrinter(R"("state": {"steps": [[0, "printing"], [600, "idle"]]}, )")});
    segment.watch(1);
    segment.pass(minutes(9));
    for (int second = 0; second < 180; ++second) {
        segment.pass(seconds(1));
        ASSERT_LE(segment.now() - *segment.target(1).lastAnswer(), seconds(5)) << second;
    }
}

TEST(PacketCount, WhoeverWaitsAsToldSendsAtMostEighteenAMinute)
{
    for (std::uint32_t burst = 1; burst <= 12; ++burst) {
        tarn::snmp::RequestLog log;
        std::vector<TimePoint> sent;
        tarn::test::SeededRandom random(burst);
        TimePoint now{Milliseconds(4294000000)}; // the counter inside wraps on the way
        TimePoint burstAt = now + minutes(1);
        const auto send = [&] {
            now += log.wait(now);
            log.sent(now);
            sent.push_back(now);
        };
        while (sent.size() < 3000) {
            now += Milliseconds(3666 + random.below(235));
            send();
            if (now >= burstAt) {
                burstAt = now + minutes(1);
                for (std::uint32_t i = 1; i < burst; ++i) {
                    send();
                }
            }
        }
        EXPECT_LE(busiestMinute(sent, sent.front()), 18u) << burst;
        for (std::size_t i = 1; i < sent.size(); ++i) {
            ASSERT_LE(sent[i] - sent[i - 1], Milliseconds(3900)) << burst;
        }
    }
}

// Every fixture at once, on networks that lose, cut, double, delay and forge: hours of it leave nothing
// behind.
class BadWeather : public testing::TestWithParam<std::uint64_t>
{
};

TEST_P(BadWeather, AnHourOfItLeavesNothingPendingAndHurriesNobody)
{
    const std::vector<std::string> all = {fixture("changing.json"),  fixture("colour.json"),
                                          fixture("mono.json"),      fixture("offline.json"),
                                          fixture("old-agent.json"), fixture("out-of-paper.json"),
                                          fixture("red-black.json"), fixture("toner-low.json")};
    SimulatedSegment segment(all, GetParam());
    for (std::uint32_t number = 1; number <= all.size(); ++number) {
        segment.printer(number).faults = {number * 4, 10, 5, 5, 5, 5, 5, 0, number * 300};
        segment.watch(number);
    }
    const TimePoint from = segment.now();
    segment.pass(hours(1));
    for (std::uint32_t number = 1; number <= all.size(); ++number) {
        const std::vector<TimePoint>& requests = segment.requests(number);
        // Every 2 s while it prints or alerts; repetitions, and reads of the tables after answers that were
        // malformed, on top: never more than two a second for a minute, three in two seconds in the long run.
        EXPECT_LE(busiestMinute(requests, from + minutes(2)), 120u) << number;
        EXPECT_LE(requests.size(), 60u * 90) << number; // in an hour
    }
    for (std::uint32_t number = 1; number <= all.size(); ++number) {
        segment.printer(number).faults = {};
    }
    segment.pass(minutes(2));
    for (const std::uint32_t number : {2u, 3u, 5u, 6u, 7u, 8u}) { // the others are off at times, or always
        EXPECT_TRUE(segment.target(number).snapshot()->online) << number;
        EXPECT_NE(segment.target(number).snapshot()->status.unpacked().model, "") << number;
    }
    segment.unwatchAll();
    EXPECT_EQ(segment.poller().inFlight(), 0u);
    EXPECT_EQ(segment.poller().nextDeadline(), tarn::kNever);
}

INSTANTIATE_TEST_SUITE_P(Networks, BadWeather, testing::Range<std::uint64_t>(1, 5));

} // namespace
} // namespace hostile
