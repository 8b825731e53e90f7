// What a transport owes its links, whatever the poller does.
#include "tarn/src/snmp/poll/udp_transport.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tarn/src/snmp/poll/snmp_peer.h"
#include "tarn/src/snmp/wire/codec.h"
#include "tests/unit/tarn/support/simulated_time.h"

namespace tarn::snmp::test {
namespace {

using engine::Endpoint;
using engine::PrinterAddress;
using engine::Target;
using engine::unmetSnapshot;
using engine::VersionChoice;
using tarn::test::SeededRandom;

// Answers each datagram with what was asked, as often as it is told to.
class EchoPort final : public DatagramPort
{
public:
    std::size_t send(Lane, const Datagram* batch, std::size_t count) override
    {
        for (std::size_t i = 0; i < count; ++i) {
            Message message = decodeMessage(batch[i].bytes).value();
            message.pdu.type = PduType::Response;
            message.pdu.varbinds.front().value.type = ValueType::OctetString;
            message.pdu.varbinds.front().value.bytes = says;
            for (int copy = 0; copy < copies; ++copy) {
                m_bodies.push_back(encodeMessage(message));
                m_peers.push_back(batch[i].peer);
            }
        }
        return count;
    }
    const std::vector<Datagram>& receive() override
    {
        m_received.clear();
        m_taken.swap(m_bodies);
        m_bodies.clear();
        for (std::size_t i = 0; i < m_taken.size(); ++i) {
            m_received.push_back(
                {m_peers[i], {reinterpret_cast<const std::uint8_t*>(m_taken[i].data()), m_taken[i].size()}});
        }
        m_peers.clear();
        return m_received;
    }
    bool reopen() override { return true; }
    int descriptor() const override { return -1; }

    std::string says = "idle";
    int copies = 1;

private:
    std::vector<std::string> m_bodies;
    std::vector<std::string> m_taken;
    std::vector<Endpoint> m_peers;
    std::vector<Datagram> m_received;
};

class UdpTransportTest : public testing::Test
{
protected:
    // A printer's target, peer and link.
    struct Printer
    {
        std::shared_ptr<Target> target;
        SnmpPeer peer;
        std::unique_ptr<SnmpLink> link;
    };
    std::unique_ptr<Printer> open(std::uint32_t number)
    {
        static const auto community = std::make_shared<const std::string>("public");
        auto printer = std::make_unique<Printer>();
        printer->target =
            std::make_shared<Target>(PrinterAddress{{number, 161}, VersionChoice::V2c, community},
                                     unmetSnapshot(device::DeviceStatus()), TimePoint());
        printer->link = transport.open(*printer->target, printer->peer);
        return printer;
    }
    void ask(Printer& printer)
    {
        Pdu pdu;
        pdu.varbinds.push_back({{1, 3, 6, 1}, {}});
        printer.link->ask(pdu);
        send(printer);
    }
    void send(Printer& printer)
    {
        SnmpLink* const batch[] = {printer.link.get()};
        ASSERT_EQ(transport.send(Lane::Answering, batch, 1), 1u);
    }

    SeededRandom random{1};
    EchoPort* port = new EchoPort; // the transport's
    UdpTransport transport{random, std::unique_ptr<DatagramPort>(port)};
    SnmpReply reply;
};

TEST_F(UdpTransportTest, WhoTakesAnEndpointOverGetsItsRepliesAndKeepsIt)
{
    auto before = open(1);
    ask(*before);
    auto now = open(1);
    EXPECT_FALSE(transport.take(reply)) << "the one before is no longer asked";
    before.reset();
    ask(*now);
    ASSERT_TRUE(transport.take(reply));
    EXPECT_EQ(reply.peer, &now->peer);
    EXPECT_FALSE(transport.take(reply));
}

TEST_F(UdpTransportTest, WhoGoesBetweenTwoRepliesOfOneBatchGetsNoMore)
{
    auto first = open(1);
    auto second = open(2);
    ask(*first);
    ask(*second);
    ASSERT_TRUE(transport.take(reply));
    ASSERT_EQ(reply.peer, &first->peer);
    second.reset();
    EXPECT_FALSE(transport.take(reply));
    EXPECT_EQ(transport.strays(), 1u);
}

TEST_F(UdpTransportTest, WhoIsGoneIsAStranger)
{
    auto printer = open(1);
    ask(*printer);
    printer.reset();
    EXPECT_FALSE(transport.take(reply));
    EXPECT_EQ(transport.verdicts()[static_cast<std::size_t>(Verdict::UnknownSource)], 1u);
}

TEST_F(UdpTransportTest, AQuestionIsAnsweredOnce)
{
    auto printer = open(1);
    port->copies = 3;
    ask(*printer);
    ASSERT_TRUE(transport.take(reply));
    printer->link->close();
    EXPECT_FALSE(transport.take(reply));
    EXPECT_EQ(transport.strays(), 2u);
    EXPECT_EQ(transport.verdicts()[static_cast<std::size_t>(Verdict::NothingAsked)], 2u);
}

TEST_F(UdpTransportTest, WhatIsKeptIsComparedAndWhatIsForgottenIsNot)
{
    auto printer = open(1);
    EXPECT_FALSE(printer->link->askAgain()) << "nothing was kept";
    ask(*printer);
    ASSERT_TRUE(transport.take(reply));
    EXPECT_FALSE(reply.isSame) << "of a question that was asked for the first time";
    printer->link->keep();
    const auto askAgain = [&] {
        EXPECT_TRUE(printer->link->askAgain());
        send(*printer);
        EXPECT_TRUE(transport.take(reply));
        return reply.isSame;
    };
    EXPECT_TRUE(askAgain());
    port->says = "busy";
    EXPECT_FALSE(askAgain());
    EXPECT_FALSE(askAgain()) << "it was not kept";
    printer->link->keep();
    EXPECT_TRUE(askAgain());
    printer->link->forgetReply();
    EXPECT_FALSE(askAgain());
    printer->link->forgetQuestion();
    EXPECT_FALSE(printer->link->askAgain());
}

} // namespace
} // namespace tarn::snmp::test
