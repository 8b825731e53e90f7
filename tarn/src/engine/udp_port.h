#pragma once

#include <sys/socket.h>

#include <memory>

#include <netinet/in.h>

#include "tarn/src/engine/datagram_port.h"

namespace tarn::engine {

// The real DatagramPort: non-blocking, close-on-exec, sendmmsg and recvmmsg in batches.
class UdpPort final : public DatagramPort
{
public:
    // Opens the socket; descriptor() is -1 when the system gives none.
    UdpPort();
    ~UdpPort() override;
    UdpPort(const UdpPort&) = delete;
    UdpPort& operator=(const UdpPort&) = delete;

    std::size_t send(const Datagram* batch, std::size_t count) override;
    const std::vector<Datagram>& receive() override;
    bool reopen() override;
    int descriptor() const override { return m_fd; }

    static constexpr std::size_t kBatch = 64;
    // No answer to the requests that are sent here comes near: more is a stranger's.
    static constexpr std::size_t kLargestDatagram = 16384;

private:
    void close();
    void prepareReceive();

    int m_fd = -1;
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

} // namespace tarn::engine
