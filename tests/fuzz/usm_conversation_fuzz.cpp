#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "tarn/src/usm/usm_peer.h"
#include "tests/fuzz/fuzz_input.h"
#include "tests/unit/tarn/support/simulated_time.h"
#include "tests/unit/tarn/usm/fake_agent.h"

// A whole conversation over SNMPv3, from the discovery of the engine on, with an agent that has the user's
// keys and somebody on the way who has none: the input says, an octet a step and what belongs to it, what is
// asked, what the agent answers, what its clock does, and what of that is lost, changed or made up. Behind
// the input's end the agent answers as it should, and the question must soon be answered.
namespace {

using namespace tarn;
using kel_fuzz::Input;
using kel_fuzz::require;
using usm::FakeAgent;
using usm::UsmIds;
using usm::UsmPeer;

struct World
{
    World()
    {
        ::setenv("SNMPCONFPATH", "/nonexistent", 1);
        std::string why;
        codec = usm::UsmCodec::start(usm::NetSnmpLibrary::kSoname, why);
        require(codec != nullptr);
        engine::UsmUser user;
        user.name = "mon";
        user.authPassword = "nobody knows it";
        user.isPrivate = true;
        user.privPassword = "nor this one";
        keys = codec->keysOf(user, why);
        user.authPassword = "another's password";
        otherKeys = codec->keysOf(user, why);
        require(keys && otherKeys);
        for (const char* const id : {"engine-1", "engine-2", "engine-3"}) {
            agents.push_back(std::make_unique<FakeAgent>(*codec, keys, id));
        }
        impostor = std::make_unique<FakeAgent>(*codec, otherKeys, "engine-1");
    }

    std::unique_ptr<usm::UsmCodec> codec;
    std::shared_ptr<const usm::UsmKeys> keys;
    std::shared_ptr<const usm::UsmKeys> otherKeys;
    std::vector<std::unique_ptr<FakeAgent>> agents; // the one that is asked may be exchanged
    std::unique_ptr<FakeAgent> impostor;
};

constexpr unsigned kNotInTimeWindows = 2;
constexpr unsigned kUnknownEngines = 4;
const std::string kAnswer = "the agent's own words";

class Conversation final
{
public:
    Conversation(const World& world, Input& input)
        : m_world(world), m_input(input), m_peer(*world.codec, m_random, world.keys)
    {
        m_pdu.varbinds.push_back({{1, 3, 6, 1, 2, 1, 1, 1, 0}, {}});
        for (const auto& agent : world.agents) {
            m_engines.push_back(agent->engine);
            m_engines.back().learnt = m_now;
        }
    }

    void beOdd()
    {
        for (int step = 0; step < 200 && !m_input.empty(); ++step) {
            act(m_input.octet());
        }
    }

    // The agent answers all that it hears, and what it says arrives.
    void recover()
    {
        m_peer.ask({{}, ++m_ticket, nullptr, m_pdu}, m_now);
        for (int asked = 0; asked < 9; ++asked) {
            m_now += Milliseconds(1000);
            UsmPeer::Step step = m_peer.ask({{}, m_ticket, nullptr, m_pdu}, m_now);
            for (unsigned sent = 0; !step.send.empty(); ++sent) {
                require(sent <= UsmPeer::kMostSteps);
                m_last = step.send;
                step = m_peer.receive(viewOf(m_kept = reply()), m_now);
                if (step.answer) {
                    require(isTheAgents(*step.answer));
                    return;
                }
            }
        }
        require(false);
    }

private:
    static snmp::ByteView viewOf(const std::string& bytes)
    {
        return {reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()};
    }
    static bool isTheAgents(const snmp::Pdu& pdu)
    {
        return pdu.varbinds.size() == 1 && pdu.varbinds[0].value.bytes == kAnswer;
    }

    // The agent with the clock that it has in this conversation.
    FakeAgent& agent() const
    {
        FakeAgent& agent = *m_world.agents[m_current];
        agent.engine = m_engines[m_current];
        return agent;
    }
    usm::UsmEngine& clock() { return m_engines[m_current]; }

    // The numbers of what the agent received last, as far as its keys tell.
    UsmIds ids() const
    {
        usm::UsmEngine engine = agent().engine;
        engine.isAuthentic = false;
        const usm::UsmMessage message = m_world.codec->read(viewOf(m_last), *m_world.keys, &engine, m_now);
        return {FakeAgent::messageIdOf(m_last), message.ids.request};
    }
    // What a sound agent says to that.
    std::string reply() const
    {
        if (FakeAgent::isProbe(m_last)) {
            return agent().report(kUnknownEngines, ids());
        }
        const UsmIds asked = ids();
        if (asked.request == 0) {
            return agent().report(kUnknownEngines, asked); // meant for the engine that was here before
        }
        usm::UsmEngine engine = agent().engine;
        const bool isLate = m_world.codec->read(viewOf(m_last), *m_world.keys, &engine, m_now).kind ==
                            usm::UsmMessage::Kind::OutOfTime;
        return isLate ? agent().protectedReport(kNotInTimeWindows, asked, m_now)
                      : agent().response(asked, m_now, kAnswer);
    }

    void ask(bool isNew, bool isToAbsent)
    {
        m_ticket += isNew ? 1 : 0;
        m_sent = 0;
        m_isOpen = true;
        follow(m_peer.ask({{}, m_ticket, nullptr, m_pdu, isToAbsent}, m_now), false);
    }
    // isGenuine: it is what the agent made for this question, unchanged.
    void deliver(const std::string& bytes, bool isGenuine)
    {
        const std::vector<std::uint8_t> exact(bytes.begin(), bytes.end());
        follow(m_peer.receive({exact.data(), exact.size()}, m_now), isGenuine);
    }
    void follow(const UsmPeer::Step& step, bool isGenuine)
    {
        if (!step.send.empty()) {
            require(++m_sent <= UsmPeer::kMostSteps && m_isOpen);
            m_last = step.send;
        }
        if (step.answer) {
            require(isGenuine && m_isOpen && isTheAgents(*step.answer));
            m_isOpen = false;
        }
    }

    void act(std::uint8_t what)
    {
        switch (what & 15) {
        case 0:
            ask((what & 16) != 0, (what & 32) != 0);
            break;
        case 1:
            deliver(m_kept = reply(), true);
            break;
        case 2: // an answer to what was asked last, or to what was never asked
            deliver(m_kept = agent().response(ids(), m_now, kAnswer), true);
            break;
        case 3: {
            UsmIds wrong = ids();
            ((what & 16) != 0 ? wrong.message : wrong.request) += 1;
            deliver(agent().response(wrong, m_now, kAnswer), false);
            break;
        }
        case 4:
            deliver(agent().bareResponse(ids()), false);
            break;
        case 5:
            deliver(m_kept = agent().report(what >> 4, ids()), false);
            break;
        case 6:
            deliver(agent().protectedReport(what >> 4, ids(), m_now), false);
            break;
        case 7: { // somebody with other keys says that he is the agent
            FakeAgent& other = *m_world.impostor;
            const usm::UsmEngine own = other.engine;
            other.engine.boots = agent().engine.boots + (what >> 4);
            deliver(other.response(ids(), m_now, kAnswer), false);
            other.engine = own;
            break;
        }
        case 8: // what came before, once more: an answer to an open question only if that is still the same
            deliver(m_kept, true);
            break;
        case 9: {
            const std::string whole = reply();
            std::string changed = whole;
            for (int i = what >> 4; i >= 0 && !changed.empty(); --i) {
                const std::size_t at = (m_input.octet() * 256U + m_input.octet()) % changed.size();
                changed[at] = static_cast<char>(changed[at] ^ m_input.octet());
            }
            deliver(changed, changed == whole);
            break;
        }
        case 10: {
            std::string cut = reply();
            cut.resize(cut.size() * m_input.octet() / 256);
            deliver(cut, false);
            break;
        }
        case 11:
            deliver(m_input.octets(m_input.octet()), false);
            break;
        case 12: // the agent starts anew
            clock().boots += 1;
            clock().time = 0;
            clock().learnt = m_now;
            break;
        case 13: // its clock goes elsewhere
            clock().boots = m_input.octet();
            clock().time = m_input.octet() * 1000U;
            clock().learnt = m_now;
            break;
        case 14: // another agent is at its place
            m_current = (what >> 4) % m_engines.size();
            break;
        default:
            m_now += Milliseconds((what >> 4) * 60000);
            break;
        }
    }

    const World& m_world;
    Input& m_input;
    test::SeededRandom m_random{1};
    TimePoint m_now{Milliseconds(5000000)};
    UsmPeer m_peer;
    snmp::Pdu m_pdu;
    std::vector<usm::UsmEngine> m_engines;
    std::size_t m_current = 0;
    std::uint64_t m_ticket = 0;
    bool m_isOpen = false;
    unsigned m_sent = 0; // since it was asked last
    std::string m_last;  // that the peer sent
    std::string m_kept;  // that it was told
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const World world;
    Input input(data, std::min<std::size_t>(size, 1024));
    Conversation conversation(world, input);
    conversation.beOdd();
    conversation.recover();
    return 0;
}
