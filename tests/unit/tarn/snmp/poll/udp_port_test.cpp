// Sockets of this machine, on the loopback interface.
#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "tarn/src/snmp/poll/udp_port.h"
#include "tests/unit/tarn/support/no_descriptors.h"

namespace tarn::snmp {
namespace {

using engine::Endpoint;

// Somebody at an address of his own, who tells by which port he was asked and answers when told to.
class Echo
{
public:
    Echo() : m_socket(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0))
    {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(kAddress);
        EXPECT_EQ(::bind(m_socket, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
        socklen_t size = sizeof address;
        ::getsockname(m_socket, reinterpret_cast<sockaddr*>(&address), &size);
        m_port = ntohs(address.sin_port);
    }
    ~Echo() { ::close(m_socket); }
    Echo(const Echo&) = delete;
    Echo& operator=(const Echo&) = delete;

    Endpoint endpoint() const { return {kAddress, m_port}; }
    // The port of whoever asked; 0 when nobody did.
    std::uint16_t asked()
    {
        pollfd wait{m_socket, POLLIN, 0};
        if (::poll(&wait, 1, 2000) != 1) {
            return 0;
        }
        char byte = 0;
        socklen_t size = sizeof m_asker;
        ::recvfrom(m_socket, &byte, 1, 0, reinterpret_cast<sockaddr*>(&m_asker), &size);
        return ntohs(m_asker.sin_port);
    }
    // To the one that asked last.
    void answer(const std::string& text) const
    {
        ::sendto(m_socket, text.data(), text.size(), 0, reinterpret_cast<const sockaddr*>(&m_asker),
                 sizeof m_asker);
    }

private:
    static constexpr std::uint32_t kAddress = 0x7F2C0901; // 127.44.9.1
    int m_socket;
    std::uint16_t m_port = 0;
    sockaddr_in m_asker{};
};

std::size_t ask(UdpPort& port, Lane lane, const Echo& echo)
{
    static const std::uint8_t byte = 0;
    const Datagram question{echo.endpoint(), {&byte, 1}};
    return port.send(lane, &question, 1);
}

bool isReadable(const UdpPort& port)
{
    pollfd wait{port.descriptor(), POLLIN, 0};
    return ::poll(&wait, 1, 2000) == 1;
}

std::vector<std::string> takeAll(UdpPort& port)
{
    std::vector<std::string> texts;
    for (const auto* batch = &port.receive(); !batch->empty(); batch = &port.receive()) {
        for (const Datagram& datagram : *batch) {
            texts.emplace_back(reinterpret_cast<const char*>(datagram.bytes.data), datagram.bytes.size);
        }
    }
    return texts;
}

TEST(UdpPort, SuspectsAreAskedFromASocketOfTheirOwnAndAnswersToEitherAreRead)
{
    UdpPort port;
    Echo echo;
    ASSERT_EQ(ask(port, Lane::Answering, echo), 1u);
    const std::uint16_t answering = echo.asked();
    echo.answer("first");
    ASSERT_EQ(ask(port, Lane::Suspect, echo), 1u);
    const std::uint16_t suspect = echo.asked();
    ASSERT_NE(answering, 0);
    ASSERT_NE(suspect, 0);
    EXPECT_NE(answering, suspect);
    EXPECT_TRUE(isReadable(port));
    EXPECT_EQ(takeAll(port), std::vector<std::string>{"first"});
    echo.answer("second");
    EXPECT_TRUE(isReadable(port)); // the descriptor tells of both
    EXPECT_EQ(takeAll(port), std::vector<std::string>{"second"});
    ask(port, Lane::Suspect, echo);
    EXPECT_EQ(echo.asked(), suspect);
    ask(port, Lane::Answering, echo);
    EXPECT_EQ(echo.asked(), answering);
}

TEST(UdpPort, ReopenedAsksFromNewPorts)
{
    UdpPort port;
    Echo echo;
    ask(port, Lane::Answering, echo);
    const std::uint16_t before = echo.asked();
    ASSERT_TRUE(port.reopen());
    ask(port, Lane::Answering, echo);
    const std::uint16_t after = echo.asked();
    EXPECT_NE(before, after);
    EXPECT_NE(after, 0);
}

// The descriptors of the sockets that were closed are others' by then.
TEST(UdpPort, ReopenedReadsFromItsNewSocketAlone)
{
    UdpPort port;
    Echo echo;
    ask(port, Lane::Answering, echo);
    ask(port, Lane::Suspect, echo);
    ASSERT_TRUE(port.reopen());
    const std::vector<Echo> others(6);
    UdpPort asker;
    for (const Echo& other : others) {
        ASSERT_EQ(ask(asker, Lane::Answering, other), 1u);
    }
    EXPECT_TRUE(takeAll(port).empty());
}

TEST(UdpPort, KeepsItsSocketsWhereThereIsNoDescriptorForNewOnes)
{
    UdpPort port;
    Echo echo;
    ask(port, Lane::Answering, echo);
    const std::uint16_t before = echo.asked();
    {
        const test::NoDescriptors none;
        EXPECT_FALSE(port.reopen());
        EXPECT_EQ(ask(port, Lane::Answering, echo), 1u);
        EXPECT_EQ(ask(port, Lane::Suspect, echo), 1u); // by the only one there is
    }
    EXPECT_EQ(echo.asked(), before);
    EXPECT_EQ(echo.asked(), before);
    echo.answer("still here");
    EXPECT_TRUE(isReadable(port));
    EXPECT_EQ(takeAll(port), std::vector<std::string>{"still here"});
    ask(port, Lane::Suspect, echo);
    EXPECT_NE(echo.asked(), before); // tried again as soon as there are some
}

TEST(UdpPort, OpensItsFirstSocketWhenItCan)
{
    std::unique_ptr<UdpPort> port;
    Echo echo;
    {
        const test::NoDescriptors none;
        port = std::make_unique<UdpPort>();
        EXPECT_EQ(port->descriptor(), -1);
        EXPECT_EQ(ask(*port, Lane::Answering, echo), 1u); // taken, and lost
        EXPECT_TRUE(takeAll(*port).empty());
    }
    EXPECT_EQ(ask(*port, Lane::Answering, echo), 1u);
    EXPECT_NE(echo.asked(), 0);
}

} // namespace
} // namespace tarn::snmp
