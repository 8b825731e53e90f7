#include "tarn/src/engine/reachability.h"

#include <algorithm>

namespace tarn::engine {

namespace {

constexpr Milliseconds kFirstPatience{1000};
constexpr Milliseconds kNextPatience{2000};
constexpr Milliseconds kLongestPatience{5000}; // while it counts as reachable
constexpr Milliseconds kShortestFlight{100};
constexpr Milliseconds kUnknownFlight{400}; // of a network that nobody has answered on yet
constexpr Milliseconds kLongestFlight{2000};
constexpr unsigned kMissesToOffline = 3;
constexpr Milliseconds kSilenceToOffline{5000};
constexpr Milliseconds kSoon{120000}; // of silence, during which it may well come back
constexpr Milliseconds kSoonInterval{10000};
constexpr Milliseconds kLaterInterval{20000};
constexpr Milliseconds kLatestInterval{30000};

} // namespace

void RoundTrip::add(Milliseconds sample)
{
    const auto ms = static_cast<unsigned>(std::clamp<std::int64_t>(sample.count(), 1, 60000));
    m_ms = m_ms == 0 ? ms : (m_ms * 3 + ms) / 4;
}

Milliseconds Reachability::patience(TimePoint now, Random& random) const
{
    if (!m_offline) {
        const Milliseconds known = 2 * m_roundTrip.time();
        return std::clamp(known, m_misses == 0 ? kFirstPatience : kNextPatience, kLongestPatience);
    }
    const Milliseconds silent = now - m_since;
    Milliseconds longest = kLatestInterval;
    if (silent < kSoon) {
        // 3, 5, 8, 10 ... s: a printer that was switched off and on again is seen soon.
        longest = std::clamp(silent / 2, kNextPatience + kFirstPatience, kSoonInterval);
    } else if (silent < kSoon + kLatestInterval) {
        longest = kLaterInterval;
    }
    const auto jitter = static_cast<std::uint32_t>(longest.count() * 15 / 100);
    return longest - Milliseconds(random.below(jitter + 1));
}

Milliseconds Reachability::flight(const RoundTrip& ofAll) const
{
    if (m_misses > 0) {
        return kShortestFlight;
    }
    if (!m_roundTrip.isKnown() && !ofAll.isKnown()) {
        return kUnknownFlight;
    }
    const Milliseconds usual = m_roundTrip.isKnown() ? 4 * m_roundTrip.time() : 2 * ofAll.time();
    return std::clamp(usual, kShortestFlight, kLongestFlight);
}

void Reachability::answered(Milliseconds roundTrip)
{
    m_roundTrip.add(roundTrip);
    m_misses = 0;
    m_offline = false;
}

bool Reachability::missed(TimePoint sent, TimePoint now)
{
    if (m_misses == 0) {
        m_since = sent;
    }
    ++m_misses;
    if (m_offline || m_misses < kMissesToOffline || now - m_since < kSilenceToOffline) {
        return false;
    }
    m_offline = true;
    return true;
}

void Reachability::reset(TimePoint now)
{
    m_since = now;
    if (!m_offline) {
        m_misses = 0;
    }
}

} // namespace tarn::engine
