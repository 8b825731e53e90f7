#include "tarn/src/snmp/poll/udp_port.h"

#include <arpa/inet.h>
#include <sys/epoll.h>

#include <algorithm>
#include <cerrno>

namespace tarn::snmp {

using engine::Endpoint;

namespace {

// Room for every answer that can be on its way at once, and for what waits to be sent; the system may grant
// less.
constexpr int kBuffer = 1 << 20;

Descriptor newSocket()
{
    Descriptor socket(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (socket.isOpen()) {
        ::setsockopt(socket.get(), SOL_SOCKET, SO_RCVBUF, &kBuffer, sizeof kBuffer);
        ::setsockopt(socket.get(), SOL_SOCKET, SO_SNDBUF, &kBuffer, sizeof kBuffer);
    }
    return socket;
}

bool wouldBlock(int error)
{
    return error == EAGAIN || error == EWOULDBLOCK || error == ENOBUFS;
}

} // namespace

UdpPort::UdpPort()
    : m_buffers(new unsigned char[kBatch * kLargestDatagram]), m_receiveHeaders(kBatch),
      m_receiveVectors(kBatch), m_receiveAddresses(kBatch), m_sendHeaders(kBatch), m_sendVectors(kBatch),
      m_sendAddresses(kBatch)
{
    m_received.reserve(kBatch);
    m_sockets.reserve(kMostSockets);
    for (std::size_t i = 0; i < kBatch; ++i) {
        m_receiveVectors[i] = {m_buffers.get() + i * kLargestDatagram, kLargestDatagram};
    }
    reopen();
}

void UdpPort::close()
{
    m_sockets.clear();
    m_epoll.close();
    m_reading = 0;
}

bool UdpPort::reopen()
{
    // Before the old ones go: where there is no descriptor left, they serve on.
    Descriptor socket = newSocket();
    if (!socket.isOpen()) {
        return false;
    }
    close();
    m_sockets.push_back(std::move(socket));
    return true;
}

// One more socket beside those that are there.
bool UdpPort::openSocket()
{
    if (m_sockets.empty() || m_sockets.size() == kMostSockets) {
        return m_sockets.empty() && reopen();
    }
    epoll_event event{EPOLLIN, {}};
    if (!m_epoll.isOpen()) {
        m_epoll = Descriptor(::epoll_create1(EPOLL_CLOEXEC));
        if (::epoll_ctl(m_epoll.get(), EPOLL_CTL_ADD, m_sockets.front().get(), &event) != 0) {
            m_epoll.close(); // without the first socket it would be no descriptor of all
            return false;
        }
    }
    Descriptor socket = newSocket();
    if (::epoll_ctl(m_epoll.get(), EPOLL_CTL_ADD, socket.get(), &event) != 0) {
        return false;
    }
    m_sockets.push_back(std::move(socket));
    return true;
}

int UdpPort::descriptor() const
{
    return m_sockets.size() > 1 ? m_epoll.get() : m_sockets.empty() ? -1 : m_sockets.front().get();
}

std::size_t UdpPort::send(Lane lane, const Datagram* batch, std::size_t count)
{
    std::size_t at = lane == Lane::Answering ? 0 : 1;
    if (at >= m_sockets.size() && !openSocket() && m_sockets.empty()) {
        return count; // lost, as on a network that is down
    }
    at = std::min(at, m_sockets.size() - 1);
    std::size_t taken = sendBy(m_sockets[at].get(), batch, count);
    while (taken < count && (++at < m_sockets.size() || openSocket())) {
        taken += sendBy(m_sockets[at].get(), batch + taken, count - taken);
    }
    return taken;
}

// Until the socket is full.
std::size_t UdpPort::sendBy(int socket, const Datagram* batch, std::size_t count)
{
    std::size_t taken = 0;
    while (taken < count) {
        const std::size_t chunk = std::min(count - taken, kBatch);
        for (std::size_t i = 0; i < chunk; ++i) {
            const Datagram& datagram = batch[taken + i];
            m_sendAddresses[i].sin_family = AF_INET;
            m_sendAddresses[i].sin_addr.s_addr = htonl(datagram.peer.address);
            m_sendAddresses[i].sin_port = htons(datagram.peer.port);
            m_sendVectors[i] = {const_cast<std::uint8_t*>(datagram.bytes.data), datagram.bytes.size};
            msghdr& header = m_sendHeaders[i].msg_hdr;
            header = {};
            header.msg_name = &m_sendAddresses[i];
            header.msg_namelen = sizeof m_sendAddresses[i];
            header.msg_iov = &m_sendVectors[i];
            header.msg_iovlen = 1;
        }
        const int sent = ::sendmmsg(socket, m_sendHeaders.data(), static_cast<unsigned>(chunk), 0);
        if (sent > 0) {
            taken += static_cast<std::size_t>(sent);
        } else if (wouldBlock(errno)) {
            return taken;
        } else if (errno != EINTR) {
            ++taken; // refused for this one; it is as good as lost
        }
    }
    return taken;
}

void UdpPort::prepareReceive()
{
    for (std::size_t i = 0; i < kBatch; ++i) {
        msghdr& header = m_receiveHeaders[i].msg_hdr;
        header = {};
        header.msg_name = &m_receiveAddresses[i];
        header.msg_namelen = sizeof m_receiveAddresses[i];
        header.msg_iov = &m_receiveVectors[i];
        header.msg_iovlen = 1;
    }
}

const std::vector<Datagram>& UdpPort::receive()
{
    m_received.clear();
    while (m_reading < m_sockets.size()) {
        prepareReceive();
        const int got =
            ::recvmmsg(m_sockets[m_reading].get(), m_receiveHeaders.data(), kBatch, MSG_DONTWAIT, nullptr);
        if (got < static_cast<int>(kBatch)) {
            ++m_reading; // nothing is left in this one
        }
        for (int i = 0; i < got; ++i) {
            const auto n = static_cast<std::size_t>(i);
            const mmsghdr& header = m_receiveHeaders[n];
            const sockaddr_in& from = m_receiveAddresses[n];
            if ((header.msg_hdr.msg_flags & MSG_TRUNC) != 0 || from.sin_family != AF_INET) {
                continue;
            }
            const Endpoint peer{ntohl(from.sin_addr.s_addr), ntohs(from.sin_port)};
            m_received.push_back({peer, {m_buffers.get() + n * kLargestDatagram, header.msg_len}});
        }
        if (got > 0) {
            return m_received;
        }
    }
    m_reading = 0;
    return m_received;
}

} // namespace tarn::snmp
