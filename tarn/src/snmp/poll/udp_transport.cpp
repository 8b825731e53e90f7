#include "tarn/src/snmp/poll/udp_transport.h"

#include <algorithm>
#include <new>
#include <utility>

#include "tarn/src/base/prefetch.h"
#include "tarn/src/snmp/poll/replay_cache.h"
#include "tarn/src/snmp/poll/snmp_peer.h"
#include "tarn/src/snmp/wire/codec.h"

namespace tarn::snmp {

using engine::PrinterAddress;
using engine::Target;
using engine::VersionChoice;

namespace {

// One round takes no more than so many batches, so that a flood cannot keep the deadlines waiting.
constexpr int kReceiveBatches = 32;

} // namespace

// What is open at one endpoint. The bytes that are asked with are those of request or, while asksKept, of the
// question in replay.
class UdpTransport::Link final : public SnmpLink
{
public:
    Link(UdpTransport& owner, const Target& watched, SnmpPeer& asker)
        : transport(owner), target(watched), peer(asker)
    {
    }
    ~Link() override { transport.forget(*this); }

    void ask(Pdu pdu) override
    {
        close(); // should there be no memory for this one
        pdu.requestId = transport.newRequestId();
        const std::int32_t id = pdu.requestId;
        request = std::make_unique<std::string>(encode(std::move(pdu)));
        requestId = id;
        wasSent = false;
        asksKept = false;
    }
    bool renumber() override
    {
        const std::int32_t id = transport.newRequestId();
        if (!asksKept && !(request && replaceRequestId(*request, id))) {
            return false;
        }
        requestId = id;
        wasSent = false;
        return true;
    }
    void close() override { requestId = 0; }
    std::optional<Pdu> decode() override
    {
        std::optional<Pdu> pdu = decodePdu(transport.m_head);
        if (!pdu) {
            ++malformed;
            --transport.m_verdicts[static_cast<std::size_t>(Verdict::Accepted)];
            transport.reject(Verdict::Malformed);
        }
        return pdu;
    }
    void keep() override
    {
        if (asksKept) {
            if (transport.m_digest) {
                replay.remember(*transport.m_digest);
            }
        } else if (const auto digest = digestOf(transport.m_head); digest && request) {
            replay.remember(std::move(*request), *digest, transport.m_questions);
            request.reset();
        }
    }
    bool askAgain() override
    {
        if (!replay.isValid()) {
            return false;
        }
        requestId = transport.newRequestId();
        wasSent = false;
        asksKept = true;
        return true;
    }
    bool isKept(Pdu pdu) const override
    {
        pdu.requestId = kLeastRequestId;
        return replay.isQuestion(encode(std::move(pdu)));
    }
    void forgetReply() override { replay.forgetAnswer(); }
    void forgetQuestion() override { replay.invalidate(); }
    void rest() override { request.reset(); }

    std::string encode(Pdu pdu) const
    {
        return encodeMessage({peer.version, *target.address().community, std::move(pdu)});
    }
    bool isOpen() const { return requestId != 0 && wasSent && malformed < kMostMalformed; }

    UdpTransport& transport;
    const Target& target;
    SnmpPeer& peer;
    std::unique_ptr<std::string> request; // of most printers there is none most of the time
    ReplayCache replay;
    std::int32_t requestId = 0; // 0: nothing is asked
    std::uint8_t malformed = 0; // replies to the question, since it was last sent
    bool wasSent = false;
    bool asksKept = false; // the question is the one in replay
};

UdpTransport::UdpTransport(Random& random, std::unique_ptr<DatagramPort> port)
    : m_random(random), m_port(std::move(port)), m_repeated(kSendBatch)
{
    m_datagrams.reserve(kSendBatch);
}

bool UdpTransport::carries(const PrinterAddress& address) const
{
    return address.version != VersionChoice::V3;
}

std::unique_ptr<SnmpLink> UdpTransport::open(const Target& target, SnmpPeer& peer)
{
    auto link = std::make_unique<Link>(*this, target, peer);
    m_links[target.address().endpoint] = link.get();
    return link;
}

void UdpTransport::forget(const Link& link)
{
    const auto found = m_links.find(link.target.address().endpoint);
    if (found != m_links.end() && found->second == &link) {
        m_links.erase(found);
    }
    std::replace(m_senders.begin(), m_senders.end(), const_cast<Link*>(&link), static_cast<Link*>(nullptr));
}

// Positive, since some agents cannot do negative ids, and always of four octets.
std::int32_t UdpTransport::newRequestId()
{
    return static_cast<std::int32_t>((m_random.next() & 0x3FFFFFFF) | kLeastRequestId);
}

// --- sending ---

std::size_t UdpTransport::send(Lane lane, SnmpLink* const* batch, std::size_t count)
{
    m_datagrams.clear();
    try {
        for (std::size_t i = 0; i < std::min(count, kSendBatch); ++i) {
            putBytes(static_cast<const Link&>(*batch[i]));
        }
    } catch (const std::bad_alloc&) { // the rest when there is memory again
    }
    const std::size_t sent = m_port->send(lane, m_datagrams.data(), m_datagrams.size());
    for (std::size_t i = 0; i < sent; ++i) {
        Link& link = static_cast<Link&>(*batch[i]);
        link.wasSent = true;
        link.malformed = 0;
    }
    return sent;
}

void UdpTransport::putBytes(const Link& link)
{
    const std::string* bytes = link.request.get();
    if (link.asksKept) {
        std::string& repeated = m_repeated[m_datagrams.size()];
        link.replay.writeQuestion(link.requestId, repeated);
        bytes = &repeated;
    }
    m_datagrams.push_back({link.target.address().endpoint,
                           {reinterpret_cast<const std::uint8_t*>(bytes->data()), bytes->size()}});
}

// --- receiving ---

bool UdpTransport::take(SnmpReply& reply)
{
    m_strays = m_batches == 0 ? 0 : m_strays;
    while (m_next < m_senders.size() || receive()) {
        const Datagram& datagram = (*m_arrived)[m_next];
        Link* const sender = m_senders[m_next];
        ++m_next;
        const Verdict verdict = examine(datagram, sender);
        if (verdict != Verdict::Accepted) {
            reject(verdict);
            continue;
        }
        ++m_verdicts[static_cast<std::size_t>(verdict)];
        reply = {&sender->peer, false, false, &m_head};
        if (sender->asksKept && (m_digest = digestOf(m_head))) {
            const ReplayCache::Match match = sender->replay.matches(*m_digest);
            reply.isSame = match.same;
            reply.isRestart = match.restarted;
            if (match.same) {
                sender->replay.remember(*m_digest);
            }
        }
        return true;
    }
    m_batches = 0;
    return false;
}

void UdpTransport::reject(Verdict verdict)
{
    ++m_strays;
    ++m_verdicts[static_cast<std::size_t>(verdict)];
}

// One more batch of the round, if there is one.
bool UdpTransport::receive()
{
    m_senders.clear();
    m_next = 0;
    if (m_batches == kReceiveBatches) {
        return false;
    }
    ++m_batches;
    m_arrived = &m_port->receive();
    findSenders();
    return !m_senders.empty();
}

void UdpTransport::findSenders()
{
    const std::size_t count = m_arrived->size();
    m_senders.resize(count);
    for (std::size_t n = 0; n < count; ++n) {
        const auto found = m_links.find((*m_arrived)[n].peer);
        if (found != m_links.end()) {
            m_senders[n] = found->second;
            prefetch(found->second, sizeof(Link));
        }
    }
    for (const Link* const sender : m_senders) {
        if (sender != nullptr) {
            prefetch(&sender->peer, sizeof(SnmpPeer));
            prefetch(&sender->target, sizeof(Target));
        }
    }
}

// The ladder: source, open question, head of the message (examineReply). The whole message is looked at by
// who wants to know what it says.
Verdict UdpTransport::examine(const Datagram& datagram, const Link* sender)
{
    if (sender == nullptr) {
        return Verdict::UnknownSource;
    }
    if (!sender->isOpen()) {
        return Verdict::NothingAsked;
    }
    readHead(datagram.bytes, m_head);
    return examineReply(m_head,
                        {sender->peer.version, *sender->target.address().community, sender->requestId});
}

} // namespace tarn::snmp
