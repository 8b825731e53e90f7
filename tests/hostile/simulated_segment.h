#pragma once

// The poller with its real reads and codec, and printer-sim's printers, on a network and a clock that
// exist only in memory: hours pass in no time, and every run is the same.

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "tarn/src/snmp/poll/snmp_poller.h"
#include "tarn/src/snmp/poll/udp_transport.h"
#include "tools/printer-sim/simulation.h"

namespace hostile {

using tarn::Milliseconds;
using tarn::TimePoint;

class SteppedClock final : public tarn::Clock
{
public:
    TimePoint now() const override { return m_now; }
    void set(TimePoint now) { m_now = now; }

private:
    TimePoint m_now = TimePoint(Milliseconds(5000000));
};

class SeededRandom final : public tarn::Random
{
public:
    explicit SeededRandom(std::uint64_t seed) : m_state(seed * 2 + 1) {}
    std::uint32_t next() override
    {
        m_state = m_state * 6364136223846793005u + 1442695040888963407u;
        return static_cast<std::uint32_t>(m_state >> 33 ^ m_state >> 20);
    }

private:
    std::uint64_t m_state;
};

// SimulatedSegment is one poller, its targets, and everything that a network would carry between them and
// printers.
//
// Invariants
//  (1) requests() counts every datagram that was sent to an address, whether somebody lives there or not.
// Threading: one thread.
class SimulatedSegment final : public tarn::engine::BackendListener
{
public:
    // Printers as text of scenario files, one at 127.44.1.1, the next at 127.44.1.2, and so on.
    explicit SimulatedSegment(const std::vector<std::string>& scenarios, std::uint64_t seed = 1);
    ~SimulatedSegment() override;

    // Watches printer number (from 1) or, beyond the last, an address where nobody lives.
    void watch(std::uint32_t number);
    void unwatchAll();
    // Lets so much time pass; every target is opened each second while isOpened says so.
    void pass(Milliseconds time);
    void open();

    printersim::Printer& printer(std::uint32_t number) { return m_simulation.printers()[number - 1]; }
    tarn::engine::Target& target(std::uint32_t number) { return *m_targets.at(number); }
    const std::vector<TimePoint>& requests(std::uint32_t number) { return m_requests[number]; }
    TimePoint now() const { return m_clock.now(); }
    double seconds() const;
    const tarn::snmp::SnmpPoller& poller() const { return *m_poller; }

    void targetChanged(tarn::engine::Target&) override {}
    void rosterChanged(tarn::engine::Discovery, std::vector<tarn::engine::DiscoveredPrinter>) override {}

    bool isOpened = true;

private:
    class Port;
    struct Delivery
    {
        tarn::engine::Endpoint from;
        std::string bytes;
    };

    void carry(const tarn::snmp::Datagram& datagram);
    void collect(std::vector<printersim::Outgoing>& answers);
    TimePoint nextEvent() const;

    SteppedClock m_clock;
    SeededRandom m_random;
    printersim::Simulation m_simulation;
    std::multimap<TimePoint, Delivery> m_deliveries;
    std::map<std::uint32_t, std::vector<TimePoint>> m_requests;
    std::map<std::uint32_t, std::shared_ptr<tarn::engine::Target>> m_targets;
    TimePoint m_begun;
    TimePoint m_nextOpening{};
    std::unique_ptr<tarn::snmp::SnmpPoller> m_poller; // last: it refers to the others
};

// The most requests that any window of one minute held, from the given time on.
std::size_t busiestMinute(const std::vector<TimePoint>& requests, TimePoint from);

} // namespace hostile
