#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tarn/src/snmp/mib/columns.h"
#include "tarn/src/snmp/wire/pdu.h"

namespace tarn::snmp {

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
    VendorField field = VendorField::SerialNumber;
    const char* oid = nullptr;
    VendorFormat format = VendorFormat::Text;
};

// What is done about a quirk.
enum class QuirkEffect : std::uint8_t
{
    AskObject,           // a vendor object tells what the standard's do not
    AskForAllObjects,    // the agent does not tell who made the printer
    NamesAreNoModel,     // what the agent calls itself is a print server
    IgnoreColorants,     // the colours are those of the words
    LevelsTellWhatIsLow, // where no alert does
};

// Whom or what a quirk concerns.
struct QuirkMatch
{
    std::uint32_t enterprise = 0; // sysObjectID begins 1.3.6.1.4.1.<enterprise>; 0: anybody's
    bool (*isSeenIn)(const PrinterTables&) = nullptr; // whoever it is; null: that is all
};

struct QuirkAction
{
    QuirkEffect effect = QuirkEffect::AskObject;
    VendorObject object; // of AskObject
};

// Quirk is one way in which devices are not as the standards have them: a row of the table in quirks.cpp. The
// readers and the status know no maker by name.
struct Quirk
{
    const char* symptom;
    QuirkMatch match;
    QuirkAction action;
    const char* seen;
};

// All rows, for tests.
struct QuirkTable
{
    const Quirk* first;
    const Quirk* last;
    const Quirk* begin() const { return first; }
    const Quirk* end() const { return last; }
};
QuirkTable quirks();

// Whether a quirk of that effect is seen in what was read.
bool hasQuirk(const PrinterTables& tables, QuirkEffect effect);

// The objects to ask a device with this sysObjectID (dotted; empty when it has none), in order of trust. A
// device that does not say what it is, or whose agent is a general one, is asked for all: they are few.
std::vector<const VendorObject*> vendorObjectsFor(const std::string& sysObjectId);

// What an object of the table is called; made once, valid for ever.
const Oid& oidOf(const VendorObject& object);

// Whether the agent is of somebody who makes print servers and no printers: what it calls itself is no
// printer.
bool isOfPrintServerMaker(const std::string& sysObjectId);

// The field's value, or nothing when the octets do not carry it.
std::optional<std::string> vendorText(const VendorObject& object, const std::string& octets);
std::optional<std::int64_t> vendorNumber(const std::string& octets); // of a TagList

} // namespace tarn::snmp
