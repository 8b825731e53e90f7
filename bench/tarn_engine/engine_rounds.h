#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

#include "tarn/src/base/random.h"
#include "tarn/src/snmp/poll/snmp_poller.h"
#include "tarn/src/snmp/poll/udp_transport.h"
#include "tests/unit/tarn/support/fake_listeners.h"
#include "tests/unit/tarn/support/simulated_time.h"

namespace bench {

// Request ids as ever; jitter always the largest, so that all printers read their tables in the same minute
// and a round of small polls holds nothing else.
class LockstepRandom final : public tarn::Random
{
public:
    std::uint32_t next() override { return 0xFFF80000u | m_system.next(); }

private:
    tarn::SystemRandom m_system;
};

struct Round
{
    std::uint64_t answers = 0;
    double cpuUs = 0;   // of the polling thread
    double seconds = 0; // by the clock on the wall
};

// EngineRounds is the library's own poller with many printers, all of them due at the same moments.
class EngineRounds final
{
public:
    EngineRounds(std::unique_ptr<tarn::snmp::DatagramPort> port, std::uint32_t printers);

    // What happens when the poller has nothing to do: its descriptor is waited for, unless told otherwise.
    void onIdle(std::function<void()> idle) { m_idle = std::move(idle); }
    // What callgrind is to count from here on.
    enum class Counted
    {
        Nothing,
        Polls,
        Tables,
    };
    void count(Counted what) { m_counted = what; }

    // Reads every printer for the first time. Throws std::runtime_error when not all of them answer.
    Round meet();
    // Asks every printer once, with the small question. Throws when more than that was asked.
    Round poll();
    // Whether the tables are not due in such a round.
    bool canPoll() const;
    // Rounds of poll() until the tables are due, then the round that reads them, which alone is returned.
    Round readTables();

private:
    Round finishRound(Counted what);
    void markOpened();
    bool allMet() const;

    // Leaps from round to round, so that no printer need be waited for until it is due, and goes on within one only
    // while nothing arrives: however busy the machine is, a round is the same.
    tarn::test::SimulatedClock m_clock;
    LockstepRandom m_random;
    tarn::test::DeafListener m_listener;
    std::vector<std::shared_ptr<tarn::engine::Target>> m_targets;
    std::unique_ptr<tarn::snmp::UdpTransport> m_ownTransport; // the poller's, as soon as there is one
    tarn::snmp::UdpTransport& m_transport;
    tarn::snmp::SnmpPoller m_poller;
    std::function<void()> m_idle;
    Counted m_counted = Counted::Nothing;
    tarn::TimePoint m_tablesBegun{}; // the last time
};

} // namespace bench
