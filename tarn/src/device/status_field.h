#pragma once

#include <cstddef>

#include "tarn/src/device/device_status.h"

namespace tarn::device {

// The parts of a status that can come by different ways.
enum class StatusField : unsigned char
{
    Model,
    SerialNumber,
    Description,
    Location,
    State,  // activity, power save, need of attention
    Alerts, // and the four flags
    Supplies,
    Trays,
    Counters,
};
constexpr std::size_t kStatusFieldCount = 9;

// As documents spell it: "model", "serial", "description", "location", "state", "alerts", "supplies",
// "trays", "counters".
const char* fieldName(StatusField field);

// Whether the status tells anything of the field. Supplies of which no level is known tell nothing as long
// as somebody else knows one, see takeMissing().
bool tells(const DeviceStatus& status, StatusField field);

// Takes the field over from another status of the same printer when that tells more of it; false when it
// does not. State and alerts are never taken: they are of one moment, and belong together.
bool takeMissing(DeviceStatus& status, const DeviceStatus& other, StatusField field);

} // namespace tarn::device
