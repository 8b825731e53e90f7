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
#include "tests/unit/tarn/support/fake_listeners.h"
#include "tests/unit/tarn/support/fake_ports.h"
#include "tests/unit/tarn/support/simulated_time.h"
#include "tools/printer-sim/simulation.h"

namespace hostile {

using tarn::Milliseconds;
using tarn::TimePoint;

// SimulatedSegment is one poller, its targets, and everything that a network would carry between them and
// printers.
//
// Invariants
//  (1) requests() counts every datagram that was sent to an address, whether somebody lives there or not.
// Threading: one thread.
class SimulatedSegment final : public tarn::test::DeafListener
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

    bool isOpened = true;

private:
    class Port;
    void carry(const tarn::snmp::Datagram& datagram);
    void collect(std::vector<printersim::Outgoing>& answers);
    TimePoint nextEvent() const;

    tarn::test::SimulatedClock m_clock;
    tarn::test::SeededRandom m_random;
    printersim::Simulation m_simulation;
    tarn::test::Deliveries m_deliveries;
    std::map<std::uint32_t, std::vector<TimePoint>> m_requests;
    std::map<std::uint32_t, std::shared_ptr<tarn::engine::Target>> m_targets;
    TimePoint m_begun;
    TimePoint m_nextOpening{};
    std::unique_ptr<tarn::snmp::SnmpPoller> m_poller; // last: it refers to the others
};

// The most requests that any window of one minute held, from the given time on.
std::size_t busiestMinute(const std::vector<TimePoint>& requests, TimePoint from);

} // namespace hostile
