#include "tarn/src/usb/usb_inventory.h"

#include <algorithm>
#include <cstdlib>
#include <set>

#include "tarn/src/usb/ipp_usb.h"
#include "tarn/src/usb/printer_status.h"
#include "tarn/src/usb/rights.h"

namespace tarn::usb {

namespace {

std::string keyOf(const UsbDevice& device)
{
    return device.path + '@' + std::to_string(device.address);
}

// The numbers in a path: "1-2.3" is 1, 2, 3.
std::vector<long> portsOf(const std::string& path)
{
    std::vector<long> ports;
    const char* at = path.c_str();
    while (*at != '\0') {
        char* end = nullptr;
        ports.push_back(std::strtol(at, &end, 10));
        at = end + (*end != '\0' ? 1 : 0);
    }
    return ports;
}

} // namespace

bool UsbInventory::look(UsbBus& bus)
{
    std::optional<std::vector<UsbDevice>> found = bus.devices();
    if (!found) {
        return false; // nobody is gone for that
    }
    std::vector<UsbDevice>& present = *found;
    std::sort(present.begin(), present.end(), [](const UsbDevice& left, const UsbDevice& right) {
        return portsOf(left.path) < portsOf(right.path);
    });
    std::set<std::string> keys;
    m_new.clear();
    for (UsbDevice& device : present) {
        std::string key = keyOf(device);
        if (m_printers.find(key) == m_printers.end()) {
            m_new.push_back(std::move(device));
        }
        keys.insert(std::move(key));
    }
    bool someGone = false;
    for (auto at = m_printers.begin(); at != m_printers.end();) {
        if (keys.count(at->first) != 0) {
            ++at;
            continue;
        }
        m_names.remove(at->second.sighting.name);
        at = m_printers.erase(at);
        someGone = true;
    }
    return someGone;
}

bool UsbInventory::identifyNext(UsbBus& bus)
{
    if (m_new.empty()) {
        return false;
    }
    Printer printer;
    printer.sighting.device = std::move(m_new.front());
    m_new.pop_front();
    const UsbDevice& device = printer.sighting.device;
    printer.sighting.key = keyOf(device);
    printer.sighting.lastSeen = m_clock.now();
    askId(bus, printer);
    if (!printer.idAnswered) {
        printer.id = device::parseDeviceId(device.systemId);
        printer.sighting.identity = identityOf(device, printer.id);
    }
    askStatus(bus, printer);
    conclude(printer);
    printer.sighting.name = m_names.add(printer.sighting.identity, device.path);
    std::string key = printer.sighting.key;
    m_printers.insert_or_assign(std::move(key), std::move(printer));
    return true;
}

void UsbInventory::ask(UsbBus& bus, const std::string& key)
{
    const auto found = m_printers.find(key);
    if (found == m_printers.end()) {
        return;
    }
    Printer& printer = found->second;
    const bool wasIdentified = printer.idAnswered;
    if (!wasIdentified || tellsStatus(printer.id)) {
        askId(bus, printer);
    }
    if (!wasIdentified && printer.idAnswered) {
        // It was busy starting when it was plugged in. Its name becomes the one that it has the next time.
        m_names.remove(printer.sighting.name);
        printer.sighting.name = m_names.add(printer.sighting.identity, printer.sighting.device.path);
    }
    askStatus(bus, printer);
    conclude(printer);
}

void UsbInventory::forgetAll()
{
    for (const auto& entry : m_printers) {
        m_names.remove(entry.second.sighting.name);
    }
    m_printers.clear();
    m_new.clear();
}

std::vector<Sighting> UsbInventory::sightings() const
{
    std::vector<Sighting> all;
    all.reserve(m_printers.size());
    for (const auto& entry : m_printers) {
        all.push_back(entry.second.sighting);
    }
    return all;
}

void UsbInventory::Patience::strain(TimePoint now)
{
    pause = std::clamp(pause * 2, kShortestPause, kLongestPause);
    notBefore = now + pause;
}

std::optional<std::string> UsbInventory::put(UsbBus& bus, Printer& printer, Question question,
                                             Patience& patience)
{
    if (m_clock.now() < patience.notBefore) {
        return std::nullopt;
    }
    UsbAnswer answer = bus.ask(printer.sighting.device, question);
    printer.silent = answer.outcome == Outcome::Silent;
    if (answer.outcome == Outcome::Denied && m_deniedNode.empty()) {
        m_deniedNode = nodeOf(printer.sighting.device.bus, printer.sighting.device.address);
    }
    if (answer.outcome != Outcome::Answered) {
        patience.strain(m_clock.now());
        return std::nullopt;
    }
    patience = {};
    return std::move(answer.octets);
}

void UsbInventory::askId(UsbBus& bus, Printer& printer)
{
    const std::optional<std::string> octets = put(bus, printer, Question::DeviceId, printer.idPatience);
    if (!octets) {
        return;
    }
    device::DeviceId id = device::parseDeviceId(*octets);
    if (!id.namesDevice()) { // garbage; what the system read before may be better
        printer.idPatience.strain(m_clock.now());
        return;
    }
    printer.id = std::move(id);
    printer.idAnswered = true;
    printer.sighting.identity = identityOf(printer.sighting.device, printer.id);
}

void UsbInventory::askStatus(UsbBus& bus, Printer& printer)
{
    if (m_clock.now() < printer.statusPatience.notBefore || (printer.silent && !printer.idAnswered)) {
        return; // who says nothing at all costs one second only
    }
    const std::optional<std::string> octets = put(bus, printer, Question::PortStatus, printer.statusPatience);
    if (octets && !octets->empty()) {
        printer.portStatus = static_cast<std::uint8_t>(octets->front());
    } else {
        printer.portStatus = std::nullopt; // what it said once is not how it is
    }
}

// Whoever refuses is there, too; only silence lets the status age.
void UsbInventory::conclude(Printer& printer)
{
    if (!printer.silent) {
        printer.sighting.lastSeen = m_clock.now();
    }
    printer.sighting.ippPort = ippUsbPort(m_ippUsbDirectory, printer.sighting.device).value_or(0);
    printer.sighting.status = statusOf(printer.sighting.identity, printer.id, printer.portStatus);
}

} // namespace tarn::usb
