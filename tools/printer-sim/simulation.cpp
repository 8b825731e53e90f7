#include "tools/printer-sim/simulation.h"

#include <algorithm>

namespace printersim {

namespace {

constexpr std::size_t kMostGarbage = 200;

} // namespace

Simulation::Simulation(std::vector<Printer> printers, AgentSettings settings, std::uint32_t seed)
    : m_settings(std::move(settings)), m_printers(std::move(printers)), m_counters(m_printers.size()),
      m_random(seed)
{
    for (std::size_t i = 0; i < m_printers.size(); ++i) {
        m_byAddress.emplace(m_printers[i].address(), i);
    }
}

Printer* Simulation::find(std::uint32_t address)
{
    const auto at = m_byAddress.find(address);
    return at != m_byAddress.end() ? &m_printers[at->second] : nullptr;
}

const Simulation::Counters& Simulation::counters(std::uint32_t address) const
{
    return m_counters[m_byAddress.at(address)];
}

bool Simulation::chance(std::uint32_t percent)
{
    return percent > 0 && std::uniform_int_distribution<std::uint32_t>(0, 99)(m_random) < percent;
}

// At most one thing is wrong with an answer, so that a test knows what it asked for.
void Simulation::disturb(const FaultPlan& faults, Outgoing& answer)
{
    if (chance(faults.garbage)) {
        answer.bytes.resize(std::uniform_int_distribution<std::size_t>(0, kMostGarbage)(m_random));
        std::generate(answer.bytes.begin(), answer.bytes.end(),
                      [this] { return static_cast<char>(m_random() & 0xFF); });
    } else if (chance(faults.truncate)) {
        answer.bytes.resize(std::uniform_int_distribution<std::size_t>(0, answer.bytes.size() - 1)(m_random));
    } else if (chance(faults.wrongId)) {
        const auto* data = reinterpret_cast<const std::uint8_t*>(answer.bytes.data());
        auto message = tarn::snmp::decodeMessage({data, answer.bytes.size()});
        if (message) {
            message->pdu.requestId ^= 1;
            answer.bytes = tarn::snmp::encodeMessage(*message);
        }
    } else if (chance(faults.wrongPort)) {
        answer.origin = Origin::WrongPort;
    } else if (chance(faults.wrongAddress)) {
        answer.origin = Origin::WrongAddress;
    }
}

void Simulation::take(const Datagram& datagram, double seconds, std::vector<Outgoing>& out)
{
    const auto at = m_byAddress.find(datagram.local);
    if (at == m_byAddress.end()) {
        return;
    }
    Printer& printer = m_printers[at->second];
    Counters& counters = m_counters[at->second];
    ++counters.requests;
    const FaultPlan& faults = printer.faults;
    if (!printer.isOnline(seconds) || chance(faults.loss)) {
        return;
    }
    auto bytes = answer(datagram.bytes, printer, seconds, m_settings);
    if (!bytes) {
        return;
    }
    ++counters.answers;
    Outgoing outgoing{std::move(*bytes), datagram.local, datagram.peer, Origin::Printer};
    if (!faults.any()) {
        return out.push_back(std::move(outgoing));
    }
    disturb(faults, outgoing);
    const int copies = chance(faults.duplicate) ? 2 : 1;
    for (int copy = 0; copy < copies; ++copy) {
        if (faults.delayMostMs == 0) {
            out.push_back(outgoing);
            continue;
        }
        std::uniform_int_distribution<std::uint32_t> delay(faults.delayLeastMs, faults.delayMostMs);
        m_delayed.emplace(seconds + delay(m_random) / 1000.0, outgoing);
    }
}

void Simulation::due(double seconds, std::vector<Outgoing>& out)
{
    while (!m_delayed.empty() && m_delayed.begin()->first <= seconds) {
        out.push_back(std::move(m_delayed.begin()->second));
        m_delayed.erase(m_delayed.begin());
    }
}

std::optional<double> Simulation::nextDue() const
{
    return m_delayed.empty() ? std::nullopt : std::optional<double>(m_delayed.begin()->first);
}

} // namespace printersim
