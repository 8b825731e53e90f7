#include "tools/tarn-status/explain/udp_session.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/ip_icmp.h>
#include <netinet/udp.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <cstring>
#include <numeric>
#include <thread>

namespace tarnstatus {
namespace {

constexpr std::chrono::milliseconds kLong{30000};
constexpr std::chrono::milliseconds kShort{50};

// A port of the loopback interface where nobody answers by itself.
class Peer final
{
public:
    Peer() : m_socket(::socket(AF_INET, SOCK_DGRAM, 0))
    {
        sockaddr_in own{};
        own.sin_family = AF_INET;
        own.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof own;
        EXPECT_EQ(::bind(m_socket, reinterpret_cast<sockaddr*>(&own), size), 0);
        EXPECT_EQ(::getsockname(m_socket, reinterpret_cast<sockaddr*>(&own), &size), 0);
        m_port = ntohs(own.sin_port);
        const timeval patience{60, 0}; // for whoever waits for the thread that answers
        EXPECT_EQ(::setsockopt(m_socket, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience), 0);
    }
    ~Peer() { close(); }

    std::uint16_t port() const { return m_port; }
    void close()
    {
        if (m_socket >= 0) {
            ::close(m_socket);
            m_socket = -1;
        }
    }
    // Waits for a datagram; says who sent it.
    sockaddr_in asker() const
    {
        char octets[16];
        sockaddr_in from{};
        socklen_t size = sizeof from;
        EXPECT_GT(::recvfrom(m_socket, octets, sizeof octets, 0, reinterpret_cast<sockaddr*>(&from), &size),
                  0);
        return from;
    }
    // Waits for a datagram and answers it so.
    void answerOnce(const std::string& with) const
    {
        const sockaddr_in to = asker();
        ASSERT_GT(::sendto(m_socket, with.data(), with.size(), 0, reinterpret_cast<const sockaddr*>(&to),
                           sizeof to),
                  0);
    }

private:
    int m_socket;
    std::uint16_t m_port = 0;
};

// What a router sends that drops a datagram from that port of ours to this one: ICMP's "unreachable" with the
// code, and the beginning of the datagram. Nothing without the rights to.
bool sendUnreachable(std::uint8_t code, std::uint16_t from, std::uint16_t to)
{
    struct
    {
        icmphdr icmp;
        iphdr ip;
        udphdr udp;
    } packet{};
    packet.icmp.type = ICMP_DEST_UNREACH;
    packet.icmp.code = code;
    packet.ip.version = 4;
    packet.ip.ihl = sizeof packet.ip / 4;
    packet.ip.protocol = IPPROTO_UDP;
    packet.ip.saddr = packet.ip.daddr = htonl(INADDR_LOOPBACK);
    packet.udp.source = htons(from);
    packet.udp.dest = htons(to);
    std::uint16_t words[sizeof packet / 2];
    std::memcpy(words, &packet, sizeof packet);
    std::uint32_t sum = std::accumulate(std::begin(words), std::end(words), 0U);
    sum = (sum & 0xffff) + (sum >> 16);
    packet.icmp.checksum = static_cast<std::uint16_t>(~(sum + (sum >> 16)));
    sockaddr_in host{};
    host.sin_family = AF_INET;
    host.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    const int raw = ::socket(AF_INET, SOCK_RAW | SOCK_CLOEXEC, IPPROTO_ICMP);
    const bool isSent =
        ::sendto(raw, &packet, sizeof packet, 0, reinterpret_cast<const sockaddr*>(&host), sizeof host) > 0;
    ::close(raw);
    return isSent;
}

bool isYes(const std::string& octets)
{
    return octets == "yes";
}

TEST(UdpSession, TakesTheAnswerAndNothingElse)
{
    Peer peer;
    UdpSession udp(INADDR_LOOPBACK, peer.port());
    ASSERT_EQ(udp.state(), ProbeOutcome::Found);
    EXPECT_EQ(udp.ownAddress(), "127.0.0.1");
    std::thread answering([&peer] {
        peer.answerOnce("no");
        peer.answerOnce("yes"); // to the repetition
    });
    EXPECT_EQ(udp.exchange("?", isYes, SteadyClock::now() + kLong), ProbeOutcome::Found);
    answering.join();
}

TEST(UdpSession, TellsWhatCameInstead)
{
    Peer peer;
    UdpSession udp(INADDR_LOOPBACK, peer.port());
    EXPECT_EQ(udp.exchange("?", isYes, SteadyClock::now() + kShort), ProbeOutcome::Silent);
    peer.answerOnce("no");
    EXPECT_EQ(udp.exchange("", isYes, SteadyClock::now() + kShort), ProbeOutcome::Garbage);
    peer.close();
    EXPECT_EQ(udp.exchange("?", isYes, SteadyClock::now() + kLong), ProbeOutcome::PortClosed);
}

TEST(UdpSession, WhoRefusesOnTheWayIsNotTakenForAMissingHost)
{
    for (const auto& [code, outcome] :
         {std::pair{ICMP_HOST_UNREACH, ProbeOutcome::NoHost},
          std::pair{ICMP_PORT_UNREACH, ProbeOutcome::PortClosed},
          std::pair{ICMP_NET_UNREACH, ProbeOutcome::Refused}, std::pair{ICMP_NET_ANO, ProbeOutcome::Refused},
          std::pair{ICMP_HOST_ANO, ProbeOutcome::Refused},
          std::pair{ICMP_PKT_FILTERED, ProbeOutcome::Refused}}) {
        const Peer peer;
        UdpSession udp(INADDR_LOOPBACK, peer.port());
        ASSERT_EQ(udp.exchange("?", isYes, SteadyClock::now()), ProbeOutcome::Silent);
        if (!sendUnreachable(static_cast<std::uint8_t>(code), ntohs(peer.asker().sin_port), peer.port())) {
            GTEST_SKIP() << "needs the right to send ICMP";
        }
        EXPECT_EQ(udp.exchange("", isYes, SteadyClock::now() + kLong), outcome) << code;
        EXPECT_EQ(udp.exchange("", isYes, SteadyClock::now() + kShort), ProbeOutcome::Silent)
            << "of old errors";
    }
}

TEST(UdpSession, LateAnswerIsStillTaken)
{
    Peer peer;
    UdpSession udp(INADDR_LOOPBACK, peer.port());
    EXPECT_EQ(udp.exchange("?", isYes, SteadyClock::now() + kShort), ProbeOutcome::Silent);
    peer.answerOnce("yes");
    EXPECT_EQ(udp.exchange("", isYes, SteadyClock::now()), ProbeOutcome::Found);
}

} // namespace
} // namespace tarnstatus
