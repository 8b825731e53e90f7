#pragma once

#include <functional>
#include <optional>
#include <string>

#include "tarn/src/snmp/wire/pdu.h"

namespace tarnstatus {

extern const tarn::snmp::Oid kSystemDescription; // sysDescr

// The text of an answer's first object; empty when that is none.
std::string textOf(const tarn::snmp::Pdu& answer);

// Asks for the object behind one; nothing when no answer came.
using AskNext = std::function<std::optional<tarn::snmp::Pdu>(const tarn::snmp::Oid&)>;

// Whether the agent has objects that printers alone have. detail becomes the printer's own name, where it
// tells one.
bool hasPrinterObjects(const AskNext& ask, std::string& detail);

} // namespace tarnstatus
