#include "tarn/src/usm/usm_poller.h"

#include <algorithm>

namespace tarn::usm {

using engine::Liveliness;
using engine::Target;
using engine::VersionChoice;
using engine::Way;
using snmp::ReadKind;
using snmp::ReadOutcome;

// What the poller knows of one target.
struct UsmPoller::Peer
{
    std::shared_ptr<Target> target;
    std::unique_ptr<snmp::Session> session;
    engine::Cadence cadence;
    engine::Silence silence;
    engine::RequestLog log;
    snmp::Pdu question;
    std::uint64_t ticket = 0; // of the present question; 0: there is none
    TimePoint readStart{};
    TimePoint firstPut{}; // the present question
    TimePoint lastPut{};
    TimePoint repeatAt{};
    std::size_t heapSlot = engine::DeadlineHeap<Peer>::kOutside; // DeadlineHeap's
    unsigned requests = 0;                                       // of the read so far
    ReadKind kind = ReadKind::Identity;
    Phase phase = Phase::Resting;
    Liveliness liveliness = Liveliness::NoPicture; // of the session's picture
    bool putOnce = false;                          // the present question
    bool countsSilent = false;                     // in flight on the account of the silent
};

UsmPoller::UsmPoller(const Clock& clock, Random& random, std::unique_ptr<UsmPort> port,
                     engine::BackendListener& listener, snmp::SessionFactory sessions)
    : m_clock(clock), m_random(random), m_port(std::move(port)), m_listener(listener),
      m_sessions(std::move(sessions)), m_now(clock.now())
{
}

UsmPoller::~UsmPoller() = default;

void UsmPoller::watch(std::shared_ptr<Target> target)
{
    if (target->address().version != VersionChoice::V3) {
        return;
    }
    m_now = m_clock.now();
    if (!target->address().user) { // the configuration has said why
        engine::publishSilence(*target, m_listener);
        return;
    }
    auto peer = std::make_unique<Peer>();
    peer->cadence.disperse(m_random);
    m_deadlines.makeRoomFor(m_peers.size() + 1);
    auto& place = m_peers[target->address().endpoint];
    if (place) {
        m_port->forget(target->address().endpoint);
        setPhase(*place, Phase::Aside);
        m_deadlines.remove(*place);
    }
    peer->target = std::move(target);
    place = std::move(peer);
    m_deadlines.schedule(*place, m_now);
}

UsmPoller::Peer* UsmPoller::find(const Target& target)
{
    const auto found = m_peers.find(target.address().endpoint);
    return found != m_peers.end() && found->second->target.get() == &target ? found->second.get() : nullptr;
}

void UsmPoller::unwatch(const Target& target)
{
    if (Peer* const peer = find(target)) {
        const engine::Endpoint endpoint = target.address().endpoint;
        m_port->forget(endpoint);
        setPhase(*peer, Phase::Aside);
        m_deadlines.remove(*peer);
        m_peers.erase(endpoint);
    }
}

void UsmPoller::wake(const Target& target)
{
    Peer* const peer = find(target);
    if (peer == nullptr || peer->phase != Phase::Aside) {
        return;
    }
    m_now = m_clock.now();
    peer->silence.forgive(m_now);
    setPhase(*peer, Phase::Resting);
    m_deadlines.schedule(*peer, m_now);
}

void UsmPoller::networkChanged()
{
    m_now = m_clock.now();
    m_port->reopen();
    m_reopening.reopened(m_now);
    for (const auto& entry : m_peers) {
        Peer& peer = *entry.second;
        if (peer.phase != Phase::Aside) {
            peer.ticket = 0;
            setPhase(peer, Phase::Resting);
            peer.silence.forgive(m_now);
            m_deadlines.schedule(peer, m_now);
        }
    }
}

void UsmPoller::run()
{
    m_now = m_clock.now();
    const TimePoint due = nextDeadline();
    if (due != kNever && m_now - due > kSleep) {
        networkChanged();
    }
    for (const UsmAnswer& answer : m_port->take()) {
        const auto found = m_peers.find(answer.endpoint);
        if (found != m_peers.end() && found->second->ticket == answer.ticket) {
            Peer& peer = *found->second;
            attempt(peer, [&] { answered(peer, answer.pdu); });
        }
    }
    while (!m_deadlines.empty() && m_deadlines.nextDeadline() <= m_now) {
        Peer& peer = *m_deadlines.front();
        m_deadlines.remove(peer);
        attempt(peer, [&] { deadlinePassed(peer); });
    }
}

TimePoint UsmPoller::nextDeadline() const
{
    return m_deadlines.nextDeadline();
}

void UsmPoller::deadlinePassed(Peer& peer)
{
    switch (peer.phase) {
    case Phase::Resting:
        if (!putAside(peer)) {
            beginRead(peer);
        }
        break;
    case Phase::Waiting:
        if (!putAside(peer)) {
            put(peer);
        }
        break;
    case Phase::InFlight:
    case Phase::Lingering:
        if (m_now >= peer.repeatAt) {
            missed(peer);
        } else {
            setPhase(peer, Phase::Lingering);
            m_deadlines.schedule(peer, peer.repeatAt);
        }
        break;
    case Phase::Aside:
        break;
    }
}

bool UsmPoller::putAside(Peer& peer)
{
    if (!peer.target->putAside(Way::Snmp, m_now - kUnopened)) {
        return false;
    }
    peer.ticket = 0;
    setPhase(peer, Phase::Aside);
    m_deadlines.remove(peer);
    return true;
}

void UsmPoller::setPhase(Peer& peer, Phase phase)
{
    if (peer.phase == Phase::InFlight) {
        --m_inFlight;
        m_silentInFlight -= peer.countsSilent ? 1 : 0;
    }
    peer.phase = phase;
    if (phase == Phase::InFlight) {
        peer.countsSilent = isSilent(peer);
        ++m_inFlight;
        m_silentInFlight += peer.countsSilent ? 1 : 0;
    }
}

bool UsmPoller::isSilent(const Peer& peer)
{
    return peer.silence.isSilent() || !peer.target->lastAnswer();
}

bool UsmPoller::hasRoom(const Peer& peer) const
{
    return m_inFlight < kMostInFlight && (!isSilent(peer) || m_silentInFlight < kMostSilentInFlight);
}

// --- reads ---

void UsmPoller::beginRead(Peer& peer)
{
    if (!hasRoom(peer)) { // a session that has begun is large
        m_deadlines.schedule(peer, m_now + kNoRoom);
        return;
    }
    begin(peer, peer.cadence.nextKind(m_now, peer.liveliness != Liveliness::NoPicture));
}

void UsmPoller::begin(Peer& peer, ReadKind kind)
{
    peer.kind = kind;
    peer.requests = 0;
    peer.readStart = m_now;
    if (!peer.session) {
        peer.session = m_sessions(snmp::Version::V2c); // whose questions those of version 3 are
    }
    peer.session->begin(kind);
    proceed(peer);
}

void UsmPoller::ask(Peer& peer, snmp::Pdu pdu)
{
    peer.question = std::move(pdu);
    peer.ticket = ++m_lastTicket;
    peer.putOnce = false;
    ++peer.requests;
    const Milliseconds wait = peer.log.wait(m_now);
    if (wait > Milliseconds(0) && !peer.silence.isSilent() &&
        peer.cadence.isRoutine(peer.kind, peer.liveliness, m_now)) {
        setPhase(peer, Phase::Waiting);
        m_deadlines.schedule(peer, m_now + wait);
        return;
    }
    put(peer);
}

void UsmPoller::put(Peer& peer)
{
    setPhase(peer, Phase::Waiting);
    if (!hasRoom(peer)) {
        m_deadlines.schedule(peer, m_now + kNoRoom);
        return;
    }
    setPhase(peer, Phase::InFlight);
    if (!peer.putOnce) {
        peer.putOnce = true;
        peer.firstPut = m_now;
    }
    peer.lastPut = m_now;
    peer.log.sent(m_now);
    peer.repeatAt = m_now + peer.silence.patience(m_now, m_random);
    m_deadlines.schedule(peer, std::min(peer.repeatAt, m_now + peer.silence.flight(m_roundTrip)));
    const engine::PrinterAddress& address = peer.target->address();
    m_port->ask({address.endpoint, peer.ticket, address.user, peer.question, peer.silence.isOffline()});
}

void UsmPoller::answered(Peer& peer, const snmp::Pdu& pdu)
{
    m_reopening.answered(m_now);
    peer.silence.answered(m_now - peer.firstPut);
    m_roundTrip.add(m_now - peer.firstPut);
    peer.ticket = 0;
    setPhase(peer, Phase::Resting);
    m_deadlines.remove(peer);
    peer.target->markAnswered(m_now);
    engine::publishSignOfLife(*peer.target, peer.liveliness, m_listener);
    peer.session->accept(pdu);
    if (peer.requests >= kMostRequests) {
        ended(peer, ReadOutcome::Unusable);
    } else {
        proceed(peer);
    }
}

void UsmPoller::proceed(Peer& peer)
{
    std::optional<snmp::Pdu> pdu = peer.session->nextRequest();
    if (!pdu) {
        ended(peer, peer.session->outcome());
    } else if (!putAside(peer)) { // a read can be long, and its reader gone by now
        ask(peer, std::move(*pdu));
    }
}

void UsmPoller::ended(Peer& peer, ReadOutcome outcome)
{
    peer.liveliness = engine::publish(*peer.target, *peer.session, outcome, peer.liveliness, m_listener);
    if (peer.cadence.finished(peer.kind, outcome, peer.requests, m_now)) {
        // In a round of its own, so that no chain of reads holds up the others.
        setPhase(peer, Phase::Resting);
        m_deadlines.schedule(peer, m_now);
    } else {
        rest(peer);
    }
}

void UsmPoller::rest(Peer& peer)
{
    const Milliseconds interval = peer.cadence.interval(peer.liveliness, m_now, m_random);
    peer.session->rest();
    setPhase(peer, Phase::Resting);
    // A printer that takes its time gets half the interval to breathe.
    m_deadlines.schedule(peer, std::max(peer.readStart + interval, m_now + interval / 2));
}

template <typename Work>
void UsmPoller::attempt(Peer& peer, const Work& work)
{
    try {
        work();
    } catch (const std::exception&) {
        startOver(peer);
    }
}

// What the printer was being asked is void, and what its session knows may be half of something.
void UsmPoller::startOver(Peer& peer)
{
    peer.ticket = 0;
    setPhase(peer, Phase::Resting);
    peer.session.reset();
    peer.liveliness = Liveliness::NoPicture;
    m_deadlines.schedule(peer, m_now + kAfterFailure);
}

// --- silence ---

void UsmPoller::missed(Peer& peer)
{
    const bool becameOffline = peer.silence.missed(peer.lastPut, m_now);
    if (engine::isToBeCalledSilent(*peer.target, peer.silence)) {
        engine::publishSilence(*peer.target, m_listener);
    }
    reopenWhenAllIsSilent(peer);
    if (putAside(peer)) {
        return;
    }
    switch (engine::afterMiss({peer.requests, peer.liveliness, becameOffline}, peer.silence, *peer.session,
                              m_now)) {
    case engine::AfterMiss::Repeat:
        return put(peer);
    case engine::AfterMiss::AskForLess:
        return proceed(peer);
    case engine::AfterMiss::ReadFast:
        return begin(peer, ReadKind::Fast);
    case engine::AfterMiss::ReadIdentity:
        return begin(peer, ReadKind::Identity);
    }
}

void UsmPoller::reopenWhenAllIsSilent(const Peer& peer)
{
    if (m_reopening.isDue(peer.silence, m_now)) {
        m_reopening.reopened(m_now);
        m_port->reopen();
    }
}

} // namespace tarn::usm
