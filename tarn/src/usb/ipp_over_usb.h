#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>

#include "tarn/src/base/clock.h"
#include "tarn/src/engine/backend.h"
#include "tarn/src/ipp/ipp_request.h"

namespace tarn::usb {

// IppOverUsb asks printers that ipp-usb serves over IPP, at their ports of the loopback interface. What they
// say is the status that counts; what they leave out is filled from USB.
//
// Invariants
//  (1) One request at a time to one printer.
//  (2) A printer that does not answer, as one that the service is not ready for, is asked again after 2 s,
//      then twice as long, up to a minute.
//  (3) No target is touched after forget().
// Threading: engine thread only. Ownership: borrows clock and listener, which must outlive it.
class IppOverUsb final
{
public:
    using QueueMaker = std::function<std::unique_ptr<ipp::RequestQueue>()>;

    IppOverUsb(const Clock& clock, engine::BackendListener& listener, QueueMaker makeQueue);

    // Asks the printer of that key at that port, unless it is too early. Port 0: it is not served any more.
    void ask(const std::string& key, const std::shared_ptr<engine::Target>& target, std::uint16_t port);
    void forget(const std::string& key) { m_peers.erase(key); }
    void forgetAll() { m_peers.clear(); }
    // Takes the answers that came.
    void run();
    // Readable when run() has something to take; -1 before the first request.
    int descriptor() const { return m_requests ? m_requests->descriptor() : -1; }

    static constexpr Milliseconds kInterval{3900}; // between two requests that are answered
    static constexpr Milliseconds kShortestPause{2000};
    static constexpr Milliseconds kLongestPause{60000};

private:
    struct Peer
    {
        std::shared_ptr<engine::Target> target;
        ipp::Ticket ticket = 0; // of the request under way; 0 for none
        Milliseconds pause{0};  // after failures
        TimePoint notBefore{};
        ipp::IppRoute route;
        std::uint64_t digest = 0; // of the status last reported
    };

    void silent(engine::Target& target);
    void attemptToFinish(Peer& peer, const ipp::IppAnswer& answer);
    void finished(Peer& peer, const ipp::IppAnswer& answer);

    const Clock& m_clock;
    engine::BackendListener& m_listener;
    const QueueMaker m_makeQueue;
    std::unique_ptr<ipp::RequestQueue> m_requests; // made for the first one
    std::map<std::string, Peer> m_peers;
    ipp::Ticket m_lastTicket = 0;
};

} // namespace tarn::usb
