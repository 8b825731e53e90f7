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
    DeviceId, // IEEE 1284 device identifier: maker and model, or the serial number
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

// Whether the agent is of somebody who makes print servers and no printers: what it calls itself is no
// printer.
bool isOfPrintServerMaker(const std::string& sysObjectId);

// The field's value, or nothing when the octets do not carry it.
std::optional<std::string> vendorText(const VendorObject& object, const std::string& octets);
std::optional<std::int64_t> vendorNumber(const std::string& octets); // of a TagList

} // namespace tarn::snmp
