#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <string>
#include <thread>

#include "tarn/src/snmp/wire/codec.h"
#include "tools/printer-sim/printer.h"

namespace hostile {

// HostileAgent lives at an address of its own, knows the true answer to every request, and has a script that
// says what it sends instead, or besides.
//
// Threading: the script runs on the agent's thread. Ownership: owns its sockets.
class HostileAgent final
{
public:
    enum class From
    {
        Itself,
        AnotherPort,
        AnotherAddress,
    };
    // One request, its true answer, and the means to answer it.
    struct Occasion
    {
        HostileAgent& agent;
        const std::string& truth;
        void send(const std::string& bytes, From from = From::Itself) const { agent.send(bytes, from); }
    };
    using Script = std::function<void(const Occasion&)>;

    // address and the one behind it must be free; so must port and the one behind it.
    HostileAgent(std::uint32_t address, std::uint16_t port, const std::string& scenario, Script script);
    ~HostileAgent();
    HostileAgent(const HostileAgent&) = delete;
    HostileAgent& operator=(const HostileAgent&) = delete;

    unsigned requests() const { return m_requests.load(); }

private:
    void run();
    void take(const std::string& request);
    void send(const std::string& bytes, From from) const;

    const int m_socket;
    const int m_otherPort;
    const int m_otherAddress;
    const Script m_script;
    printersim::Printer m_printer;    // the agent's thread
    std::uint32_t m_askerAddress = 0; // the agent's thread; network byte order
    std::uint16_t m_askerPort = 0;    // the agent's thread; network byte order
    std::atomic<unsigned> m_requests{0};
    std::atomic<bool> m_stopping{false};
    std::thread m_thread; // last
};

// The same answer with every text "LIE" and every number 1.
tarn::snmp::Message lieOf(const std::string& truth);
tarn::snmp::Message messageOf(const std::string& bytes);

} // namespace hostile
