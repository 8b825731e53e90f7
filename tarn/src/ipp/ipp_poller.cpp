#include "tarn/src/ipp/ipp_poller.h"

#include <algorithm>

#include "tarn/src/device/status_field.h"
#include "tarn/src/ipp/ipp_status.h"

namespace tarn::ipp {

using engine::IppChoice;
using engine::Source;
using engine::Target;

namespace {

constexpr Milliseconds kFirstSilent{30000};
constexpr Milliseconds kLongestSilent{300000};
constexpr Milliseconds kFirstRefused{60000};
constexpr Milliseconds kLongestRefused{600000};
// A printer that answered in this run may just be restarting.
constexpr Milliseconds kFirstOfKnown{5000};
constexpr unsigned kMostDoublings = 10;

engine::IppSettings settingsOf(const Target& target)
{
    return target.address().ipp ? *target.address().ipp : engine::IppSettings();
}

bool knowsALevel(const std::vector<device::Supply>& supplies)
{
    return std::any_of(supplies.begin(), supplies.end(), [](const device::Supply& supply) {
        return supply.levelKind != device::LevelKind::Unknown;
    });
}

// Whether IPP may know what SNMP did not say.
bool lacksSomething(const device::DeviceStatus& status)
{
    using device::StatusField;
    for (const StatusField field : {StatusField::Model, StatusField::SerialNumber, StatusField::Supplies,
                                    StatusField::Trays, StatusField::Counters}) {
        if (!device::tells(status, field)) {
            return true;
        }
    }
    return !knowsALevel(status.supplies);
}

} // namespace

IppPoller::IppPoller(const Clock& clock, Random& random, engine::BackendListener& listener,
                     std::unique_ptr<RequestQueue> requests, std::size_t mostInFlight)
    : m_clock(clock), m_random(random), m_listener(listener), m_requests(std::move(requests)),
      m_mostInFlight(mostInFlight), m_now(clock.now())
{
}

void IppPoller::watch(std::shared_ptr<Target> target)
{
    m_now = m_clock.now();
    if (target->address().endpoint.address == 0 || settingsOf(*target).choice == IppChoice::Off) {
        return;
    }
    Entry& entry = m_entries[target.get()];
    entry.target = std::move(target);
    consider(entry);
}

void IppPoller::unwatch(const Target& target)
{
    const auto found = m_entries.find(&target);
    if (found == m_entries.end()) {
        return;
    }
    if (found->second.peer) {
        drop(*found->second.peer);
    }
    m_entries.erase(found);
}

void IppPoller::wake(const Target& target)
{
    const auto found = m_entries.find(&target);
    if (found == m_entries.end()) {
        return;
    }
    m_now = m_clock.now();
    Entry& entry = found->second;
    if (!entry.peer) {
        consider(entry);
        return;
    }
    Peer& peer = *entry.peer;
    if (peer.phase != Phase::Suspended) {
        return;
    }
    if (peer.besideSnmp) {
        scheduleBesideSnmp(peer, m_now);
        return;
    }
    peer.reachability.reset(m_now);
    peer.phase = Phase::Resting;
    m_deadlines.schedule(peer, m_now);
}

void IppPoller::networkChanged()
{
    m_now = m_clock.now();
    for (auto& item : m_entries) {
        Peer* const peer = item.second.peer.get();
        if (peer != nullptr && peer->phase == Phase::Resting && !peer->besideSnmp) {
            peer->reachability.reset(m_now);
            peer->setbacks = 0;
            m_deadlines.schedule(*peer, m_now + Milliseconds(m_random.below(
                                                    static_cast<std::uint32_t>(kLongestSpread.count()))));
        }
    }
}

void IppPoller::targetReported(Target& target)
{
    const auto found = &target == m_telling ? m_entries.end() : m_entries.find(&target);
    if (found != m_entries.end()) {
        m_now = m_clock.now();
        consider(found->second);
    }
}

// Begins to ask where that is called for, once it is known whether the printer answers SNMP.
void IppPoller::consider(Entry& entry)
{
    Target& target = *entry.target;
    if (!target.isMet()) {
        return;
    }
    if (target.answers(Source::Snmp)) {
        if (!entry.besideSnmp) {
            becomeBesideSnmp(entry);
        }
        return;
    }
    if (!entry.peer && !entry.besideSnmp) {
        const auto spread = static_cast<std::uint32_t>(kLongestSpread.count());
        begin(entry, m_entries.size() > kFewPrinters ? m_now + Milliseconds(m_random.below(spread)) : m_now);
    }
}

// It answers SNMP for the first time.
void IppPoller::becomeBesideSnmp(Entry& entry)
{
    if (!entry.peer) {
        if (lacksSomething(entry.target->statusBy(Source::Snmp))) {
            begin(entry,
                  m_now + Milliseconds(m_random.below(static_cast<std::uint32_t>(kLongestSpread.count()))));
            entry.peer->besideSnmp = true;
        }
        entry.besideSnmp = true;
        return;
    }
    entry.besideSnmp = true;
    Peer& peer = *entry.peer;
    peer.besideSnmp = true;
    if (entry.target->answers(Source::Ipp)) {
        entry.target->reportOffline(Source::Ipp); // what it said stays known
    }
    if (peer.phase == Phase::Resting || peer.phase == Phase::Queued) {
        m_tickets.erase(peer.ticket);
        scheduleBesideSnmp(peer, m_now);
    }
}

void IppPoller::begin(Entry& entry, TimePoint at)
{
    m_deadlines.makeRoomFor(m_peers + 1);
    entry.peer = std::make_unique<Peer>();
    ++m_peers;
    entry.peer->target = entry.target;
    entry.peer->phase = Phase::Resting;
    m_deadlines.schedule(*entry.peer, at);
}

// Forgets the peer's place everywhere; its request, if any, is answered to nobody.
void IppPoller::drop(Peer& peer)
{
    m_deadlines.remove(peer);
    if (peer.phase == Phase::InFlight) {
        m_requests->cancel(peer.ticket);
    }
    leaveFlight(peer);
    m_tickets.erase(peer.ticket);
    --m_peers;
}

void IppPoller::scheduleBesideSnmp(Peer& peer, TimePoint earliest)
{
    peer.phase = Phase::Resting;
    m_deadlines.schedule(peer, peer.askedEver ? std::max(earliest, peer.asked + kBesideSnmp) : earliest);
}

void IppPoller::run()
{
    m_now = m_clock.now();
    const TimePoint due = nextDeadline();
    if (due != kNever && m_now - due > kSleep) {
        networkChanged();
    }
    for (const FinishedRequest& request : m_requests->takeFinished()) {
        const auto found = m_tickets.find(request.ticket);
        if (found != m_tickets.end()) {
            Peer& peer = *found->second;
            attempt(peer, [&] { finished(peer, request); });
        }
    }
    runDeadlines();
    giveOut();
}

void IppPoller::runDeadlines()
{
    while (!m_deadlines.empty() && m_deadlines.nextDeadline() <= m_now) {
        Peer& peer = *m_deadlines.front();
        m_deadlines.remove(peer);
        attempt(peer, [&] { deadlinePassed(peer); });
    }
}

template <typename Work>
void IppPoller::attempt(Peer& peer, const Work& work)
{
    try {
        work();
    } catch (const std::exception&) {
        startOver(peer);
    }
}

// What the printer was being asked is void, and what it said may not have been told.
void IppPoller::startOver(Peer& peer)
{
    m_telling = nullptr;
    leaveFlight(peer);
    m_tickets.erase(peer.ticket);
    peer.digest = 0;
    if (peer.besideSnmp) {
        scheduleBesideSnmp(peer, m_now + kAfterFailure);
        return;
    }
    peer.phase = Phase::Resting;
    m_deadlines.schedule(peer, m_now + kAfterFailure);
}

void IppPoller::deadlinePassed(Peer& peer)
{
    Target& target = *peer.target;
    if (target.suspend(Source::Ipp, m_now - kUnopened)) {
        peer.phase = Phase::Suspended;
        return;
    }
    // Silent to SNMP now, it is off, or asleep and not to be woken; and it may have told all by itself.
    if (peer.besideSnmp &&
        (!target.answers(Source::Snmp) || !lacksSomething(target.statusBy(Source::Snmp)))) {
        peer.asked = m_now;
        peer.askedEver = true;
        scheduleBesideSnmp(peer, m_now);
        return;
    }
    peer.phase = Phase::Queued;
    const bool silent = peer.missedLast || !target.answers(Source::Ipp);
    (silent ? m_silentQueue : m_queue).push_back(newTicket(peer));
}

Ticket IppPoller::newTicket(Peer& peer)
{
    peer.ticket = ++m_lastTicket;
    m_tickets[peer.ticket] = &peer;
    return peer.ticket;
}

void IppPoller::giveOut()
{
    while (m_inFlight < m_mostInFlight &&
           (giveOutOf(m_queue, false) ||
            (m_silentInFlight < m_mostInFlight / 2 && giveOutOf(m_silentQueue, true)))) {
    }
}

// False when nobody waits there.
bool IppPoller::giveOutOf(std::deque<Ticket>& queue, bool silent)
{
    while (!queue.empty()) {
        const auto found = m_tickets.find(queue.front());
        queue.pop_front();
        if (found == m_tickets.end()) {
            continue; // it is watched no more, or waits for something else
        }
        Peer& peer = *found->second;
        attempt(peer, [&] { sendRequest(peer, silent); });
        return true;
    }
    return false;
}

void IppPoller::sendRequest(Peer& peer, bool silent)
{
    IppRequest request;
    request.address = peer.target->address().endpoint.address;
    request.settings = settingsOf(*peer.target);
    request.route = peer.route;
    peer.phase = Phase::InFlight;
    peer.asked = m_now;
    peer.askedEver = true;
    peer.countsSilent = silent;
    ++m_inFlight;
    m_silentInFlight += silent ? 1 : 0;
    if (!m_requests->send(peer.ticket, std::move(request))) {
        m_tickets.erase(peer.ticket);
        leaveFlight(peer);
        notSent(peer);
    }
}

void IppPoller::leaveFlight(Peer& peer)
{
    if (peer.phase == Phase::InFlight) {
        --m_inFlight;
        m_silentInFlight -= peer.countsSilent ? 1 : 0;
        peer.phase = Phase::Resting;
    }
}

void IppPoller::finished(Peer& peer, const FinishedRequest& request)
{
    m_tickets.erase(request.ticket);
    leaveFlight(peer);
    const IppOutcome outcome = request.answer.outcome;
    if (outcome == IppOutcome::NotSent || outcome == IppOutcome::NoLibrary) {
        notSent(peer);
        return;
    }
    peer.missedLast = outcome != IppOutcome::Answered || request.answer.printers.empty();
    if (peer.missedLast) {
        missed(peer, outcome);
    } else {
        answered(peer, request.answer);
    }
}

void IppPoller::answered(Peer& peer, const IppAnswer& answer)
{
    peer.route = answer.route;
    peer.answeredEver = true;
    peer.setbacks = 0;
    peer.reachability.answered(m_now - peer.asked);
    report(peer, buildStatus(answer.printers.front()));
    if (peer.besideSnmp) {
        scheduleBesideSnmp(peer, m_now);
        return;
    }
    const Milliseconds interval = peer.cadence.interval(peer.liveliness, m_now, m_random);
    // A printer that takes its time gets half the interval between its answer and the next request.
    m_deadlines.schedule(peer, std::max(peer.asked + interval, m_now + interval / 2));
}

void IppPoller::report(Peer& peer, const device::DeviceStatus& status)
{
    Target& target = *peer.target;
    const std::uint64_t digest = device::PackedStatus(status).digest();
    const bool changed = digest != peer.digest;
    peer.digest = digest;
    peer.liveliness = engine::livelinessOf(&status);
    peer.cadence.finished(engine::ReadKind::Full,
                          changed ? engine::ReadOutcome::Changed : engine::ReadOutcome::Unchanged, 1, m_now);
    if (peer.besideSnmp) {
        if (changed) {
            target.reportKnown(Source::Ipp, status);
            tell(target);
        }
        return;
    }
    target.markAnswered(m_now);
    if (changed || !target.answers(Source::Ipp)) {
        target.report(Source::Ipp, status);
        tell(target);
    }
}

void IppPoller::tell(Target& target)
{
    m_telling = &target;
    m_listener.targetChanged(target);
    m_telling = nullptr;
}

void IppPoller::missed(Peer& peer, IppOutcome outcome)
{
    if (peer.besideSnmp) {
        scheduleBesideSnmp(peer, m_now);
        return;
    }
    Target& target = *peer.target;
    const bool wasOffline = peer.reachability.isOffline();
    if (peer.reachability.missed(peer.asked, m_now) && target.answers(Source::Ipp)) {
        target.reportOffline(Source::Ipp);
        tell(target);
    }
    // A printer that answers is asked again soon before it counts as unreachable; a stranger has no such
    // right.
    if (peer.answeredEver && !wasOffline && !peer.reachability.isOffline()) {
        m_deadlines.schedule(peer, m_now + kAfterMiss);
        return;
    }
    m_deadlines.schedule(peer, m_now + backOff(peer, outcome));
    ++peer.setbacks;
}

// It was not asked, so that nothing is known of it.
void IppPoller::notSent(Peer& peer)
{
    m_deadlines.schedule(peer, m_now + doubled(kFirstNotSent, kLongestNotSent, peer.setbacks));
    ++peer.setbacks;
}

Milliseconds IppPoller::backOff(const Peer& peer, IppOutcome outcome)
{
    const bool silent = outcome == IppOutcome::Silent;
    Milliseconds first = silent ? kFirstSilent : kFirstRefused;
    if (peer.answeredEver) {
        first = kFirstOfKnown;
    }
    const Milliseconds longest = silent ? kLongestSilent : kLongestRefused;
    return doubled(first, longest, peer.setbacks);
}

// A little less, at random.
Milliseconds IppPoller::doubled(Milliseconds first, Milliseconds longest, unsigned times)
{
    const Milliseconds wait = std::min(longest, first * (1u << std::min(times, kMostDoublings)));
    return wait - Milliseconds(m_random.below(static_cast<std::uint32_t>(wait.count() * 15 / 100)));
}

} // namespace tarn::ipp
