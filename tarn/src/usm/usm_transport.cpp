#include "tarn/src/usm/usm_transport.h"

#include <new>
#include <utility>

namespace tarn::usm {

using snmp::SnmpLink;

// The question that is open at one endpoint.
class UsmTransport::Link final : public SnmpLink
{
public:
    Link(UsmTransport& owner, const engine::Target& target, snmp::SnmpPeer& asker)
        : transport(owner), address(target.address()), peer(asker)
    {
    }
    ~Link() override { transport.forget(*this); }

    void ask(snmp::Pdu pdu) override
    {
        question = std::move(pdu);
        ticket = ++transport.m_lastTicket;
        isToAbsent = false;
    }
    bool renumber() override { return isToAbsent = true; }
    void close() override { ticket = 0; }
    std::optional<snmp::Pdu> decode() override
    {
        return std::move(transport.m_answers[transport.m_next - 1].pdu);
    }

    UsmTransport& transport;
    const engine::PrinterAddress& address;
    snmp::SnmpPeer& peer;
    snmp::Pdu question;
    std::uint64_t ticket = 0; // 0: nothing is asked
    bool isToAbsent = false;
};

bool UsmTransport::carries(const engine::PrinterAddress& address) const
{
    return address.version == engine::VersionChoice::V3;
}

std::unique_ptr<SnmpLink> UsmTransport::open(const engine::Target& target, snmp::SnmpPeer& peer)
{
    if (!target.address().user) {
        return nullptr;
    }
    auto link = std::make_unique<Link>(*this, target, peer);
    m_links[target.address().endpoint] = link.get();
    return link;
}

void UsmTransport::forget(const Link& link)
{
    const auto found = m_links.find(link.address.endpoint);
    if (found != m_links.end() && found->second == &link) {
        m_links.erase(found);
        try {
            m_port->forget(link.address.endpoint);
        } catch (const std::bad_alloc&) { // the thread keeps what it knows of one more
        }
    }
}

std::size_t UsmTransport::send(snmp::Lane lane, SnmpLink* const* batch, std::size_t count)
{
    for (std::size_t i = 0; i < count; ++i) {
        const Link& link = static_cast<const Link&>(*batch[i]);
        try {
            m_port->ask({link.address.endpoint, link.ticket, link.address.user, link.question,
                         link.isToAbsent, lane});
        } catch (const std::bad_alloc&) { // the rest when there is memory again
            return i;
        }
    }
    return count;
}

bool UsmTransport::take(snmp::SnmpReply& reply)
{
    for (;;) {
        if (m_next == m_answers.size()) {
            m_next = 0;
            m_answers = m_port->take();
            if (m_answers.empty()) {
                return false;
            }
        }
        const UsmAnswer& answer = m_answers[m_next++];
        const auto found = m_links.find(answer.endpoint);
        if (found != m_links.end() && found->second->ticket != 0 && found->second->ticket == answer.ticket) {
            reply = {&found->second->peer, false, false, nullptr};
            return true;
        }
    }
}

} // namespace tarn::usm
