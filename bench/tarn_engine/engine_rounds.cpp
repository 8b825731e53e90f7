#include "bench/tarn_engine/engine_rounds.h"

#include <poll.h>

#include <algorithm>
#include <ctime>
#include <stdexcept>

#include "bench/tarn_engine/instruction_hooks.h"
#include "bench/tarn_engine/pollers.h"
#include "bench/tarn_engine/responder.h"
#include "tarn/src/device/device_status.h"

namespace bench {

namespace {

using namespace tarn;

constexpr Milliseconds kUntilDue{3900};     // the longest interval of a printer that answers
constexpr Milliseconds kUntilTables{60000}; // between two reads of the tables
// From a moment up to five seconds before the tables are due to one after it; longer would count as a machine
// that slept.
constexpr Milliseconds kUntilAllTables{6000};
constexpr Milliseconds kSoon{100}; // nothing is due between two rounds

} // namespace

EngineRounds::EngineRounds(std::unique_ptr<snmp::DatagramPort> port, std::uint32_t printers)
    : m_ownTransport(std::make_unique<snmp::UdpTransport>(m_random, std::move(port))),
      m_transport(*m_ownTransport),
      m_poller(m_clock, m_random, std::move(m_ownTransport), m_listener, snmp::printerSessions())
{
    const auto community = std::make_shared<const std::string>("public");
    for (std::uint32_t i = 0; i < printers; ++i) {
        engine::PrinterAddress address{{addressOf(i), kResponderPort}, engine::VersionChoice::V2c, community};
        m_targets.push_back(std::make_shared<engine::Target>(
            std::move(address), engine::unmetSnapshot(device::DeviceStatus()), m_clock.now()));
        m_poller.watch(m_targets.back());
    }
    m_idle = [this] {
        pollfd descriptor{m_poller.descriptor(), POLLIN, 0};
        if (::poll(&descriptor, 1, 1) == 0) {
            m_clock.pass(Milliseconds(1));
        }
    };
}

bool EngineRounds::allMet() const
{
    return std::all_of(m_targets.begin(), m_targets.end(),
                       [](const auto& target) { return target->snapshot()->online; });
}

void EngineRounds::markOpened()
{
    for (const auto& target : m_targets) {
        target->markOpened(m_clock.now());
    }
}

// Until nothing is due and nothing is on its way.
Round EngineRounds::finishRound(Counted what)
{
    const auto accepted = [this] {
        return m_transport.verdicts()[static_cast<std::size_t>(snmp::Verdict::Accepted)];
    };
    const std::uint64_t before = accepted();
    const auto begun = std::chrono::steady_clock::now();
    const double cpu = threadCpuUs();
    for (;;) {
        if (m_counted == what && what != Counted::Nothing) {
            countedInstructions([](void* poller) { static_cast<snmp::SnmpPoller*>(poller)->run(); },
                                &m_poller);
        } else {
            m_poller.run();
        }
        if (m_poller.inFlight() == 0 && m_poller.nextDeadline() > m_clock.now() + kSoon) {
            break;
        }
        m_idle();
    }
    Round round;
    round.cpuUs = threadCpuUs() - cpu;
    round.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - begun).count();
    round.answers = accepted() - before;
    return round;
}

Round EngineRounds::meet()
{
    m_clock.pass(snmp::SnmpPoller::kLongestSpread);
    m_tablesBegun = m_clock.now();
    const Round round = finishRound(Counted::Nothing);
    if (!allMet()) {
        throw std::runtime_error("not all printers answered");
    }
    return round;
}

Round EngineRounds::poll()
{
    m_clock.pass(kUntilDue);
    markOpened();
    const Round round = finishRound(Counted::Polls);
    if (round.answers != m_targets.size()) {
        throw std::runtime_error("a round of " + std::to_string(round.answers) + " answers");
    }
    return round;
}

bool EngineRounds::canPoll() const
{
    return m_clock.now() + kUntilDue + Milliseconds(1000) < m_tablesBegun + kUntilTables;
}

Round EngineRounds::readTables()
{
    while (canPoll()) {
        poll();
    }
    m_clock.pass(kUntilAllTables);
    m_tablesBegun = m_clock.now();
    markOpened();
    const Round round = finishRound(Counted::Tables);
    if (round.answers < 2 * m_targets.size()) {
        throw std::runtime_error("tables in " + std::to_string(round.answers) + " answers");
    }
    return round;
}

double threadCpuUs()
{
    timespec time{};
    ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) * 1e6 + static_cast<double>(time.tv_nsec) / 1e3;
}

} // namespace bench
