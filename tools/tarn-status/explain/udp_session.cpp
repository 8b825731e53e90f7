#include "tools/tarn-status/explain/udp_session.h"

#include <arpa/inet.h>
#include <linux/errqueue.h>
#include <netinet/ip_icmp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "tarn/src/engine/endpoint.h"

namespace tarnstatus {

namespace {

constexpr std::chrono::milliseconds kAgain{1000};
constexpr std::size_t kLargestDatagram = 65535;

ProbeOutcome outcomeOf(int error)
{
    switch (error) {
    case ECONNREFUSED:
        return ProbeOutcome::PortClosed;
    case EHOSTUNREACH:
    case EHOSTDOWN:
        return ProbeOutcome::NoHost;
    case EPERM:
        return ProbeOutcome::Forbidden;
    case EACCES: // a broadcast address, which is asked for extra
        return ProbeOutcome::NotOneHost;
    case ENETUNREACH:
    case ENETDOWN:
    case EADDRNOTAVAIL:
    case EINVAL: // as from the loopback interface to elsewhere
        return ProbeOutcome::NoNetwork;
    default:
        return ProbeOutcome::NoSocket;
    }
}

// Whether that error is somebody's on the way, who says other than that nobody has the address.
bool isRefusal(msghdr& message, int error)
{
    for (cmsghdr* header = CMSG_FIRSTHDR(&message); header != nullptr;
         header = CMSG_NXTHDR(&message, header)) {
        if (header->cmsg_level != IPPROTO_IP || header->cmsg_type != IP_RECVERR) {
            continue;
        }
        sock_extended_err about{};
        std::memcpy(&about, CMSG_DATA(header), sizeof about);
        const bool isUnreachable = about.ee_type == ICMP_DEST_UNREACH;
        const bool isNoHost =
            isUnreachable && (about.ee_code == ICMP_HOST_UNREACH || about.ee_code == ICMP_HOST_UNKNOWN);
        const bool isClosed = isUnreachable && about.ee_code == ICMP_PORT_UNREACH;
        if (about.ee_origin == SO_EE_ORIGIN_ICMP && static_cast<int>(about.ee_errno) == error) {
            return !isNoHost && !isClosed;
        }
    }
    return false;
}

} // namespace

UdpSession::UdpSession(std::uint32_t address, std::uint16_t port)
    : m_socket(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0))
{
    if (m_socket < 0) {
        return;
    }
    if (!tarn::engine::isUnicast(address)) {
        m_state = ProbeOutcome::NotOneHost;
        return;
    }
    // That nobody has an address is told to those alone who want to know all.
    const int all = 1;
    ::setsockopt(m_socket, IPPROTO_IP, IP_RECVERR, &all, sizeof all);
    sockaddr_in peer{};
    peer.sin_family = AF_INET;
    peer.sin_addr.s_addr = htonl(address);
    peer.sin_port = htons(port);
    const int failed = ::connect(m_socket, reinterpret_cast<const sockaddr*>(&peer), sizeof peer);
    m_state = failed == 0 ? ProbeOutcome::Found : outcomeOf(errno);
}

UdpSession::~UdpSession()
{
    if (m_socket >= 0) {
        ::close(m_socket);
    }
}

std::string UdpSession::ownAddress() const
{
    sockaddr_in own{};
    socklen_t size = sizeof own;
    char text[INET_ADDRSTRLEN] = "";
    if (m_socket >= 0 && ::getsockname(m_socket, reinterpret_cast<sockaddr*>(&own), &size) == 0) {
        ::inet_ntop(AF_INET, &own.sin_addr, text, sizeof text);
    }
    return text;
}

ProbeOutcome UdpSession::exchange(const std::string& message,
                                  const std::function<bool(const std::string&)>& isAnswer,
                                  SteadyClock::time_point until)
{
    if (m_state != ProbeOutcome::Found) {
        return m_state;
    }
    ProbeOutcome outcome = ProbeOutcome::Silent;
    auto next = SteadyClock::now();
    std::string datagram;
    do {
        if (!message.empty() && SteadyClock::now() >= next) {
            next += kAgain;
            if (::send(m_socket, message.data(), message.size(), MSG_NOSIGNAL) < 0 && errno != EAGAIN &&
                errno != ENOBUFS) {
                return failure(errno);
            }
        }
        const ProbeOutcome got = receive(datagram, message.empty() ? until : std::min(until, next));
        if (got != ProbeOutcome::Found && got != ProbeOutcome::Silent) {
            return got;
        }
        if (got == ProbeOutcome::Found && isAnswer(datagram)) {
            return ProbeOutcome::Found;
        }
        outcome = got == ProbeOutcome::Found ? ProbeOutcome::Garbage : outcome;
    } while (SteadyClock::now() < until);
    return outcome;
}

ProbeOutcome UdpSession::receive(std::string& datagram, SteadyClock::time_point until) const
{
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(until - SteadyClock::now());
    pollfd watched{m_socket, POLLIN, 0};
    const int ready = ::poll(&watched, 1, static_cast<int>(std::max<std::int64_t>(left.count(), 0)));
    if (ready <= 0) {
        return ProbeOutcome::Silent;
    }
    datagram.resize(kLargestDatagram);
    const ssize_t size = ::recv(m_socket, datagram.data(), datagram.size(), 0);
    if (size < 0) {
        const int error = errno;
        const ProbeOutcome outcome = failure(error);
        return error == EAGAIN || error == EINTR ? ProbeOutcome::Silent : outcome;
    }
    datagram.resize(static_cast<std::size_t>(size));
    return ProbeOutcome::Found;
}

// What is left of errors would end every wait at once.
ProbeOutcome UdpSession::failure(int error) const
{
    ProbeOutcome outcome = outcomeOf(error);
    alignas(cmsghdr) char control[512];
    char octet = 0; // without room for any, qemu's user mode says 0 for ever and asks nobody
    iovec room{&octet, sizeof octet};
    msghdr message{};
    message.msg_iov = &room;
    message.msg_iovlen = 1;
    for (;;) {
        message.msg_control = control;
        message.msg_controllen = sizeof control;
        if (::recvmsg(m_socket, &message, MSG_ERRQUEUE | MSG_DONTWAIT) < 0) {
            return outcome;
        }
        if (isRefusal(message, error)) {
            outcome = ProbeOutcome::Refused;
        }
    }
}

} // namespace tarnstatus
