#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "tarn/src/usb/usb_bus.h"

namespace tarn::usb {

// ipp-usb is a service that makes the printers that speak IPP over USB reachable at ports of the loopback
// interface. It keeps a state file for each that it ever met, which names the port.

// $TARN_IPP_USB_DIR, else where the service keeps its state files.
std::string ippUsbDirectory();

// The value of http-port in a state file; nothing when it names none.
std::optional<std::uint16_t> httpPortIn(std::string_view stateFile);

// The port at which the service has the device: that of the one file in the directory that is named after its
// vendor, product and serial number. Nothing when there is none, or more than one.
std::optional<std::uint16_t> ippUsbPort(const std::string& directory, const UsbDevice& device);

} // namespace tarn::usb
