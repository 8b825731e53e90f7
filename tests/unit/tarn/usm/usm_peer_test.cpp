#include "tarn/src/usm/usm_peer.h"

#include <gtest/gtest.h>

#include "tests/unit/tarn/support/scratch_directory.h"
#include "tests/unit/tarn/support/simulated_time.h"
#include "tests/unit/tarn/usm/fake_agent.h"

namespace tarn::usm {

using engine::UsmUser;

namespace {

constexpr unsigned kUnsupportedLevels = 1;
constexpr unsigned kNotInTimeWindows = 2;
constexpr unsigned kUnknownUsers = 3;
constexpr unsigned kUnknownEngines = 4;
constexpr unsigned kWrongDigests = 5;

snmp::ByteView view(const std::string& bytes)
{
    return {reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()};
}

// One agent and the peer that speaks with it.
class UsmPeerTest : public testing::Test
{
protected:
    void SetUp() override
    {
        std::string why;
        m_codec = UsmCodec::start(NetSnmpLibrary::kSoname, why);
        ASSERT_TRUE(m_codec) << why;
        UsmUser user;
        user.name = "mon";
        user.authPassword = "authpass12";
        user.isPrivate = true;
        user.privPassword = "privpass12";
        m_keys = m_codec->keysOf(user, why);
        ASSERT_TRUE(m_keys) << why;
        m_agent = std::make_unique<FakeAgent>(*m_codec, m_keys, "engine-1");
        m_agent->engine.learnt = m_now;
        m_peer = std::make_unique<UsmPeer>(*m_codec, m_random, m_keys);
        m_pdu.varbinds.push_back({{1, 3, 6, 1, 2, 1, 1, 1, 0}, {}});
    }

    // The numbers that a request bears; those within are read with the agent's keys.
    UsmIds idsOf(const std::string& request)
    {
        UsmEngine engine = m_agent->engine;
        engine.isAuthentic = false; // any time will do
        const UsmMessage message = m_codec->read(view(request), *m_keys, &engine, m_now);
        return {FakeAgent::messageIdOf(request), message.ids.request};
    }
    UsmQuestion question(std::uint64_t ticket, bool isToAbsent = false) const
    {
        return {{}, ticket, nullptr, m_pdu, isToAbsent};
    }
    UsmPeer::Step receive(const std::string& bytes) { return m_peer->receive(view(bytes), m_now); }
    // From nothing to the first request.
    std::string discover(std::uint64_t ticket)
    {
        const UsmPeer::Step probe = m_peer->ask(question(ticket), m_now);
        EXPECT_TRUE(FakeAgent::isProbe(probe.send));
        return receive(m_agent->report(kUnknownEngines, {FakeAgent::messageIdOf(probe.send), 0})).send;
    }

    const test::ScratchDirectory m_scratch;
    const test::ScopedVariable m_path{"SNMPCONFPATH", m_scratch.path("")};
    tarn::test::SeededRandom m_random{1};
    TimePoint m_now{Milliseconds(5000000)};
    std::unique_ptr<UsmCodec> m_codec;
    std::shared_ptr<const UsmKeys> m_keys;
    std::unique_ptr<FakeAgent> m_agent;
    std::unique_ptr<UsmPeer> m_peer;
    snmp::Pdu m_pdu;
};

} // namespace

TEST_F(UsmPeerTest, FindsTheEngineOnceAndAsks)
{
    const std::string request = discover(1);
    ASSERT_FALSE(request.empty());
    EXPECT_FALSE(FakeAgent::isProbe(request));
    const UsmPeer::Step answered = receive(m_agent->response(idsOf(request), m_now, "ready"));
    ASSERT_TRUE(answered.answer);
    EXPECT_EQ(answered.answer->varbinds.at(0).value.bytes, "ready");
    EXPECT_FALSE(FakeAgent::isProbe(m_peer->ask(question(2), m_now).send)) << "the engine is known";
}

TEST_F(UsmPeerTest, TakesNoAnswerThatIsNotToItsQuestion)
{
    const std::string request = discover(1);
    const UsmIds ids = idsOf(request);
    EXPECT_FALSE(receive(m_agent->response({ids.message + 1, ids.request}, m_now)).answer);
    EXPECT_FALSE(receive(m_agent->response({ids.message, ids.request + 1}, m_now)).answer);
    const FakeAgent other(*m_codec, m_keys, "engine-2");
    EXPECT_FALSE(receive(other.response(ids, m_now)).answer);
    EXPECT_FALSE(receive("").answer);
    EXPECT_FALSE(receive(std::string(200, '\x30')).answer);
    EXPECT_TRUE(receive(m_agent->response(ids, m_now)).answer) << "and the question is still open";
    EXPECT_FALSE(receive(m_agent->response(ids, m_now)).answer) << "once";
}

TEST_F(UsmPeerTest, TakesNoAnswerThatAnybodyCouldHaveMade)
{
    const UsmIds ids = idsOf(discover(1));
    EXPECT_FALSE(receive(m_agent->bareResponse(ids)).answer);
    EXPECT_TRUE(receive(m_agent->response(ids, m_now)).answer);
}

TEST_F(UsmPeerTest, WhatTheAgentReportsIsSaidAndChangesNothing)
{
    const UsmIds ids = idsOf(discover(1));
    for (const unsigned number : {kUnsupportedLevels, kUnknownUsers, kWrongDigests, 6u, 99u}) {
        const UsmPeer::Step step = receive(m_agent->report(number, ids));
        EXPECT_NE(step.complaint, nullptr) << number;
        EXPECT_TRUE(step.send.empty());
        EXPECT_FALSE(step.answer);
    }
    EXPECT_EQ(receive(m_agent->report(kUnknownUsers, {ids.message + 1, ids.request})).complaint, nullptr)
        << "not ours";
    EXPECT_TRUE(receive(m_agent->response(ids, m_now)).answer);
}

TEST_F(UsmPeerTest, SetsItsClockByAReportThatOnlyTheAgentCanMake)
{
    const std::string request = discover(1);
    m_agent->engine.boots = 7;
    const UsmPeer::Step again = receive(m_agent->protectedReport(kNotInTimeWindows, idsOf(request), m_now));
    ASSERT_FALSE(again.send.empty());
    EXPECT_FALSE(FakeAgent::isProbe(again.send));
    EXPECT_TRUE(receive(m_agent->response(idsOf(again.send), m_now)).answer);
}

TEST_F(UsmPeerTest, AnAgentWhoseClockWentBackIsFoundAgain)
{
    ASSERT_TRUE(receive(m_agent->response(idsOf(discover(1)), m_now)).answer);
    m_agent->engine.boots = 1;
    m_agent->engine.time = 2;
    const UsmIds ids = idsOf(m_peer->ask(question(2), m_now).send);
    const UsmPeer::Step probe = receive(m_agent->protectedReport(kNotInTimeWindows, ids, m_now));
    ASSERT_TRUE(FakeAgent::isProbe(probe.send));
    const UsmPeer::Step again =
        receive(m_agent->report(kUnknownEngines, {FakeAgent::messageIdOf(probe.send), 0}));
    EXPECT_TRUE(receive(m_agent->response(idsOf(again.send), m_now)).answer);
}

TEST_F(UsmPeerTest, AnAgentThatWasExchangedIsFoundAgain)
{
    ASSERT_TRUE(receive(m_agent->response(idsOf(discover(1)), m_now)).answer);
    const UsmIds ids = idsOf(m_peer->ask(question(2), m_now).send);
    m_agent = std::make_unique<FakeAgent>(*m_codec, m_keys, "engine-9");
    const UsmPeer::Step probe = receive(m_agent->report(kUnknownEngines, ids));
    ASSERT_TRUE(FakeAgent::isProbe(probe.send));
    const UsmPeer::Step again =
        receive(m_agent->report(kUnknownEngines, {FakeAgent::messageIdOf(probe.send), 0}));
    EXPECT_TRUE(receive(m_agent->response(idsOf(again.send), m_now)).answer);
}

TEST_F(UsmPeerTest, ALateAnswerToTheFirstMessageIsAnAnswer)
{
    const std::string first = discover(1);
    const std::string second = m_peer->ask(question(1), m_now + Milliseconds(1000)).send;
    EXPECT_EQ(FakeAgent::messageIdOf(first), FakeAgent::messageIdOf(second));
    EXPECT_TRUE(FakeAgent::isProbe(m_peer->ask(question(1), m_now + Milliseconds(3000)).send))
        << "silent for long, it may be another";
    EXPECT_TRUE(receive(m_agent->response(idsOf(first), m_now)).answer);
}

TEST_F(UsmPeerTest, RepetitionsToAnAbsentPrinterBearNumbersOfTheirOwn)
{
    const UsmIds first = idsOf(discover(1));
    const UsmIds second = idsOf(m_peer->ask(question(1, true), m_now + Milliseconds(1000)).send);
    EXPECT_NE(first.message, second.message);
    EXPECT_NE(first.request, second.request);
    EXPECT_FALSE(receive(m_agent->response(first, m_now)).answer);
    EXPECT_TRUE(FakeAgent::isProbe(m_peer->ask(question(1, true), m_now + Milliseconds(3000)).send));
    const UsmIds last = idsOf(m_peer->ask(question(1, true), m_now + Milliseconds(6000)).send);
    EXPECT_TRUE(receive(m_agent->response(last, m_now)).answer);
}

TEST_F(UsmPeerTest, AnEngineThatIsNoneIsNotAsked)
{
    const UsmPeer::Step probe = m_peer->ask(question(1), m_now);
    const std::int32_t id = FakeAgent::messageIdOf(probe.send);
    m_agent->engine.id = "four";
    EXPECT_TRUE(receive(m_agent->report(kUnknownEngines, {id, 0})).send.empty());
    m_agent->engine.id = "engine-1";
    EXPECT_TRUE(receive(m_agent->report(kUnknownUsers, {id, 0})).send.empty());
    EXPECT_FALSE(receive(m_agent->report(kUnknownEngines, {id, 0})).send.empty());
}

TEST_F(UsmPeerTest, ReportsWithoutEndLeadToAFewMessagesOnly)
{
    const UsmIds ids = idsOf(discover(1));
    unsigned sent = 0;
    for (int i = 0; i < 100; ++i) {
        sent += receive(m_agent->report(kUnknownEngines, ids)).send.empty() ? 0 : 1;
    }
    EXPECT_LE(sent, UsmPeer::kMostSteps);
    EXPECT_FALSE(receive(m_agent->response(ids, m_now)).answer)
        << "too much was read: until it is asked again";
    EXPECT_FALSE(m_peer->ask(question(1), m_now).send.empty());
    EXPECT_TRUE(receive(m_agent->response(ids, m_now)).answer);
}

} // namespace tarn::usm
