#pragma once

#include <string>

namespace tarn::device {

// A serial number as a device says it, tidied: empty for a placeholder ("unknown", "serial_number",
// "00000000"); decoded where it is the hex text of one: sixteen or more hex digits whose octets are capitals,
// digits and hyphens, but for control octets at the end.
std::string serialNumberFrom(const std::string& said);

// Whether the text stands where a serial number should, and is none.
bool namesNoSerial(const std::string& text);

} // namespace tarn::device
