#include "tools/tarn-status/explain/usb_probe.h"

#include "tarn/src/usb/libusb_bus.h"
#include "tarn/src/usb/rights.h"
#include "tools/tarn-status/explain/udp_session.h"

namespace tarnstatus {

using tarn::usb::LibusbBus;
using tarn::usb::Question;
using tarn::usb::UsbBus;
using tarn::usb::UsbDevice;
using UsbOutcome = tarn::usb::Outcome;

namespace {

constexpr std::size_t kMostPrinters = 3; // they are to fit into one screen with all else

ProbeOutcome outcomeOf(UsbOutcome outcome)
{
    switch (outcome) {
    case UsbOutcome::Answered:
        return ProbeOutcome::Attached;
    case UsbOutcome::Denied:
        return ProbeOutcome::NoRights;
    case UsbOutcome::Busy:
        return ProbeOutcome::Busy;
    case UsbOutcome::Stalled:
    case UsbOutcome::Silent:
    case UsbOutcome::Gone:
    case UsbOutcome::Failed:
        break;
    }
    return ProbeOutcome::Mute;
}

std::string nameOf(const UsbDevice& device)
{
    const bool isNamed = !device.manufacturerText.empty() && !device.productText.empty();
    const std::string name = device.manufacturerText + (isNamed ? " " : "") + device.productText;
    return name.empty() ? device.path : name;
}

Finding askOne(UsbBus& bus, const UsbDevice& device)
{
    Finding finding{Probe::Usb, ProbeOutcome::Mute};
    const auto begin = SteadyClock::now();
    finding.outcome = outcomeOf(bus.ask(device, Question::DeviceId).outcome);
    finding.took = std::chrono::duration_cast<std::chrono::milliseconds>(SteadyClock::now() - begin);
    finding.detail = finding.outcome == ProbeOutcome::NoRights
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
        tell({Probe::Usb, ProbeOutcome::NoBus});
        return;
    }
    const std::optional<std::vector<UsbDevice>> devices = bus->devices();
    if (!devices || devices->empty()) {
        tell({Probe::Usb, devices ? ProbeOutcome::NoneAttached : ProbeOutcome::NoSocket});
        return;
    }
    for (std::size_t i = 0; i < devices->size() && i < kMostPrinters; ++i) {
        tell(askOne(*bus, (*devices)[i]));
    }
}

} // namespace tarnstatus
