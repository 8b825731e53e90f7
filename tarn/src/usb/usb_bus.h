#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tarn/src/base/clock.h"
#include "tarn/src/usb/descriptors.h"

namespace tarn::usb {

// A device that is plugged in and has a printer's interface, as the system knows it without asking it.
struct UsbDevice
{
    std::string path;         // bus and ports, such as "1-2.3": the socket
    std::uint8_t bus = 0;     // with the next, the name of its node below /dev/bus/usb
    std::uint8_t address = 0; // another one after each plugging in
    std::uint16_t vendor = 0;
    std::uint16_t product = 0;
    PrinterInterface interface;
    std::string manufacturerText; // the strings of its descriptors, tidy
    std::string productText;
    std::string serialText;
    std::string
        systemId; // its IEEE 1284 device ID as the kernel's printer driver read it; empty without that
};

enum class Question : std::uint8_t
{
    DeviceId,   // GET_DEVICE_ID of the USB printer class
    PortStatus, // GET_PORT_STATUS; not asked while somebody holds the interface
};

enum class Outcome : std::uint8_t
{
    Answered,
    Denied,  // no right to open it
    Busy,    // somebody holds the interface
    Stalled, // the device refuses
    Silent,  // no answer in time
    Gone,    // it is no longer there, or was given up by stop()
    Failed,
};

struct UsbAnswer
{
    Outcome outcome = Outcome::Failed;
    std::string octets;
};

// UsbBus is the seam to the devices. It never detaches a driver and never claims an interface.
//
// Threading: one thread, the inventory's, but for interrupt() and stop(), which may come from any.
class UsbBus
{
public:
    virtual ~UsbBus() = default;

    // The devices with a printer's interface that are plugged in now; nothing when the system gives no
    // descriptor or memory to find out, and waitForChange() then soon says to look again.
    virtual std::optional<std::vector<UsbDevice>> devices() = 0;
    // Asks a device of the last devices(). Takes a second at most.
    virtual UsbAnswer ask(const UsbDevice& device, Question question) = 0;
    // Until something was plugged in or out, which may show only every two seconds, interrupt(), or the time
    // is up. True: look at devices() again.
    virtual bool waitForChange(Milliseconds longest) = 0;

    // Ends a wait that is under way, or the next one.
    virtual void interrupt() = 0;
    // Ends everything that is under way; nothing is asked any more.
    virtual void stop() = 0;
};

// Null, and why in a few words, when there is no way to the devices.
using UsbBusMaker = std::function<std::unique_ptr<UsbBus>(std::string& why)>;

} // namespace tarn::usb
