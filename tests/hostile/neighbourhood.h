#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "tests/hostile/library_session.h"
#include "tests/hostile/sim_process.h"

namespace hostile {

// Ten good printers of printer-sim, and beside them a dead, a slow, a flapping and a lying one.
class Neighbourhood final
{
public:
    static constexpr std::size_t kGood = 10;
    static constexpr std::int64_t kMostAgeMs = 6000; // of a good printer, at any moment

    // program: printer-sim; scenario: of all printers; network: "127.44.2", the addresses of the printers are
    // its .1 to .14, nobody lives at .15 and above.
    Neighbourhood(const std::string& program, const std::string& scenario, const std::string& network,
                  std::uint16_t port);

    // All, the good ones first, and only the good ones.
    const std::vector<NamedPrinter>& all() const { return m_all; }
    std::vector<NamedPrinter> good() const { return {m_all.begin(), m_all.begin() + kGood}; }
    const NamedPrinter& dead() const { return m_all[kGood]; }
    const NamedPrinter& slow() const { return m_all[kGood + 1]; }
    const NamedPrinter& flapping() const { return m_all[kGood + 2]; }
    const NamedPrinter& lying() const { return m_all[kGood + 3]; }

    void flap(bool on);
    SimProcess& sim() { return m_sim; }

private:
    std::vector<NamedPrinter> m_all;
    SimProcess m_sim;
};

} // namespace hostile
