#pragma once

#include <cstdint>
#include <memory>
#include <unordered_map>
#include <vector>

#include "tarn/src/snmp/poll/snmp_transport.h"
#include "tarn/src/usm/usm_port.h"

namespace tarn::usm {

// UsmTransport carries SNMPv3 over whatever speaks it: a thread with Net-SNMP, or a test. A reply counts
// while the question that it bears the ticket of is open; each is decoded, as it has to be decrypted first.
class UsmTransport final : public snmp::SnmpTransport
{
public:
    explicit UsmTransport(std::unique_ptr<UsmPort> port) : m_port(std::move(port)) {}

    bool carries(const engine::PrinterAddress& address) const override;
    std::unique_ptr<snmp::SnmpLink> open(const engine::Target& target, snmp::SnmpPeer& peer) override;
    std::size_t send(snmp::Lane lane, snmp::SnmpLink* const* batch, std::size_t count) override;
    bool take(snmp::SnmpReply& reply) override;
    void reopen() override { m_port->reopen(); }
    int descriptor() const override { return m_port->descriptor(); }

private:
    class Link;

    void forget(const Link& link);

    const std::unique_ptr<UsmPort> m_port;
    std::unordered_map<engine::Endpoint, Link*, engine::EndpointHash> m_links;
    std::vector<UsmAnswer> m_answers;
    std::size_t m_next = 0; // of m_answers; the one before it was taken last
    std::uint64_t m_lastTicket = 0;
};

} // namespace tarn::usm
