#include "tarn/src/usb/ipp_over_usb.h"

#include <algorithm>

#include "tarn/src/ipp/ipp_picture.h"

namespace tarn::usb {

using engine::Way;

namespace {

constexpr std::uint32_t kLoopback = 0x7F000001;

} // namespace

IppOverUsb::IppOverUsb(const Clock& clock, engine::BackendListener& listener, DeskMaker makeDesk)
    : m_clock(clock), m_listener(listener), m_makeDesk(std::move(makeDesk))
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
    if (!m_desk) {
        m_desk = m_makeDesk();
    }
    ipp::IppQuestion question;
    question.address = kLoopback;
    question.settings.choice = engine::IppChoice::Plain; // it does not leave this machine
    question.settings.port = port;
    question.route = peer.route;
    m_lastTicket = m_lastTicket == UINT32_MAX ? 1 : m_lastTicket + 1;
    peer.ticket = m_lastTicket;
    m_desk->give(peer.ticket, std::move(question));
}

void IppOverUsb::run()
{
    if (!m_desk) {
        return;
    }
    for (const ipp::FinishedQuestion& question : m_desk->takeFinished()) {
        const auto found = std::find_if(m_peers.begin(), m_peers.end(), [&question](const auto& entry) {
            return entry.second.ticket == question.ticket;
        });
        if (found != m_peers.end()) { // else it was pulled out meanwhile
            finished(found->second, question.answer);
        }
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
    const device::DeviceStatus picture = ipp::buildPicture(answer.printers.front());
    const std::uint64_t digest = device::KeptPicture(picture).digest();
    if (digest != peer.digest || !target.answers(Way::Ipp)) {
        peer.digest = digest;
        target.report(Way::Ipp, picture);
        m_listener.targetChanged(target);
    }
}

// What it said over IPP is not how it is any more.
void IppOverUsb::silent(engine::Target& target)
{
    if (target.answers(Way::Ipp)) {
        target.reportSilent(Way::Ipp);
        m_listener.targetChanged(target);
    }
}

} // namespace tarn::usb
