#include "tarn/src/engine/cadence.h"

#include <algorithm>

namespace tarn::engine {

namespace {

constexpr Milliseconds kLongestInterval{60000};
constexpr Milliseconds kInARow{180000};  // restarts closer together than this belong together
constexpr unsigned kPatientRestarts = 2; // that many restarts in a row slow nothing down

bool isBusy(const device::DeviceStatus& status)
{
    return status.activity == device::Activity::Printing || status.activity == device::Activity::WarmUp ||
           !status.alerts.empty();
}

// Up to 6 % less, never more: ten thousand printers drift apart, and no status gets older than its interval.
Milliseconds jittered(Milliseconds interval, Random& random)
{
    const auto spread = static_cast<std::uint32_t>(interval.count() * 6 / 100);
    return interval - Milliseconds(random.below(spread + 1));
}

} // namespace

Liveliness livelinessOf(const device::DeviceStatus* status)
{
    if (status == nullptr) {
        return Liveliness::NoStatus;
    }
    return isBusy(*status) ? Liveliness::Busy : Liveliness::Calm;
}

void Cadence::disperse(Random& random)
{
    m_firstFullGap = Milliseconds(random.below(static_cast<std::uint32_t>(kFullInterval.count()) + 1));
}

ReadKind Cadence::nextKind(TimePoint now, bool hasStatus) const
{
    if (m_identityWanted || !hasStatus) {
        return ReadKind::Identity;
    }
    const bool counterDue = m_counterMoved && now - m_fullEnded >= m_fullGap;
    return counterDue || now >= m_fullDue ? ReadKind::Full : ReadKind::Fast;
}

bool Cadence::isRoutine(ReadKind kind, Liveliness liveliness, TimePoint now) const
{
    if (kind == ReadKind::Identity || liveliness != Liveliness::Calm || changedLately(now)) {
        return false;
    }
    // A counter that moved means something, unless it is one that moves for nothing.
    return !m_counterMoved || m_fullGap > kShortestFullGap;
}

bool Cadence::finished(ReadKind kind, ReadOutcome outcome, unsigned requests, TimePoint now)
{
    if (outcome == ReadOutcome::Changed) {
        m_changed = m_fullEver; // the first status is no change
        m_changedAt = now;
    }
    m_unusableReads = outcome == ReadOutcome::Unusable ? m_unusableReads + 1 : 0;
    if (kind != ReadKind::Fast) {
        finishedTables(kind, outcome, requests, now);
    }
    // Only a read of less than was asked for leads on at once: else a printer could keep us asking for ever.
    if (outcome == ReadOutcome::Restarted) {
        return restarted(now) && kind != ReadKind::Identity;
    }
    if (outcome == ReadOutcome::NeedsFull) {
        m_counterMoved = true;
        return kind == ReadKind::Fast && now - m_fullEnded >= m_fullGap;
    }
    return false;
}

void Cadence::finishedTables(ReadKind kind, ReadOutcome outcome, unsigned requests, TimePoint now)
{
    if (m_counterMoved) {
        // Counters that move without anything to see for it buy ever fewer looks at the tables.
        m_fullGap =
            outcome == ReadOutcome::Changed ? kShortestFullGap : std::min(m_fullGap * 2, kFullInterval);
    }
    m_counterMoved = false;
    const Milliseconds regular = m_fullEver ? kFullInterval : m_firstFullGap;
    m_fullEver = true;
    m_fullEnded = now;
    m_fullDue = now + std::max(regular, kFullInTurn * (requests > 0 ? requests - 1 : 0));
    if (kind == ReadKind::Identity) {
        m_identityWanted = false;
    }
}

bool Cadence::restarted(TimePoint now)
{
    m_restarts = m_restartEver && now - m_restartedAt < kInARow ? m_restarts + 1 : 0;
    m_restartEver = true;
    m_restartedAt = now;
    m_identityWanted = true;
    return m_restarts < kPatientRestarts;
}

Milliseconds Cadence::interval(Liveliness liveliness, TimePoint now, Random& random) const
{
    if (liveliness == Liveliness::NoStatus) {
        // A printer that is still starting has its tables soon; a stranger will never have them.
        return jittered(std::min(kNonPrinterInterval, kIdleInterval * (1u << std::min(m_unusableReads, 4u))),
                        random);
    }
    Milliseconds interval =
        liveliness == Liveliness::Busy || changedLately(now) ? kBusyInterval : kIdleInterval;
    if (m_restarts >= kPatientRestarts && now - m_restartedAt < kInARow) {
        interval = std::min(kLongestInterval, kIdleInterval * (1u << std::min(m_restarts, 4u)));
    }
    return jittered(interval, random);
}

} // namespace tarn::engine
