#pragma once

#include <cstdint>
#include <string>

#include "tarn/src/device/serial_number.h"

namespace tarn::snmp {

// What the texts in which printers name themselves say. They hold firmware, serial numbers and the names of
// network cards beside the model, or instead of it.

enum class ModelGrade : std::uint8_t
{
    None,     // a print server, a network card, a host's system, a placeholder: never the printer
    Platform, // true of the printer, and of many others: only where nothing says more
    Model,
};

ModelGrade gradeModel(const std::string& text);

// Whether the text is a name that network cards make of their address ("BRN001BA9123456").
bool isHostName(const std::string& text);

// The model within a text that may hold serial number, firmware and more beside it; the maker once.
std::string cleanModel(const std::string& text, const std::string& serialNumber);

// A model that sysDescr carries behind "PID:" or "Attached to"; empty when there is none.
std::string modelInDescription(const std::string& text);

using device::namesNoSerial;

// A serial number that sysDescr carries behind "SN:", "S/N" and the like; empty when there is none.
std::string serialInDescription(const std::string& text);

} // namespace tarn::snmp
