#pragma once

#include <cstddef>

#include "tarn/src/device/device_status.h"

namespace tarn::device {

// The parts of a picture that can come by different ways.
enum class PictureField : unsigned char
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
constexpr std::size_t kPictureFieldCount = 9;

// As documents spell it: "model", "serial", "description", "location", "state", "alerts", "supplies",
// "trays", "counters".
const char* fieldName(PictureField field);

// Whether the picture tells anything of the field. Supplies of which no level is known tell nothing as long
// as somebody else knows one, see takeMissing().
bool tells(const DeviceStatus& picture, PictureField field);

// Takes the field over from another picture of the same printer when that tells more of it; false when it
// does not. State and alerts are never taken: they are of one moment, and belong together.
bool takeMissing(DeviceStatus& picture, const DeviceStatus& other, PictureField field);

} // namespace tarn::device
