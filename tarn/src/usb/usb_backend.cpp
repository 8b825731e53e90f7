#include "tarn/src/usb/usb_backend.h"

#include <sys/epoll.h>

#include <algorithm>
#include <set>

#include "tarn/src/ipp/ipp_transport.h"
#include "tarn/src/usb/ipp_usb.h"
#include "tarn/src/usb/libusb_bus.h"

namespace tarn::usb {

using engine::DiscoveredPrinter;
using engine::Discovery;
using engine::Source;
using engine::Target;

UsbBackend::Parts UsbBackend::realParts(std::shared_ptr<ipp::IppTransport> transport)
{
    return {[](std::string& why) { return LibusbBus::open(why); },
            [transport = std::move(transport)] { return transport->newQueue(); }, ippUsbDirectory()};
}

UsbBackend::UsbBackend(const Clock& clock, engine::BackendListener& listener, Parts parts)
    : m_clock(clock), m_listener(listener), m_parts(std::move(parts)),
      m_ipp(clock, listener, m_parts.makeQueue)
{
}

UsbBackend::~UsbBackend() = default;

// Has the bus watched, now or, when the system gives no thread or no descriptor, at another try.
void UsbBackend::begin()
{
    m_beginAt = m_clock.now() + m_pause;
    m_pause = std::min(2 * m_pause, kLongestPause);
    if (m_inventory || makeInventory()) {
        m_inventory->look(true);
        m_beginAt = kNever;
        m_pause = kShortestPause;
    }
}

bool UsbBackend::makeInventory()
{
    if (!m_poll.isOpen()) {
        m_poll = Descriptor(::epoll_create1(EPOLL_CLOEXEC));
    }
    auto inventory = std::make_unique<InventoryThread>(m_clock, m_parts.openBus, m_parts.ippUsbDirectory);
    if (!m_poll.isOpen() || !inventory->start() || !listenTo(inventory->descriptor())) {
        return false;
    }
    m_inventory = std::move(inventory);
    return true;
}

bool UsbBackend::listenTo(int descriptor) const
{
    epoll_event event = {};
    event.events = EPOLLIN;
    return ::epoll_ctl(m_poll.get(), EPOLL_CTL_ADD, descriptor, &event) == 0;
}

void UsbBackend::discover(Discovery discovery, bool on)
{
    if (discovery != Discovery::Usb || on == m_on) {
        return;
    }
    if (on) {
        m_on = true;
        begin();
        return;
    }
    if (m_inventory) {
        m_inventory->look(false);
    }
    m_ipp.forgetAll();
    m_printers.clear();
    m_pending.reset();
    tellRoster();
    m_beginAt = kNever;
    m_on = false;
}

void UsbBackend::wake(const Target& target)
{
    for (auto& [key, printer] : m_printers) {
        if (printer.target.get() == &target) {
            printer.askAt = m_clock.now();
        }
    }
}

void UsbBackend::networkChanged()
{
    if (m_on && m_inventory) {
        m_inventory->lookAgain();
    }
}

void UsbBackend::run()
{
    const TimePoint now = m_clock.now();
    if (m_beginAt <= now) {
        begin();
    }
    if (!m_inventory) {
        return;
    }
    if (std::optional<std::vector<Sighting>> sightings = m_inventory->take(); sightings && m_on) {
        m_pending = std::move(sightings);
    }
    if (m_pending) {
        adopt(*m_pending);
        m_pending.reset();
        askOverIpp();
    }
    m_ipp.run();
    for (auto& [key, printer] : m_printers) {
        if (printer.askAt <= now) {
            askOrPutAside(printer, now);
        }
    }
}

TimePoint UsbBackend::nextDeadline() const
{
    TimePoint next = m_beginAt;
    for (const auto& [key, printer] : m_printers) {
        next = std::min(next, printer.askAt);
    }
    return next;
}

void UsbBackend::askOrPutAside(Printer& printer, TimePoint now)
{
    if (printer.target->lastOpened() < now - kUnopened &&
        printer.target->suspend(Source::Usb, now - kUnopened)) {
        printer.askAt = kNever;
        return;
    }
    m_inventory->ask(printer.sighting.key);
    printer.askAt = now + kInterval;
}

// Asks those that ipp-usb serves; each answer of the inventory's is an occasion.
void UsbBackend::askOverIpp()
{
    for (auto& [key, printer] : m_printers) {
        if (printer.askAt != kNever) {
            m_ipp.ask(key, printer.target, printer.sighting.ippPort);
        }
    }
    if (!m_pollsIpp && m_ipp.descriptor() >= 0) {
        m_pollsIpp = listenTo(m_ipp.descriptor());
    }
}

// May be repeated after it threw: nothing is lost by that.
void UsbBackend::adopt(const std::vector<Sighting>& sightings)
{
    dropMissing(sightings);
    for (const Sighting& sighting : sightings) {
        const auto known = m_printers.find(sighting.key);
        if (known == m_printers.end()) {
            meet(sighting);
        } else {
            update(known->second, sighting);
        }
    }
    if (m_rosterChanged) {
        tellRoster();
    }
}

void UsbBackend::dropMissing(const std::vector<Sighting>& sightings)
{
    std::set<std::string> present;
    for (const Sighting& sighting : sightings) {
        present.insert(sighting.key);
    }
    for (auto at = m_printers.begin(); at != m_printers.end();) {
        if (present.count(at->first) != 0) {
            ++at;
            continue;
        }
        m_rosterChanged = true;
        m_ipp.forget(at->first);
        at = m_printers.erase(at);
    }
}

void UsbBackend::meet(const Sighting& sighting)
{
    m_rosterChanged = true;
    const TimePoint now = m_clock.now();
    Printer printer;
    printer.target = std::make_shared<Target>(
        engine::PrinterAddress{
            {}, engine::VersionChoice::Auto, std::make_shared<const std::string>(), nullptr},
        engine::unmetSnapshot(sighting.status), now);
    printer.target->report(Source::Usb, sighting.status);
    printer.target->markAnswered(sighting.lastSeen);
    printer.target->markMet();
    printer.sighting = sighting;
    printer.askAt = now + kInterval;
    m_printers.emplace(sighting.key, std::move(printer));
}

void UsbBackend::update(Printer& printer, const Sighting& sighting)
{
    Target& target = *printer.target;
    target.markAnswered(sighting.lastSeen);
    m_rosterChanged = m_rosterChanged || sighting.identity != printer.sighting.identity ||
                      sighting.name != printer.sighting.name;
    if (sighting.status != printer.sighting.status) {
        target.report(Source::Usb, sighting.status);
        m_listener.targetChanged(target);
    }
    printer.sighting = sighting;
}

// In the order of the names, which does not change when a printer is plugged in somewhere else.
void UsbBackend::tellRoster()
{
    std::vector<DiscoveredPrinter> roster;
    roster.reserve(m_printers.size());
    for (const auto& [key, printer] : m_printers) {
        const PrinterIdentity& who = printer.sighting.identity;
        roster.push_back({printer.sighting.name, who.manufacturer, who.model, who.description, who.uuid, "",
                          true, printer.target});
    }
    std::sort(
        roster.begin(), roster.end(),
        [](const DiscoveredPrinter& left, const DiscoveredPrinter& right) { return left.name < right.name; });
    m_listener.rosterChanged(Discovery::Usb, std::move(roster));
    m_rosterChanged = false;
}

} // namespace tarn::usb
