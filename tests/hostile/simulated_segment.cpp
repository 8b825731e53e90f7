#include "tests/hostile/simulated_segment.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "tools/printer-sim/load_printers.h"

namespace hostile {

using tarn::engine::Endpoint;
using tarn::snmp::Datagram;

namespace {

constexpr std::uint32_t kFirst = 0x7F2C0100; // 127.44.1.0
constexpr std::uint16_t kPort = 16400;
constexpr Milliseconds kWay{1}; // of a datagram, either direction

std::vector<printersim::Printer> printersOf(const std::vector<std::string>& scenarios)
{
    std::vector<printersim::Printer> printers;
    for (const std::string& text : scenarios) {
        const auto number = static_cast<std::uint32_t>(printers.size() + 1);
        printersim::FaultPlan faults;
        printers.emplace_back(printersim::kindOf("scenario.json", text, faults), number, kFirst + number);
        printers.back().faults = faults;
    }
    return printers;
}

Endpoint sourceOf(const printersim::Outgoing& answer)
{
    switch (answer.origin) {
    case printersim::Origin::WrongPort:
        return {answer.local, kPort + 1};
    case printersim::Origin::WrongAddress:
        return {answer.local ^ 0x00010000u, kPort};
    case printersim::Origin::Printer:
        break;
    }
    return {answer.local, kPort};
}

} // namespace

// The poller's end of the network.
class SimulatedSegment::Port final : public tarn::snmp::DatagramPort
{
public:
    explicit Port(SimulatedSegment& segment) : m_segment(segment) {}

    std::size_t send(tarn::snmp::Lane, const Datagram* batch, std::size_t count) override
    {
        std::for_each(batch, batch + count, [this](const Datagram& datagram) { m_segment.carry(datagram); });
        return count;
    }

    const std::vector<Datagram>& receive() override { return m_segment.m_deliveries.take(m_segment.now()); }
    bool reopen() override { return true; }
    int descriptor() const override { return -1; }

private:
    SimulatedSegment& m_segment;
};

SimulatedSegment::SimulatedSegment(const std::vector<std::string>& scenarios, std::uint64_t seed)
    : m_random(seed), m_simulation(printersOf(scenarios), {}, static_cast<std::uint32_t>(seed)),
      m_begun(m_clock.now()),
      m_poller(std::make_unique<tarn::snmp::SnmpPoller>(
          m_clock, m_random,
          std::make_unique<tarn::snmp::UdpTransport>(m_random, std::make_unique<Port>(*this)), *this,
          tarn::snmp::printerSessions()))
{
}

SimulatedSegment::~SimulatedSegment()
{
    unwatchAll();
    EXPECT_EQ(m_poller->inFlight(), 0u) << "at the end";
    EXPECT_EQ(m_poller->nextDeadline(), tarn::kNever) << "at the end";
}

double SimulatedSegment::seconds() const
{
    return static_cast<double>((now() - m_begun).count()) / 1000;
}

void SimulatedSegment::watch(std::uint32_t number)
{
    static const auto community = std::make_shared<const std::string>("public");
    auto target = std::make_shared<tarn::engine::Target>(
        tarn::engine::PrinterAddress{{kFirst + number, kPort}, tarn::engine::VersionChoice::Auto, community},
        tarn::engine::unmetSnapshot(tarn::device::DeviceStatus()), now());
    m_targets[number] = target;
    m_poller->watch(std::move(target));
}

void SimulatedSegment::unwatchAll()
{
    for (const auto& [number, target] : m_targets) {
        m_poller->unwatch(*target);
    }
}

void SimulatedSegment::carry(const Datagram& datagram)
{
    m_requests[datagram.peer.address - kFirst].push_back(now());
    std::vector<printersim::Outgoing> answers;
    m_simulation.take({datagram.bytes, datagram.peer.address, {}}, seconds(), answers);
    collect(answers);
}

void SimulatedSegment::collect(std::vector<printersim::Outgoing>& answers)
{
    for (printersim::Outgoing& answer : answers) {
        m_deliveries.add(now() + 2 * kWay, {sourceOf(answer), std::move(answer.bytes)});
    }
    answers.clear();
}

TimePoint SimulatedSegment::nextEvent() const
{
    TimePoint next = std::min(m_poller->nextDeadline(), m_deliveries.nextArrival());
    if (const auto due = m_simulation.nextDue()) {
        next = std::min(next, m_begun + Milliseconds(static_cast<std::int64_t>(*due * 1000) + 1));
    }
    return isOpened ? std::min(next, m_nextOpening) : next;
}

void SimulatedSegment::open()
{
    for (const auto& [number, target] : m_targets) {
        if (target->markOpened(now())) {
            m_poller->wake(*target);
        }
    }
    m_nextOpening = now() + Milliseconds(1000);
}

void SimulatedSegment::pass(Milliseconds time)
{
    const TimePoint end = now() + time;
    std::vector<printersim::Outgoing> answers;
    while (now() < end) {
        m_clock.set(std::max(now(), std::min(end, nextEvent())));
        if (isOpened && m_nextOpening <= now()) {
            open();
        }
        m_simulation.due(seconds(), answers);
        collect(answers);
        m_poller->run();
    }
}

std::size_t busiestMinute(const std::vector<TimePoint>& requests, TimePoint from)
{
    std::size_t most = 0;
    auto first = std::lower_bound(requests.begin(), requests.end(), from);
    for (auto last = first; last != requests.end(); ++last) {
        while (*last - *first >= std::chrono::minutes(1)) {
            ++first;
        }
        most = std::max(most, static_cast<std::size_t>(last - first) + 1);
    }
    return most;
}

} // namespace hostile
