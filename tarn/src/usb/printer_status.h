#pragma once

#include <cstdint>
#include <optional>

#include "tarn/src/device/device_id.h"
#include "tarn/src/device/device_status.h"
#include "tarn/src/usb/printer_identity.h"

namespace tarn::usb {

// Whether the device ID has keys that tell how the printer is, so that it is worth asking for again.
bool tellsStatus(const device::DeviceId& id);

// The status of a printer from who it is, the status keys of its device ID, and its port status (USB printer
// class 1.1, 4.2.2; nothing where it was not to be had). What neither says stays unknown. The keys are more
// exact than the port's bits: a fault that both name is reported once.
device::DeviceStatus statusOf(const PrinterIdentity& identity, const device::DeviceId& id,
                              std::optional<std::uint8_t> portStatus);

} // namespace tarn::usb
