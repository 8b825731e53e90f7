// What a printer on the network sees of us, hour by hour.
#include <gtest/gtest.h>

#include <algorithm>
#include <set>

#include "tests/unit/tarn/snmp/poll/fake_session.h"
#include "tests/unit/tarn/snmp/poll/simulated_network.h"

namespace tarn::snmp::test {
namespace {

using engine::ReadKind;
using engine::Target;
using engine::VersionChoice;
using std::chrono::hours;
using std::chrono::minutes;
using std::chrono::seconds;

TEST(Polling, FirstReadReadsTheIdentityAndPublishesItOnce)
{
    SimulatedNetwork network;
    const auto target = network.add(1);
    network.pass(Milliseconds(100));
    ASSERT_EQ(network.publications.size(), 1u);
    EXPECT_TRUE(network.publications[0].online);
    EXPECT_EQ(target->snapshot()->status.unpacked().model, "idle");
    EXPECT_TRUE(target->isMet());
    EXPECT_EQ(kindOf(network.agent(1).requests.front().message), ReadKind::Identity);
}

// Three thousand at once, more than there is room for: those that are half read have the room first.
TEST(Polling, ConversationsUnderWayEndBeforeOthersBegin)
{
    SimulatedNetwork network;
    std::vector<std::shared_ptr<Target>> targets;
    for (std::uint32_t i = 1; i <= 3000; ++i) {
        targets.push_back(network.add(i));
        network.agent(i).delay = Milliseconds(300);
    }
    std::size_t most = 0;
    std::size_t met = 0;
    for (int round = 0; round < 2000 && met < targets.size(); ++round) {
        network.pass(Milliseconds(10));
        std::size_t halfRead = 0;
        met = 0;
        for (std::uint32_t i = 1; i <= 3000; ++i) {
            met += targets[i - 1]->isMet() ? 1 : 0;
            halfRead += !targets[i - 1]->isMet() && !network.agent(i).requests.empty() ? 1 : 0;
        }
        most = std::max(most, halfRead);
    }
    EXPECT_EQ(met, targets.size());
    EXPECT_LE(most, SnmpPoller::kMostInFlight);
    EXPECT_GT(most, SnmpPoller::kMostInFlight / 2); // there was a crowd
}

TEST(Polling, IdlePrinterSeesAtMostEighteenRequestsInAnyMinuteOfThreeHours)
{
    SimulatedNetwork network;
    network.add(1);
    network.pass(minutes(2));
    network.agent(1).requests.clear();
    network.pass(hours(3));
    EXPECT_LE(busiestMinute(network.agent(1).requests), 18u);
    // ... and it is not forgotten either.
    // A reader that looks once a second sees every change within five.
    EXPECT_LE(longestGap(network.agent(1).requests, TimePoint{}, kNever), Milliseconds(3990));
    EXPECT_EQ(network.publications.size(), 1u);
}

TEST(Polling, IdlePrinterHasItsTablesReadOnceAMinute)
{
    SimulatedNetwork network;
    network.add(1);
    network.pass(minutes(60));
    std::size_t full = 0;
    for (const SeenRequest& seen : network.agent(1).requests) {
        full += kindOf(seen.message) == ReadKind::Full ? 1 : 0;
    }
    EXPECT_GE(full / 2, 54u); // two requests each
    EXPECT_LE(full / 2, 60u);
}

TEST(Polling, PrintingPrinterIsAskedEveryTwoSeconds)
{
    SimulatedNetwork network;
    network.agent(1).says = "printing";
    network.add(1);
    network.pass(minutes(1));
    network.agent(1).requests.clear();
    network.pass(minutes(10));
    EXPECT_LE(longestGap(network.agent(1).requests, TimePoint{}, kNever), Milliseconds(2100));
    EXPECT_GE(network.agent(1).requests.size(), 290u);
}

TEST(Polling, PrinterWithAnAlertIsAskedEveryTwoSeconds)
{
    SimulatedNetwork network;
    network.agent(1).says = "alert";
    network.add(1);
    network.pass(minutes(10));
    EXPECT_GE(network.agent(1).requests.size(), 290u);
}

TEST(Polling, ChangeIsPublishedAndFollowedByAFewQuickLooks)
{
    SimulatedNetwork network;
    const auto target = network.add(1);
    network.pass(minutes(2));
    network.agent(1).says = "idle, other level";
    network.pass(Milliseconds(3990));
    EXPECT_EQ(target->snapshot()->status.unpacked().model, "idle, other level");
    const TimePoint changed = network.clock.now();
    network.pass(seconds(16));
    EXPECT_GE(network.requestsSince(1, changed), 7u);
    network.pass(minutes(1));
    const TimePoint later = network.clock.now();
    network.pass(seconds(50));
    EXPECT_LE(network.requestsSince(1, later), 15u);
}

TEST(Polling, UnopenedPrinterIsNotAskedAfterAMinuteAndAskedAtOnceWhenOpened)
{
    SimulatedNetwork network;
    network.opensTargets = false;
    const auto target = network.add(1);
    network.pass(seconds(66));
    const TimePoint quiet = network.clock.now();
    network.pass(hours(5));
    EXPECT_EQ(network.requestsSince(1, quiet), 0u);
    ASSERT_TRUE(target->markOpened(network.clock.now()));
    EXPECT_FALSE(target->markOpened(network.clock.now())); // told once
    network.poller.wake(*target);
    network.pass(Milliseconds(50));
    EXPECT_GE(network.requestsSince(1, quiet), 1u);
    EXPECT_LE(*target->lastAnswer() - network.clock.now(), Milliseconds(50));
}

TEST(Polling, UnopenedSilentPrinterIsNotAskedEither)
{
    SimulatedNetwork network;
    network.opensTargets = false;
    network.agent(1).answers = false;
    network.add(1);
    network.pass(seconds(100));
    const TimePoint quiet = network.clock.now();
    network.pass(hours(1));
    EXPECT_EQ(network.requestsSince(1, quiet), 0u);
    EXPECT_EQ(network.poller.nextDeadline(), kNever);
    EXPECT_EQ(network.poller.inFlight(), 0u);
}

TEST(Polling, OnlyOneRequestAtATimeToOnePrinter)
{
    SimulatedNetwork network;
    network.agent(1).delay = Milliseconds(700);
    network.agent(1).says = "printing";
    network.add(1);
    network.pass(minutes(20));
    const auto& requests = network.agent(1).requests;
    for (std::size_t i = 1; i < requests.size(); ++i) {
        EXPECT_GE(requests[i].at - requests[i - 1].at, Milliseconds(700));
    }
}

TEST(Polling, MovedChangeCounterHasTheTablesReadAtOnce)
{
    SimulatedNetwork network;
    network.add(1);
    network.pass(seconds(130)); // well between two regular reads of the tables
    network.agent(1).says = "counter";
    const TimePoint moved = network.clock.now();
    network.pass(seconds(7));
    std::vector<SeenRequest> seen = network.agent(1).requests;
    seen.erase(seen.begin(), std::find_if(seen.begin(), seen.end(),
                                          [&](const SeenRequest& each) { return each.at >= moved; }));
    ASSERT_GE(seen.size(), 3u);
    EXPECT_EQ(kindOf(seen[0].message), ReadKind::Fast);
    EXPECT_EQ(kindOf(seen[1].message), ReadKind::Full);
    EXPECT_EQ(kindOf(seen[2].message), ReadKind::Full);
    EXPECT_LE(seen[1].at - seen[0].at, Milliseconds(100));
}

TEST(Polling, CountersThatAlwaysMoveDoNotBuyTheTablesEveryTime)
{
    SimulatedNetwork network;
    network.agent(1).says = "counter";
    network.add(1);
    network.pass(minutes(10));
    network.agent(1).requests.clear();
    network.pass(hours(1));
    EXPECT_LE(busiestMinute(network.agent(1).requests), 18u);
}

TEST(Polling, RestartHasTheIdentityReadAtOnce)
{
    SimulatedNetwork network;
    network.add(1);
    network.pass(seconds(130)); // well between two regular reads of the tables
    network.agent(1).says = "restart";
    network.agent(1).requests.clear();
    network.pass(seconds(7));
    ASSERT_GE(network.agent(1).requests.size(), 4u);
    EXPECT_EQ(kindOf(network.agent(1).requests[0].message), ReadKind::Fast);
    EXPECT_EQ(kindOf(network.agent(1).requests[1].message), ReadKind::Identity);
}

TEST(Polling, PrinterThatKeepsRestartingIsAskedLess)
{
    SimulatedNetwork network;
    network.add(1);
    network.pass(minutes(2));
    network.agent(1).says = "restart"; // each time it is asked
    network.pass(minutes(5));
    network.agent(1).requests.clear();
    network.pass(hours(1));
    EXPECT_LE(busiestMinute(network.agent(1).requests), 12u);
}

TEST(Polling, StrangerIsOnlineWithoutStatusAndRarelyAsked)
{
    SimulatedNetwork network;
    network.agent(1).says = "stranger";
    const auto target = network.add(1);
    network.pass(minutes(5));
    EXPECT_TRUE(target->snapshot()->online);
    EXPECT_TRUE(target->isMet());
    network.agent(1).requests.clear();
    network.pass(minutes(10));
    EXPECT_LE(network.agent(1).requests.size(), 36u); // ten reads of three
}

TEST(Polling, AgentOfVersionOneOnlyIsFoundAndThenAskedInItsVersion)
{
    SimulatedNetwork network;
    network.agent(1).speaksV2c = false;
    const auto target = network.add(1);
    network.pass(seconds(4));
    EXPECT_TRUE(target->snapshot()->online);
    const TimePoint found = network.clock.now();
    network.pass(minutes(5));
    for (const SeenRequest& seen : network.agent(1).requests) {
        EXPECT_TRUE(seen.at < found || seen.message.version == Version::V1);
    }
}

TEST(Polling, AgentOfVersionTwoIsNotTakenForVersionOneThoughItsFirstAnswersAreLost)
{
    SimulatedNetwork network;
    network.agent(1).answers = false; // switched on between our v2c and our v1 question
    network.add(1);
    network.pass(Milliseconds(900));
    network.agent(1).answers = true;
    network.pass(minutes(1));
    EXPECT_EQ(network.agent(1).requests.back().message.version, Version::V2c);
}

TEST(Polling, ConfiguredVersionIsTheOnlyOneTried)
{
    SimulatedNetwork network;
    network.agent(1).answers = false;
    network.agent(2).answers = false;
    network.add(1, VersionChoice::V1);
    network.add(2, VersionChoice::V2c);
    network.pass(minutes(5));
    for (const SeenRequest& seen : network.agent(1).requests) {
        EXPECT_EQ(seen.message.version, Version::V1);
    }
    for (const SeenRequest& seen : network.agent(2).requests) {
        EXPECT_EQ(seen.message.version, Version::V2c);
    }
}

TEST(Polling, AnswersThatSayTheSameAreNotHandedOnThoughTheTimeSinceStartGrows)
{
    SimulatedNetwork network;
    network.agent(1).tellsUpTime = true;
    network.add(1);
    network.pass(minutes(2));
    while (kindOf(network.agent(1).requests.back().message) != ReadKind::Full) {
        network.pass(Milliseconds(500));
    }
    network.pass(seconds(10)); // the first small answer behind the tables, which are due again in 50 s
    const std::size_t before = network.accepted;
    const std::size_t asked = network.agent(1).requests.size();
    network.pass(seconds(40));
    EXPECT_GE(network.agent(1).requests.size(), asked + 7);
    EXPECT_EQ(network.accepted, before);
    network.agent(1).says = "something new";
    network.pass(seconds(6));
    EXPECT_EQ(network.accepted, before + 1);
    EXPECT_EQ(network.publications.back().model, "something new");
}

TEST(Polling, RestartIsSeenThoughEverythingElseStaysTheSame)
{
    SimulatedNetwork network;
    network.agent(1).tellsUpTime = true;
    network.add(1);
    network.pass(seconds(30));
    network.agent(1).startedAt = network.clock.now() - seconds(10);
    network.agent(1).requests.clear();
    network.pass(seconds(6));
    ASSERT_GE(network.agent(1).requests.size(), 2u);
    EXPECT_EQ(kindOf(network.agent(1).requests[1].message), ReadKind::Identity);
}

TEST(Polling, AnswerThatAsksForTheTablesDoesSoEachTimeItIsGiven)
{
    SimulatedNetwork network;
    network.agent(1).tellsUpTime = true;
    network.add(1);
    network.pass(seconds(10));
    network.agent(1).says = "counter";
    network.pass(minutes(30));
    std::size_t full = 0;
    for (const SeenRequest& seen : network.agent(1).requests) {
        full += kindOf(seen.message) == ReadKind::Full ? 1 : 0;
    }
    EXPECT_GE(full / 2, 30u);
}

TEST(Polling, RequestIdsDifferEachTime)
{
    SimulatedNetwork network;
    network.agent(1).tellsUpTime = true;
    network.add(1);
    network.pass(hours(1));
    std::set<std::int32_t> ids;
    for (const SeenRequest& seen : network.agent(1).requests) {
        EXPECT_GT(seen.message.pdu.requestId, 0);
        EXPECT_TRUE(ids.insert(seen.message.pdu.requestId).second);
    }
    EXPECT_GE(ids.size(), 700u);
}

TEST(Polling, RemovedPrinterIsNeitherAskedNorTouchedAnyMore)
{
    SimulatedNetwork network;
    network.agent(1).delay = Milliseconds(500);
    const auto target = network.add(1);
    network.pass(Milliseconds(100)); // its request is under way
    ASSERT_EQ(network.poller.inFlight(), 1u);
    network.poller.unwatch(*target);
    EXPECT_EQ(network.poller.inFlight(), 0u);
    EXPECT_EQ(target.use_count(), 2); // ours and the test network's
    network.pass(minutes(5));
    EXPECT_EQ(network.agent(1).requests.size(), 1u);
    EXPECT_EQ(network.count(Verdict::UnknownSource), 1u);
    EXPECT_TRUE(network.publications.empty());
}

TEST(Polling, AddressThatIsNamedAnewIsAskedForTheNewTarget)
{
    SimulatedNetwork network;
    const auto old = network.add(1);
    network.pass(seconds(1));
    const auto fresh = network.add(1);
    network.pass(seconds(1));
    EXPECT_TRUE(fresh->snapshot()->online);
    network.poller.unwatch(*old); // no longer known: nothing happens
    network.agent(1).requests.clear();
    network.pass(seconds(10));
    EXPECT_GE(network.agent(1).requests.size(), 1u);
}

} // namespace
} // namespace tarn::snmp::test
