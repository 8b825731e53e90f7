// The requests of the poller: receiving and matching, sending, repeating, giving up.
#include <algorithm>
#include <utility>

#include "tarn/src/base/prefetch.h"
#include "tarn/src/snmp/poll/snmp_poller.h"

namespace tarn::snmp {

using engine::Endpoint;
using engine::ReadKind;
using engine::ReadOutcome;
using engine::Source;

namespace {

constexpr Milliseconds kSendAgain{2};
constexpr std::size_t kLinkSize = 128; // of the transport, about

} // namespace

// --- receiving ---

// No peer comes or goes meanwhile.
void SnmpPoller::receiveAll()
{
    SnmpReply reply;
    while (m_transport->take(reply)) {
        SnmpPeer& peer = *reply.peer;
        attempt(peer, [&] { deliver(peer, reply); });
    }
    if (m_transport->strays() > kStrays) {
        m_floodedUntil = m_now + kFlood;
    }
}

// The request stays open when the reply turns out to be malformed.
void SnmpPoller::deliver(SnmpPeer& peer, const SnmpReply& reply)
{
    if (peer.isReplay && deliverReplay(peer, reply)) {
        return;
    }
    const std::optional<Pdu> pdu = peer.link->decode();
    if (!pdu) {
        return;
    }
    if (peer.knowledge == VersionKnowledge::Probing && peer.version == Version::V1) {
        replyArrived(peer);
        useVersion(peer, Version::V2c);
        peer.knowledge = VersionKnowledge::Trial;
        return beginRead(peer, ReadKind::Identity);
    }
    peer.knowledge = VersionKnowledge::Known;
    replyArrived(peer);
    if (peer.isReplay && !informSession(peer)) {
        return; // it asks something else by now, and that is on its way
    }
    peer.session->accept(*pdu);
    if (peer.kind == ReadKind::Fast && peer.requests == 1) {
        peer.link->keep();
    }
    proceed(peer);
}

// The reply to a question that the session was not told of. False when it says something that the session
// must be told. A restart is seen here, as the session's own last time since start may be long ago.
bool SnmpPoller::deliverReplay(SnmpPeer& peer, const SnmpReply& reply)
{
    ReadOutcome outcome = ReadOutcome::Unchanged;
    if (reply.isRestart) {
        if (!reply.isSame && !peer.link->decode()) {
            return true;
        }
        outcome = ReadOutcome::Restarted;
    } else if (!reply.isSame) {
        if (!peer.session->acceptReplay(*reply.message, peer.target->packedStatusBy(Source::Snmp))) {
            return false;
        }
        outcome = peer.session->outcome();
        peer.link->keep();
    }
    replyArrived(peer);
    readEnded(peer, outcome);
    return true;
}

// What any reply means, whatever it says.
void SnmpPoller::replyArrived(SnmpPeer& peer)
{
    m_reopening.answered(m_now);
    peer.reachability.answered(m_now - peer.firstSent);
    m_roundTrip.add(m_now - peer.firstSent);
    dropRequest(peer);
    peer.target->markAnswered(m_now);
    publishOnline(*peer.target, peer.liveliness, m_listener);
}

// Lets the session ask what was asked in its name. False when it asks otherwise; its own request is then
// queued.
bool SnmpPoller::informSession(SnmpPeer& peer)
{
    peer.isReplay = false;
    peer.session->begin(peer.kind);
    std::optional<Pdu> pdu = peer.session->nextRequest();
    if (!pdu) {
        readEnded(peer, peer.session->outcome());
        return false;
    }
    if (peer.link->isKept(*pdu)) {
        return true;
    }
    --peer.requests; // what was sent is no part of this read
    ask(peer, std::move(*pdu));
    return false;
}

// --- requests ---

void SnmpPoller::ask(SnmpPeer& peer, Pdu pdu)
{
    prepare(peer, std::move(pdu));
    enqueueInTurn(peer);
}

void SnmpPoller::prepare(SnmpPeer& peer, Pdu pdu)
{
    if (peer.kind != ReadKind::Full) { // a Full one may leave the next Fast one as it was
        peer.link->forgetQuestion();
    }
    peer.link->ask(std::move(pdu));
    peer.isReplay = false;
    peer.firstSent = kNever;
    ++peer.requests;
}

// Asks the last question again, without the session, where its whole answer is known.
bool SnmpPoller::askAgain(SnmpPeer& peer)
{
    if (!peer.link->askAgain()) {
        return false;
    }
    peer.isReplay = true;
    peer.firstSent = kNever;
    ++peer.requests;
    enqueueInTurn(peer);
    return true;
}

void SnmpPoller::enqueueInTurn(SnmpPeer& peer)
{
    const Milliseconds wait = peer.log.wait(m_now);
    if (wait > Milliseconds(0) && !peer.reachability.isSilent() &&
        peer.cadence.isRoutine(peer.kind, peer.liveliness, m_now)) {
        setPhase(peer, Phase::Waiting);
        m_deadlines.schedule(peer, m_now + wait);
        return;
    }
    enqueue(peer);
}

void SnmpPoller::enqueue(SnmpPeer& peer)
{
    Queue& queue = peer.reachability.isSuspect() ? m_suspects : peer.requests > 1 ? m_underway : m_queue;
    queue.push_back({peer.target->address().endpoint, peer.ticket + 1});
    ++peer.ticket;
    setPhase(peer, Phase::Queued);
    m_deadlines.remove(peer);
}

void SnmpPoller::dropRequest(SnmpPeer& peer)
{
    peer.link->close();
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
        peer.countsSuspect = peer.reachability.isSuspect();
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

SnmpPeer* SnmpPoller::peerAt(const Endpoint& endpoint)
{
    const auto found = m_peers.find(endpoint);
    return found != m_peers.end() ? found->second.get() : nullptr;
}

void SnmpPoller::findWaiting(const Queue& queue, std::size_t room)
{
    const std::size_t count = std::min(queue.size(), room);
    m_waiting.resize(count);
    for (std::size_t n = 0; n < count; ++n) {
        m_waiting[n] = peerAt(queue[n].endpoint);
        if (m_waiting[n] != nullptr) {
            prefetch(m_waiting[n], sizeof(SnmpPeer));
        }
    }
    for (std::size_t n = 0; n < count; ++n) {
        SnmpPeer*& peer = m_waiting[n];
        if (peer != nullptr && peer->phase == Phase::Queued && peer->ticket == queue[n].ticket) {
            prefetch(peer->link.get(), kLinkSize);
        } else {
            peer = nullptr;
        }
    }
}

void SnmpPoller::addToBatch(SnmpPeer& peer, std::size_t place)
{
    if (!peer.yetToBegin || openRead(peer)) {
        m_batch.push_back({&peer, place});
        m_links.push_back(peer.link.get());
    }
}

// One batch; false when the transport had no room for all of it. Places leave the queue behind the sending.
bool SnmpPoller::sendSome(Queue& queue, Lane lane, std::size_t room)
{
    m_batch.clear();
    m_links.clear();
    findWaiting(queue, std::min(room, SnmpTransport::kSendBatch));
    std::size_t done = 0; // places
    for (; done < m_waiting.size(); ++done) {
        if (SnmpPeer* const peer = m_waiting[done]) {
            attempt(*peer, [&] { addToBatch(*peer, done); });
        }
    }
    const std::size_t sent = m_transport->send(lane, m_links.data(), m_links.size());
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
    if (peer.firstSent == kNever) {
        peer.firstSent = m_now;
    }
    peer.lastSent = m_now;
    peer.log.sent(m_now);
    peer.repeatAt = m_now + peer.reachability.patience(m_now, m_random);
    m_deadlines.schedule(peer, std::min(peer.repeatAt, m_now + peer.reachability.flight(m_roundTrip)));
}

// --- giving up ---

void SnmpPoller::missed(SnmpPeer& peer)
{
    const bool becameOffline = peer.reachability.missed(peer.lastSent, m_now);
    if (mustReportOffline(*peer.target, peer.reachability)) {
        publishOffline(*peer.target, m_listener);
    }
    reopenWhenAllIsSilent(peer);
    if (suspend(peer)) {
        return;
    }
    if (switchVersion(peer)) {
        return beginRead(peer, ReadKind::Identity);
    }
    switch (
        afterMiss({peer.requests, peer.liveliness, becameOffline}, peer.reachability, *peer.session, m_now)) {
    case AfterMiss::Repeat:
        if (peer.reachability.isOffline()) {
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
    if (peer.link->renumber()) {
        peer.firstSent = kNever;
    }
}

void SnmpPoller::reopenWhenAllIsSilent(const SnmpPeer& peer)
{
    if (m_reopening.isDue(peer.reachability, m_now)) {
        m_reopening.reopened(m_now);
        m_transport->reopen();
    }
}

} // namespace tarn::snmp
