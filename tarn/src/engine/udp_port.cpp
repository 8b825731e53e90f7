#include "tarn/src/engine/udp_port.h"

#include <arpa/inet.h>
#include <unistd.h>

#include <cerrno>

namespace tarn::engine {

namespace {

// Room for every answer that can be on its way at once; the system may grant less.
constexpr int kReceiveBuffer = 1 << 20;

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
    for (std::size_t i = 0; i < kBatch; ++i) {
        m_receiveVectors[i] = {m_buffers.get() + i * kLargestDatagram, kLargestDatagram};
    }
    reopen();
}

UdpPort::~UdpPort()
{
    close();
}

void UdpPort::close()
{
    if (m_fd >= 0) {
        ::close(m_fd);
        m_fd = -1;
    }
}

bool UdpPort::reopen()
{
    close();
    m_fd = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (m_fd < 0) {
        return false;
    }
    ::setsockopt(m_fd, SOL_SOCKET, SO_RCVBUF, &kReceiveBuffer, sizeof kReceiveBuffer);
    return true;
}

std::size_t UdpPort::send(const Datagram* batch, std::size_t count)
{
    if (m_fd < 0) {
        return count;
    }
    std::size_t taken = 0;
    while (taken < count) {
        const std::size_t chunk = count - taken < kBatch ? count - taken : kBatch;
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
        const int sent = ::sendmmsg(m_fd, m_sendHeaders.data(), static_cast<unsigned>(chunk), 0);
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
    if (m_fd < 0) {
        return m_received;
    }
    prepareReceive();
    const int got = ::recvmmsg(m_fd, m_receiveHeaders.data(), kBatch, MSG_DONTWAIT, nullptr);
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
    return m_received;
}

} // namespace tarn::engine
