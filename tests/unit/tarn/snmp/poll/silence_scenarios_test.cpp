// What comes of answers that are lost, late or cut off: one printer's, and everybody's at once.
#include <gtest/gtest.h>

#include <algorithm>
#include <set>

#include "tests/unit/tarn/snmp/poll/fake_session.h"
#include "tests/unit/tarn/snmp/poll/first_meeting.h"
#include "tests/unit/tarn/snmp/poll/simulated_network.h"

namespace tarn::snmp::test {
namespace {

using engine::Target;
using engine::VersionChoice;
using std::chrono::hours;
using std::chrono::minutes;
using std::chrono::seconds;

// A printer that was there for a minute, and has been silent for so long.
std::shared_ptr<Target> silentFor(SimulatedNetwork& network, Milliseconds time)
{
    auto target = network.add(1);
    network.pass(minutes(1));
    network.agent(1).answers = false;
    network.pass(time);
    return target;
}

TEST(Polling, SilentPrinterIsOfflineAfterThreeMissesOverFiveSeconds)
{
    SimulatedNetwork network;
    const auto target = network.add(1);
    network.pass(minutes(1));
    network.agent(1).answers = false;
    network.agent(1).requests.clear();
    while (target->snapshot()->online) {
        network.pass(Milliseconds(50));
    }
    const auto& requests = network.agent(1).requests;
    ASSERT_GE(requests.size(), 3u);
    EXPECT_GE(network.publications.back().at - requests[0].at, seconds(5));
    EXPECT_LE(network.publications.back().at - requests[0].at, seconds(8));
    EXPECT_EQ(target->snapshot()->state, 2);
    EXPECT_EQ(target->snapshot()->stateMessage, "");
    EXPECT_EQ(target->snapshot()->status.unpacked().model, "idle"); // the last good status stays
}

TEST(Polling, SilentPrinterSeesAtMostFourRequestsAMinuteAfterTwoMinutes)
{
    SimulatedNetwork network;
    network.add(1);
    network.pass(minutes(1));
    network.agent(1).answers = false;
    const TimePoint silent = network.clock.now();
    network.pass(hours(2));
    auto requests = network.agent(1).requests;
    EXPECT_LE(longestGap(requests, silent, silent + minutes(2)), Milliseconds(10000));
    requests.erase(
        std::remove_if(requests.begin(), requests.end(),
                       [&](const SeenRequest& seen) { return seen.at < silent + Milliseconds(130000); }),
        requests.end());
    EXPECT_LE(busiestMinute(requests), 4u);
    EXPECT_LE(longestGap(requests, silent, kNever), Milliseconds(30000));
}

TEST(Polling, SilentPrinterIsBackAtItsFirstAnswer)
{
    SimulatedNetwork network;
    const auto target = silentFor(network, minutes(30));
    ASSERT_FALSE(target->snapshot()->online);
    network.agent(1).answers = true;
    network.agent(1).requests.clear();
    while (network.agent(1).requests.empty()) {
        network.pass(Milliseconds(100));
    }
    network.pass(Milliseconds(100));
    EXPECT_TRUE(target->snapshot()->online);
    EXPECT_EQ(target->snapshot()->status.unpacked().model, "idle");
}

TEST(Polling, PrinterThatWasSilentFromTheBeginningComesWithItsStatus)
{
    for (const VersionChoice version : {VersionChoice::Auto, VersionChoice::V2c}) {
        SimulatedNetwork network;
        const auto target = network.add(1, version);
        network.agent(1).answers = false;
        network.pass(seconds(20));
        ASSERT_TRUE(target->isMet());
        ASSERT_FALSE(target->snapshot()->online);
        network.agent(1).answers = true;
        network.agent(1).delay = Milliseconds(800); // each of the answers that make up the first status
        for (int i = 0; i < 15000 && !target->snapshot()->online; i += 5) {
            network.pass(Milliseconds(5));
        }
        ASSERT_TRUE(target->snapshot()->online);
        EXPECT_EQ(target->snapshot()->status.unpacked().model, "idle");
    }
}

TEST(Polling, PrinterThatReturnsWithinTwoMinutesIsBackWithinTenSeconds)
{
    SimulatedNetwork network;
    const auto target = silentFor(network, seconds(100));
    ASSERT_FALSE(target->snapshot()->online);
    network.agent(1).answers = true;
    network.pass(Milliseconds(10100));
    EXPECT_TRUE(target->snapshot()->online);
}

TEST(Polling, NeverAnsweringAddressIsKnownAsSilentAndStaysUnmetInStatus)
{
    SimulatedNetwork network;
    network.agent(1).answers = false;
    const auto target = network.add(1);
    network.pass(seconds(20));
    EXPECT_TRUE(target->isMet());
    EXPECT_FALSE(target->lastAnswer().has_value());
    EXPECT_FALSE(target->snapshot()->online);
}

TEST(Polling, LostRequestIsRepeatedWithTheSameIdAndCostsNoState)
{
    SimulatedNetwork network;
    const auto target = network.add(1);
    network.pass(minutes(1));
    bool lose = true;
    network.agent(1).loses = [&](const SeenRequest&) { return std::exchange(lose, false); };
    network.agent(1).requests.clear();
    network.pass(seconds(8));
    const auto& requests = network.agent(1).requests;
    ASSERT_GE(requests.size(), 2u);
    EXPECT_EQ(requests[0].message.pdu.requestId, requests[1].message.pdu.requestId);
    EXPECT_EQ(requests[1].at - requests[0].at, seconds(1));
    EXPECT_TRUE(target->snapshot()->online);
    EXPECT_EQ(network.publications.size(), 1u);
}

// Each is asked in the other version by then, as soon as it is its turn among so many.
TEST(Polling, LateAnswersToReadsThatWereGivenUpAreNone)
{
    SimulatedNetwork network;
    constexpr std::uint32_t kCount = 600;
    for (std::uint32_t i = 0; i < kCount; ++i) {
        network.agent(i).speaksV2c = false;
        network.agent(i).delay = Milliseconds(1000 + i * 5);
        network.add(i);
    }
    network.pass(seconds(30));
    EXPECT_GT(network.count(Verdict::NothingAsked), 0u);
    for (std::uint32_t i = 0; i < kCount; ++i) {
        network.agent(i).delay = Milliseconds(5);
    }
    network.pass(minutes(2));
    for (const auto& target : network.targets) {
        EXPECT_TRUE(target->snapshot()->online);
        EXPECT_EQ(target->snapshot()->status.unpacked().model, "idle");
    }
}

TEST(Polling, EachRepetitionToAnOfflinePrinterBearsANumberOfItsOwn)
{
    for (const bool wasMet : {false, true}) {
        SimulatedNetwork network;
        network.agent(1).answers = wasMet;
        const auto target = network.add(1);
        network.pass(seconds(60));
        network.agent(1).answers = false;
        network.pass(seconds(20));
        ASSERT_FALSE(target->snapshot()->online);
        network.agent(1).requests.clear();
        network.pass(minutes(30));
        std::set<std::int32_t> ids;
        for (const SeenRequest& request : network.agent(1).requests) {
            ids.insert(request.message.pdu.requestId);
        }
        EXPECT_GT(ids.size(), 50u);
        EXPECT_EQ(ids.size(), network.agent(1).requests.size());
        network.agent(1).answers = true;
        network.pass(seconds(40));
        EXPECT_TRUE(target->snapshot()->online);
    }
}

TEST(Polling, LossOfEverySecondDatagramNeverMakesAPrinterFlap)
{
    SimulatedNetwork network;
    network.add(1);
    network.pass(minutes(1));
    unsigned n = 0;
    network.agent(1).loses = [&](const SeenRequest&) { return ++n % 2 == 0; };
    network.pass(hours(1));
    EXPECT_EQ(network.publications.size(), 1u);
}

TEST(Polling, SlowPrinterStaysOnline)
{
    SimulatedNetwork network;
    network.agent(1).delay = Milliseconds(3500);
    const auto target = network.add(1);
    network.pass(minutes(1));
    ASSERT_TRUE(target->snapshot()->online);
    const std::size_t before = network.publications.size();
    network.pass(hours(1));
    EXPECT_EQ(network.publications.size(), before);
}

TEST(Polling, WakingPrinterIsReachedThoughItTakesEighteenSeconds)
{
    SimulatedNetwork network;
    const auto target = network.add(1);
    network.pass(minutes(1));
    network.agent(1).answers = false; // deep asleep
    network.pass(minutes(10));
    ASSERT_FALSE(target->snapshot()->online);
    network.agent(1).answers = true;
    network.agent(1).delay = seconds(18);
    const std::size_t before = network.publications.size();
    network.pass(seconds(30 + 18));
    ASSERT_GT(network.publications.size(), before);
    EXPECT_TRUE(network.publications[before].online);
}

TEST(Polling, SuspendIsNoSilence)
{
    SimulatedNetwork network;
    const auto target = network.add(1);
    network.pass(minutes(1));
    network.agent(1).delay = Milliseconds(400);
    network.pass(Milliseconds(4900));
    network.suspend(hours(9));
    const TimePoint woke = network.clock.now();
    network.pass(seconds(2));
    EXPECT_EQ(network.publications.size(), 1u); // never offline
    EXPECT_EQ(network.reopened, 1u);
    EXPECT_GE(network.requestsSince(1, woke), 1u);
    EXPECT_GT(*target->lastAnswer(), woke);
}

// Ten printers that were there for a minute, behind a link that has been down for twenty.
void cutOffTen(SimulatedNetwork& network)
{
    for (std::uint32_t i = 1; i <= 10; ++i) {
        network.add(i);
    }
    network.pass(minutes(1));
    network.linkUp = false;
    network.pass(minutes(20));
}

TEST(Polling, NetworkThatGoesAndComesBackIsRecoveredFromUnaided)
{
    SimulatedNetwork network;
    cutOffTen(network);
    for (const auto& target : network.targets) {
        EXPECT_FALSE(target->snapshot()->online);
    }
    EXPECT_GE(network.reopened, 1u);
    EXPECT_LE(network.reopened, 45u); // no more than twice a minute
    network.linkUp = true;
    network.pass(seconds(31));
    for (const auto& target : network.targets) {
        EXPECT_TRUE(target->snapshot()->online);
    }
}

TEST(Polling, NetworkChangeHasEverybodyAskedSoon)
{
    SimulatedNetwork network;
    cutOffTen(network);
    network.linkUp = true;
    network.poller.networkChanged();
    network.pass(seconds(1));
    for (const auto& target : network.targets) {
        EXPECT_TRUE(target->snapshot()->online);
    }
}

TEST(Polling, PrinterThatDropsItsLargeAnswersIsAskedForLessAndStaysOnline)
{
    SimulatedNetwork network;
    unsigned inRead = 0;
    network.agent(1).loses = [&](const SeenRequest& seen) { // the second answer of a read is too large
        return ++inRead > 1 && !isCareful(seen.message);
    };
    const auto target = network.add(1);
    network.pass(seconds(10));
    EXPECT_TRUE(target->snapshot()->online);
    for (const Publication& published : network.publications) {
        EXPECT_TRUE(published.online);
    }
}

// The printer at a network that loses what it likes: which of its requests, counted from 1, stay unanswered.
// How many answers it took to meet it.
std::size_t answersToMeet(const std::set<std::size_t>& lost)
{
    SimulatedNetwork network;
    std::size_t asked = 0;
    network.agent(1).loses = [&](const SeenRequest&) { return lost.count(++asked) != 0; };
    const auto target = network.add(1, VersionChoice::V2c);
    for (int i = 0; i < 300 && !target->snapshot()->online; ++i) {
        network.pass(seconds(1));
    }
    EXPECT_TRUE(target->snapshot()->online);
    EXPECT_EQ(target->snapshot()->status.unpacked().model, "idle");
    return network.accepted;
}

TEST(Polling, FirstMeetingGoesOnWhereALossInterruptedIt)
{
    expectFirstMeetingsToGoOn(answersToMeet);
}

} // namespace
} // namespace tarn::snmp::test
