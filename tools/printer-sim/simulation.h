#pragma once

#include <map>
#include <random>
#include <string>
#include <unordered_map>
#include <vector>

#include "tools/printer-sim/agent.h"
#include "tools/printer-sim/udp_sockets.h"

namespace printersim {

// Simulation is all printers, and what happens to their answers on the way. It knows no socket and no clock.
//
// Invariants
//  (1) The same seed, datagrams and times give the same answers.
// Threading: one thread.
class Simulation final
{
public:
    struct Counters
    {
        std::uint64_t requests = 0;
        std::uint64_t answers = 0;
    };

    Simulation(std::vector<Printer> printers, AgentSettings settings, std::uint32_t seed);

    std::vector<Printer>& printers() { return m_printers; }
    Printer* find(std::uint32_t address);
    const Counters& counters(std::uint32_t address) const;

    // Takes a datagram; what is to be sent at once goes to out, what is delayed comes from due() later.
    void take(const Datagram& datagram, double seconds, std::vector<Outgoing>& out);
    void due(double seconds, std::vector<Outgoing>& out);
    // When due() has something to say again; nothing while no answer is delayed.
    std::optional<double> nextDue() const;

private:
    bool chance(std::uint32_t percent);
    void disturb(const FaultPlan& faults, Outgoing& answer);

    AgentSettings m_settings;
    std::vector<Printer> m_printers;
    std::unordered_map<std::uint32_t, std::size_t> m_byAddress;
    std::vector<Counters> m_counters; // as m_printers
    std::multimap<double, Outgoing> m_delayed;
    std::mt19937 m_random;
};

} // namespace printersim
