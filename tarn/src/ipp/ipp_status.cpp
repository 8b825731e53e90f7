// Who the printer is and what it has printed.
#include "tarn/src/ipp/ipp_status.h"

#include <algorithm>
#include <iterator>

#include "tarn/src/device/device_id.h"
#include "tarn/src/device/make_and_model.h"
#include "tarn/src/device/serial_number.h"

namespace tarn::ipp {

namespace {

using device::DeviceStatus;

// What CUPS appends to the model of the printer that it made a queue for.
const char* const kModelTails[] = {", driverless", " - CUPS+Gutenprint", " Foomatic/", ", hpcups",
                                   " - IPP Everywhere"};

// What CUPS says of a queue without a driver.
const char* const kNoModels[] = {"Local Raw Printer", "Remote Printer", "Local Printer Class", "Unknown"};

std::string modelOf(std::string text)
{
    if (std::find(std::begin(kNoModels), std::end(kNoModels), text) != std::end(kNoModels)) {
        return std::string();
    }
    for (const char* const tail : kModelTails) {
        text.resize(std::min(text.size(), text.find(tail)));
    }
    return device::withMakerOnce(text);
}

void buildIdentity(const IppAttributes& attributes, DeviceStatus& status)
{
    const std::vector<IppValue>& raw = attributes.values("printer-device-id");
    const device::DeviceId id = device::parseDeviceId(raw.empty() ? std::string() : raw.front().text);
    status.model = modelOf(attributes.text("printer-make-and-model"));
    if (status.model.empty()) {
        status.model = device::makeAndModel(id);
    }
    status.serialNumber = device::serialNumberFrom(attributes.text("printer-serial-number"));
    if (status.serialNumber.empty()) {
        status.serialNumber = id.serialNumber;
    }
    for (const std::string& text : {attributes.text("printer-info"), id.description, status.model}) {
        if (status.description.empty()) {
            status.description = text;
        }
    }
    status.location = attributes.text("printer-location");
}

std::optional<std::int64_t> totalPages(const IppAttributes& attributes)
{
    for (const char* const name :
         {"printer-impressions-completed", "printer-pages-completed", "printer-media-sheets-completed"}) {
        const std::optional<std::int64_t> count = attributes.number(name);
        if (count && *count >= 0) {
            return count;
        }
    }
    return std::nullopt;
}

} // namespace

DeviceStatus buildStatus(const IppAttributes& attributes)
{
    DeviceStatus status;
    buildIdentity(attributes, status);
    status.supplies = buildSupplies(attributes);
    status.trays = buildTrays(attributes);
    status.totalPages = totalPages(attributes);
    buildAlerts(attributes, status);
    return status;
}

} // namespace tarn::ipp
