#include "tools/tarn-status/explain/usb_way.h"

#include "tarn/src/usb/libusb_bus.h"
#include "tarn/src/usb/rights.h"
#include "tools/tarn-status/explain/udp_session.h"

namespace tarnstatus {

using tarn::usb::LibusbBus;
using tarn::usb::Outcome;
using tarn::usb::Question;
using tarn::usb::UsbBus;
using tarn::usb::UsbDevice;

namespace {

constexpr std::size_t kMostPrinters = 3; // they are to fit into one screen with all else

Came cameOf(Outcome outcome)
{
    switch (outcome) {
    case Outcome::Answered:
        return Came::Attached;
    case Outcome::Denied:
        return Came::NoRights;
    case Outcome::Busy:
        return Came::Busy;
    case Outcome::Stalled:
    case Outcome::Silent:
    case Outcome::Gone:
    case Outcome::Failed:
        break;
    }
    return Came::Mute;
}

std::string nameOf(const UsbDevice& device)
{
    const bool isNamed = !device.manufacturerText.empty() && !device.productText.empty();
    const std::string name = device.manufacturerText + (isNamed ? " " : "") + device.productText;
    return name.empty() ? device.path : name;
}

Finding askOne(UsbBus& bus, const UsbDevice& device)
{
    Finding finding{Way::Usb, Came::Mute};
    const auto begin = SteadyClock::now();
    finding.came = cameOf(bus.ask(device, Question::DeviceId).outcome);
    finding.took = std::chrono::duration_cast<std::chrono::milliseconds>(SteadyClock::now() - begin);
    finding.detail = finding.came == Came::NoRights
                         ? tarn::usb::groupWithRights(tarn::usb::nodeOf(device.bus, device.address))
                         : nameOf(device);
    return finding;
}

} // namespace

void askUsb(const Tell& tell)
{
    std::string why;
    const std::unique_ptr<UsbBus> bus = LibusbBus::open(why);
    if (!bus) {
        tell({Way::Usb, Came::NoBus});
        return;
    }
    const std::optional<std::vector<UsbDevice>> devices = bus->devices();
    if (!devices || devices->empty()) {
        tell({Way::Usb, devices ? Came::NoneAttached : Came::NoSocket});
        return;
    }
    for (std::size_t i = 0; i < devices->size() && i < kMostPrinters; ++i) {
        tell(askOne(*bus, (*devices)[i]));
    }
}

} // namespace tarnstatus
