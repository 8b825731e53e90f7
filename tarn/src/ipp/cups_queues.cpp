#include "tarn/src/ipp/cups_queues.h"

#include <algorithm>

#include "tarn/src/device/device_id.h"
#include "tarn/src/ipp/ipp_status.h"
#include "tarn/src/ipp/reasons.h"

namespace tarn::ipp {

using engine::DiscoveredPrinter;
using engine::Source;
using engine::Target;

namespace {

constexpr unsigned kMostFailures = 2;

bool startsWith(const std::string& text, const char* start)
{
    return text.rfind(start, 0) == 0;
}

// The host of "scheme://[user@]host[:port]/...", where it is an address.
std::string addressIn(const std::string& uri)
{
    const std::size_t slashes = uri.find("://");
    if (slashes == std::string::npos) {
        return std::string();
    }
    std::string host = uri.substr(slashes + 3);
    host.resize(std::min(host.size(), host.find_first_of("/?#")));
    const std::size_t at = host.rfind('@');
    host.erase(0, at == std::string::npos ? 0 : at + 1);
    host.resize(std::min(host.size(), host.find(':')));
    const std::optional<std::uint32_t> address = engine::parseIpv4(host);
    return address ? engine::formatIpv4(*address) : std::string();
}

DiscoveredPrinter discovered(const IppAttributes& queue, const device::DeviceStatus& status)
{
    const std::string uri = queue.text("device-uri");
    const std::string urn = "urn:uuid:";
    DiscoveredPrinter printer;
    printer.name = queue.text("printer-name");
    printer.manufacturer = device::parseDeviceId(queue.text("printer-device-id")).manufacturer;
    printer.model = status.model;
    printer.description = queue.text("printer-info");
    printer.uuid = queue.text("printer-uuid");
    if (startsWith(printer.uuid, urn.c_str())) {
        printer.uuid.erase(0, urn.size());
    }
    printer.ip = addressIn(uri);
    printer.isUsb = startsWith(uri, "usb:");
    return printer;
}

bool isSame(const DiscoveredPrinter& a, const DiscoveredPrinter& b)
{
    return a.name == b.name && a.manufacturer == b.manufacturer && a.model == b.model &&
           a.description == b.description && a.uuid == b.uuid && a.ip == b.ip && a.isUsb == b.isUsb &&
           a.target == b.target;
}

// Whether the scheduler says that it does not reach the printer.
bool isOffline(const IppAttributes& queue)
{
    for (std::size_t i = 0; i < queue.count("printer-state-reasons"); ++i) {
        const ReasonWord word = splitReason(queue.textAt("printer-state-reasons", i));
        const Reason* const reason = findReason(word.keyword);
        if (reason != nullptr && reason->effect == ReasonEffect::Offline) {
            return true;
        }
    }
    return false;
}

} // namespace

CupsQueues::CupsQueues(const Clock& clock, engine::BackendListener& listener,
                       std::unique_ptr<RequestQueue> requests)
    : m_clock(clock), m_listener(listener), m_requests(std::move(requests))
{
}

void CupsQueues::discover(engine::Discovery discovery, bool on)
{
    if (discovery != engine::Discovery::Cups || on == m_on) {
        return;
    }
    m_on = on;
    m_due = on ? m_clock.now() : kNever;
    m_failures = 0;
    ++m_ticket; // what is under way is answered to nobody
    if (!on) {
        m_targets.clear();
        publish({});
    }
}

void CupsQueues::run()
{
    const TimePoint now = m_clock.now();
    for (const FinishedRequest& request : m_requests->takeFinished()) {
        if (request.ticket != m_ticket || !m_on) {
            continue;
        }
        m_due = now + kInterval;
        const IppOutcome outcome = request.answer.outcome;
        if (outcome == IppOutcome::Answered) {
            m_failures = 0;
            take(request.answer.printers);
        } else if (outcome == IppOutcome::NotSent || outcome == IppOutcome::NoLibrary) {
            continue; // it was not asked
        } else if (++m_failures >= kMostFailures) {
            m_targets.clear();
            publish({});
        }
    }
    if (now >= m_due) {
        IppRequest request;
        request.operation = IppOperation::Queues;
        const bool sent = m_requests->send(++m_ticket, std::move(request));
        m_due = sent ? kNever : now + kInterval; // until it is answered
    }
}

void CupsQueues::take(const std::vector<IppAttributes>& queues)
{
    std::map<std::string, std::shared_ptr<Target>> targets;
    std::vector<DiscoveredPrinter> roster;
    for (const IppAttributes& queue : queues) {
        DiscoveredPrinter printer = discovered(queue, buildStatus(queue));
        std::shared_ptr<Target>& place = targets[printer.name];
        if (printer.name.empty() || place) {
            continue;
        }
        const auto known = m_targets.find(printer.name);
        place = known != m_targets.end()
                    ? known->second
                    : std::make_shared<Target>(
                          engine::PrinterAddress{{}, {}, std::make_shared<const std::string>()},
                          engine::unmetSnapshot(device::DeviceStatus()), m_clock.now());
        printer.target = place;
        report(*place, queue);
        roster.push_back(std::move(printer));
    }
    m_targets.swap(targets);
    publish(std::move(roster));
}

void CupsQueues::report(Target& target, const IppAttributes& queue) const
{
    const device::DeviceStatus status = buildStatus(queue);
    const bool changed =
        device::PackedStatus(status).digest() != device::PackedStatus(target.statusBy(Source::Cups)).digest();
    const bool answers = target.answers(Source::Cups);
    const bool offline = isOffline(queue);
    if (!offline) {
        target.markAnswered(m_clock.now());
    }
    if (changed || (!answers && !offline)) {
        target.report(Source::Cups, status);
    }
    if (offline && (changed || answers)) {
        target.reportOffline(Source::Cups);
    }
    target.markMet();
}

void CupsQueues::publish(std::vector<DiscoveredPrinter> roster)
{
    const bool same = std::equal(roster.begin(), roster.end(), m_roster.begin(), m_roster.end(), isSame);
    if (!same) {
        m_roster = roster;
        m_listener.rosterChanged(engine::Discovery::Cups, std::move(roster));
    }
}

} // namespace tarn::ipp
