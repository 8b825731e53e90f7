// Liars, floods and crowds.
#include <gtest/gtest.h>

#include <algorithm>

#include "tests/unit/tarn/snmp/poll/simulated_network.h"

namespace tarn::snmp::test {
namespace {

using engine::Endpoint;
using engine::Target;
using std::chrono::hours;
using std::chrono::minutes;
using std::chrono::seconds;

// A network with one printer whose next question has been asked and not answered yet.
class OpenQuestion : public testing::Test
{
protected:
    void SetUp() override
    {
        target = network.add(1);
        network.pass(seconds(40)); // the next question is a small one, of a single request
        network.agent(1).answers = false;
        const std::size_t before = network.agent(1).requests.size();
        while (network.agent(1).requests.size() == before) {
            network.pass(Milliseconds(10));
        }
        question = network.agent(1).requests.back();
        liar.says = "a lie";
    }

    std::string lie() { return network.answerTo(liar, question); }
    void expectUnmoved(Verdict verdict)
    {
        EXPECT_EQ(network.count(verdict), 1u);
        EXPECT_EQ(target->snapshot()->status.unpacked().model, "idle");
        EXPECT_EQ(network.poller.inFlight(), 1u); // the question is still open
        network.agent(1).says = "the truth";
        network.inject(question.to, network.answerTo(network.agent(1), question));
        EXPECT_EQ(target->snapshot()->status.unpacked().model, "the truth");
    }

    SimulatedNetwork network;
    std::shared_ptr<Target> target;
    SeenRequest question;
    Agent liar;
};

TEST_F(OpenQuestion, ForgedAddressIsIgnored)
{
    network.inject(SimulatedNetwork::endpointOf(77), lie());
    expectUnmoved(Verdict::UnknownSource);
}

TEST_F(OpenQuestion, ForgedPortIsIgnored)
{
    network.inject({question.to.address, 162}, lie());
    expectUnmoved(Verdict::UnknownSource);
}

// What nobody asked for takes the room of answers, which then may not wait.
TEST_F(OpenQuestion, AFewStraysAreNoBacklogAndAFloodIs)
{
    const Endpoint stranger = SimulatedNetwork::endpointOf(77);
    network.inject(stranger, std::vector<std::string>(SnmpPoller::kStrays, lie()));
    EXPECT_FALSE(network.poller.hasBacklog());
    network.inject(stranger, std::vector<std::string>(SnmpPoller::kStrays + 1, lie()));
    EXPECT_TRUE(network.poller.hasBacklog());
    network.inject(question.to, std::vector<std::string>(100, "junk from its own address"));
    EXPECT_TRUE(network.poller.hasBacklog());
    network.pass(SnmpPoller::kFlood - Milliseconds(1));
    EXPECT_TRUE(network.poller.hasBacklog()) << "more may come";
    network.pass(Milliseconds(1));
    network.inject(stranger, std::vector<std::string>()); // only runs the poller
    EXPECT_FALSE(network.poller.hasBacklog()) << "it is over";
}

TEST_F(OpenQuestion, WrongIdIsIgnored)
{
    ++question.message.pdu.requestId;
    const std::string body = lie();
    --question.message.pdu.requestId;
    network.inject(question.to, body);
    expectUnmoved(Verdict::WrongId);
}

TEST_F(OpenQuestion, ReplayOfAnEarlierAnswerIsIgnored)
{
    const SeenRequest earlier = network.agent(1).requests.front();
    network.inject(question.to, network.answerTo(liar, earlier));
    expectUnmoved(Verdict::WrongId);
}

TEST_F(OpenQuestion, WrongVersionIsIgnored)
{
    question.message.version = Version::V1;
    const std::string body = lie();
    question.message.version = Version::V2c;
    network.inject(question.to, body);
    expectUnmoved(Verdict::WrongVersion);
}

TEST_F(OpenQuestion, WrongCommunityIsIgnored)
{
    liar.community = "Public";
    network.inject(question.to, lie());
    expectUnmoved(Verdict::WrongCommunity);
}

TEST_F(OpenQuestion, RequestInsteadOfResponseIsIgnored)
{
    network.inject(question.to, encodeMessage(question.message));
    expectUnmoved(Verdict::NotAResponse);
}

TEST_F(OpenQuestion, MessageThatIsBrokenBehindItsHeadIsIgnored)
{
    std::string body = lie();
    body[body.size() - 1 - liar.says.size()] = '\x7f'; // the length of the last value
    network.inject(question.to, body);
    expectUnmoved(Verdict::Malformed);
}

// Whoever knows the id can have answers decoded, but not without end.
TEST_F(OpenQuestion, FloodOfAnswersThatAreBrokenBehindTheirHeadIsNotDecodedForEver)
{
    std::string body = lie();
    body[body.size() - 1 - liar.says.size()] = '\x7f';
    for (int i = 0; i < 1000; ++i) {
        network.inject(question.to, body);
    }
    EXPECT_EQ(network.count(Verdict::Malformed), UdpTransport::kMostMalformed);
    EXPECT_EQ(network.count(Verdict::NothingAsked), 1000 - UdpTransport::kMostMalformed);
    EXPECT_EQ(network.poller.inFlight(), 1u);
    network.agent(1).answers = true; // it is reached again as soon as the request is repeated
    network.agent(1).says = "the truth";
    network.pass(Milliseconds(1500));
    EXPECT_EQ(target->snapshot()->status.unpacked().model, "the truth");
}

TEST_F(OpenQuestion, AnswerCutAtAnyByteIsIgnored)
{
    const std::string body = lie();
    for (std::size_t length = 0; length < body.size(); ++length) {
        network.inject(question.to, body.substr(0, length));
    }
    EXPECT_EQ(network.count(Verdict::Malformed), body.size());
    EXPECT_EQ(target->snapshot()->status.unpacked().model, "idle");
    EXPECT_EQ(network.poller.inFlight(), 1u);
}

TEST_F(OpenQuestion, DuplicateIsTakenOnce)
{
    const std::string body = lie();
    network.inject(question.to, body);
    network.inject(question.to, body);
    EXPECT_EQ(network.count(Verdict::NothingAsked), 1u);
    EXPECT_EQ(network.poller.inFlight(), 0u);
}

TEST_F(OpenQuestion, LateAnswerToARepeatedRequestCounts)
{
    network.pass(Milliseconds(2500)); // repeated meanwhile, with the same id
    network.agent(1).says = "late";
    network.inject(question.to, network.answerTo(network.agent(1), question));
    EXPECT_EQ(target->snapshot()->status.unpacked().model, "late");
    EXPECT_TRUE(target->snapshot()->online);
}

TEST_F(OpenQuestion, AnswerAfterTheRequestWasGivenUpIsIgnored)
{
    network.pass(seconds(8));
    ASSERT_FALSE(target->snapshot()->online);
    network.inject(question.to, lie());
    EXPECT_EQ(network.count(Verdict::WrongId), 1u);
    EXPECT_FALSE(target->snapshot()->online);
}

TEST(Crowd, TenThousandPrintersStayWithinTheBoundAndAreSpreadOverTheirInterval)
{
    SimulatedNetwork network;
    for (std::uint32_t i = 0; i < 10000; ++i) {
        network.add(i);
    }
    network.pass(minutes(1));
    EXPECT_LE(network.mostInFlight, SnmpPoller::kMostInFlight);
    network.sendTimes.clear();
    const TimePoint from = network.clock.now();
    network.pass(seconds(30));
    std::vector<std::size_t> perTenth(300);
    for (const TimePoint at : network.sendTimes) {
        ++perTenth[static_cast<std::size_t>((at - from) / Milliseconds(100)) % 300];
    }
    // 2,600 a second on average, and no tenth of a second has more than twice its share.
    EXPECT_LE(*std::max_element(perTenth.begin(), perTenth.end()), 520u);
    EXPECT_GE(*std::min_element(perTenth.begin(), perTenth.end()), 60u);
    for (const auto& target : network.targets) {
        ASSERT_LE(network.clock.now() - *target->lastAnswer(), seconds(6));
    }
}

TEST(Crowd, DeadSlowFlappingAndLyingPeersDoNotAgeTheGoodOnes)
{
    SimulatedNetwork network;
    for (std::uint32_t i = 0; i < 10; ++i) {
        network.add(i);
    }
    network.agent(10).answers = false;
    network.agent(11).delay = seconds(4);
    unsigned n = 0;
    network.agent(12).loses = [&](const SeenRequest&) { return ++n / 7 % 2 == 0; };
    network.agent(13).community = "liar";
    for (std::uint32_t i = 10; i < 14; ++i) {
        network.add(i);
    }
    network.pass(seconds(10));
    for (int second = 0; second < 1800; ++second) {
        network.pass(seconds(1));
        for (std::size_t i = 0; i < 10; ++i) {
            ASSERT_LE(network.clock.now() - *network.targets[i]->lastAnswer(), seconds(6));
            ASSERT_TRUE(network.targets[i]->snapshot()->online);
        }
    }
}

TEST(Crowd, DeadSegmentOfThousandsHoldsNobodyUp)
{
    SimulatedNetwork network;
    for (std::uint32_t i = 0; i < 5000; ++i) {
        network.agent(i).answers = false;
        network.add(i);
    }
    for (std::uint32_t i = 5000; i < 5200; ++i) {
        network.add(i);
    }
    network.pass(minutes(3));
    for (int second = 0; second < 60; ++second) {
        network.pass(seconds(1));
        for (std::size_t i = 5000; i < 5200; ++i) {
            ASSERT_LE(network.clock.now() - *network.targets[i]->lastAnswer(), seconds(6));
        }
    }
    EXPECT_LE(network.mostInFlight, SnmpPoller::kMostInFlight);
}

TEST(Crowd, PortWithoutRoomIsTriedAgain)
{
    SimulatedNetwork network;
    network.room = 0;
    for (std::uint32_t i = 0; i < 100; ++i) {
        network.add(i);
    }
    network.pass(seconds(1));
    EXPECT_EQ(network.sends, 0u);
    network.room = 7;
    network.pass(seconds(2));
    for (const auto& target : network.targets) {
        EXPECT_TRUE(target->snapshot()->online);
    }
}

// Random weather over random printers that come and go; afterwards nothing may be left over.
TEST(Crowd, RandomWeatherLeavesNothingPending)
{
    for (std::uint64_t seed = 1; seed <= 20; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        SimulatedNetwork network(seed);
        SeededRandom dice(seed + 1000);
        for (std::uint32_t i = 0; i < 60; ++i) {
            Agent& agent = network.agent(i);
            agent.delay = Milliseconds(dice.below(3000));
            agent.speaksV2c = dice.below(4) != 0;
            const std::uint32_t loss = dice.below(60);
            agent.loses = [&dice, loss](const SeenRequest&) { return dice.below(100) < loss; };
            agent.says = std::vector<std::string>{"idle",    "printing", "alert",
                                                  "counter", "restart",  "stranger"}[dice.below(6)];
            network.add(i);
        }
        for (int step = 0; step < 200; ++step) {
            network.pass(Milliseconds(dice.below(4000)));
            const std::uint32_t which = dice.below(60);
            network.agent(which).answers = dice.below(3) != 0;
            network.linkUp = dice.below(20) != 0;
            if (dice.below(30) == 0) {
                network.suspend(minutes(dice.below(60)));
            } else if (dice.below(10) == 0) {
                network.poller.unwatch(*network.targets[which]);
                network.poller.watch(network.targets[which]);
            }
            ASSERT_LE(network.poller.inFlight(), SnmpPoller::kMostInFlight);
        }
        network.linkUp = true;
        for (std::uint32_t i = 0; i < 60; ++i) {
            network.agent(i).answers = true;
            network.agent(i).loses = nullptr;
        }
        network.pass(minutes(2));
        for (const auto& target : network.targets) {
            EXPECT_TRUE(target->snapshot()->online);
            network.poller.unwatch(*target);
        }
        EXPECT_EQ(network.poller.inFlight(), 0u);
        EXPECT_EQ(network.poller.nextDeadline(), kNever);
        network.pass(minutes(1));
        for (const auto& target : network.targets) {
            EXPECT_EQ(target.use_count(), 1);
        }
    }
}

} // namespace
} // namespace tarn::snmp::test
