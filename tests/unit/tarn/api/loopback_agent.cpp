#include "tests/unit/tarn/api/loopback_agent.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <stdexcept>

#include "tarn/src/snmp/wire/codec.h"

namespace tarn::test {

LoopbackAgent::LoopbackAgent(const std::string& ip, std::string says) : m_says(std::move(says))
{
    m_fd = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    inet_pton(AF_INET, ip.c_str(), &address.sin_addr);
    socklen_t length = sizeof address;
    auto* const generic = reinterpret_cast<sockaddr*>(&address);
    if (m_fd < 0 || ::bind(m_fd, generic, length) != 0 || ::getsockname(m_fd, generic, &length) != 0) {
        throw std::runtime_error("no socket for the agent");
    }
    m_port = ntohs(address.sin_port);
    m_thread = std::thread([this] { serve(); });
}

LoopbackAgent::~LoopbackAgent()
{
    m_stopping = true;
    m_thread.join();
    ::close(m_fd);
}

void LoopbackAgent::say(std::string text)
{
    const MutexLock lock(m_mutex);
    m_says = std::move(text);
}

std::string LoopbackAgent::text()
{
    const MutexLock lock(m_mutex);
    return m_says;
}

void LoopbackAgent::serve()
{
    while (!m_stopping) {
        pollfd waiting{m_fd, POLLIN, 0};
        if (::poll(&waiting, 1, 20) > 0) {
            answer();
        }
    }
}

void LoopbackAgent::answer()
{
    std::uint8_t buffer[2048];
    sockaddr_in from{};
    socklen_t length = sizeof from;
    const ssize_t got =
        ::recvfrom(m_fd, buffer, sizeof buffer, 0, reinterpret_cast<sockaddr*>(&from), &length);
    if (got <= 0) {
        return;
    }
    std::optional<snmp::Message> message = snmp::decodeMessage({buffer, static_cast<std::size_t>(got)});
    if (!message) {
        return;
    }
    ++m_requests;
    message->pdu.type = snmp::PduType::Response;
    message->pdu.errorStatus = 0;
    message->pdu.errorIndex = 0;
    message->pdu.varbinds.front().value.type = snmp::ValueType::OctetString;
    message->pdu.varbinds.front().value.bytes = text();
    const std::string bytes = snmp::encodeMessage(*message);
    ::sendto(m_fd, bytes.data(), bytes.size(), 0, reinterpret_cast<const sockaddr*>(&from), length);
}

} // namespace tarn::test
