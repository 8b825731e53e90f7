#pragma once

#include <deque>
#include <memory>
#include <unordered_map>

#include "tarn/src/base/random.h"
#include "tarn/src/engine/backend.h"
#include "tarn/src/engine/cadence.h"
#include "tarn/src/engine/deadline_heap.h"
#include "tarn/src/engine/reachability.h"
#include "tarn/src/ipp/ipp_request.h"

namespace tarn::ipp {

// IppPoller is the back-end "ipp": it asks over IPP where SNMP does not tell, or not everything.
//
// A connection over TCP wakes a printer that sleeps, so the two kinds of printers are treated differently:
//  - One that never answered SNMP is asked at the pace of Cadence, is offline after three misses over at
//    least 5 s, and then asked ever more seldom.
//  - One that answered SNMP, ever in this run, and lacks something that IPP has, is asked once an hour at
//    most, and only while it answers SNMP. What it says then fills the gaps; its state stays that of SNMP.
//
// Invariants
//  (1) One request at a time to one printer; at most as many altogether as it was made with. Printers whose
//      last request was not answered share half of them, and come after the others, so that they hold nobody
//      up.
//  (2) Nobody is asked before it is known whether he answers SNMP, nor who was not opened for kUnopened.
//  (3) A target that needs nothing costs an entry without a Peer.
//  (4) Where memory runs out, the peer at hand is asked anew kAfterFailure later, and no other one suffers.
// Threading: engine thread only. Ownership: owns the queue; borrows clock, randomness and listener, which
// must outlive it.
class IppPoller final : public engine::Backend
{
public:
    static constexpr std::size_t kMostInFlight = 512;
    static constexpr std::size_t kFewPrinters = 6; // more than these begin one after the other
    static constexpr Milliseconds kUnopened{60000};
    static constexpr Milliseconds kBesideSnmp{3600000};
    static constexpr Milliseconds kAfterMiss{2000};
    static constexpr Milliseconds kFirstNotSent{5000}; // this machine's fault, not the printer's
    static constexpr Milliseconds kLongestNotSent{60000};
    static constexpr Milliseconds kAfterFailure{1000};  // out of memory
    static constexpr Milliseconds kSleep{15000};        // run() so late means that the machine slept
    static constexpr Milliseconds kLongestSpread{2000}; // many printers at once begin one after the other

    IppPoller(const Clock& clock, Random& random, engine::BackendListener& listener,
              std::unique_ptr<RequestQueue> requests, std::size_t mostInFlight = kMostInFlight);

    const char* name() const override { return "ipp"; }
    void watch(std::shared_ptr<engine::Target> target) override;
    void unwatch(const engine::Target& target) override;
    void wake(const engine::Target& target) override;
    void networkChanged() override;
    void targetReported(engine::Target& target) override;
    void run() override;
    TimePoint nextDeadline() const override { return m_deadlines.nextDeadline(); }
    int descriptor() const override { return m_requests->descriptor(); }

    std::size_t peers() const { return m_peers; }

private:
    enum class Phase : std::uint8_t
    {
        Suspended, // nobody opens it, or nothing is wanted of it at present
        Resting,
        Queued, // waits for room among those in flight
        InFlight,
    };
    struct Peer
    {
        std::shared_ptr<engine::Target> target;
        engine::Cadence cadence;
        engine::Reachability reachability;
        IppRoute route;
        std::size_t heapSlot = engine::DeadlineHeap<Peer>::kOutside; // DeadlineHeap's
        TimePoint asked{};
        std::uint64_t digest = 0; // of the status last reported
        Ticket ticket = 0;        // of the request in flight, or of the place in the queue
        unsigned setbacks = 0;    // in a row, since it counts as silent
        Phase phase = Phase::Suspended;
        engine::Liveliness liveliness = engine::Liveliness::NoStatus;
        bool askedEver = false;
        bool answeredEver = false;
        bool countsSilent = false; // in flight on the account of the silent
        bool missedLast = false;   // the last request was not answered
        bool besideSnmp = false;   // it answered SNMP in this run
    };
    struct Entry
    {
        std::shared_ptr<engine::Target> target;
        std::unique_ptr<Peer> peer;
        bool besideSnmp = false;
    };

    void consider(Entry& entry);
    void becomeBesideSnmp(Entry& entry);
    void begin(Entry& entry, TimePoint at);
    void drop(Peer& peer);
    void scheduleBesideSnmp(Peer& peer, TimePoint earliest);

    void runDeadlines();
    void deadlinePassed(Peer& peer);
    void giveOut();
    bool giveOutOf(std::deque<Ticket>& queue, bool silent);
    void finished(Peer& peer, const FinishedRequest& request);
    void answered(Peer& peer, const IppAnswer& answer);
    void missed(Peer& peer, IppOutcome outcome);
    void notSent(Peer& peer);
    void report(Peer& peer, const device::DeviceStatus& status);
    void tell(engine::Target& target);
    Milliseconds backOff(const Peer& peer, IppOutcome outcome);
    Milliseconds doubled(Milliseconds first, Milliseconds longest, unsigned times);
    Ticket newTicket(Peer& peer);
    void sendRequest(Peer& peer, bool silent);
    template <typename Work>
    void attempt(Peer& peer, const Work& work);
    void startOver(Peer& peer);
    void leaveFlight(Peer& peer);

    // constant after construction
    const Clock& m_clock;
    Random& m_random;
    engine::BackendListener& m_listener;
    const std::unique_ptr<RequestQueue> m_requests;
    const std::size_t m_mostInFlight;

    std::unordered_map<const engine::Target*, Entry> m_entries;
    std::unordered_map<Ticket, Peer*> m_tickets;
    engine::DeadlineHeap<Peer> m_deadlines;
    std::deque<Ticket> m_queue; // tickets, of printers that answer
    std::deque<Ticket> m_silentQueue;
    const engine::Target* m_telling = nullptr; // whose change is being told by us
    std::size_t m_peers = 0;
    std::size_t m_inFlight = 0;
    std::size_t m_silentInFlight = 0;
    Ticket m_lastTicket = 0;
    TimePoint m_now{}; // of the present run()
};

} // namespace tarn::ipp
