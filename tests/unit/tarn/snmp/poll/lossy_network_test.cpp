// Printers with real reads on a network that loses datagrams, and printers that drop what they cannot
// hold.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>

#include "tests/support/recorded_agent.h"
#include "tests/unit/tarn/snmp/object_names.h"
#include "tests/unit/tarn/snmp/poll/simulated_network.h"

namespace tarn::snmp::test {
namespace {

using engine::VersionChoice;
using kel::testing::RecordedAgent;
using std::chrono::minutes;
using std::chrono::seconds;
using namespace objects;

// So many printers of five supplies that never stop changing: pages all the time, the tables now and then.
class ChangingPrinters final
{
public:
    ChangingPrinters(std::uint32_t count, VersionChoice version, double loss, std::uint64_t seed)
        : network(seed, printerSessions()), m_dice(seed + 1), m_count(count)
    {
        const auto lostBelow = static_cast<std::uint32_t>(loss * 100000);
        m_agents.assign(count, RecordedAgent::fromFile(KEL_SNMP_DATA "/colour-laser.snmprec"));
        for (std::uint32_t i = 0; i < count; ++i) {
            m_agents[i].v1 = version == VersionChoice::V1;
            m_agents[i].setInteger("1.3.6.1.4.1.99999.7.0",
                                   1); // agents have something behind the Printer-MIB
            Agent& agent = network.agent(i + 1);
            agent.loses = [this, lostBelow](const SeenRequest&) { // there, or back
                return m_dice.below(100000) < lostBelow || m_dice.below(100000) < lostBelow;
            };
            agent.device = [this, i](const Pdu& request) { return answer(i, request); };
            network.add(i + 1, version);
        }
    }

    // Requests a minute and printer.
    double requestsAMinute(minutes time)
    {
        const std::size_t before = network.sends;
        network.pass(time);
        return static_cast<double>(network.sends - before) / static_cast<double>(m_count) /
               static_cast<double>(time.count());
    }

    SimulatedNetwork network;

private:
    std::optional<Pdu> answer(std::uint32_t number, const Pdu& request)
    {
        RecordedAgent& agent = m_agents[number];
        const std::int64_t ms = network.clock.now().time_since_epoch().count() + number * 777;
        Value upTime;
        upTime.type = ValueType::TimeTicks;
        upTime.number = ms / 10;
        agent.set(kUpTime, upTime);
        agent.setInteger(kLifeCount, ms / 3000);
        agent.setInteger(kConfigChanges, ms / 40000);
        return agent.answer(request);
    }

    SeededRandom m_dice;
    const std::uint32_t m_count;
    std::vector<RecordedAgent> m_agents;
};

class Loss : public testing::TestWithParam<VersionChoice>
{
};
INSTANTIATE_TEST_SUITE_P(BothVersions, Loss, testing::Values(VersionChoice::V1, VersionChoice::V2c),
                         [](const testing::TestParamInfo<VersionChoice>& it) {
                             return it.param == VersionChoice::V1 ? "V1" : "V2c";
                         });

// KEL_LOSSY_PRINTERS sets the number of printers (20).
TEST_P(Loss, OfOneDatagramInTwentyCostsAtMostFifteenPerCentMoreRequestsAfterAnHourToo)
{
    const char* const wanted = std::getenv("KEL_LOSSY_PRINTERS");
    const auto count = static_cast<std::uint32_t>(wanted == nullptr ? 20 : std::atoi(wanted));
    const std::uint64_t seed = 20261122;
    SCOPED_TRACE("seed " + std::to_string(seed));
    ChangingPrinters undisturbed(count, GetParam(), 0, seed);
    ChangingPrinters disturbed(count, GetParam(), 0.05, seed);
    undisturbed.network.pass(minutes(1)); // first meetings
    disturbed.network.pass(minutes(1));
    for (const char* const when : {"at first", "after half an hour", "after an hour"}) {
        const double without = undisturbed.requestsAMinute(minutes(10));
        const double with = disturbed.requestsAMinute(minutes(10));
        EXPECT_GT(without, 25) << when;
        EXPECT_GT(with, without) << when;
        EXPECT_LE(with, without * 1.15) << when;
        undisturbed.network.pass(minutes(20));
        disturbed.network.pass(minutes(20));
    }
}

TEST_P(Loss, OfAllDatagramsForAMomentMeansNothing)
{
    for (int second = 0; second < 60; second += 7) { // wherever the reads are
        ChangingPrinters printers(5, GetParam(), 0, 3);
        printers.network.pass(minutes(2) + seconds(second));
        const double before = printers.requestsAMinute(minutes(5));
        printers.network.linkUp = false; // as switched off
        printers.network.pass(seconds(30));
        printers.network.linkUp = true;
        printers.network.pass(seconds(30));
        EXPECT_LE(printers.requestsAMinute(minutes(5)), before * 1.05);
    }
}

bool isLarge(const Pdu& request)
{
    return request.type == PduType::GetBulkRequest || request.varbinds.size() > 10;
}

struct Dropped
{
    const char* name;
    bool (*drops)(const Pdu& request);
};

class ADeviceThatDrops : public testing::TestWithParam<Dropped>
{
};
INSTANTIATE_TEST_SUITE_P(
    Requests, ADeviceThatDrops,
    testing::Values(Dropped{"Getbulk", [](const Pdu& r) { return r.type == PduType::GetBulkRequest; }},
                    Dropped{"WhatIsLarge", isLarge}),
    [](const testing::TestParamInfo<Dropped>& it) { return it.param.name; });

TEST_P(ADeviceThatDrops, IsReadWholeInItsFirstReadAndNeverTakenForUnreachable)
{
    SimulatedNetwork network(1, printerSessions());
    RecordedAgent recorded = RecordedAgent::fromFile(KEL_SNMP_DATA "/colour-laser.snmprec");
    std::vector<TimePoint> dropped;
    network.agent(1).device = [&](const Pdu& request) -> std::optional<Pdu> {
        if (GetParam().drops(request)) {
            dropped.push_back(network.clock.now());
            return std::nullopt;
        }
        return recorded.answer(request);
    };
    const auto target = network.add(1, VersionChoice::V2c);
    network.pass(seconds(10));
    ASSERT_TRUE(target->snapshot()->online);
    EXPECT_EQ(target->snapshot()->status.unpacked().supplies.size(), 5u);
    EXPECT_EQ(target->snapshot()->status.unpacked().trays.size(), 2u);
    network.pass(minutes(5 * 60));
    for (const Publication& published : network.publications) {
        EXPECT_TRUE(published.online);
    }
    // One trial an hour in the end, of one request.
    const TimePoint lately = network.clock.now() - minutes(2 * 60);
    EXPECT_LE(std::count_if(dropped.begin(), dropped.end(), [&](TimePoint at) { return at >= lately; }), 3);
    EXPECT_GE(std::count_if(dropped.begin(), dropped.end(), [&](TimePoint at) { return at >= lately; }), 1);
}

} // namespace
} // namespace tarn::snmp::test
