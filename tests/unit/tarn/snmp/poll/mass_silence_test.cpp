// A segment that falls silent, or never spoke: those who answer must not notice, and the others are known as
// silent soon.
#include <gtest/gtest.h>

#include <algorithm>

#include "tests/unit/tarn/snmp/poll/simulated_network.h"

namespace tarn::snmp::test {
namespace {

using engine::Target;
using std::chrono::minutes;
using std::chrono::seconds;

constexpr std::uint32_t kLiving = 500;
constexpr std::uint32_t kAll = 3000;
constexpr seconds kOldest{6};
constexpr seconds kKnownAsSilent{15};

class MassSilence : public testing::Test
{
protected:
    // The living ones first in number; they are met in an order of their own.
    void meetAll()
    {
        for (std::uint32_t i = 0; i < kAll; ++i) {
            const std::uint32_t number = i * 7 % kAll; // 7 and 3000 have no common divisor
            network.agent(number).delay = Milliseconds(20);
            targets.resize(kAll);
            targets[number] = network.add(number);
        }
    }
    void reachability()
    {
        for (std::uint32_t number = kLiving; number < kAll; ++number) {
            network.agent(number).answers = false;
        }
    }
    void expectYoungStatuss() const
    {
        for (std::uint32_t number = 0; number < kLiving; ++number) {
            ASSERT_TRUE(targets[number]->snapshot()->online) << number;
            ASSERT_LE(network.clock.now() - *targets[number]->lastAnswer(), kOldest) << number;
        }
    }
    long known(bool online) const
    {
        return std::count_if(targets.begin() + kLiving, targets.end(), [online](const auto& target) {
            return target->isMet() && target->snapshot()->online == online;
        });
    }

    SimulatedNetwork network;
    std::vector<std::shared_ptr<Target>> targets;
};

TEST_F(MassSilence, OfThoseThatAnsweredIsKnownSoonAndAgesNobody)
{
    meetAll();
    network.pass(minutes(2));
    ASSERT_EQ(known(true), kAll - kLiving);
    reachability();
    for (seconds passed{0}; passed < seconds(60); ++passed) {
        network.pass(seconds(1));
        expectYoungStatuss();
        if (passed + seconds(1) >= kKnownAsSilent) {
            ASSERT_EQ(known(false), kAll - kLiving) << passed.count();
        }
    }
    EXPECT_LE(network.mostInFlight, SnmpPoller::kMostInFlight);
}

TEST_F(MassSilence, AtAFirstMeetingIsKnownSoonAndAgesNobody)
{
    reachability();
    meetAll();
    network.pass(kOldest);
    for (seconds passed = kOldest; passed < seconds(60); ++passed) {
        network.pass(seconds(1));
        expectYoungStatuss();
        if (passed + seconds(1) >= kKnownAsSilent) {
            ASSERT_EQ(known(false), kAll - kLiving) << passed.count();
        }
    }
    EXPECT_LE(network.mostInFlight, SnmpPoller::kMostInFlight);
}

// Requests to addresses that nobody resolves stay in the system, and with them the room of their socket.
TEST_F(MassSilence, ThatFillsItsSocketAgesNobody)
{
    reachability();
    meetAll();
    network.suspectRoom = 0;
    network.agent(0).answers = false; // one that was met, and is lost for a moment
    network.pass(minutes(1));
    EXPECT_EQ(network.sends, 0u) << "whoever was never met is suspect";
    network.suspectRoom = 1;
    network.agent(0).answers = true;
    network.pass(minutes(1));
    expectYoungStatuss();
}

// A request that was lost is not the printer's fault, but nobody knows that before it answers again.
TEST_F(MassSilence, PrinterThatMissedOneAnswerIsAskedAmongTheSuspects)
{
    targets.push_back(network.add(1));
    network.pass(minutes(1));
    network.lanes.clear();
    network.pass(seconds(10));
    EXPECT_EQ(std::count(network.lanes.begin(), network.lanes.end(), Lane::Suspect), 0);
    unsigned lost = 0;
    network.agent(1).loses = [&lost](const SeenRequest&) { return ++lost == 1; };
    network.lanes.clear();
    network.pass(seconds(10));
    EXPECT_EQ(std::count(network.lanes.begin(), network.lanes.end(), Lane::Suspect), 1);
    EXPECT_GT(network.lanes.size(), 2u);
}

} // namespace
} // namespace tarn::snmp::test
