#pragma once

#include <sys/socket.h>

#include <memory>

#include <netinet/in.h>

#include "tarn/src/base/descriptor.h"
#include "tarn/src/snmp/poll/datagram_port.h"

namespace tarn::snmp {

// The real DatagramPort: non-blocking, close-on-exec, sendmmsg and recvmmsg in batches.
//
// Invariants
//  (1) The first socket is that of printers that answer; suspects begin at the second one. Whose socket is
//      full goes on with the next: datagrams that wait for an address to be resolved fill one for seconds.
//  (2) There are kMostSockets at most, opened when they are first needed. Where the system gives no further
//      one, those that are there serve both lanes.
//  (3) Sockets are exchanged only for new ones.
class UdpPort final : public DatagramPort
{
public:
    // Opens the first socket; descriptor() is -1 when the system gives none.
    UdpPort();

    std::size_t send(Lane lane, const Datagram* batch, std::size_t count) override;
    const std::vector<Datagram>& receive() override;
    bool reopen() override;
    int descriptor() const override;

    static constexpr std::size_t kBatch = 64;
    static constexpr std::size_t kMostSockets = 8;
    // No answer to the requests that are sent here comes near: more is a stranger's.
    static constexpr std::size_t kLargestDatagram = 16384;

private:
    void close();
    bool openSocket();
    std::size_t sendBy(int socket, const Datagram* batch, std::size_t count);
    void prepareReceive();

    std::vector<Descriptor> m_sockets;
    Descriptor m_epoll;        // of all sockets, where there are several
    std::size_t m_reading = 0; // the socket that receive() goes on with
    std::unique_ptr<unsigned char[]>
        m_buffers; // kBatch of kLargestDatagram; pages come into being as they are used
    std::vector<mmsghdr> m_receiveHeaders;
    std::vector<iovec> m_receiveVectors;
    std::vector<sockaddr_in> m_receiveAddresses;
    std::vector<mmsghdr> m_sendHeaders;
    std::vector<iovec> m_sendVectors;
    std::vector<sockaddr_in> m_sendAddresses;
    std::vector<Datagram> m_received;
};

} // namespace tarn::snmp
