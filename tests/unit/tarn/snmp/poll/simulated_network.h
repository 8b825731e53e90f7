#pragma once

// A network, agents and a clock that exist only in memory: hours pass in no time, and every run is the same.

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "tarn/src/snmp/poll/snmp_poller.h"
#include "tarn/src/snmp/poll/udp_transport.h"
#include "tests/unit/tarn/support/fake_ports.h"
#include "tests/unit/tarn/support/simulated_time.h"

namespace tarn::snmp::test {

using tarn::test::SeededRandom;
using tarn::test::SimulatedClock;

// One request as it arrived at an agent.
struct SeenRequest
{
    TimePoint at;
    engine::Endpoint to;
    Message message;
};

// How one printer behaves. Its answer is one text, which FakeSession reads: see there.
struct Agent
{
    bool answers = true;
    bool speaksV2c = true;
    Milliseconds delay{5};
    std::string community = "public";
    std::string says = "idle";
    bool tellsUpTime = false; // as its first variable; what it says is then the second
    TimePoint startedAt{};
    std::function<bool(const SeenRequest&)> loses; // true: this request gets lost
    // Answers in its place where it is set; nothing: it drops the request.
    std::function<std::optional<Pdu>(const Pdu&)> device;
    std::vector<SeenRequest> requests;
};

// What the engine was told of the targets, in its order.
struct Publication
{
    TimePoint at;
    engine::Endpoint who;
    bool online;
    std::string model;
};

class SimulatedNetwork;

// The engine's end of the network.
class SimulatedPort final : public DatagramPort
{
public:
    explicit SimulatedPort(SimulatedNetwork& network) : m_network(network) {}
    std::size_t send(Lane lane, const Datagram* batch, std::size_t count) override;
    const std::vector<Datagram>& receive() override;
    bool reopen() override;
    int descriptor() const override { return -1; }

private:
    SimulatedNetwork& m_network;
};

// SimulatedNetwork is the world around one SnmpPoller. It fails the test where the poller still waits for something
// when its last printer has been taken off, as all are in the end.
class SimulatedNetwork final : public engine::BackendListener
{
public:
    // sessions: other than FakeSession's.
    explicit SimulatedNetwork(std::uint64_t seed = 1, SessionFactory sessions = {});
    ~SimulatedNetwork() override;

    // A printer at 10.0.0.0 + number, watched from now on.
    std::shared_ptr<engine::Target> add(std::uint32_t number,
                                        engine::VersionChoice version = engine::VersionChoice::Auto);
    Agent& agent(std::uint32_t number) { return m_agents[endpointOf(number)]; }
    static engine::Endpoint endpointOf(std::uint32_t number) { return {(10u << 24) + number, 161}; }

    // Lets so much time pass. Targets are opened every second, as the program does, unless told otherwise.
    void pass(Milliseconds time);
    // The machine sleeps: time passes and nobody notices.
    void suspend(Milliseconds time) { clock.set(clock.now() + time); }
    // A datagram that arrives at the engine now.
    void inject(engine::Endpoint from, std::string body);
    // The same for several at once.
    void inject(engine::Endpoint from, const std::vector<std::string>& bodies);
    // The answer of an agent to a request, as it would be sent; empty: none.
    std::string answerTo(const Agent& agent, const SeenRequest& request) const;

    // Whether the listener was told last that the printer can be reached.
    bool announced(std::uint32_t number) const;
    std::size_t requestsSince(std::uint32_t number, TimePoint since);
    std::uint64_t count(Verdict verdict) const
    {
        return transport.verdicts()[static_cast<std::size_t>(verdict)];
    }

    void targetChanged(engine::Target& target) override;
    void rosterChanged(engine::Discovery, std::vector<engine::DiscoveredPrinter>) override {}

    SimulatedClock clock;
    SeededRandom random;
    std::function<void(SnmpPoller&)> runs = [](SnmpPoller& running) { running.run(); };
    bool opensTargets = true;
    bool linkUp = true;
    std::size_t room = SIZE_MAX;        // datagrams that the port takes at once
    std::size_t suspectRoom = SIZE_MAX; // the same in the lane of the suspects
    std::size_t reopened = 0;
    std::size_t mostInFlight = 0;
    std::size_t sends = 0;
    std::size_t accepted = 0; // answers that reached a session
    std::vector<TimePoint> sendTimes;
    std::vector<Lane> lanes; // of each that was sent
    std::vector<Publication> publications;
    std::vector<std::shared_ptr<engine::Target>> targets;

private:
    std::unique_ptr<UdpTransport> m_transport = // the poller's, as soon as there is one
        std::make_unique<UdpTransport>(random, std::make_unique<SimulatedPort>(*this));

public:
    UdpTransport& transport = *m_transport;
    SnmpPoller poller;

private:
    friend class SimulatedPort;
    void arrive(const Datagram& datagram);
    void runPoller();

    std::unordered_map<engine::Endpoint, Agent, engine::EndpointHash> m_agents;
    tarn::test::Deliveries m_deliveries;
    TimePoint m_nextOpening{};
};

// The most requests that any window of one minute held.
std::size_t busiestMinute(const std::vector<SeenRequest>& requests);
// Between two requests of which the later is after from and not after to.
Milliseconds longestGap(const std::vector<SeenRequest>& requests, TimePoint from, TimePoint to);

} // namespace tarn::snmp::test
