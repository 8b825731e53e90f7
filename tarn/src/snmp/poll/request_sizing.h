#pragma once

#include <cstdint>

#include "tarn/src/snmp/wire/pdu.h"

namespace tarn::snmp {

// How large requests to one device may become. Shared by all readers of a session, so that what was learnt
// from an answer is not forgotten.
struct RequestLimits
{
    static constexpr int kMostResults = 48;

    bool bulk = true;              // GETBULK may be used
    int maxResults = kMostResults; // bindings that one answer is asked to hold
    int requestsLeft = 200;        // of this read

    bool asksLike(const RequestLimits& other) const
    {
        return bulk == other.bulk && maxResults == other.maxResults;
    }
};

// Retrial says when something that a device failed at is tried again: at the next whole reading and, each
// time that it fails again, after twice as many, up to an hour's.
class Retrial final
{
public:
    bool isSuspended() const { return m_left > 0; }
    bool isOnTrial() const { return m_gap > 0 && m_left == 0; }
    void failed();
    void succeeded() { m_gap = m_left = 0; }
    void wholeReadingBegins()
    {
        if (m_left > 0) {
            --m_left;
        }
    }

private:
    std::uint8_t m_gap = 0;  // whole readings from the last failure to the next trial; 0: nothing has failed
    std::uint8_t m_left = 0; // of them
};

// RequestSizing decides how much is asked of one device at once. Two things make it less:
//  - GETBULK that was refused is left alone until its next trial; the readers say so in limits().
//  - A large request that stays unanswered while the device is there may be more than it can hold: some drop
//    what they should call tooBig. The network loses requests, too, and devices are switched off. So it takes
//    evidence: a small request is answered, a large one put once more stays unanswered again, and again a
//    small one is answered. From then on requests are small, until the next trial of a large one, which needs
//    to fail only once.
//
// Invariants
//  (1) Nothing is concluded from requests that stay unanswered unless a small one is answered after them.
//  (2) A trial ends well only with a whole reading in which nothing failed.
// Threading: one thread.
class RequestSizing final
{
public:
    explicit RequestSizing(Version version);

    // In force for the next request.
    RequestLimits& limits() { return m_limits; }
    const RequestLimits& limits() const { return m_limits; }

    void beginRead(bool wholeReading);
    // For all we know it is another device: what one answer can hold is learnt anew.
    void forgetAnswerSize() { m_normal.maxResults = RequestLimits::kMostResults; }
    void asked(const Pdu& request);
    // The request that was asked last, after the readers took the answer.
    void answered();
    // The same has stayed unanswered so many times in a row, with those before it. True when limits() are
    // smaller now.
    bool unanswered(unsigned misses);
    void endRead(bool wholeReading);

private:
    enum class Probe : std::uint8_t
    {
        None,
        Small,        // a large request stayed unanswered: is a small one answered?
        LargeAgain,   // it was: is one as large as that which was not? Perhaps in a later read only
        SmallConfirm, // it was not either: is a small one?
    };

    bool isSmall() const;
    void apply();

    // constant after construction
    const Version m_version;

    RequestLimits m_limits;
    RequestLimits m_normal; // where nothing makes requests small
    Retrial m_bulk;
    Retrial m_large;
    Probe m_probe = Probe::None;
    std::uint32_t m_unansweredSize = 0; // bindings asked for by the request that began the probe
    // of the read
    std::uint32_t m_askedSize = 0;
    bool m_answeredBulk = false;
    bool m_answeredLarge = false;
    // of the last request
    bool m_askedBulk = false;
    bool m_askedLarge = false;
};

} // namespace tarn::snmp
