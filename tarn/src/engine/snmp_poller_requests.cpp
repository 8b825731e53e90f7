// The requests of the poller: receiving and matching, sending, repeating, giving up.
#include <algorithm>
#include <utility>

#include "tarn/src/engine/snmp_poller.h"

namespace tarn::engine {

using snmp::ReadKind;
using snmp::Version;

namespace {

constexpr std::size_t kSendBatch = 64;
constexpr Milliseconds kSendAgain{2};
// One run() takes no more than so many batches, so that a flood cannot keep the deadlines waiting.
constexpr int kReceiveBatches = 32;

// Peers are cold when their turn comes, and one waits for several lines of each: they are asked for a batch
// ahead.
void fetch(const void* object, std::size_t size)
{
    constexpr std::size_t kLine = 64;
    for (std::size_t at = 0; at < size; at += kLine) {
        __builtin_prefetch(static_cast<const char*>(object) + at, 1);
    }
}

} // namespace

// --- receiving ---

void SnmpPoller::receiveAll()
{
    m_unasked = 0;
    for (int i = 0; i < kReceiveBatches; ++i) {
        const std::vector<Datagram>& batch = m_port->receive();
        if (batch.empty()) {
            return;
        }
        findSenders(batch);
        for (std::size_t n = 0; n < batch.size(); ++n) {
            examine(batch[n], m_senders[n]);
        }
    }
}

// No peer comes or goes while datagrams are examined.
void SnmpPoller::findSenders(const std::vector<Datagram>& batch)
{
    m_senders.clear();
    for (const Datagram& datagram : batch) {
        SnmpPeer* const peer = peerAt(datagram.peer);
        m_senders.push_back(peer);
        if (peer != nullptr) {
            fetch(peer, sizeof *peer);
        }
    }
    for (const SnmpPeer* const peer : m_senders) {
        if (peer != nullptr) {
            fetch(peer->target.get(), sizeof *peer->target);
        }
    }
}

SnmpPeer* SnmpPoller::peerAt(const Endpoint& endpoint)
{
    const auto found = m_peers.find(endpoint);
    return found != m_peers.end() ? found->second.get() : nullptr;
}

// The ladder: source, open request, head of the message (examineReply), whole message.
void SnmpPoller::examine(const Datagram& datagram, SnmpPeer* sender)
{
    Verdict verdict = Verdict::UnknownSource;
    if (sender != nullptr) {
        SnmpPeer& peer = *sender;
        verdict = Verdict::NothingAsked;
        if (peer.requestId != 0 && peer.sentOnce && peer.malformed < kMostMalformed) {
            const snmp::MessageHead head = snmp::readHead(datagram.bytes);
            verdict = examineReply(head, {peer.version, *peer.target->address().community, peer.requestId});
            if (verdict == Verdict::Accepted && !attempt(peer, [&] { return deliver(peer, head); })) {
                verdict = Verdict::Malformed;
                ++peer.malformed;
            }
        }
    }
    m_unasked += verdict == Verdict::Accepted ? 0 : 1;
    if (m_unasked > kStrays) {
        m_floodedUntil = m_now + kFlood;
    }
    ++m_verdicts[static_cast<std::size_t>(verdict)];
}

// False, and the request stays open, when the message turns out to be malformed behind its head.
bool SnmpPoller::deliver(SnmpPeer& peer, const snmp::MessageHead& head)
{
    const std::optional<ReplyDigest> digest = peer.kind == ReadKind::Fast ? digestOf(head) : std::nullopt;
    if (peer.isReplay && deliverReplay(peer, digest, head)) {
        return true;
    }
    const std::optional<snmp::Pdu> pdu = snmp::decodePdu(head);
    if (!pdu) {
        return false;
    }
    if (peer.knowledge == VersionKnowledge::Probing && peer.version == Version::V1) {
        replyArrived(peer);
        useVersion(peer, Version::V2c);
        peer.knowledge = VersionKnowledge::Trial;
        beginRead(peer, ReadKind::Identity);
        return true;
    }
    peer.knowledge = VersionKnowledge::Settled;
    replyArrived(peer);
    if (peer.isReplay && !informSession(peer)) {
        return true; // it asks something else by now, and that is on its way
    }
    peer.session->accept(*pdu);
    if (digest && peer.requests == 1) {
        peer.replay.remember(std::exchange(peer.request, {}), *digest, m_questions);
    }
    proceed(peer);
    return true;
}

// What any accepted answer means, whatever it says.
void SnmpPoller::replyArrived(SnmpPeer& peer)
{
    m_reopening.answered(m_now);
    peer.silence.answered(m_now - peer.firstSent);
    m_roundTrip.add(m_now - peer.firstSent);
    dropRequest(peer);
    peer.target->markAnswered(m_now);
    publishSignOfLife(*peer.target, peer.liveliness, m_listener);
}

// The answer to a question that the session was not told of. False when it says something that the session
// must hear. A restart is seen here, as the session's own last time since start may be long ago.
bool SnmpPoller::deliverReplay(SnmpPeer& peer, const std::optional<ReplyDigest>& digest,
                               const snmp::MessageHead& head)
{
    if (!digest) {
        return false;
    }
    const ReplayCache::Match match = peer.replay.matches(*digest);
    snmp::ReadOutcome outcome = snmp::ReadOutcome::Unchanged;
    if (match.restarted) {
        if (!match.same && !snmp::decodePdu(head)) {
            return false;
        }
        outcome = snmp::ReadOutcome::Restarted;
    } else if (!match.same) {
        if (!peer.session->acceptReplay(head, peer.target->keptPictureBy(Way::Snmp))) {
            return false;
        }
        outcome = peer.session->outcome();
    }
    peer.replay.remember(*digest);
    replyArrived(peer);
    readEnded(peer, outcome);
    return true;
}

// Lets the session ask what was asked in its name. False when it asks otherwise; its own request is then
// queued.
bool SnmpPoller::informSession(SnmpPeer& peer)
{
    peer.isReplay = false;
    peer.session->begin(peer.kind);
    std::optional<snmp::Pdu> pdu = peer.session->nextRequest();
    if (!pdu) {
        readEnded(peer, peer.session->outcome());
        return false;
    }
    pdu->requestId = kLeastRequestId;
    peer.request = snmp::encodeMessage({peer.version, *peer.target->address().community, *pdu});
    if (peer.replay.isQuestion(peer.request)) {
        return true;
    }
    --peer.requests; // what was sent is no part of this read
    ask(peer, std::move(*pdu));
    return false;
}

// --- requests ---

void SnmpPoller::ask(SnmpPeer& peer, snmp::Pdu pdu)
{
    prepare(peer, std::move(pdu));
    enqueueInTurn(peer);
}

void SnmpPoller::prepare(SnmpPeer& peer, snmp::Pdu pdu)
{
    peer.requestId = newRequestId();
    if (peer.kind != ReadKind::Full) { // a Full one may leave the next Fast one as it was
        peer.replay.invalidate();
    }
    peer.isReplay = false;
    pdu.requestId = peer.requestId;
    peer.request = snmp::encodeMessage({peer.version, *peer.target->address().community, std::move(pdu)});
    peer.sentOnce = false;
    ++peer.requests;
}

// Asks the last question again, without the session, where its whole answer is known by its digest.
bool SnmpPoller::askAgain(SnmpPeer& peer)
{
    if (!peer.replay.isValid()) {
        return false;
    }
    peer.requestId = newRequestId();
    peer.isReplay = true;
    peer.sentOnce = false;
    ++peer.requests;
    enqueueInTurn(peer);
    return true;
}

// Positive, since some agents cannot do negative ids, and always of four octets.
std::int32_t SnmpPoller::newRequestId()
{
    return static_cast<std::int32_t>((m_random.next() & 0x3FFFFFFF) | kLeastRequestId);
}

void SnmpPoller::enqueueInTurn(SnmpPeer& peer)
{
    const Milliseconds wait = peer.log.wait(m_now);
    if (wait > Milliseconds(0) && !peer.silence.isSilent() &&
        peer.cadence.isRoutine(peer.kind, peer.liveliness, m_now)) {
        setPhase(peer, Phase::Waiting);
        m_deadlines.schedule(peer, m_now + wait);
        return;
    }
    enqueue(peer);
}

void SnmpPoller::enqueue(SnmpPeer& peer)
{
    Queue& queue = peer.silence.isSuspect() ? m_suspects : peer.requests > 1 ? m_underway : m_queue;
    queue.push_back({peer.target->address().endpoint, peer.ticket + 1});
    ++peer.ticket;
    setPhase(peer, Phase::Queued);
    m_deadlines.remove(peer);
}

void SnmpPoller::dropRequest(SnmpPeer& peer)
{
    peer.requestId = 0;
    setPhase(peer, Phase::Resting);
    m_deadlines.remove(peer);
}

void SnmpPoller::setPhase(SnmpPeer& peer, Phase phase)
{
    if (peer.phase == Phase::InFlight) {
        --(peer.countsSuspect ? m_suspectsInFlight : m_answeringInFlight);
    }
    peer.phase = phase;
    if (phase == Phase::InFlight) {
        peer.countsSuspect = peer.silence.isSuspect();
        ++(peer.countsSuspect ? m_suspectsInFlight : m_answeringInFlight);
    }
}

// --- sending ---

void SnmpPoller::sendQueued()
{
    m_sendAgainAt = kNever;
    for (Queue* const queue : {&m_underway, &m_queue}) {
        while (!queue->empty() && m_answeringInFlight < kMostAnsweringInFlight) {
            if (!sendSome(*queue, Lane::Answering, kMostAnsweringInFlight - m_answeringInFlight)) {
                return;
            }
        }
    }
    while (!m_suspects.empty() && m_underway.empty() && m_suspectsInFlight < kMostSuspectsInFlight) {
        if (!sendSome(m_suspects, Lane::Suspect, kMostSuspectsInFlight - m_suspectsInFlight)) {
            return;
        }
    }
}

void SnmpPoller::fetchQueued(const Queue& queue, std::size_t room)
{
    const std::size_t count = std::min(queue.size(), room);
    for (std::size_t n = 0; n < count; ++n) {
        if (const SnmpPeer* const peer = peerAt(queue[n].endpoint)) {
            fetch(peer, sizeof *peer);
        }
    }
}

// Null when nobody waits there any more.
SnmpPeer* SnmpPoller::waitingAt(const Place& place)
{
    SnmpPeer* const peer = peerAt(place.endpoint);
    return peer != nullptr && peer->phase == Phase::Queued && peer->ticket == place.ticket ? peer : nullptr;
}

// The bytes to be sent, valid for the length of a batch; place: in it.
const std::string& SnmpPoller::presentRequest(const SnmpPeer& peer, std::size_t place)
{
    if (!peer.isReplay) {
        return peer.request;
    }
    m_sameQuestions.resize(kSendBatch);
    std::string& bytes = m_sameQuestions[place];
    peer.replay.writeQuestion(peer.requestId, bytes);
    return bytes;
}

bool SnmpPoller::addToBatch(SnmpPeer& peer, std::size_t place)
{
    if (peer.yetToBegin && !openRead(peer)) {
        return false;
    }
    const std::string& request = presentRequest(peer, m_batch.size());
    m_batch.push_back({&peer, place});
    m_datagrams.push_back({peer.target->address().endpoint,
                           {reinterpret_cast<const std::uint8_t*>(request.data()), request.size()}});
    return true;
}

// One batch; false when the port had no room for all of it. Places leave the queue behind the sending.
bool SnmpPoller::sendSome(Queue& queue, Lane lane, std::size_t room)
{
    m_batch.clear();
    m_batch.reserve(kSendBatch);
    m_datagrams.clear();
    m_datagrams.reserve(kSendBatch);
    room = std::min(room, kSendBatch);
    fetchQueued(queue, room);
    std::size_t done = 0; // places
    for (; done < queue.size() && m_batch.size() < room; ++done) {
        if (SnmpPeer* const peer = waitingAt(queue[done])) {
            attempt(*peer, [&] { return addToBatch(*peer, done); });
        }
    }
    const std::size_t sent = m_port->send(lane, m_datagrams.data(), m_datagrams.size());
    for (std::size_t i = 0; i < sent; ++i) {
        markSent(*m_batch[i].peer);
    }
    if (sent < m_batch.size()) {
        done = m_batch[sent].place;
        m_sendAgainAt = m_now + kSendAgain;
    }
    queue.erase(queue.begin(), queue.begin() + static_cast<Queue::difference_type>(done));
    return sent == m_batch.size();
}

void SnmpPoller::markSent(SnmpPeer& peer)
{
    setPhase(peer, Phase::InFlight);
    if (!peer.sentOnce) {
        peer.sentOnce = true;
        peer.firstSent = m_now;
    }
    peer.lastSent = m_now;
    peer.log.sent(m_now);
    peer.malformed = 0;
    peer.repeatAt = m_now + peer.silence.patience(m_now, m_random);
    m_deadlines.schedule(peer, std::min(peer.repeatAt, m_now + peer.silence.flight(m_roundTrip)));
}

// --- giving up ---

void SnmpPoller::missed(SnmpPeer& peer)
{
    const bool becameOffline = peer.silence.missed(peer.lastSent, m_now);
    if (isToBeCalledSilent(*peer.target, peer.silence)) {
        publishSilence(*peer.target, m_listener);
    }
    reopenWhenAllIsSilent(peer);
    if (putAside(peer)) {
        return;
    }
    if (switchVersion(peer)) {
        return beginRead(peer, ReadKind::Identity);
    }
    switch (afterMiss({peer.requests, peer.liveliness, becameOffline}, peer.silence, *peer.session, m_now)) {
    case AfterMiss::Repeat:
        if (peer.silence.isOffline()) {
            renumber(peer);
        }
        return enqueue(peer);
    case AfterMiss::AskForLess:
        return proceed(peer);
    case AfterMiss::ReadFast:
        return beginRead(peer, ReadKind::Fast);
    case AfterMiss::ReadIdentity:
        return beginRead(peer, ReadKind::Identity);
    }
}

// A number that is asked with for hours could be learnt, and answered, by whoever comes to the address.
void SnmpPoller::renumber(SnmpPeer& peer)
{
    const std::int32_t id = newRequestId();
    if (peer.isReplay || replaceRequestId(peer.request, id)) {
        peer.requestId = id;
        peer.sentOnce = false;
    }
}

void SnmpPoller::reopenWhenAllIsSilent(const SnmpPeer& peer)
{
    if (m_reopening.isDue(peer.silence, m_now)) {
        m_reopening.reopened(m_now);
        m_port->reopen();
    }
}

} // namespace tarn::engine
