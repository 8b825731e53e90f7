#pragma once

#include <string>

#include "tarn/src/device/device_status.h"

namespace tarn::device {

// The translation of a status into what the ABI reports.

// 3 idle, 4 printing, 5 warming up, 1 other (prtGeneral/hrPrinterStatus codes); 2 is kept for unreachable.
int stateCode(const DeviceStatus& status);
// A short Chinese summary, then "-" and one item per alert; no item contains "-". Never empty.
std::string stateMessage(const DeviceStatus& status);
// The status document: a JSON object whose values are all JSON strings. Always "CToner", "MToner", "YToner",
// "KToner", "RToner", "totalprint" and the four flags.
std::string infoDocument(const DeviceStatus& status);
// The whole status as JSON text, schema 1: model, serial, description, location, activity (unknown, other,
// idle, printing, warmup), state (as stateCode), summary, powerSave, needsAttention; supplies[] of type,
// class, receptacle, colour, percent (0..100, "some" or null), description; trays[] of name,
// percent, level and capacity (null: not said), unit ("sheets", ...; "" not said), available, empty; alerts[]
// of code (keyword), number (prtAlertCode or null), text, severity (critical, warning, other), place;
// counters.totalPages (null: not said); flags.
std::string detailDocument(const DeviceStatus& status);

} // namespace tarn::device
