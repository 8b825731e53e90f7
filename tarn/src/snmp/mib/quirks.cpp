#include "tarn/src/snmp/mib/quirks.h"

#include <algorithm>
#include <cstdlib>

#include "tarn/src/base/immortal.h"
#include "tarn/src/device/device_id.h"
#include "tarn/src/device/make_and_model.h"
#include "tarn/src/device/supply_words.h"
#include "tarn/src/snmp/mib/status.h"

namespace tarn::snmp {

namespace {

// --- what rows match, and what is done ---

constexpr std::int64_t kDeviceWarning = 3; // hrDeviceStatus

// Whether all supplies have the same colorant while their words name different colours.
bool hasOneColorantForAll(const PrinterTables& tables)
{
    std::optional<std::uint32_t> only;
    std::vector<std::uint32_t> rows;
    for (const std::uint32_t row : tables[ColumnId::PrtMarkerSuppliesColorantIndex].rows) {
        const std::optional<std::uint32_t> colorant = colorantOf(tables, row);
        if (!colorant) {
            continue;
        }
        if (only && only != colorant) {
            return false;
        }
        only = colorant;
        rows.push_back(row);
    }
    std::string first;
    return rows.size() > 1 && std::any_of(rows.begin(), rows.end(), [&](std::uint32_t row) {
               const device::ColorSaid words =
                   device::colorFromDescription(textAt(tables, ColumnId::PrtMarkerSuppliesDescription, row));
               first = first.empty() ? words.text : first;
               return !words.text.empty() && words.text != first;
           });
}

bool warnsOfNothing(const PrinterTables& tables)
{
    const std::string* errors = tables[ColumnId::HrPrinterDetectedErrorState].firstText();
    return errors != nullptr && !errors->empty() &&
           errors->substr(0, 2).find_first_not_of('\0') == std::string::npos &&
           tables[ColumnId::HrDeviceStatus].firstNumber() == kDeviceWarning;
}

constexpr QuirkMatch agentOf(std::uint32_t enterprise)
{
    return {enterprise, nullptr};
}
constexpr QuirkMatch anybody()
{
    return {0, nullptr};
}
constexpr QuirkMatch wherever(bool (*isSeenIn)(const PrinterTables&))
{
    return {0, isSeenIn};
}

constexpr QuirkAction ask(VendorField field, const char* oid, VendorFormat format)
{
    return {QuirkEffect::AskObject, {field, oid, format}};
}
constexpr QuirkAction itsNamesAreNoModel()
{
    return {QuirkEffect::NamesAreNoModel, {}};
}
constexpr QuirkAction askForAllObjects()
{
    return {QuirkEffect::AskForAllObjects, {}};
}
constexpr QuirkAction ignoreColorants()
{
    return {QuirkEffect::IgnoreColorants, {}};
}
constexpr QuirkAction levelsTellWhatIsLow()
{
    return {QuirkEffect::LevelsTellWhatIsLow, {}};
}

using F = VendorField;
using T = VendorFormat;

// --- the table: symptom, whom or what it concerns, what is done about it, where it was seen ---
//
// Enterprise numbers: IANA private enterprise registry, with the names that it has there or the devices that were met.
// Other names are those of recordings in tests/data/snmp. Of objects for one enterprise and field, the first that
// answers counts.

// clang-format off
const Quirk kQuirks[] = {
    {"prtGeneralSerialNumber is missing; sysDescr shows the print server's", agentOf(11),                     ask(F::SerialNumber, "1.3.6.1.4.1.11.2.3.9.4.2.1.1.3.3.0", T::PmlText),  "Hewlett-Packard"},
    {"prtGeneralSerialNumber is missing",                                    agentOf(236),                    ask(F::SerialNumber, "1.3.6.1.4.1.236.11.5.1.1.1.4.0", T::Text),         "Samsung"},
    {"hrDeviceDescr is missing",                                             agentOf(236),                    ask(F::Model, "1.3.6.1.4.1.236.11.5.1.1.1.1.0", T::Text),                "Samsung"},
    {"prtGeneralSerialNumber is missing",                                    agentOf(253),                    ask(F::SerialNumber, "1.3.6.1.4.1.253.8.53.3.2.1.3.1", T::Text),         "Xerox"},
    {"hrDeviceDescr is missing",                                             agentOf(253),                    ask(F::Model, "1.3.6.1.4.1.253.8.51.1.2.1.20.1", T::DeviceId),           "Xerox"},
    {"hrDeviceDescr is missing",                                             agentOf(297),                    ask(F::Model, "1.3.6.1.4.1.253.8.51.1.2.1.20.1", T::DeviceId),           "Fuji Xerox"},
    {"prtGeneralSerialNumber is missing",                                    agentOf(367),                    ask(F::SerialNumber, "1.3.6.1.4.1.367.3.2.1.2.1.4.0", T::Text),          "Ricoh"},
    {"hrDeviceDescr is missing, sysDescr lists services",                    agentOf(367),                    ask(F::Model, "1.3.6.1.4.1.367.3.2.1.1.1.1.0", T::Text),                 "Ricoh"},
    {"no prtMarkerLifeCount",                                                agentOf(367),                    ask(F::TotalPages, "1.3.6.1.4.1.367.3.2.1.2.19.1.0", T::Number),         "Ricoh"},
    {"prtGeneralSerialNumber is missing",                                    agentOf(641),                    ask(F::SerialNumber, "1.3.6.1.4.1.641.2.1.2.1.6.1", T::Text),            "Lexmark"},
    {"hrDeviceDescr is missing",                                             agentOf(641),                    ask(F::Model, "1.3.6.1.4.1.641.2.1.2.1.2.1", T::Text),                   "Lexmark"},
    {"newer devices moved the object",                                       agentOf(641),                    ask(F::SerialNumber, "1.3.6.1.4.1.641.6.2.3.1.5.1", T::Text),            "Lexmark"},
    {"newer devices moved the object",                                       agentOf(641),                    ask(F::Model, "1.3.6.1.4.1.641.6.2.3.1.4.1", T::Text),                   "Lexmark"},
    {"hrDeviceDescr is missing",                                             agentOf(641),                    ask(F::Model, "1.3.6.1.4.1.641.2.1.2.1.3.1", T::DeviceId),               "Lexmark"},
    {"hrDeviceDescr holds serial number and firmware too",                   agentOf(674),                    ask(F::Model, "1.3.6.1.4.1.674.10898.100.2.1.2.1.3.1", T::DeviceId),     "Dell"},
    {"devices of another maker's keep its object",                           agentOf(674),                    ask(F::Model, "1.3.6.1.4.1.641.2.1.2.1.3.1", T::DeviceId),               "Dell"},
    {"devices of another maker's keep its object",                           agentOf(674),                    ask(F::Model, "1.3.6.1.4.1.253.8.51.10.2.1.7.2.28110202", T::DeviceId),  "Dell"},
    {"sysDescr names the print server",                                      agentOf(683),                    ask(F::Model, "1.3.6.1.4.1.683.6.2.3.2.1.15.1", T::Text),                "Extended Systems"},
    {"prtGeneralSerialNumber is missing",                                    agentOf(1248),                   ask(F::SerialNumber, "1.3.6.1.4.1.1248.1.2.2.1.1.1.5.1", T::Text),       "Epson"},
    {"sysDescr names the print server",                                      agentOf(1248),                   ask(F::Model, "1.3.6.1.4.1.1248.1.1.3.1.3.8.0", T::Text),                "Epson"},
    {"prtGeneralSerialNumber is missing",                                    agentOf(1347),                   ask(F::SerialNumber, "1.3.6.1.4.1.1347.43.5.1.1.28.1", T::Text),         "Kyocera"},
    {"sysDescr names the print server",                                      agentOf(1347),                   ask(F::Model, "1.3.6.1.4.1.1347.43.5.1.1.1.1", T::Text),                 "Kyocera"},
    {"no prtMarkerLifeCount",                                                agentOf(1347),                   ask(F::TotalPages, "1.3.6.1.4.1.1347.43.10.1.1.12.1.1", T::Number),      "Kyocera"},
    {"hrDeviceDescr is missing",                                             agentOf(1602),                   ask(F::Model, "1.3.6.1.4.1.1602.1.1.1.1.0", T::Text),                    "Canon"},
    {"prtGeneralSerialNumber is missing",                                    agentOf(1602),                   ask(F::SerialNumber, "1.3.6.1.4.1.1602.1.2.1.4.0", T::Text),             "Canon"},
    {"prtGeneralSerialNumber is missing",                                    agentOf(2001),                   ask(F::SerialNumber, "1.3.6.1.4.1.2001.1.1.1.1.11.1.10.45.0", T::Text),  "Oki Data"},
    {"prtGeneralSerialNumber is missing",                                    agentOf(2435),                   ask(F::SerialNumber, "1.3.6.1.4.1.2435.2.3.9.4.2.1.5.5.1.0", T::Text),   "Brother"},
    {"sysDescr names the network card",                                      agentOf(2435),                   ask(F::Model, "1.3.6.1.4.1.2435.2.4.3.2435.5.13.3.0", T::Text),          "Brother"},
    {"sysDescr names the network card",                                      agentOf(2435),                   ask(F::Model, "1.3.6.1.4.1.2435.2.3.9.1.1.7.0", T::DeviceId),            "Brother"},
    {"no prtMarkerLifeCount",                                                agentOf(2435),                   ask(F::TotalPages, "1.3.6.1.4.1.2435.2.3.9.4.2.1.5.5.10.0", T::TagList), "Brother"},
    {"sysDescr names the print server",                                      agentOf(10642),                  ask(F::Model, "1.3.6.1.4.1.10642.1.1.0", T::Text),                       "Zebra"},
    {"prtGeneralSerialNumber is missing",                                    agentOf(10642),                  ask(F::SerialNumber, "1.3.6.1.4.1.10642.1.9.0", T::Text),                "Zebra"},
    {"hrDeviceDescr names the platform",                                     agentOf(18334),                  ask(F::Model, "1.3.6.1.4.1.18334.1.1.1.1.6.2.1.0", T::Text),             "Konica Minolta"},
    {"hrDeviceDescr is missing",                                             anybody(),                       ask(F::Model, "1.3.6.1.4.1.2699.1.2.1.2.1.1.3.1", T::DeviceId),          "PWG 5107.1 ppmPrinterIEEE1284DeviceId"},
    {"sysDescr names the print server",                                      anybody(),                       ask(F::Model, "1.3.6.1.4.1.11.2.3.9.1.1.7.0", T::DeviceId),              "print servers of many makers: device-id-behind-server"},
    {"prtGeneralSerialNumber is missing",                                    anybody(),                       ask(F::SerialNumber, "1.3.6.1.4.1.11.2.3.9.1.1.7.0", T::DeviceId),       "print servers of many makers: device-id-behind-server"},
    {"sysDescr and hrDeviceDescr name the print server",                     agentOf(171),                    itsNamesAreNoModel(),                                                    "D-Link DP-301P+"},
    {"sysDescr and hrDeviceDescr name the print server",                     agentOf(244),                    itsNamesAreNoModel(),                                                    "Lantronix EPS2"},
    {"sysDescr and hrDeviceDescr name the print server",                     agentOf(343),                    itsNamesAreNoModel(),                                                    "Intel NetportExpress"},
    {"sysDescr and hrDeviceDescr name the print server",                     agentOf(368),                    itsNamesAreNoModel(),                                                    "Axis 5600+"},
    {"sysDescr and hrDeviceDescr name the print server",                     agentOf(683),                    itsNamesAreNoModel(),                                                    "Extended Systems ExtendNet"},
    {"sysDescr and hrDeviceDescr name the print server",                     agentOf(1229),                   itsNamesAreNoModel(),                                                    "SEH InterCon PS03"},
    {"sysObjectID is the agent's, whoever made the printer",                 agentOf(2021),                   askForAllObjects(),                                                      "Net-SNMP's predecessor"},
    {"sysDescr and hrDeviceDescr name the print server",                     agentOf(3955),                   itsNamesAreNoModel(),                                                    "Linksys PSUS4"},
    {"sysDescr and hrDeviceDescr name the print server",                     agentOf(4526),                   itsNamesAreNoModel(),                                                    "Netgear PS121"},
    {"sysObjectID is the agent's, whoever made the printer",                 agentOf(8072),                   askForAllObjects(),                                                      "Net-SNMP"},
    {"all supplies have one colorant, and their words name several colours", wherever(&hasOneColorantForAll), ignoreColorants(),                                                       "one-colorant-for-all"},
    {"hrDeviceStatus warns, and no error bit tells of what",                 wherever(&warnsOfNothing),       levelsTellWhatIsLow(),                                                   "warns-of-nothing"},
};
// clang-format on

// One for each row of the table; empty where the row asks for nothing.
const Immortal<std::vector<Oid>> objectOids([] {
    std::vector<Oid> made;
    for (const Quirk& quirk : kQuirks) {
        made.push_back(quirk.action.object.oid == nullptr ? Oid() : parseOid(quirk.action.object.oid));
    }
    return made;
}());

std::optional<std::uint32_t> enterpriseOf(const std::string& sysObjectId)
{
    const std::string root = "1.3.6.1.4.1.";
    if (sysObjectId.compare(0, root.size(), root) != 0) {
        return std::nullopt;
    }
    return static_cast<std::uint32_t>(std::strtoul(sysObjectId.c_str() + root.size(), nullptr, 10));
}

bool isOfAgent(const Quirk& quirk, std::optional<std::uint32_t> enterprise)
{
    return quirk.match.isSeenIn == nullptr && enterprise && quirk.match.enterprise == *enterprise;
}

bool agentHas(const std::string& sysObjectId, QuirkEffect effect)
{
    const std::optional<std::uint32_t> enterprise = enterpriseOf(sysObjectId);
    return std::any_of(std::begin(kQuirks), std::end(kQuirks), [&](const Quirk& quirk) {
        return quirk.action.effect == effect && isOfAgent(quirk, enterprise);
    });
}

} // namespace

QuirkTable quirks()
{
    return {std::begin(kQuirks), std::end(kQuirks)};
}

bool hasQuirk(const PrinterTables& tables, QuirkEffect effect)
{
    return std::any_of(std::begin(kQuirks), std::end(kQuirks), [&](const Quirk& quirk) {
        return quirk.action.effect == effect && quirk.match.isSeenIn != nullptr &&
               quirk.match.isSeenIn(tables);
    });
}

bool isOfPrintServerMaker(const std::string& sysObjectId)
{
    return agentHas(sysObjectId, QuirkEffect::NamesAreNoModel);
}

std::vector<const VendorObject*> vendorObjectsFor(const std::string& sysObjectId)
{
    const std::optional<std::uint32_t> enterprise = enterpriseOf(sysObjectId);
    const bool known = enterprise && !agentHas(sysObjectId, QuirkEffect::AskForAllObjects);
    std::vector<const VendorObject*> objects;
    for (const Quirk& quirk : kQuirks) {
        if (quirk.action.effect == QuirkEffect::AskObject &&
            (!known || quirk.match.enterprise == 0 || isOfAgent(quirk, enterprise))) {
            objects.push_back(&quirk.action.object);
        }
    }
    return objects;
}

const Oid& oidOf(const VendorObject& object)
{
    const auto row = std::find_if(std::begin(kQuirks), std::end(kQuirks),
                                  [&](const Quirk& quirk) { return &quirk.action.object == &object; });
    return (*objectOids)[static_cast<std::size_t>(row - std::begin(kQuirks))];
}

std::optional<std::string> vendorText(const VendorObject& object, const std::string& octets)
{
    std::string text = octets;
    if (object.format == VendorFormat::DeviceId) {
        const device::DeviceId id = device::parseDeviceId(octets);
        text = object.field == VendorField::Model ? device::makeAndModel(id) : id.serialNumber;
    } else if (object.format == VendorFormat::PmlText) {
        text = octets.size() > 2 ? octets.substr(2) : std::string();
    }
    return text.empty() ? std::nullopt : std::optional<std::string>(text);
}

std::optional<std::int64_t> vendorNumber(const std::string& octets)
{
    for (std::size_t at = 0; at + 3 <= octets.size();) {
        const auto tag = static_cast<std::uint8_t>(octets[at]);
        const auto length = static_cast<std::uint8_t>(octets[at + 2]);
        if (tag == 0xFF || length > 8 || octets.size() - at - 3 < length) {
            return std::nullopt;
        }
        if (tag == 0x00 && length > 0 && length < 8) {
            std::int64_t number = 0;
            for (std::size_t i = 0; i < length; ++i) {
                number = (number << 8) | static_cast<std::uint8_t>(octets[at + 3 + i]);
            }
            return number;
        }
        at += 3U + length;
    }
    return std::nullopt;
}

} // namespace tarn::snmp
