#include "tools/printer-sim/udp_sockets.h"

#include <arpa/inet.h>
#include <net/if.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <stdexcept>

#include "tools/printer-sim/mib.h"

namespace printersim {

namespace {

constexpr unsigned kBatch = 64;
constexpr std::size_t kBufferSize = 8192; // no request is longer
constexpr int kReceiveBuffer = 4 << 20;
constexpr std::uint32_t kStranger = 0x7FFFFFFE; // 127.255.255.254
constexpr std::size_t kControlSize = CMSG_SPACE(sizeof(in_pktinfo));

sockaddr_in endpoint(std::uint32_t address, std::uint16_t port)
{
    sockaddr_in result{};
    result.sin_family = AF_INET;
    result.sin_addr.s_addr = htonl(address);
    result.sin_port = htons(port);
    return result;
}

int bindUdp(std::uint32_t address, std::uint16_t port, bool shared)
{
    const int fd = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (fd < 0) {
        throw std::runtime_error(std::string("no socket: ") + std::strerror(errno));
    }
    const int on = 1;
    setsockopt(fd, IPPROTO_IP, IP_PKTINFO, &on, sizeof on);
    setsockopt(fd, SOL_SOCKET, SO_RCVBUF, &kReceiveBuffer, sizeof kReceiveBuffer);
    if (shared) {
        setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    }
    if (address == INADDR_ANY) { // the wildcard is meant for the loopback interface only
        constexpr char kLoopback[] = "lo";
        setsockopt(fd, SOL_SOCKET, SO_BINDTODEVICE, kLoopback, sizeof kLoopback);
    }
    const sockaddr_in local = endpoint(address, port);
    if (bind(fd, reinterpret_cast<const sockaddr*>(&local), sizeof local) != 0) {
        const int error = errno;
        close(fd);
        throw std::runtime_error(addressText(address) + " port " + std::to_string(port) + ": " +
                                 std::strerror(error));
    }
    return fd;
}

// One message of recvmmsg or sendmmsg with room for the local address beside the bytes.
struct Slot
{
    sockaddr_in peer{};
    iovec part{};
    alignas(cmsghdr) std::array<std::uint8_t, kControlSize> control{};

    void point(msghdr& header, const void* data, std::size_t size)
    {
        part = {const_cast<void*>(data), size}; // sendmmsg does not write through it
        header = {};
        header.msg_name = &peer;
        header.msg_namelen = sizeof peer;
        header.msg_iov = &part;
        header.msg_iovlen = 1;
        header.msg_control = control.data();
        header.msg_controllen = control.size();
    }
};

std::uint32_t localOf(msghdr& header)
{
    for (cmsghdr* message = CMSG_FIRSTHDR(&header); message != nullptr;
         message = CMSG_NXTHDR(&header, message)) {
        if (message->cmsg_level == IPPROTO_IP && message->cmsg_type == IP_PKTINFO) {
            in_pktinfo info{};
            std::memcpy(&info, CMSG_DATA(message), sizeof info);
            return ntohl(info.ipi_addr.s_addr);
        }
    }
    return 0;
}

void setLocal(msghdr& header, std::uint32_t address)
{
    cmsghdr* message = CMSG_FIRSTHDR(&header);
    message->cmsg_level = IPPROTO_IP;
    message->cmsg_type = IP_PKTINFO;
    message->cmsg_len = CMSG_LEN(sizeof(in_pktinfo));
    in_pktinfo info{};
    info.ipi_spec_dst.s_addr = htonl(address);
    std::memcpy(CMSG_DATA(message), &info, sizeof info);
}

} // namespace

UdpSockets::UdpSockets(const std::vector<std::uint32_t>& addresses, std::uint16_t port, bool oneSocket)
    : m_port(port), m_oneSocket(oneSocket), m_buffers(kBatch * kBufferSize)
{
    if (oneSocket) {
        m_sockets.push_back(bindUdp(INADDR_ANY, port, false));
        return;
    }
    m_addresses = addresses;
    std::sort(m_addresses.begin(), m_addresses.end());
    for (const std::uint32_t address : m_addresses) {
        m_sockets.push_back(bindUdp(address, port, false));
    }
}

UdpSockets::~UdpSockets()
{
    for (const int fd : m_sockets) {
        close(fd);
    }
    if (m_wrongPort >= 0) {
        close(m_wrongPort);
    }
    if (m_wrongAddress >= 0) {
        close(m_wrongAddress);
    }
}

bool UdpSockets::receive(int socket, const std::function<void(const Datagram&)>& handler)
{
    std::array<Slot, kBatch> slots;
    std::array<mmsghdr, kBatch> messages{};
    for (unsigned i = 0; i < kBatch; ++i) {
        slots[i].point(messages[i].msg_hdr, &m_buffers[i * kBufferSize], kBufferSize);
    }
    const int count = recvmmsg(socket, messages.data(), kBatch, MSG_DONTWAIT, nullptr);
    for (int i = 0; i < count; ++i) {
        const auto at = static_cast<std::size_t>(i);
        if ((messages[at].msg_hdr.msg_flags & MSG_TRUNC) != 0) {
            continue;
        }
        const tarn::snmp::ByteView bytes{&m_buffers[at * kBufferSize], messages[at].msg_len};
        handler({bytes, localOf(messages[at].msg_hdr), slots[at].peer});
    }
    return count > 0;
}

int UdpSockets::socketFor(const Outgoing& outgoing)
{
    if (outgoing.origin == Origin::WrongPort) {
        if (m_wrongPort < 0) {
            m_wrongPort = bindUdp(INADDR_ANY, 0, false);
        }
        return m_wrongPort;
    }
    if (m_oneSocket) {
        return m_sockets.front();
    }
    if (outgoing.origin == Origin::WrongAddress) {
        if (m_wrongAddress < 0) {
            m_wrongAddress = bindUdp(kStranger, m_port, true);
        }
        return m_wrongAddress;
    }
    const auto at = std::lower_bound(m_addresses.begin(), m_addresses.end(), outgoing.local);
    return m_sockets[static_cast<std::size_t>(at - m_addresses.begin())];
}

void UdpSockets::send(const std::vector<Outgoing>& batch)
{
    std::size_t done = 0;
    while (done < batch.size()) {
        const int socket = socketFor(batch[done]);
        std::array<Slot, kBatch> slots;
        std::array<mmsghdr, kBatch> messages{};
        unsigned count = 0;
        while (count < kBatch && done + count < batch.size() && socketFor(batch[done + count]) == socket) {
            const Outgoing& outgoing = batch[done + count];
            slots[count].peer = outgoing.peer;
            slots[count].point(messages[count].msg_hdr, outgoing.bytes.data(), outgoing.bytes.size());
            setLocal(messages[count].msg_hdr,
                     outgoing.origin == Origin::WrongAddress ? kStranger : outgoing.local);
            ++count;
        }
        const int sent = sendmmsg(socket, messages.data(), count, 0);
        done += sent > 0 ? static_cast<std::size_t>(sent) : 1; // the first one is refused: go on behind it
    }
}

} // namespace printersim
