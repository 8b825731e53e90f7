#pragma once

#include <string>

#include <json/value.h>

#include "tarn/src/device/device_status.h"

namespace tarn::catalog {

// A status as it is kept in a file: a JSON object in one line. What has its usual value is left out. Words
// stand for the kinds of things, so that another version of the library reads what they meant.
std::string statusText(const device::DeviceStatus& status);

// Whatever the value holds: what is of another type, out of range or unknown counts as left out, and texts
// are valid UTF-8.
device::DeviceStatus statusOf(const Json::Value& value);

} // namespace tarn::catalog
