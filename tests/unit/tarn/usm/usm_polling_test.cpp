// The poller over SNMPv3.
#include "tarn/src/usm/usm_transport.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <map>
#include <new>
#include <optional>
#include <set>

#include "tarn/src/snmp/poll/snmp_poller.h"
#include "tests/support/recorded_agent.h"
#include "tests/unit/tarn/snmp/poll/fake_session.h"
#include "tests/unit/tarn/snmp/poll/first_meeting.h"
#include "tests/unit/tarn/support/nothing_pending.h"
#include "tests/unit/tarn/support/simulated_time.h"

namespace tarn::usm {

using engine::Endpoint;
using engine::Source;
using engine::Target;
using engine::VersionChoice;

namespace {

struct Agent
{
    bool answers = true;
    Milliseconds delay{5};
    std::string says = "idle";
    std::vector<TimePoint> asked;
    std::vector<snmp::Lane> lanes;
    std::vector<bool> asAbsent; // of each question: whether answers to the ones before count no more
    std::set<std::size_t> lost; // which of the questions, counted from 1, stay unanswered
    // Answers in its place where it is set; nothing: it drops the question.
    std::function<std::optional<snmp::Pdu>(const snmp::Pdu&)> device;
};

// Agents, a port to them and a clock that exist only in memory.
class World final : public engine::BackendListener
{
public:
    ~World() override
    {
        isMemoryShort = false;
        tarn::test::expectNothingPending(poller, targets);
    }

    class Port final : public UsmPort
    {
    public:
        explicit Port(World& world) : m_world(world) {}
        void ask(UsmQuestion question) override
        {
            m_world.takeMemory();
            m_world.arrive(question);
        }
        void forget(Endpoint endpoint) override
        {
            m_world.takeMemory();
            m_world.forgotten.push_back(endpoint);
        }
        void reopen() override { ++m_world.reopened; }
        std::vector<UsmAnswer> take() override
        {
            std::vector<UsmAnswer> due;
            auto& on = m_world.onTheirWay;
            while (!on.empty() && on.begin()->first <= m_world.clock.now()) {
                due.push_back(on.begin()->second);
                on.erase(on.begin());
            }
            return due;
        }
        int descriptor() const override { return -1; }

    private:
        World& m_world;
    };

    std::shared_ptr<Target> add(std::uint32_t number, VersionChoice version = VersionChoice::V3,
                                bool hasUser = true)
    {
        static const auto community = std::make_shared<const std::string>("public");
        auto target = std::make_shared<Target>(
            engine::PrinterAddress{endpointOf(number), version, community, {}, hasUser ? user : nullptr},
            engine::unmetSnapshot(device::DeviceStatus()), clock.now());
        agents[number];
        targets.push_back(target);
        poller.watch(target);
        return target;
    }
    static Endpoint endpointOf(std::uint32_t number) { return {(10u << 24) + number, 161}; }

    void arrive(const UsmQuestion& question)
    {
        Agent& agent = agents[question.endpoint.address - (10u << 24)];
        agent.asked.push_back(clock.now());
        agent.asAbsent.push_back(question.isToAbsent);
        agent.lanes.push_back(question.lane);
        if (agent.answers && agent.lost.count(agent.asked.size()) == 0) {
            ++answered;
            UsmAnswer answer{question.endpoint, question.ticket, question.pdu};
            if (agent.device) {
                std::optional<snmp::Pdu> pdu = agent.device(question.pdu);
                if (!pdu) {
                    return;
                }
                answer.pdu = std::move(*pdu);
            } else {
                answer.pdu.varbinds.front().value.bytes = agent.says;
            }
            onTheirWay.emplace(clock.now() + agent.delay, answer);
        }
    }

    // Lets so much time pass, in which every target is opened each second.
    void pass(Milliseconds time, bool opens = true)
    {
        const TimePoint end = clock.now() + time;
        while (clock.now() < end) {
            if (opens && clock.now().time_since_epoch().count() % 1000 == 0) {
                for (const auto& target : targets) {
                    if (target->markOpened(clock.now())) {
                        poller.wake(*target);
                    }
                }
            }
            poller.run();
            mostInFlight = std::max(mostInFlight, poller.inFlight());
            clock.set(clock.now() + Milliseconds(5));
        }
    }
    Milliseconds age(const Target& target) const
    {
        return clock.now() - target.lastAnswer().value_or(TimePoint());
    }
    static std::string modelOf(const Target& target) { return target.snapshot()->status.unpacked().model; }

    // While it is short, one in three does not get it.
    void takeMemory()
    {
        if (isMemoryShort && ++m_taken % 3 == 0) {
            throw std::bad_alloc();
        }
    }
    void targetChanged(Target&) override
    {
        takeMemory();
        ++changes;
    }
    void rosterChanged(engine::Discovery, std::vector<engine::DiscoveredPrinter>) override {}

    tarn::test::SimulatedClock clock;
    tarn::test::SeededRandom random{7};
    std::shared_ptr<const engine::UsmUser> user = std::make_shared<engine::UsmUser>();
    std::map<std::uint32_t, Agent> agents;
    std::vector<std::shared_ptr<Target>> targets;
    std::vector<Endpoint> forgotten;
    std::multimap<TimePoint, UsmAnswer> onTheirWay;
    std::size_t reopened = 0;
    std::size_t answered = 0;
    std::size_t changes = 0;
    std::size_t mostInFlight = 0;
    bool isMemoryShort = false;
    const snmp::SessionFactory sessions;
    snmp::SnmpPoller poller;

    explicit World(snmp::SessionFactory factory = snmp::test::fakeSessions())
        : sessions([this, make = std::move(factory)](snmp::Version version) {
              takeMemory();
              return make(version);
          }),
          poller(clock, random, std::make_unique<UsmTransport>(std::make_unique<Port>(*this)), *this,
                 sessions)
    {
    }

private:
    unsigned m_taken = 0;
};

} // namespace

TEST(UsmPolling, WithoutMemoryForAWhileAllIsAsBeforeTenSecondsLater)
{
    World world;
    for (std::uint32_t i = 0; i < 30; ++i) {
        world.add(i);
    }
    world.pass(Milliseconds(120000));
    for (std::uint32_t i = 0; i < 30; ++i) {
        world.agents[i].answers = i % 5 != 0;
        world.agents[i].says = i % 2 == 0 ? "alert" : "printing";
    }
    world.isMemoryShort = true;
    world.pass(Milliseconds(8000));
    world.isMemoryShort = false;
    world.pass(Milliseconds(10000));
    for (std::uint32_t i = 0; i < 30; ++i) {
        const Target& target = *world.targets[i];
        EXPECT_EQ(target.snapshot()->online, world.agents[i].answers) << i;
        if (world.agents[i].answers) {
            EXPECT_EQ(World::modelOf(target), world.agents[i].says) << i;
            EXPECT_LE(world.age(target), Milliseconds(6000)) << i;
        }
    }
}

TEST(UsmPolling, WhoMayBeDeadIsAskedInALaneOfItsOwn)
{
    World world;
    world.add(1);
    world.pass(Milliseconds(10000));
    EXPECT_EQ(world.agents[1].lanes.front(), snmp::Lane::Suspect);
    EXPECT_EQ(world.agents[1].lanes.back(), snmp::Lane::Answering);
    world.agents[1].answers = false;
    world.pass(Milliseconds(30000));
    EXPECT_EQ(world.agents[1].lanes.back(), snmp::Lane::Suspect);
}

TEST(UsmPolling, WithoutMemoryPrintersCanBeTakenOff)
{
    World world;
    for (std::uint32_t i = 0; i < 6; ++i) {
        world.add(i);
    }
    world.pass(Milliseconds(10000));
    world.isMemoryShort = true;
    for (const auto& target : world.targets) {
        world.poller.unwatch(*target);
    }
    world.isMemoryShort = false;
    EXPECT_EQ(world.forgotten.size(), 4u); // two were not told
    for (auto& [number, agent] : world.agents) {
        agent.asked.clear();
    }
    world.targets.clear();
    world.pass(Milliseconds(20000));
    for (const auto& [number, agent] : world.agents) {
        EXPECT_TRUE(agent.asked.empty()) << number;
    }
}

TEST(UsmPolling, OnlyWhatIsToBeAskedInVersion3)
{
    World world;
    const auto other = world.add(1, VersionChoice::Auto);
    const auto ours = world.add(2);
    world.pass(Milliseconds(1000));
    EXPECT_TRUE(world.agents[1].asked.empty());
    EXPECT_FALSE(other->isMet());
    EXPECT_TRUE(ours->snapshot()->online);
    EXPECT_EQ(World::modelOf(*ours), "idle");
}

TEST(UsmPolling, WithoutAUserItIsUnreachableAndNotAsked)
{
    World world;
    const auto target = world.add(1, VersionChoice::V3, false);
    EXPECT_TRUE(target->isMet());
    EXPECT_FALSE(target->snapshot()->online);
    EXPECT_EQ(world.changes, 1u);
    world.pass(Milliseconds(10000));
    EXPECT_TRUE(world.agents[1].asked.empty());
    world.poller.unwatch(*target);
}

TEST(UsmPolling, AChangeIsSeenWithinFiveSecondsAndAnIdlePrinterSeesFewQuestions)
{
    World world;
    const auto target = world.add(1);
    world.pass(Milliseconds(120000));
    Agent& agent = world.agents[1];
    agent.asked.clear();
    for (int i = 0; i < 120; ++i) {
        world.pass(Milliseconds(1000));
        EXPECT_LE(world.age(*target), Milliseconds(5000));
    }
    EXPECT_LE(agent.asked.size(), 36u);
    agent.says = "printing 3";
    world.pass(Milliseconds(5000));
    EXPECT_EQ(World::modelOf(*target), "printing 3");
}

TEST(UsmPolling, ThreeMissesMakeItUnreachableAndOneAnswerBringsItBack)
{
    World world;
    const auto target = world.add(1);
    world.pass(Milliseconds(5000));
    ASSERT_TRUE(target->snapshot()->online);
    world.agents[1].answers = false;
    world.pass(Milliseconds(5000));
    EXPECT_TRUE(target->snapshot()->online) << "one miss is none";
    world.pass(Milliseconds(15000));
    EXPECT_FALSE(target->snapshot()->online);
    EXPECT_EQ(World::modelOf(*target), "idle") << "what was known is kept";
    world.agents[1].answers = true;
    world.pass(Milliseconds(11000));
    EXPECT_TRUE(target->snapshot()->online);
}

TEST(UsmPolling, WhoIsUnreachableIsAskedInAWayThatNoOldAnswerFits)
{
    World world;
    const auto target = world.add(1);
    world.pass(Milliseconds(5000));
    Agent& agent = world.agents[1];
    agent.answers = false;
    agent.asAbsent.clear();
    world.pass(Milliseconds(60000));
    ASSERT_FALSE(target->snapshot()->online);
    ASSERT_GE(agent.asAbsent.size(), 6u);
    EXPECT_FALSE(agent.asAbsent[0]);
    EXPECT_FALSE(agent.asAbsent[1]) << "a repetition: a late answer to the first one counts";
    EXPECT_TRUE(agent.asAbsent.back());
    agent.answers = true;
    world.pass(Milliseconds(12000));
    ASSERT_TRUE(target->snapshot()->online);
    EXPECT_FALSE(agent.asAbsent.back());
}

TEST(UsmPolling, WhoTakesAnEndpointOverIsAskedThere)
{
    World world;
    const auto before = world.add(1);
    world.pass(Milliseconds(5000));
    const auto now = world.add(1);
    world.poller.unwatch(*before);
    EXPECT_TRUE(world.forgotten.empty()) << "the other one is asked there";
    world.pass(Milliseconds(5000));
    EXPECT_TRUE(now->snapshot()->online);
    world.poller.unwatch(*now);
    EXPECT_EQ(world.forgotten.size(), 1u);
}

TEST(UsmPolling, WhoWasUnreachableFromTheBeginningComesWithHisStatus)
{
    World world;
    const auto target = world.add(1);
    world.agents[1].answers = false;
    world.pass(Milliseconds(20000));
    ASSERT_TRUE(target->isMet());
    ASSERT_FALSE(target->snapshot()->online);
    world.agents[1].answers = true;
    world.agents[1].delay = Milliseconds(800); // each of the answers that make up the first status
    for (int i = 0; i < 15000 && !target->snapshot()->online; i += 5) {
        world.pass(Milliseconds(5));
    }
    ASSERT_TRUE(target->snapshot()->online);
    EXPECT_EQ(World::modelOf(*target), "idle");
}

// How many answers it takes to meet a printer where those questions are lost.
std::size_t answersToMeet(const std::set<std::size_t>& lost)
{
    World world;
    const auto target = world.add(1);
    world.agents[1].lost = lost;
    for (int i = 0; i < 300 && !target->snapshot()->online; ++i) {
        world.pass(Milliseconds(1000));
    }
    EXPECT_EQ(World::modelOf(*target), "idle");
    return world.answered;
}

TEST(UsmPolling, AFirstMeetingGoesOnWhereALossInterruptedIt)
{
    snmp::test::expectFirstMeetingsToGoOn(answersToMeet);
}

// A printer that does something else with GETBULK than to answer it is read whole all the same, and never
// taken for unreachable.
TEST(UsmPolling, GetbulkThatIsRefusedOrDroppedLosesNoTable)
{
    for (const bool dropped : {false, true}) {
        World world(snmp::printerSessions());
        auto agent = kel::testing::RecordedAgent::fromFile(KEL_SNMP_DATA "/colour-laser.snmprec");
        agent.bulkError = snmp::ErrorStatus::GenErr;
        const auto target = world.add(1);
        world.agents[1].device = [&](const snmp::Pdu& question) -> std::optional<snmp::Pdu> {
            if (dropped && question.type == snmp::PduType::GetBulkRequest) {
                return std::nullopt;
            }
            return agent.answer(question);
        };
        world.pass(std::chrono::seconds(12));
        ASSERT_TRUE(target->snapshot()->online) << dropped;
        EXPECT_EQ(target->snapshot()->status.unpacked().supplies.size(), 5u) << dropped;
        EXPECT_EQ(target->snapshot()->status.unpacked().trays.size(), 2u) << dropped;
        const std::size_t changes = world.changes;
        world.pass(std::chrono::minutes(10)); // with trials of GETBULK
        EXPECT_TRUE(target->snapshot()->online) << dropped;
        EXPECT_EQ(world.changes, changes) << dropped;
    }
}

// The bound that holds for versions 1 and 2c.
TEST(UsmPolling, LossOfOneDatagramInTwentyCostsAtMostFifteenPerCentMoreQuestionsAfterAnHourToo)
{
    double asked[2] = {0, 0};
    for (const bool loses : {false, true}) {
        World world(snmp::printerSessions());
        tarn::test::SeededRandom dice(20261122);
        std::vector<kel::testing::RecordedAgent> agents(
            5, kel::testing::RecordedAgent::fromFile(KEL_SNMP_DATA "/colour-laser.snmprec"));
        for (std::uint32_t i = 0; i < agents.size(); ++i) {
            world.add(i + 1);
            world.agents[i + 1].device = [&, i](const snmp::Pdu& question) -> std::optional<snmp::Pdu> {
                if (loses && (dice.below(20) == 0 || dice.below(20) == 0)) { // there, or back
                    return std::nullopt;
                }
                const std::int64_t ms = world.clock.now().time_since_epoch().count() + i * 777;
                agents[i].setInteger("1.3.6.1.2.1.43.10.2.1.4.1.1", ms / 3000);
                agents[i].setInteger("1.3.6.1.2.1.43.5.1.1.1.1", ms / 40000);
                return agents[i].answer(question);
            };
        }
        world.pass(std::chrono::minutes(60));
        for (auto& agent : world.agents) {
            agent.second.asked.clear();
        }
        world.pass(std::chrono::minutes(20));
        for (const auto& agent : world.agents) {
            asked[loses ? 1 : 0] += static_cast<double>(agent.second.asked.size());
        }
    }
    EXPECT_GT(asked[0], 5 * 20 * 25);
    EXPECT_GT(asked[1], asked[0]);
    EXPECT_LE(asked[1], asked[0] * 1.15);
}

TEST(UsmPolling, OneQuestionAtATimeAndNoAnswerButTheLastOnesCounts)
{
    World world;
    const auto target = world.add(1);
    world.pass(Milliseconds(5000));
    Agent& agent = world.agents[1];
    agent.delay = Milliseconds(2500); // beyond the first patience: the question is put again
    agent.says = "slow";
    world.pass(Milliseconds(60000));
    EXPECT_TRUE(target->snapshot()->online);
    EXPECT_EQ(World::modelOf(*target), "slow");
    // An answer to a question of long ago.
    agent.answers = false;
    world.onTheirWay.clear();
    const TimePoint answered = *target->lastAnswer();
    world.onTheirWay.emplace(world.clock.now(), UsmAnswer{World::endpointOf(1), 1, {}});
    world.onTheirWay.emplace(world.clock.now(), UsmAnswer{World::endpointOf(77), 1, {}});
    world.pass(Milliseconds(100));
    EXPECT_EQ(*target->lastAnswer(), answered);
}

TEST(UsmPolling, WhatNobodyOpensIsLeftAloneUntilItIsOpenedAgain)
{
    World world;
    const auto target = world.add(1);
    world.pass(Milliseconds(70000), false);
    world.agents[1].asked.clear();
    world.pass(Milliseconds(70000), false);
    EXPECT_TRUE(world.agents[1].asked.empty());
    ASSERT_TRUE(target->markOpened(world.clock.now()));
    world.poller.wake(*target);
    world.pass(Milliseconds(100), false);
    EXPECT_FALSE(world.agents[1].asked.empty());
}

TEST(UsmPolling, TheSilentOnesHoldNobodyUp)
{
    World world;
    for (std::uint32_t number = 100; number < 700; ++number) {
        world.agents[number].answers = false;
        world.add(number);
    }
    const auto good = world.add(1);
    for (int i = 0; i < 120; ++i) {
        world.pass(Milliseconds(500));
        if (i > 10) {
            EXPECT_LE(world.age(*good), Milliseconds(6000)) << i;
        }
    }
    EXPECT_LE(world.mostInFlight, snmp::SnmpPoller::kMostInFlight);
    EXPECT_GE(world.agents[100].asked.size(), 3u);
}

TEST(UsmPolling, WhatIsNoLongerWatchedIsForgotten)
{
    World world;
    const auto target = world.add(1);
    const std::weak_ptr<Target> weak = target;
    world.pass(Milliseconds(100));
    world.poller.unwatch(*target);
    ASSERT_EQ(world.forgotten.size(), 1u);
    EXPECT_TRUE(world.forgotten[0] == World::endpointOf(1));
    world.agents[1].asked.clear();
    world.pass(Milliseconds(20000));
    EXPECT_TRUE(world.agents[1].asked.empty());
    EXPECT_EQ(weak.use_count(), 2) << "the world's own two";
}

TEST(UsmPolling, AfterTheMachineSleptAllIsAskedAnew)
{
    World world;
    const auto target = world.add(1);
    world.pass(Milliseconds(5000));
    world.clock.set(world.clock.now() + std::chrono::hours(1));
    target->markOpened(world.clock.now());
    world.pass(Milliseconds(100));
    EXPECT_EQ(world.reopened, 1u);
    EXPECT_LE(world.age(*target), Milliseconds(200));
    EXPECT_TRUE(target->snapshot()->online);
}

} // namespace tarn::usm
