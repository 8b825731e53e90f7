#pragma once

#include <cstdint>
#include <deque>
#include <memory>
#include <unordered_map>
#include <vector>

#include "tarn/src/base/random.h"
#include "tarn/src/engine/backend.h"
#include "tarn/src/snmp/poll/read_results.h"
#include "tarn/src/snmp/poll/snmp_peer.h"
#include "tarn/src/snmp/poll/snmp_transport.h"

namespace tarn::snmp {

// SnmpPoller is the back-end "sm": it keeps the statuses of all targets that its transport carries fresh over
// SNMP.
//
// Invariants
//  (1) One request at a time to one printer, the one at its link; the transport tells which replies answer
//      it.
//  (2) Of printers that answer at most kMostAnsweringInFlight are on their way. Printers that may be dead
//      (Reachability::isSuspect) have a lane of their own with kMostSuspectsInFlight, each for a moment only:
//      a segment that falls silent holds nobody else up.
//  (3) A request ends in exactly one way: answered, given up, or dropped with its target.
//  (4) A reply that says what the last one said is not handed on; the session is told of a question that was
//      asked in its name when its reply is a new one.
//  (5) A read begins when those under way need no room any more: of ten thousand printers met at once a few
//      hundred are half read at any time, not all of them.
//  (6) A read ends after at most kMostRequests requests, whatever the answers are.
//  (7) A peer that is not Suspended has a place in a queue or a deadline, whatever throws: one whose turn
//      ends without memory begins anew kAfterFailure later, and a request leaves its queue when it is sent.
// Threading: engine thread only.
// Ownership: owns the transport; borrows clock, randomness and listener, which must outlive it.
class SnmpPoller final : public engine::Backend
{
public:
    static constexpr std::size_t kMostAnsweringInFlight = 256; // a socket's buffer may hold no more answers
    static constexpr std::size_t kMostSuspectsInFlight = 128;
    static constexpr std::size_t kMostInFlight = kMostAnsweringInFlight + kMostSuspectsInFlight;
    static constexpr std::size_t kBacklog = 64; // so many answers on their way may not wait for each other
    static constexpr std::size_t kStrays = 4;   // more that nobody asked for, in one run(), are a flood
    static constexpr Milliseconds kFlood{1000}; // for so long after that
    static constexpr unsigned kMostRequests = 400;
    static constexpr Milliseconds kUnopened{60000};    // nobody opened it for so long: it is not asked
    static constexpr Milliseconds kSleep{10000};       // run() so late means that the machine slept
    static constexpr Milliseconds kAfterFailure{1000}; // memory ran out in the printer's turn
    static constexpr unsigned kStartsPerMs = 3;        // many printers at once begin one after the other
    static constexpr Milliseconds kLongestSpread{5000};

    SnmpPoller(const Clock& clock, Random& random, std::unique_ptr<SnmpTransport> transport,
               engine::BackendListener& listener, SessionFactory sessions);

    const char* name() const override { return "sm"; }
    void watch(std::shared_ptr<engine::Target> target) override;
    void unwatch(const engine::Target& target) override;
    void wake(const engine::Target& target) override;
    void networkChanged() override;
    void run() override;
    TimePoint nextDeadline() const override;
    int descriptor() const override { return m_transport->descriptor(); }
    bool hasBacklog() const override { return m_answeringInFlight > kBacklog || m_now < m_floodedUntil; }

    std::size_t inFlight() const { return m_answeringInFlight + m_suspectsInFlight; }

private:
    struct Place
    {
        engine::Endpoint endpoint;
        std::uint32_t ticket;
    };
    using Queue = std::deque<Place>;
    struct Queued
    {
        SnmpPeer* peer;
        std::size_t place; // in its queue
    };

    // receiving
    void receiveAll();
    void deliver(SnmpPeer& peer, const SnmpReply& reply);
    bool deliverReplay(SnmpPeer& peer, const SnmpReply& reply);
    void replyArrived(SnmpPeer& peer);
    bool informSession(SnmpPeer& peer);

    // reads
    void beginRead(SnmpPeer& peer, engine::ReadKind kind);
    bool openRead(SnmpPeer& peer);
    void proceed(SnmpPeer& peer);
    void readEnded(SnmpPeer& peer, engine::ReadOutcome outcome);
    void rest(SnmpPeer& peer);

    // requests
    void ask(SnmpPeer& peer, Pdu pdu);
    void prepare(SnmpPeer& peer, Pdu pdu);
    bool askAgain(SnmpPeer& peer);
    void enqueueInTurn(SnmpPeer& peer);
    void enqueue(SnmpPeer& peer);
    void dropRequest(SnmpPeer& peer);
    void setPhase(SnmpPeer& peer, Phase phase);

    // sending
    void sendQueued();
    bool sendSome(Queue& queue, Lane lane, std::size_t room);
    SnmpPeer* peerAt(const engine::Endpoint& endpoint);
    void findWaiting(const Queue& queue, std::size_t room);
    void addToBatch(SnmpPeer& peer, std::size_t place);
    void markSent(SnmpPeer& peer);

    // deadlines
    void runDeadlines();
    void leave(SnmpPeer& peer);
    void deadlinePassed(SnmpPeer& peer);
    void missed(SnmpPeer& peer);
    void renumber(SnmpPeer& peer);
    bool suspend(SnmpPeer& peer);
    bool switchVersion(SnmpPeer& peer);
    void useVersion(SnmpPeer& peer, Version version);
    void reopenWhenAllIsSilent(const SnmpPeer& peer);
    TimePoint nextStart();

    // without memory
    template <typename Work>
    void attempt(SnmpPeer& peer, const Work& work);
    void startOver(SnmpPeer& peer);

    // constant after construction
    const Clock& m_clock;
    Random& m_random;
    const std::unique_ptr<SnmpTransport> m_transport;
    engine::BackendListener& m_listener;
    const SessionFactory m_sessions;

    std::unordered_map<engine::Endpoint, std::unique_ptr<SnmpPeer>, engine::EndpointHash> m_peers;
    engine::DeadlineHeap<SnmpPeer> m_deadlines;
    Queue m_underway;                 // of printers that answer, in the middle of a read
    Queue m_queue;                    // of printers that answer, with a read's first request
    Queue m_suspects;                 // of those that may be dead
    std::vector<SnmpPeer*> m_waiting; // at the front of a queue; null: nobody any more
    std::vector<Queued> m_batch;
    std::vector<SnmpLink*> m_links; // of the batch
    std::size_t m_answeringInFlight = 0;
    std::size_t m_suspectsInFlight = 0;
    TimePoint m_now{};             // of the present run()
    engine::RoundTrip m_roundTrip; // of all printers
    Reopening m_reopening;
    TimePoint m_floodedUntil{};
    TimePoint m_nextStart{};
    TimePoint m_sendAgainAt = kNever; // the port had no room
    unsigned m_startsInThisMs = 0;
};

template <typename Work>
void SnmpPoller::attempt(SnmpPeer& peer, const Work& work)
{
    try {
        work();
    } catch (const std::exception&) {
        startOver(peer);
    }
}

} // namespace tarn::snmp
