#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace tarn::snmp {

// Device oddities as data: whom a row concerns, what is seen there, what is done about it. The readers and
// the picture know no maker by name.

enum class VendorField : std::uint8_t
{
    SerialNumber,
    Model,
    TotalPages,
};

// How the object's value carries the field.
enum class VendorFormat : std::uint8_t
{
    Text,     // the whole text
    Number,   // an integer
    DeviceId, // IEEE 1284 device identifier: the text behind MDL: or MODEL:
    PmlText,  // two octets (type, length), then the text
    TagList,  // records of tag, type, length and big-endian number, ended by FF: the number of tag 00
};

struct VendorObject
{
    std::uint32_t enterprise; // sysObjectID begins 1.3.6.1.4.1.<enterprise>; 0: anybody
    VendorField field;
    const char* oid;
    VendorFormat format;
    const char* symptom; // why the standard's objects are not enough there
};

// The objects to ask a device with this sysObjectID (dotted; empty when it has none), in order of trust. A
// device that does not say what it is, or whose agent is a general one, is asked for all: they are few.
std::vector<const VendorObject*> vendorObjectsFor(const std::string& sysObjectId);

// The field's value, or nothing when the octets do not carry it.
std::optional<std::string> vendorText(const VendorObject& object, const std::string& octets);
std::optional<std::int64_t> vendorNumber(const std::string& octets); // of a TagList

// Whether a text that should hold a serial number holds a placeholder: "unknown", "XXXXXXXX", nothing.
bool namesNoSerial(const std::string& text);

// Whether a text that should hold a model names a print server, a network card or a platform instead.
bool namesNoModel(const std::string& text);

// The model within a text that may hold serial number, firmware and more beside it.
std::string cleanModel(const std::string& text, const std::string& serialNumber);

// A serial number that sysDescr carries behind "SN:", "S/N" and the like; empty when there is none.
std::string serialInDescription(const std::string& text);

// A model that sysDescr carries behind "PID:"; empty when there is none.
std::string modelInDescription(const std::string& text);

} // namespace tarn::snmp
