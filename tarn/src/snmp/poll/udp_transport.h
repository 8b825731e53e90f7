#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "tarn/src/base/random.h"
#include "tarn/src/snmp/poll/question_pool.h"
#include "tarn/src/snmp/poll/snmp_transport.h"
#include "tarn/src/snmp/wire/reply_check.h"
#include "tarn/src/snmp/wire/reply_digest.h"

namespace tarn::snmp {

// UdpTransport carries SNMP v1 and v2c, in batches.
//
// Invariants
//  (1) A reply is found by source address and port together, in constant time, and then held against the one
//      question that is open there; what does not match changes nothing.
//  (2) A question that is asked again is neither encoded, nor its reply decoded while it says the same.
//  (3) Of malformed replies to one question at most kMostMalformed are decoded each time that it is sent.
// Ownership: owns the port; borrows the randomness.
class UdpTransport final : public SnmpTransport
{
public:
    static constexpr unsigned kMostMalformed = 16;

    UdpTransport(Random& random, std::unique_ptr<DatagramPort> port);

    bool carries(const engine::PrinterAddress& address) const override;
    std::unique_ptr<SnmpLink> open(const engine::Target& target, SnmpPeer& peer) override;
    std::size_t send(Lane lane, SnmpLink* const* batch, std::size_t count) override;
    bool take(SnmpReply& reply) override;
    std::size_t strays() const override { return m_strays; }
    void reopen() override { m_port->reopen(); }
    int descriptor() const override { return m_port->descriptor(); }

    const VerdictCounts& verdicts() const { return m_verdicts; }

private:
    class Link;

    bool receive();
    void findSenders();
    Verdict examine(const Datagram& datagram, const Link* sender);
    void reject(Verdict verdict);
    void putBytes(const Link& link);
    std::int32_t newRequestId();
    void forget(const Link& link);

    Random& m_random;
    const std::unique_ptr<DatagramPort> m_port;
    std::unordered_map<engine::Endpoint, Link*, engine::EndpointHash> m_links;
    QuestionPool m_questions;

    // of a batch that is sent
    std::vector<Datagram> m_datagrams;
    std::vector<std::string> m_repeated; // questions that are asked again, at their places

    // of a round of receiving
    const std::vector<Datagram>* m_arrived = nullptr; // the batch
    std::vector<Link*> m_senders;                     // of it; null: nobody that is asked
    std::size_t m_next = 0;                           // in it
    int m_batches = 0;
    std::size_t m_strays = 0;

    // of the reply that was taken last
    MessageHead m_head;
    std::optional<ReplyDigest> m_digest; // where it was needed

    VerdictCounts m_verdicts{};
};

} // namespace tarn::snmp
