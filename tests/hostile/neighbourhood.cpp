#include "tests/hostile/neighbourhood.h"

namespace hostile {

namespace {

constexpr std::size_t kPeers = Neighbourhood::kGood + 4;

std::vector<NamedPrinter> printersOf(const std::string& network)
{
    std::vector<NamedPrinter> printers;
    for (std::size_t i = 1; i <= kPeers; ++i) {
        const std::string last = std::to_string(i);
        printers.push_back({"p" + last, network + "." + last});
    }
    return printers;
}

} // namespace

Neighbourhood::Neighbourhood(const std::string& program, const std::string& scenario,
                             const std::string& network, std::uint16_t port)
    : m_all(printersOf(network)), m_sim(program, {"--port", std::to_string(port),
                                                  scenario + "@" + network + ".1*" + std::to_string(kPeers)})
{
    m_sim.ask("off " + dead().ip);
    m_sim.ask("faults " + slow().ip + " delay=3000..4000");
    m_sim.ask("faults " + lying().ip +
              " garbage=20,truncate=20,wrong-id=20,wrong-port=10,wrong-address=10,duplicate=50");
}

void Neighbourhood::flap(bool on)
{
    m_sim.ask((on ? "on " : "off ") + flapping().ip);
}

} // namespace hostile
