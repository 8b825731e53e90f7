#include "tarn/src/usb/ipp_over_usb.h"

#include <algorithm>

#include "tarn/src/ipp/ipp_status.h"

namespace tarn::usb {

using engine::Source;

namespace {

constexpr std::uint32_t kLoopback = 0x7F000001;

} // namespace

IppOverUsb::IppOverUsb(const Clock& clock, engine::BackendListener& listener, QueueMaker makeQueue)
    : m_clock(clock), m_listener(listener), m_makeQueue(std::move(makeQueue))
{
}

void IppOverUsb::ask(const std::string& key, const std::shared_ptr<engine::Target>& target,
                     std::uint16_t port)
{
    if (port == 0) {
        silent(*target);
        return;
    }
    Peer& peer = m_peers[key];
    peer.target = target;
    if (peer.ticket != 0 || m_clock.now() < peer.notBefore) {
        return;
    }
    if (!m_requests) {
        m_requests = m_makeQueue();
    }
    ipp::IppRequest request;
    request.address = kLoopback;
    request.settings.choice = engine::IppChoice::Plain; // it does not leave this machine
    request.settings.port = port;
    request.route = peer.route;
    if (m_requests->send(++m_lastTicket, std::move(request))) {
        peer.ticket = m_lastTicket;
    } else {
        peer.notBefore = m_clock.now() + kShortestPause;
    }
}

void IppOverUsb::run()
{
    if (!m_requests) {
        return;
    }
    for (const ipp::FinishedRequest& request : m_requests->takeFinished()) {
        const auto found = std::find_if(m_peers.begin(), m_peers.end(), [&request](const auto& entry) {
            return entry.second.ticket == request.ticket;
        });
        if (found != m_peers.end()) { // else it was pulled out meanwhile
            attemptToFinish(found->second, request.answer);
        }
    }
}

// Without memory for it, the printer is asked again, and the other answers are not lost.
void IppOverUsb::attemptToFinish(Peer& peer, const ipp::IppAnswer& answer)
{
    try {
        finished(peer, answer);
    } catch (const std::exception&) {
        peer.digest = 0; // it may not have been told
        peer.notBefore = m_clock.now() + kShortestPause;
    }
}

void IppOverUsb::finished(Peer& peer, const ipp::IppAnswer& answer)
{
    peer.ticket = 0;
    const TimePoint now = m_clock.now();
    engine::Target& target = *peer.target;
    if (answer.outcome != ipp::IppOutcome::Answered || answer.printers.empty()) {
        peer.pause = std::clamp(peer.pause * 2, kShortestPause, kLongestPause);
        peer.notBefore = now + peer.pause;
        silent(target);
        return;
    }
    peer.pause = Milliseconds(0);
    peer.notBefore = now + kInterval;
    peer.route = answer.route;
    target.markAnswered(now);
    const device::DeviceStatus status = ipp::buildStatus(answer.printers.front());
    const std::uint64_t digest = device::PackedStatus(status).digest();
    if (digest != peer.digest || !target.answers(Source::Ipp)) {
        peer.digest = digest;
        target.report(Source::Ipp, status);
        m_listener.targetChanged(target);
    }
}

// What it said over IPP is not how it is any more.
void IppOverUsb::silent(engine::Target& target)
{
    if (target.answers(Source::Ipp)) {
        target.reportOffline(Source::Ipp);
        m_listener.targetChanged(target);
    }
}

} // namespace tarn::usb
