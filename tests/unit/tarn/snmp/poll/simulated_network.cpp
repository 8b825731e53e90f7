#include "tests/unit/tarn/snmp/poll/simulated_network.h"

#include <algorithm>

#include "tests/unit/tarn/snmp/poll/fake_session.h"
#include "tests/unit/tarn/support/nothing_pending.h"

namespace tarn::snmp::test {

namespace {

using engine::Endpoint;
using engine::PrinterAddress;
using engine::Snapshot;
using engine::Target;
using engine::unmetSnapshot;
using engine::VersionChoice;

} // namespace

std::size_t SimulatedPort::send(Lane lane, const Datagram* batch, std::size_t count)
{
    const std::size_t taken =
        std::min({count, m_network.room, lane == Lane::Suspect ? m_network.suspectRoom : SIZE_MAX});
    for (std::size_t i = 0; i < taken; ++i) {
        m_network.lanes.push_back(lane);
        m_network.arrive(batch[i]);
    }
    return taken;
}

const std::vector<Datagram>& SimulatedPort::receive()
{
    static const std::vector<Datagram> kNothing;
    const std::vector<Datagram>& arrived = m_network.m_deliveries.take(m_network.clock.now());
    return m_network.linkUp ? arrived : kNothing;
}

bool SimulatedPort::reopen()
{
    ++m_network.reopened;
    m_network.m_deliveries.lose(); // what is on its way to the old socket
    return true;
}

SimulatedNetwork::SimulatedNetwork(std::uint64_t seed, SessionFactory sessions)
    : random(seed), poller(clock, random, std::move(m_transport), *this,
                           sessions ? std::move(sessions) : fakeSessions(&accepted))
{
}

SimulatedNetwork::~SimulatedNetwork()
{
    tarn::test::expectNothingPending(poller, targets);
}

std::shared_ptr<Target> SimulatedNetwork::add(std::uint32_t number, VersionChoice version)
{
    m_agents[endpointOf(number)];
    static const auto community = std::make_shared<const std::string>("public");
    auto target = std::make_shared<Target>(PrinterAddress{endpointOf(number), version, community},
                                           unmetSnapshot(device::DeviceStatus()), clock.now());
    targets.push_back(target);
    poller.watch(target);
    return target;
}

void SimulatedNetwork::arrive(const Datagram& datagram)
{
    ++sends;
    sendTimes.push_back(clock.now());
    const std::optional<Message> message = decodeMessage(datagram.bytes);
    const auto found = m_agents.find(datagram.peer);
    if (!message || found == m_agents.end() || !linkUp) {
        return;
    }
    Agent& agent = found->second;
    const SeenRequest request{clock.now(), datagram.peer, *message};
    agent.requests.push_back(request);
    const bool understands = agent.speaksV2c || message->version == Version::V1;
    if (agent.answers && understands && !(agent.loses && agent.loses(request))) {
        std::string answer = answerTo(agent, request);
        if (!answer.empty()) {
            m_deliveries.add(clock.now() + agent.delay, {datagram.peer, std::move(answer)});
        }
    }
}

std::string SimulatedNetwork::answerTo(const Agent& agent, const SeenRequest& request) const
{
    Message answer = request.message;
    answer.community = agent.community;
    if (agent.device) {
        std::optional<Pdu> pdu = agent.device(request.message.pdu);
        if (!pdu) {
            return {};
        }
        answer.pdu = std::move(*pdu);
        answer.pdu.requestId = request.message.pdu.requestId;
        return encodeMessage(answer);
    }
    answer.pdu.type = PduType::Response;
    answer.pdu.errorStatus = 0;
    answer.pdu.errorIndex = 0;
    answer.pdu.varbinds.front().value.type = ValueType::OctetString;
    answer.pdu.varbinds.front().value.bytes = agent.says;
    if (agent.tellsUpTime) {
        Varbind upTime{{1, 3, 6, 1, 2, 1, 1, 3, 0}, {}};
        upTime.value.type = ValueType::TimeTicks;
        upTime.value.number = (clock.now() - agent.startedAt).count() / 10;
        answer.pdu.varbinds.insert(answer.pdu.varbinds.begin(), upTime);
    }
    return encodeMessage(answer);
}

void SimulatedNetwork::inject(Endpoint from, std::string body)
{
    m_deliveries.add(clock.now(), {from, std::move(body)});
    runPoller();
}

void SimulatedNetwork::inject(Endpoint from, const std::vector<std::string>& bodies)
{
    for (const std::string& body : bodies) {
        m_deliveries.add(clock.now(), {from, body});
    }
    runPoller();
}

void SimulatedNetwork::runPoller()
{
    runs(poller);
    mostInFlight = std::max(mostInFlight, poller.inFlight());
}

void SimulatedNetwork::pass(Milliseconds time)
{
    const TimePoint end = clock.now() + time;
    runPoller();
    for (;;) {
        TimePoint next = std::min({end, poller.nextDeadline(), m_deliveries.nextArrival()});
        if (opensTargets) {
            next = std::min(next, m_nextOpening);
        }
        clock.set(std::max(next, clock.now()));
        if (opensTargets && m_nextOpening <= clock.now()) {
            for (const auto& target : targets) {
                if (target->markOpened(clock.now())) {
                    poller.wake(*target);
                }
            }
            m_nextOpening = clock.now() + Milliseconds(1000);
        }
        if (clock.now() >= end) {
            return;
        }
        runPoller();
    }
}

bool SimulatedNetwork::announced(std::uint32_t number) const
{
    const auto last = std::find_if(publications.rbegin(), publications.rend(),
                                   [&](const Publication& one) { return one.who == endpointOf(number); });
    return last != publications.rend() && last->online;
}

std::size_t SimulatedNetwork::requestsSince(std::uint32_t number, TimePoint since)
{
    const auto& requests = agent(number).requests;
    return static_cast<std::size_t>(std::count_if(requests.begin(), requests.end(),
                                                  [&](const SeenRequest& seen) { return seen.at >= since; }));
}

void SimulatedNetwork::targetChanged(Target& target)
{
    const std::shared_ptr<const Snapshot> snapshot = target.snapshot();
    publications.push_back(
        {clock.now(), target.address().endpoint, snapshot->online, snapshot->status.unpacked().model});
}

std::size_t busiestMinute(const std::vector<SeenRequest>& requests)
{
    std::size_t most = 0;
    std::size_t from = 0;
    for (std::size_t to = 0; to < requests.size(); ++to) {
        while (requests[to].at - requests[from].at >= std::chrono::minutes(1)) {
            ++from;
        }
        most = std::max(most, to - from + 1);
    }
    return most;
}

Milliseconds longestGap(const std::vector<SeenRequest>& requests, TimePoint from, TimePoint to)
{
    Milliseconds longest{0};
    for (std::size_t i = 1; i < requests.size(); ++i) {
        if (requests[i].at > from && requests[i].at <= to) {
            longest = std::max(longest, requests[i].at - requests[i - 1].at);
        }
    }
    return longest;
}

} // namespace tarn::snmp::test
