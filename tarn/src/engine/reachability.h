#pragma once

#include "tarn/src/base/clock.h"
#include "tarn/src/base/random.h"

namespace tarn::engine {

// RoundTrip is how long answers take, smoothed.
class RoundTrip final
{
public:
    void add(Milliseconds sample);
    bool isKnown() const { return m_ms != 0; }
    // 0 while it is not known, else at least 1.
    Milliseconds time() const { return Milliseconds(m_ms); }

private:
    unsigned m_ms = 0;
};

// Reachability keeps the score of one printer's unanswered requests: how patient to be, when it counts as
// unreachable, and how seldom it is then asked.
//
// Guarantees
//  (1) Offline only after three misses in a row, and 5 s after the first of those requests was sent.
//  (2) The patience grows: 1 s (longer for a printer known as slow), then 2 s; once offline the request
//      stays open until it is repeated, so that the answer of a printer that takes 18 s to wake still counts.
//  (3) Offline, requests are at most 10 s apart for the first two minutes, then 15 to 30 s.
//  (4) One answer ends it all.
// Threading: one thread.
class Reachability final
{
public:
    bool isOffline() const { return m_offline; }
    bool isSilent() const { return m_misses > 0; }
    unsigned misses() const { return m_misses; }
    // It did not answer what it was asked last, or never anything: it may be dead.
    bool isSuspect() const { return m_misses > 0 || !m_roundTrip.isKnown(); }
    // When the first of the unanswered requests was sent.
    TimePoint since() const { return m_since; }

    // How long to wait for the answer to a request that is sent now, before it is repeated.
    Milliseconds patience(TimePoint now, Random& random) const;

    // How long an answer may well be on its way: for so long a request takes up room among those in flight.
    // Of who missed the last one nothing is on its way, and many of them must not hold others up; who never
    // answered is thought to take as long as all others do.
    Milliseconds flight(const RoundTrip& ofAll) const;

    // The answer came, so long after the request was sent for the first time.
    void answered(Milliseconds roundTrip);
    // The patience with the request sent at that time has run out. True when this makes the printer offline.
    bool missed(TimePoint sent, TimePoint now);
    // Somebody wants to know anew, or the misses were the fault of this machine: count from here. An offline
    // printer stays so until it answers, but is asked as one that has just fallen silent.
    void reset(TimePoint now);

private:
    TimePoint m_since{};
    unsigned m_misses = 0;
    RoundTrip m_roundTrip;
    bool m_offline = false;
};

} // namespace tarn::engine
