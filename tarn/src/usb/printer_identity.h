#pragma once

#include <string>

#include "tarn/src/device/device_id.h"
#include "tarn/src/usb/usb_bus.h"

namespace tarn::usb {

// Who a printer is, from what it says in its device ID and, where that says nothing, from the strings of its
// descriptors.
struct PrinterIdentity
{
    std::string manufacturer;
    std::string model; // never empty
    std::string description;
    std::string serialNumber;
    std::string uuid;
};
bool operator==(const PrinterIdentity& left, const PrinterIdentity& right);
inline bool operator!=(const PrinterIdentity& left, const PrinterIdentity& right)
{
    return !(left == right);
}

PrinterIdentity identityOf(const UsbDevice& device, const device::DeviceId& id);

} // namespace tarn::usb
