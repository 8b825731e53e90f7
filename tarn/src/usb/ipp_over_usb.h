#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>

#include "tarn/src/base/clock.h"
#include "tarn/src/engine/backend.h"
#include "tarn/src/ipp/asker_pool.h"

namespace tarn::usb {

// IppOverUsb asks printers that ipp-usb serves over IPP, at their ports of the loopback interface. What they
// say is the picture that counts; what they leave out is filled from USB.
//
// Invariants
//  (1) One question at a time to one printer.
//  (2) A printer that does not answer, as one that the service is not ready for, is asked again after 2 s,
//      then twice as long, up to a minute.
//  (3) No target is touched after forget().
// Threading: engine thread only. Ownership: borrows clock and listener, which must outlive it.
class IppOverUsb final
{
public:
    using DeskMaker = std::function<std::unique_ptr<ipp::Desk>()>;

    IppOverUsb(const Clock& clock, engine::BackendListener& listener, DeskMaker makeDesk);

    // Asks the printer of that key at that port, unless it is too early. Port 0: it is not served any more.
    void ask(const std::string& key, const std::shared_ptr<engine::Target>& target, std::uint16_t port);
    void forget(const std::string& key) { m_peers.erase(key); }
    void forgetAll() { m_peers.clear(); }
    // Takes the answers that came.
    void run();
    // Readable when run() has something to take; -1 before the first question.
    int descriptor() const { return m_desk ? m_desk->descriptor() : -1; }

    static constexpr Milliseconds kInterval{3900}; // between two questions that are answered
    static constexpr Milliseconds kShortestPause{2000};
    static constexpr Milliseconds kLongestPause{60000};

private:
    struct Peer
    {
        std::shared_ptr<engine::Target> target;
        std::uint32_t ticket = 0; // of the question under way; 0 for none
        Milliseconds pause{0};    // after failures
        TimePoint notBefore{};
        ipp::IppRoute route;
        std::uint64_t digest = 0; // of the picture last reported
    };

    void silent(engine::Target& target);
    void finished(Peer& peer, const ipp::IppAnswer& answer);

    const Clock& m_clock;
    engine::BackendListener& m_listener;
    const DeskMaker m_makeDesk;
    std::unique_ptr<ipp::Desk> m_desk; // made for the first question
    std::map<std::string, Peer> m_peers;
    std::uint32_t m_lastTicket = 0;
};

} // namespace tarn::usb
