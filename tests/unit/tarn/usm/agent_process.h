#pragma once

#include <sys/types.h>

#include <atomic>
#include <cstdint>
#include <string>

namespace tarn::usm {

// An agent of SNMPv3 at a port of the loopback interface, in a process of its own: Net-SNMP, of which its
// messages are made, has one user at a time in a process, and here that is the thread under test. To be begun
// while no other thread runs.
class AgentProcess final
{
public:
    enum class Manner
    {
        Sound,
        SaysWrongPassword, // whatever it is asked
    };

    AgentProcess(std::uint32_t address, const std::string& password, Manner manner = Manner::Sound);
    ~AgentProcess();
    AgentProcess(const AgentProcess&) = delete;
    AgentProcess& operator=(const AgentProcess&) = delete;

    std::uint16_t port() const { return m_port; }
    unsigned probes() const { return m_seen->probes; }     // that asked for its engine
    unsigned requests() const { return m_seen->requests; } // others
    unsigned asker() const { return m_seen->asker; }       // the port that the last one came from

private:
    struct Seen
    {
        std::atomic<unsigned> probes{0};
        std::atomic<unsigned> requests{0};
        std::atomic<unsigned> asker{0};
    };

    [[noreturn]] static void serve(int fd, const std::string& password, Manner manner, Seen& seen);

    std::uint16_t m_port = 0;
    pid_t m_pid = -1;
    Seen* m_seen = nullptr; // shared with the process
};

} // namespace tarn::usm
