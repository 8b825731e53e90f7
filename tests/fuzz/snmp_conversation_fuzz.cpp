#include <algorithm>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tarn/src/device/utf8.h"
#include "tarn/src/snmp/poll/snmp_poller.h"
#include "tarn/src/snmp/poll/udp_transport.h"
#include "tests/fuzz/fuzz_input.h"
#include "tests/fuzz/spoilt_reply.h"
#include "tests/support/recorded_agent.h"
#include "tests/unit/tarn/support/fake_ports.h"
#include "tests/unit/tarn/support/simulated_time.h"

// A whole conversation over v1 and v2c: the poller, its transport and its sessions with a printer that is odd
// as the input says, one octet a request and what belongs to it: see Printer::answer(). Behind the input's
// end the printer is as it was recorded, and must soon be seen so.
namespace {

using namespace tarn;
using engine::Endpoint;
using kel_fuzz::Input;
using kel_fuzz::require;

const Endpoint kPrinter{0x0A000001, 161};
const Endpoint kOther{0x0A000002, 161};

const kel::testing::RecordedAgent& recorded()
{
    static const auto agent =
        kel::testing::RecordedAgent::fromFile(std::string(KEL_SNMP_DATA) + "/colour-laser.snmprec");
    return agent;
}

class Printer final
{
public:
    Printer(Input& input, test::SimulatedClock& clock) : m_input(input), m_clock(clock) {}

    // What comes of a request, and when.
    void answer(const snmp::Message& request, test::Deliveries& deliveries)
    {
        if (m_input.empty()) {
            m_agent = recorded();
            m_speaksV2c = true;
        }
        if (!m_speaksV2c && request.version == snmp::Version::V2c) {
            return;
        }
        const std::uint8_t how = m_input.octet();
        snmp::Message message = request;
        message.pdu = m_agent.answer(request.pdu);
        message.pdu.requestId = request.pdu.requestId;
        alterMessage(how, message);
        test::Delivery delivery{kPrinter, snmp::encodeMessage(message)};
        TimePoint at = m_clock.now() + Milliseconds(5);
        if (alterDelivery(how, delivery, at)) {
            deliveries.add(at, delivery);
            if (how == 0xC0) {
                deliveries.add(at, delivery);
            }
        }
    }

private:
    void alterMessage(std::uint8_t how, snmp::Message& message)
    {
        switch (how) {
        case 0x80:
            kel_fuzz::spoil(message.pdu, m_input.octet());
            break;
        case 0x81:
            message.pdu.requestId += m_input.octet();
            break;
        case 0x82:
            message.community = m_input.octets(m_input.octet() & 15);
            break;
        case 0x83:
            message.version = message.version == snmp::Version::V1 ? snmp::Version::V2c : snmp::Version::V1;
            break;
        case 0x84:
            message.pdu.type = static_cast<snmp::PduType>(m_input.octet());
            break;
        case 0x90: // from now on
            m_speaksV2c = !m_speaksV2c;
            break;
        case 0x91:
            m_agent.cutAtOctets = m_input.octet() * 8U;
            m_agent.tooBigAbove = m_input.octet();
            break;
        case 0x92: {
            const std::uint8_t column = m_input.octet();
            const snmp::Oid name = kel_fuzz::nameOf(column, m_input.octet());
            const std::uint8_t type = m_input.octet();
            m_agent.set(name, kel_fuzz::valueOf(type, m_input.octets(m_input.octet() & 63)));
            break;
        }
        case 0x93: {
            const std::uint8_t column = m_input.octet();
            m_agent.eraseTree(snmp::dottedOid(snmp::oidOf(
                static_cast<snmp::ColumnId>(column % static_cast<unsigned>(snmp::kColumnCount)))));
            break;
        }
        default:
            break;
        }
    }

    // False: it gets lost.
    bool alterDelivery(std::uint8_t how, test::Delivery& delivery, TimePoint& at)
    {
        std::string& body = delivery.body;
        switch (how) {
        case 0xA0:
            return false;
        case 0xA1:
            at += Milliseconds(m_input.octet() * 100);
            break;
        case 0xA2: {
            const std::size_t where = m_input.octet() % body.size();
            body[where] = static_cast<char>(body[where] ^ m_input.octet());
            break;
        }
        case 0xA3:
            body.resize(body.size() * m_input.octet() / 256);
            break;
        case 0xA4:
            body = m_input.octets(m_input.octet());
            break;
        case 0xA5:
            body.insert(body.size() * m_input.octet() / 256, m_input.octets(m_input.octet() & 31));
            break;
        case 0xA6:
            delivery.from = kOther;
            break;
        case 0xA7:
            delivery.from.port = 162;
            break;
        default:
            break;
        }
        return true;
    }

    Input& m_input;
    test::SimulatedClock& m_clock;
    kel::testing::RecordedAgent m_agent = recorded();
    bool m_speaksV2c = true;
};

class Network final : public engine::BackendListener
{
public:
    explicit Network(Input& input) : m_input(input), m_printer(input, m_clock) { m_poller.watch(m_target); }

    // Until the input is used up.
    void beOdd()
    {
        for (int turn = 0; turn < 400 && !m_input.empty(); ++turn) {
            step();
            if (m_targetOpens && m_input.octet() == 0xFF) {
                event(m_input.octet());
            }
        }
    }

    // The printer is as it was recorded, and opened every second.
    void recover()
    {
        while (!m_input.empty()) {
            m_input.octet();
        }
        m_room = SIZE_MAX;
        m_targetOpens = true;
        const TimePoint begun = m_clock.now();
        const auto isSeen = [&] {
            const std::optional<TimePoint> last = m_target->lastAnswer();
            return m_target->isMet() && m_target->snapshot()->online && last && *last > begun;
        };
        for (int turn = 0; !isSeen(); ++turn) {
            require(turn < 20000 && m_clock.now() - begun < Milliseconds(90000));
            step();
        }
        const TimePoint end = m_clock.now() + Milliseconds(3000); // and stays so
        while (m_clock.now() < end) {
            step();
        }
        require(isSeen());
    }

    void targetChanged(engine::Target& target) override
    {
        const auto snapshot = target.snapshot();
        require(device::isValidUtf8(snapshot->info) && device::isValidUtf8(snapshot->stateMessage) &&
                device::isValidUtf8(snapshot->serialNumber));
        require(snapshot->stateMessage.empty() != snapshot->online);
        require(snapshot->online || snapshot->state == 2);
    }
    void rosterChanged(engine::Discovery /*discovery*/,
                       std::vector<engine::DiscoveredPrinter> /*roster*/) override
    {
    }

private:
    class Port final : public snmp::DatagramPort
    {
    public:
        explicit Port(Network& network) : m_network(network) {}
        std::size_t send(snmp::Lane /*lane*/, const snmp::Datagram* batch, std::size_t count) override
        {
            const std::size_t taken = std::min(count, m_network.m_room);
            for (std::size_t i = 0; i < taken; ++i) {
                const std::optional<snmp::Message> request = snmp::decodeMessage(batch[i].bytes);
                require(request && batch[i].peer == kPrinter && request->community == "public");
                m_network.m_printer.answer(*request, m_network.m_deliveries);
            }
            return taken;
        }
        const std::vector<snmp::Datagram>& receive() override
        {
            return m_network.m_deliveries.take(m_network.m_clock.now());
        }
        bool reopen() override { return true; }
        int descriptor() const override { return -1; }

    private:
        Network& m_network;
    };

    // To the next moment at which something happens, and what happens then.
    void step()
    {
        const TimePoint next = std::min({m_poller.nextDeadline(), m_nextOpening, m_deliveries.nextArrival()});
        m_clock.set(std::max(next, m_clock.now()));
        if (m_nextOpening <= m_clock.now()) {
            m_nextOpening = m_clock.now() + Milliseconds(1000);
            if (m_targetOpens && m_target->markOpened(m_clock.now())) {
                m_poller.wake(*m_target);
            }
        }
        m_poller.run();
        require(m_poller.inFlight() <= 1);
    }

    // What happens beside the conversation.
    void event(std::uint8_t what)
    {
        switch (what & 7) {
        case 0:
            m_clock.pass(Milliseconds((what >> 3) * 20000)); // the machine sleeps
            break;
        case 1:
            m_poller.networkChanged();
            break;
        case 2:
            m_poller.unwatch(*m_target);
            m_poller.watch(m_target);
            break;
        case 3:
            m_room = m_room == 0 ? SIZE_MAX : 0;
            break;
        case 4:
            m_poller.wake(*m_target);
            break;
        case 5: // nobody wants to know for a while
            m_targetOpens = false;
            m_clock.pass(Milliseconds((what >> 3) * 3000));
            m_poller.run();
            m_targetOpens = true;
            break;
        default: // from nowhere
            m_deliveries.add(m_clock.now(), {(what & 8) != 0 ? kOther : kPrinter, m_input.octets(what >> 3)});
            break;
        }
    }

    Input& m_input;
    test::SimulatedClock m_clock;
    test::SeededRandom m_random{1};
    Printer m_printer;
    test::Deliveries m_deliveries;
    std::size_t m_room = SIZE_MAX;
    TimePoint m_nextOpening{};
    bool m_targetOpens = true;
    const std::shared_ptr<engine::Target> m_target = std::make_shared<engine::Target>(
        engine::PrinterAddress{kPrinter, engine::VersionChoice::Auto,
                               std::make_shared<const std::string>("public")},
        engine::unmetSnapshot(device::DeviceStatus()), m_clock.now());
    snmp::SnmpPoller m_poller{m_clock, m_random,
                              std::make_unique<snmp::UdpTransport>(m_random, std::make_unique<Port>(*this)),
                              *this, snmp::printerSessions()};
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    Input input(data, std::min<std::size_t>(size, 4096));
    Network network(input);
    network.beOdd();
    network.recover();
    return 0;
}
