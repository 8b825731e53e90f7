// Allocations of the poller that fail: whatever is lost by that is found again soon.
#include <gtest/gtest.h>

#include "tests/unit/tarn/snmp/poll/simulated_network.h"
#include "tests/unit/tarn/support/short_memory.h"

namespace tarn::snmp::test {
namespace {

using engine::Target;
using std::chrono::minutes;
using std::chrono::seconds;
using tarn::test::ShortMemory;

constexpr std::uint32_t kPrinters = 60;

// What a printer is like before memory runs short, and when enough is there again.
void liveBefore(SimulatedNetwork& network, std::uint32_t number)
{
    Agent& agent = network.agent(number);
    agent.speaksV2c = number % 7 != 0;
    agent.says = number % 3 == 0 ? "printing" : number % 3 == 1 ? "alert" : "idle";
    agent.answers = number % 10 != 1;
    agent.delay = Milliseconds(20);
}

void change(SimulatedNetwork& network, std::uint32_t number)
{
    Agent& agent = network.agent(number);
    agent.says += " changed";
    agent.answers = agent.answers && number % 10 != 0; // some went away
}

// The seed, and of how many allocations one fails.
class ShortMemoryTest : public testing::TestWithParam<std::tuple<std::uint32_t, unsigned>>
{
protected:
    ShortMemoryTest() : network(std::get<0>(GetParam()))
    {
        for (std::uint32_t number = 0; number < kPrinters; ++number) {
            liveBefore(network, number);
            targets.push_back(network.add(number));
        }
    }

    void passWithShortMemory(Milliseconds time)
    {
        std::uint32_t seed = std::get<0>(GetParam()) * 100000;
        network.runs = [&](SnmpPoller& poller) {
            const ShortMemory little(++seed, std::get<1>(GetParam()));
            try {
                poller.run();
            } catch (const std::bad_alloc&) { // as the engine does
            }
        };
        network.pass(time);
        network.runs = [](SnmpPoller& poller) { poller.run(); };
    }

    void expectAllAsItIs()
    {
        for (std::uint32_t number = 0; number < kPrinters; ++number) {
            const Target& target = *targets[number];
            const Agent& agent = network.agent(number);
            EXPECT_TRUE(target.isMet()) << number;
            ASSERT_EQ(target.snapshot()->online, agent.answers) << number;
            ASSERT_EQ(network.announced(number), agent.answers) << number;
            if (agent.answers) {
                EXPECT_EQ(target.snapshot()->status.unpacked().model, agent.says) << number;
                EXPECT_LE(network.clock.now() - *target.lastAnswer(), seconds(6)) << number;
            }
        }
    }

    SimulatedNetwork network;
    std::vector<std::shared_ptr<Target>> targets;
};

TEST_P(ShortMemoryTest, AllIsAsBeforeTenSecondsLater)
{
    network.pass(minutes(2));
    expectAllAsItIs();
    const std::uint64_t before = ShortMemory::failures();
    for (std::uint32_t number = 0; number < kPrinters; ++number) {
        change(network, number);
    }
    passWithShortMemory(seconds(8));
    EXPECT_GT(ShortMemory::failures(), before);
    network.pass(seconds(10));
    expectAllAsItIs();
    network.pass(minutes(2)); // nothing went wrong that shows later
    expectAllAsItIs();
}

TEST_P(ShortMemoryTest, FirstMeetingsAreMadeUpFor)
{
    passWithShortMemory(seconds(8));
    network.pass(seconds(15)); // until who never answered is known as silent
    expectAllAsItIs();
}

INSTANTIATE_TEST_SUITE_P(Seeds, ShortMemoryTest,
                         testing::Combine(testing::Range(1u, 16u), testing::Values(300u, 15u)));

} // namespace
} // namespace tarn::snmp::test
