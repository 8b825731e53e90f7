#pragma once

#include <netinet/in.h>

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "tarn/src/snmp/wire/codec.h"

namespace printersim {

// Where an answer seems to come from.
enum class Origin : std::uint8_t
{
    Printer,
    WrongPort,
    WrongAddress,
};

struct Datagram
{
    tarn::snmp::ByteView bytes;
    std::uint32_t local = 0; // the printer's address, host byte order
    sockaddr_in peer{};
};

struct Outgoing
{
    std::string bytes;
    std::uint32_t local = 0;
    sockaddr_in peer{};
    Origin origin = Origin::Printer;
};

// UdpSockets receives for many addresses and answers from the one that was addressed: with a socket for each
// address, or with one socket for all of 127/8, which any number of printers share.
//
// Threading: one thread.
class UdpSockets final
{
public:
    // Throws std::runtime_error, saying which address and port could not be had.
    UdpSockets(const std::vector<std::uint32_t>& addresses, std::uint16_t port, bool oneSocket);
    ~UdpSockets();
    UdpSockets(const UdpSockets&) = delete;
    UdpSockets& operator=(const UdpSockets&) = delete;

    const std::vector<int>& descriptors() const { return m_sockets; }
    // Takes what lies ready on that socket, a bounded batch; false when nothing did.
    bool receive(int socket, const std::function<void(const Datagram&)>& handler);
    // Sends them all; what the kernel refuses is lost, as datagrams are.
    void send(const std::vector<Outgoing>& batch);

private:
    int socketFor(const Outgoing& outgoing);

    std::uint16_t m_port;
    bool m_oneSocket;
    std::vector<int> m_sockets;
    std::vector<std::uint32_t> m_addresses; // of m_sockets, sorted; empty with one socket
    int m_wrongPort = -1;                   // opened when first needed
    int m_wrongAddress = -1;
    std::vector<std::uint8_t> m_buffers;
};

} // namespace printersim
