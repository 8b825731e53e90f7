#include "tarn/src/usb/printer_identity.h"

#include <cstdio>
#include <tuple>

#include "tarn/src/device/make_and_model.h"
#include "tarn/src/device/serial_number.h"

namespace tarn::usb {

namespace {

auto fields(const PrinterIdentity& identity)
{
    return std::tie(identity.manufacturer, identity.model, identity.description, identity.serialNumber,
                    identity.uuid);
}

const std::string& firstOf(const std::string& first, const std::string& second)
{
    return first.empty() ? second : first;
}

// What is left to call a device that says nothing: its numbers.
std::string numbersOf(const UsbDevice& device)
{
    char text[24];
    std::snprintf(text, sizeof text, "USB %04x:%04x", device.vendor, device.product);
    return text;
}

} // namespace

bool operator==(const PrinterIdentity& left, const PrinterIdentity& right)
{
    return fields(left) == fields(right);
}

PrinterIdentity identityOf(const UsbDevice& device, const device::DeviceId& id)
{
    PrinterIdentity identity;
    identity.manufacturer = firstOf(id.manufacturer, device.manufacturerText);
    identity.model = firstOf(id.model, firstOf(device.productText, id.description));
    if (identity.model.empty()) {
        identity.model = numbersOf(device);
    }
    identity.description =
        firstOf(id.description, device::makeAndModel(identity.manufacturer, identity.model));
    identity.serialNumber = firstOf(id.serialNumber, device::serialNumberFrom(device.serialText));
    identity.uuid = id.uuid;
    return identity;
}

} // namespace tarn::usb
