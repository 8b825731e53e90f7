#pragma once

#include <cstdint>
#include <memory>
#include <unordered_map>

#include "tarn/src/base/random.h"
#include "tarn/src/engine/backend.h"
#include "tarn/src/engine/cadence.h"
#include "tarn/src/engine/deadline_heap.h"
#include "tarn/src/engine/read_results.h"
#include "tarn/src/engine/request_log.h"
#include "tarn/src/engine/silence.h"
#include "tarn/src/snmp/session.h"
#include "tarn/src/usm/usm_port.h"

namespace tarn::usm {

// UsmPoller is the back-end "sm" for the targets that are asked in version 3. It knows when to ask, as the
// poller of v1 and v2c does; what to ask is the session's, and how to say it the port's.
//
// Invariants
//  (1) One question at a time to one printer. Of all printers' at most kMostInFlight were put lately, and of
//      those that are silent, or never answered, at most kMostSilentInFlight: a dead network segment holds
//      nobody else up.
//  (2) A question ends in exactly one way: answered, given up, or dropped with its target. An answer to any
//      but the present one changes nothing.
//  (3) A read ends after at most kMostRequests questions, whatever the answers are.
//  (4) A peer that is not Aside has a deadline, whatever throws: one whose turn ends without memory begins
//      anew kAfterFailure later.
// Threading: engine thread only. Ownership: owns the port; borrows clock, randomness and listener.
class UsmPoller final : public engine::Backend
{
public:
    static constexpr std::size_t kMostInFlight = 128;
    static constexpr std::size_t kMostSilentInFlight = 96;
    static constexpr unsigned kMostRequests = 400;
    static constexpr Milliseconds kUnopened{60000};    // nobody opened it for so long: it is not asked
    static constexpr Milliseconds kNoRoom{20};         // until the next look whether there is room
    static constexpr Milliseconds kAfterFailure{1000}; // memory ran out in the printer's turn
    static constexpr Milliseconds kSleep{10000};       // run() so late means that the machine slept

    UsmPoller(const Clock& clock, Random& random, std::unique_ptr<UsmPort> port,
              engine::BackendListener& listener, snmp::SessionFactory sessions);
    ~UsmPoller() override;

    const char* name() const override { return "sm"; }
    void watch(std::shared_ptr<engine::Target> target) override;
    void unwatch(const engine::Target& target) override;
    void wake(const engine::Target& target) override;
    void networkChanged() override;
    void run() override;
    TimePoint nextDeadline() const override;
    int descriptor() const override { return m_port->descriptor(); }

    std::size_t inFlight() const { return m_inFlight; }

private:
    enum class Phase : std::uint8_t
    {
        Aside,     // nobody opens it; not in the heap
        Resting,   // until the next read begins at its deadline
        Waiting,   // its question waits for its turn, or for room
        InFlight,  // put, and counted as in flight
        Lingering, // put a while ago; an answer is welcome until it is put again at the deadline
    };
    struct Peer;

    Peer* find(const engine::Target& target);
    void deadlinePassed(Peer& peer);
    bool putAside(Peer& peer);
    void setPhase(Peer& peer, Phase phase);
    static bool isSilent(const Peer& peer);
    bool hasRoom(const Peer& peer) const;

    // reads
    void beginRead(Peer& peer);
    void begin(Peer& peer, snmp::ReadKind kind);
    void ask(Peer& peer, snmp::Pdu pdu);
    void put(Peer& peer);
    void answered(Peer& peer, const snmp::Pdu& pdu);
    void proceed(Peer& peer);
    void ended(Peer& peer, snmp::ReadOutcome outcome);
    void rest(Peer& peer);

    // without memory
    template <typename Work>
    void attempt(Peer& peer, const Work& work);
    void startOver(Peer& peer);

    // silence
    void missed(Peer& peer);
    void reopenWhenAllIsSilent(const Peer& peer);

    // constant after construction
    const Clock& m_clock;
    Random& m_random;
    const std::unique_ptr<UsmPort> m_port;
    engine::BackendListener& m_listener;
    const snmp::SessionFactory m_sessions;

    std::unordered_map<engine::Endpoint, std::unique_ptr<Peer>, engine::EndpointHash> m_peers;
    engine::DeadlineHeap<Peer> m_deadlines;
    std::size_t m_inFlight = 0;
    std::size_t m_silentInFlight = 0;
    std::uint64_t m_lastTicket = 0;
    TimePoint m_now{};             // of the present run()
    engine::RoundTrip m_roundTrip; // of all printers
    engine::Reopening m_reopening;
};

} // namespace tarn::usm
