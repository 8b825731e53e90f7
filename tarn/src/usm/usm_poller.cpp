#include "tarn/src/usm/usm_poller.h"

#include <algorithm>

namespace tarn::usm {

using engine::Liveliness;
using engine::Target;
using engine::VersionChoice;
using engine::Way;
using snmp::ReadKind;
using snmp::ReadOutcome;

namespace {

// So many misses in the middle of a conversation may mean that the answer does not get through for its size.
constexpr unsigned kMissesToAskForLess = 2;
// After so long a silence in the middle of a first meeting it may be another device that answers at last.
constexpr Milliseconds kMeetAnew{60000};

} // namespace

// What the poller knows of one target.
struct UsmPoller::Peer
{
    std::shared_ptr<Target> target;
    std::unique_ptr<engine::Dialogue> dialogue;
    engine::Cadence cadence;
    engine::Silence silence;
    engine::RequestLog log;
    snmp::Pdu question;
    std::uint64_t ticket = 0; // of the present question; 0: there is none
    TimePoint conversationStart{};
    TimePoint firstPut{}; // the present question
    TimePoint lastPut{};
    TimePoint repeatAt{};
    std::size_t heapSlot = engine::DeadlineHeap<Peer>::kOutside; // DeadlineHeap's
    unsigned requests = 0;                                       // of the conversation so far
    ReadKind kind = ReadKind::Identity;
    Phase phase = Phase::Resting;
    Liveliness liveliness = Liveliness::NoPicture; // of the dialogue's picture
    bool putOnce = false;                          // the present question
    bool countsSilent = false;                     // in flight on the account of the silent
};

UsmPoller::UsmPoller(const Clock& clock, Random& random, std::unique_ptr<UsmPort> port,
                     engine::BackendListener& listener, engine::DialogueFactory dialogues)
    : m_clock(clock), m_random(random), m_port(std::move(port)), m_listener(listener),
      m_dialogues(std::move(dialogues)), m_now(clock.now())
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
        reportSilent(*target);
        return;
    }
    auto& place = m_peers[target->address().endpoint];
    if (place) {
        setPhase(*place, Phase::Aside);
        m_deadlines.remove(*place);
        m_port->forget(target->address().endpoint);
    }
    place = std::make_unique<Peer>();
    place->target = std::move(target);
    place->dialogue = m_dialogues(snmp::Version::V2c); // whose questions those of version 3 are
    place->cadence.disperse(m_random);
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
        setPhase(*peer, Phase::Aside);
        m_deadlines.remove(*peer);
        m_peers.erase(endpoint);
        m_port->forget(endpoint);
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
    m_lastReopen = m_now;
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
            answered(*found->second, answer.pdu);
        }
    }
    while (!m_deadlines.empty() && m_deadlines.nextDeadline() <= m_now) {
        Peer& peer = *m_deadlines.front();
        m_deadlines.remove(peer);
        deadlinePassed(peer);
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
            beginConversation(peer);
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

// --- conversations ---

void UsmPoller::beginConversation(Peer& peer)
{
    if (!hasRoom(peer)) { // a dialogue that has begun is large
        m_deadlines.schedule(peer, m_now + kNoRoom);
        return;
    }
    begin(peer, peer.cadence.nextKind(m_now, peer.liveliness != Liveliness::NoPicture));
}

void UsmPoller::begin(Peer& peer, ReadKind kind)
{
    peer.kind = kind;
    peer.requests = 0;
    peer.conversationStart = m_now;
    peer.dialogue->begin(kind);
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
    m_deadlines.schedule(peer,
                         std::min(peer.repeatAt, m_now + (peer.countsSilent ? kSilentFlight : kFlight)));
    const engine::PrinterAddress& address = peer.target->address();
    m_port->ask({address.endpoint, peer.ticket, address.user, peer.question});
}

void UsmPoller::answered(Peer& peer, const snmp::Pdu& pdu)
{
    Target& target = *peer.target;
    m_lastAccepted = m_now;
    peer.silence.answered(m_now - peer.firstPut);
    peer.ticket = 0;
    setPhase(peer, Phase::Resting);
    m_deadlines.remove(peer);
    target.markAnswered(m_now);
    if (peer.liveliness != Liveliness::NoPicture && !target.answers(Way::Snmp)) {
        // Back at the first answer, with the last good picture until this conversation has a new one. Who was
        // never seen before comes with his picture.
        target.report(Way::Snmp, target.pictureBy(Way::Snmp));
        m_listener.targetChanged(target);
    }
    peer.dialogue->accept(pdu);
    if (peer.requests >= kMostRequests) {
        publish(peer, ReadOutcome::Unusable);
        peer.cadence.finished(peer.kind, ReadOutcome::Unusable, peer.requests, m_now);
        rest(peer);
        return;
    }
    proceed(peer);
}

void UsmPoller::proceed(Peer& peer)
{
    std::optional<snmp::Pdu> pdu = peer.dialogue->nextRequest();
    if (!pdu) {
        ended(peer);
    } else if (!putAside(peer)) { // a conversation can be long, and its reader gone by now
        ask(peer, std::move(*pdu));
    }
}

void UsmPoller::ended(Peer& peer)
{
    const ReadOutcome outcome = peer.dialogue->outcome();
    publish(peer, outcome);
    if (peer.cadence.finished(peer.kind, outcome, peer.requests, m_now)) {
        // In a round of its own, so that no chain of conversations holds up the others.
        setPhase(peer, Phase::Resting);
        m_deadlines.schedule(peer, m_now);
    } else {
        rest(peer);
    }
}

void UsmPoller::publish(Peer& peer, ReadOutcome outcome)
{
    Target& target = *peer.target;
    if (outcome != ReadOutcome::Changed && target.answers(Way::Snmp) && target.isMet()) {
        return;
    }
    const std::shared_ptr<const device::DeviceStatus> status = peer.dialogue->status();
    peer.liveliness = engine::livelinessOf(status.get());
    // What answers and is no printer, as far as one can see, keeps the picture that is remembered.
    target.report(Way::Snmp, status ? *status : target.pictureBy(Way::Snmp));
    target.markMet();
    m_listener.targetChanged(target);
}

void UsmPoller::rest(Peer& peer)
{
    const Milliseconds interval = peer.cadence.interval(peer.liveliness, m_now, m_random);
    peer.dialogue->rest();
    setPhase(peer, Phase::Resting);
    // A printer that takes its time gets half the interval to breathe.
    m_deadlines.schedule(peer, std::max(peer.conversationStart + interval, m_now + interval / 2));
}

// --- silence ---

void UsmPoller::missed(Peer& peer)
{
    const bool offlineNow = peer.silence.missed(peer.lastPut, m_now);
    // A first meeting across a bad network would never end if each silence began it anew.
    const bool halfMet = peer.liveliness == Liveliness::NoPicture && peer.requests > 1;
    if (offlineNow) {
        reportSilent(*peer.target);
    }
    reopenWhenAllIsSilent(peer);
    if (putAside(peer)) {
        return;
    }
    if (offlineNow && !halfMet) {
        // Whatever was being read is void; the smallest question finds out soonest that it is back.
        begin(peer, peer.liveliness != Liveliness::NoPicture ? ReadKind::Fast : ReadKind::Identity);
    } else if (halfMet && m_now - peer.silence.since() >= kMeetAnew) {
        begin(peer, ReadKind::Identity);
    } else if (peer.requests > 1 && peer.silence.misses() == kMissesToAskForLess &&
               peer.dialogue->noAnswer()) {
        begin(peer, peer.kind);
    } else {
        put(peer);
    }
}

void UsmPoller::reportSilent(Target& target)
{
    target.reportSilent(Way::Snmp);
    target.markMet();
    m_listener.targetChanged(target);
}

// When nobody at all answers any more it may be this socket's fault: an interface that went and came back.
void UsmPoller::reopenWhenAllIsSilent(const Peer& peer)
{
    if (peer.silence.isOffline() && m_lastAccepted < peer.silence.since() &&
        m_now - m_lastReopen >= kReopenGap) {
        m_lastReopen = m_now;
        m_port->reopen();
    }
}

} // namespace tarn::usm
