#include "tests/hostile/hostile_agent.h"

#include <arpa/inet.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <stdexcept>

#include "tests/hostile/flood.h"
#include "tools/printer-sim/agent.h"
#include "tools/printer-sim/load_printers.h"

namespace hostile {

using tarn::snmp::Message;

namespace {

constexpr int kPause = 50; // ms, the longest that a destructor waits
constexpr std::size_t kLargestRequest = 4096;

std::shared_ptr<const printersim::PrinterKind> kindOf(const std::string& scenario)
{
    printersim::FaultPlan ignored;
    return printersim::kindOf("scenario.json", scenario, ignored);
}

} // namespace

Message messageOf(const std::string& bytes)
{
    auto message =
        tarn::snmp::decodeMessage({reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()});
    if (!message) {
        throw std::runtime_error("no SNMP message");
    }
    return std::move(*message);
}

Message lieOf(const std::string& truth)
{
    Message lie = messageOf(truth);
    for (tarn::snmp::Varbind& varbind : lie.pdu.varbinds) {
        if (varbind.value.type == tarn::snmp::ValueType::OctetString) {
            varbind.value.bytes = "LIE";
        }
        varbind.value.number = 1;
    }
    return lie;
}

HostileAgent::HostileAgent(std::uint32_t address, std::uint16_t port, const std::string& scenario,
                           Script script)
    : m_socket(boundSocket(address, port)),
      m_otherPort(boundSocket(address, static_cast<std::uint16_t>(port + 1))),
      m_otherAddress(boundSocket(address + 1, port)), m_script(std::move(script)),
      m_printer(kindOf(scenario), 1, address), m_thread([this] { run(); })
{
}

HostileAgent::~HostileAgent()
{
    m_stopping = true;
    m_thread.join();
    close(m_socket);
    close(m_otherPort);
    close(m_otherAddress);
}

void HostileAgent::run()
{
    std::array<char, kLargestRequest> buffer{};
    while (!m_stopping) {
        pollfd readable{m_socket, POLLIN, 0};
        if (poll(&readable, 1, kPause) <= 0) {
            continue;
        }
        sockaddr_in asker{};
        socklen_t length = sizeof asker;
        const ssize_t count = recvfrom(m_socket, buffer.data(), buffer.size(), MSG_DONTWAIT,
                                       reinterpret_cast<sockaddr*>(&asker), &length);
        if (count > 0) {
            m_askerAddress = asker.sin_addr.s_addr;
            m_askerPort = asker.sin_port;
            take({buffer.data(), static_cast<std::size_t>(count)});
        }
    }
}

void HostileAgent::take(const std::string& request)
{
    ++m_requests;
    const auto truth = printersim::answer(
        {reinterpret_cast<const std::uint8_t*>(request.data()), request.size()}, m_printer, 0, {});
    if (truth) {
        m_script({*this, *truth});
    }
}

void HostileAgent::send(const std::string& bytes, From from) const
{
    sockaddr_in to{};
    to.sin_family = AF_INET;
    to.sin_addr.s_addr = m_askerAddress;
    to.sin_port = m_askerPort;
    const int socket = from == From::AnotherPort      ? m_otherPort
                       : from == From::AnotherAddress ? m_otherAddress
                                                      : m_socket;
    sendto(socket, bytes.data(), bytes.size(), 0, reinterpret_cast<const sockaddr*>(&to), sizeof to);
}

} // namespace hostile
