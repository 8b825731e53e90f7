#include "tools/tarn-status/explain/udp_conversation.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

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
    // Waits for a datagram and answers it so.
    void answerOnce(const std::string& with) const
    {
        char octets[16];
        sockaddr_in asker{};
        socklen_t size = sizeof asker;
        ASSERT_GT(::recvfrom(m_socket, octets, sizeof octets, 0, reinterpret_cast<sockaddr*>(&asker), &size),
                  0);
        ASSERT_GT(::sendto(m_socket, with.data(), with.size(), 0, reinterpret_cast<sockaddr*>(&asker), size),
                  0);
    }

private:
    int m_socket;
    std::uint16_t m_port = 0;
};

bool isYes(const std::string& octets)
{
    return octets == "yes";
}

TEST(UdpConversation, TakesTheAnswerAndNothingElse)
{
    Peer peer;
    UdpConversation udp(INADDR_LOOPBACK, peer.port());
    ASSERT_EQ(udp.state(), Came::Found);
    EXPECT_EQ(udp.ownAddress(), "127.0.0.1");
    std::thread answering([&peer] {
        peer.answerOnce("no");
        peer.answerOnce("yes"); // to the repetition
    });
    EXPECT_EQ(udp.exchange("?", isYes, SteadyClock::now() + kLong), Came::Found);
    answering.join();
}

TEST(UdpConversation, TellsWhatCameInstead)
{
    Peer peer;
    UdpConversation udp(INADDR_LOOPBACK, peer.port());
    EXPECT_EQ(udp.exchange("?", isYes, SteadyClock::now() + kShort), Came::Silent);
    peer.answerOnce("no");
    EXPECT_EQ(udp.exchange("", isYes, SteadyClock::now() + kShort), Came::Garbage);
    peer.close();
    EXPECT_EQ(udp.exchange("?", isYes, SteadyClock::now() + kLong), Came::PortClosed);
}

TEST(UdpConversation, LateAnswerIsStillTaken)
{
    Peer peer;
    UdpConversation udp(INADDR_LOOPBACK, peer.port());
    EXPECT_EQ(udp.exchange("?", isYes, SteadyClock::now() + kShort), Came::Silent);
    peer.answerOnce("yes");
    EXPECT_EQ(udp.exchange("", isYes, SteadyClock::now()), Came::Found);
}

} // namespace
} // namespace tarnstatus
