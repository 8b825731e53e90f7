#include "tarn/src/snmp/poll/snmp_poller.h"

#include <algorithm>

namespace tarn::snmp {

using engine::BackendListener;
using engine::Liveliness;
using engine::PrinterAddress;
using engine::ReadKind;
using engine::ReadOutcome;
using engine::Source;
using engine::Target;
using engine::VersionChoice;

SnmpPoller::SnmpPoller(const Clock& clock, Random& random, std::unique_ptr<SnmpTransport> transport,
                       BackendListener& listener, SessionFactory sessions)
    : m_clock(clock), m_random(random), m_transport(std::move(transport)), m_listener(listener),
      m_sessions(std::move(sessions)), m_now(clock.now())
{
    m_waiting.reserve(SnmpTransport::kSendBatch);
    m_batch.reserve(SnmpTransport::kSendBatch);
    m_links.reserve(SnmpTransport::kSendBatch);
}

void SnmpPoller::watch(std::shared_ptr<Target> target)
{
    const PrinterAddress& address = target->address();
    if (!m_transport->carries(address)) {
        return; // another poller's
    }
    m_now = m_clock.now();
    auto peer = std::make_unique<SnmpPeer>();
    m_deadlines.makeRoomFor(m_peers.size() + 1);
    peer->target = std::move(target);
    peer->link = m_transport->open(*peer->target, *peer);
    if (!peer->link) { // the configuration has said why
        return publishOffline(*peer->target, m_listener);
    }
    peer->cadence.disperse(m_random);
    if (address.version != VersionChoice::Auto) {
        peer->knowledge = VersionKnowledge::Known;
    }
    useVersion(*peer, address.version == VersionChoice::V1 ? Version::V1 : Version::V2c);
    auto& place = m_peers[address.endpoint];
    if (place) {
        leave(*place);
    }
    place = std::move(peer);
    m_deadlines.schedule(*place, nextStart());
}

void SnmpPoller::unwatch(const Target& target)
{
    const auto found = m_peers.find(target.address().endpoint);
    if (found == m_peers.end() || found->second->target.get() != &target) {
        return;
    }
    leave(*found->second);
    m_peers.erase(found);
}

// The peer is about to go.
void SnmpPoller::leave(SnmpPeer& peer)
{
    setPhase(peer, Phase::Suspended);
    m_deadlines.remove(peer);
}

void SnmpPoller::wake(const Target& target)
{
    const auto found = m_peers.find(target.address().endpoint);
    if (found == m_peers.end() || found->second->phase != Phase::Suspended) {
        return;
    }
    m_now = m_clock.now();
    SnmpPeer& peer = *found->second;
    peer.reachability.reset(m_now);
    setPhase(peer, Phase::Resting);
    m_deadlines.schedule(peer, nextStart());
}

void SnmpPoller::networkChanged()
{
    m_now = m_clock.now();
    m_transport->reopen();
    m_reopening.reopened(m_now);
    m_nextStart = m_now;
    for (const auto& entry : m_peers) {
        SnmpPeer& peer = *entry.second;
        if (peer.phase != Phase::Suspended) {
            dropRequest(peer);
            peer.reachability.reset(m_now);
            m_deadlines.schedule(peer, nextStart());
        }
    }
}

// The moment at which one more printer may begin: a list of thousands is spread over seconds.
TimePoint SnmpPoller::nextStart()
{
    if (m_nextStart < m_now) {
        m_nextStart = m_now;
        m_startsInThisMs = 0;
    }
    if (++m_startsInThisMs > kStartsPerMs) {
        m_startsInThisMs = 1;
        m_nextStart += Milliseconds(1);
        if (m_nextStart > m_now + kLongestSpread) {
            m_nextStart = m_now;
        }
    }
    return m_nextStart;
}

void SnmpPoller::run()
{
    m_now = m_clock.now();
    const TimePoint due = nextDeadline();
    if (due != kNever && m_now - due > kSleep) {
        networkChanged();
    }
    receiveAll();
    runDeadlines();
    sendQueued();
}

TimePoint SnmpPoller::nextDeadline() const
{
    return std::min(m_deadlines.nextDeadline(), m_sendAgainAt);
}

void SnmpPoller::runDeadlines()
{
    while (!m_deadlines.empty() && m_deadlines.nextDeadline() <= m_now) {
        SnmpPeer& peer = *m_deadlines.front();
        m_deadlines.remove(peer);
        attempt(peer, [&] { deadlinePassed(peer); });
    }
}

void SnmpPoller::deadlinePassed(SnmpPeer& peer)
{
    if (peer.phase == Phase::Resting) {
        if (!suspend(peer)) {
            beginRead(peer, peer.cadence.nextKind(m_now, peer.liveliness != Liveliness::NoStatus));
        }
    } else if (peer.phase == Phase::Waiting) {
        if (!suspend(peer)) {
            enqueue(peer);
        }
    } else if (m_now >= peer.repeatAt) {
        missed(peer);
    } else {
        setPhase(peer, Phase::Lingering);
        m_deadlines.schedule(peer, peer.repeatAt);
    }
}

bool SnmpPoller::suspend(SnmpPeer& peer)
{
    if (!peer.target->suspend(Source::Snmp, m_now - kUnopened)) {
        return false;
    }
    dropRequest(peer);
    setPhase(peer, Phase::Suspended);
    return true;
}

// --- reads ---

void SnmpPoller::beginRead(SnmpPeer& peer, ReadKind kind)
{
    peer.kind = kind;
    peer.requests = 0;
    peer.readStart = m_now;
    peer.yetToBegin = false;
    if (kind == ReadKind::Fast && askAgain(peer)) {
        return;
    }
    // The session begins when it is the printer's turn: thousands may wait, and one that has begun is large.
    // A late answer to what was asked before is none.
    peer.link->close();
    peer.yetToBegin = true;
    enqueueInTurn(peer);
}

// It is the printer's turn. False when the read has ended without a request.
bool SnmpPoller::openRead(SnmpPeer& peer)
{
    peer.yetToBegin = false;
    if (!peer.session) {
        peer.session = m_sessions(peer.version);
    }
    peer.session->begin(peer.kind);
    if (std::optional<Pdu> pdu = peer.session->nextRequest()) {
        prepare(peer, std::move(*pdu));
        return true;
    }
    readEnded(peer, peer.session->outcome());
    return false;
}

void SnmpPoller::proceed(SnmpPeer& peer)
{
    if (peer.requests >= kMostRequests) {
        readEnded(peer, ReadOutcome::Unusable);
        return;
    }
    if (std::optional<Pdu> pdu = peer.session->nextRequest()) {
        if (!suspend(peer)) { // a read can be long, and its reader gone by now
            ask(peer, std::move(*pdu));
        }
    } else {
        readEnded(peer, peer.session->outcome());
    }
}

void SnmpPoller::readEnded(SnmpPeer& peer, ReadOutcome outcome)
{
    if (outcome != ReadOutcome::Unchanged && outcome != ReadOutcome::Changed) {
        peer.link->forgetQuestion(); // the same answer would have to lead to the same again
    } else if (peer.kind == ReadKind::Full) {
        // The tables are newer than the last answer: whatever comes next is held against them.
        peer.link->forgetReply();
        if (!peer.session->asksTheSame()) {
            peer.link->forgetQuestion();
        }
    }
    peer.liveliness = publish(*peer.target, *peer.session, outcome, peer.liveliness, m_listener);
    if (peer.cadence.finished(peer.kind, outcome, peer.requests, m_now)) {
        beginRead(peer, peer.cadence.nextKind(m_now, peer.liveliness != Liveliness::NoStatus));
    } else {
        rest(peer);
    }
}

void SnmpPoller::rest(SnmpPeer& peer)
{
    const Milliseconds interval = peer.cadence.interval(peer.liveliness, m_now, m_random);
    peer.session->rest();
    if (!peer.isReplay) { // which leaves nothing behind
        peer.link->rest();
    }
    setPhase(peer, Phase::Resting);
    // A printer that takes its time gets half the interval for itself.
    m_deadlines.schedule(peer, std::max(peer.readStart + interval, m_now + interval / 2));
}

// --- versions ---

void SnmpPoller::useVersion(SnmpPeer& peer, Version version)
{
    peer.session.reset(); // made when it is the printer's turn
    peer.version = version;
    peer.link->forgetQuestion();
    peer.liveliness = Liveliness::NoStatus;
}

// After a miss: true when the next request goes out in another version, in a read of its own.
bool SnmpPoller::switchVersion(SnmpPeer& peer)
{
    if (peer.knowledge == VersionKnowledge::Known) {
        return false;
    }
    if (peer.knowledge == VersionKnowledge::Trial) {
        useVersion(peer, Version::V1);
        peer.knowledge = VersionKnowledge::Known; // awake, and silent to v2c
    } else {
        useVersion(peer, peer.version == Version::V2c ? Version::V1 : Version::V2c);
    }
    return true;
}

// --- without memory ---

// What the printer was being asked is void, and what its session knows may be half of something.
void SnmpPoller::startOver(SnmpPeer& peer)
{
    dropRequest(peer);
    peer.session.reset();
    peer.liveliness = Liveliness::NoStatus;
    peer.link->forgetQuestion();
    peer.isReplay = false;
    peer.yetToBegin = false;
    m_deadlines.schedule(peer, m_now + kAfterFailure);
}

} // namespace tarn::snmp
