// Supplies and trays: what is in the printer.
#include <algorithm>
#include <iterator>

#include "tarn/src/device/supply_words.h"
#include "tarn/src/snmp/picture.h"

namespace tarn::snmp {

namespace {

using device::Supply;
using device::SupplyColor;
using device::SupplyKind;

struct SupplyType
{
    std::int64_t type;   // PrtMarkerSuppliesTypeTC, IANA-PRINTER-MIB
    const char* keyword; // its label there
    SupplyKind kind;
    bool says; // false: the type says nothing of what it is
};

const SupplyType supplyTypes[] = {
    {1, "other", SupplyKind::Other, false},
    {2, "unknown", SupplyKind::Other, false},
    {3, "toner", SupplyKind::Toner, true},
    {4, "wasteToner", SupplyKind::Waste, true},
    {5, "ink", SupplyKind::Toner, true},
    {6, "inkCartridge", SupplyKind::Toner, true},
    {7, "inkRibbon", SupplyKind::Toner, true},
    {8, "wasteInk", SupplyKind::Waste, true},
    {9, "opc", SupplyKind::Drum, true},
    {10, "developer", SupplyKind::Developer, true},
    {11, "fuserOil", SupplyKind::Fuser, true},
    {12, "solidWax", SupplyKind::Toner, true},
    {13, "ribbonWax", SupplyKind::Toner, true},
    {14, "wasteWax", SupplyKind::Waste, true},
    {15, "fuser", SupplyKind::Fuser, true},
    {16, "coronaWire", SupplyKind::Other, true},
    {17, "fuserOilWick", SupplyKind::Fuser, true},
    {18, "cleanerUnit", SupplyKind::Cleaner, true},
    {19, "fuserCleaningPad", SupplyKind::Cleaner, true},
    {20, "transferUnit", SupplyKind::Transfer, true},
    {21, "tonerCartridge", SupplyKind::Toner, true},
    {22, "fuserOiler", SupplyKind::Fuser, true},
    {23, "water", SupplyKind::Other, true},
    {24, "wasteWater", SupplyKind::Waste, true},
    {25, "glueWaterAdditive", SupplyKind::Other, true},
    {26, "wastePaper", SupplyKind::Waste, true},
    {27, "bindingSupply", SupplyKind::Other, true},
    {28, "bandingSupply", SupplyKind::Other, true},
    {29, "stitchingWire", SupplyKind::Staples, true},
    {30, "shrinkWrap", SupplyKind::Other, true},
    {31, "paperWrap", SupplyKind::Other, true},
    {32, "staples", SupplyKind::Staples, true},
    {33, "inserts", SupplyKind::Other, true},
    {34, "covers", SupplyKind::Other, true},
    {35, "matteToner", SupplyKind::Toner, true},
    {36, "matteInk", SupplyKind::Toner, true},
};

constexpr std::int64_t classReceptacle = 4;
constexpr std::int64_t unitPercent = 19;

const SupplyType* findSupplyType(std::optional<std::int64_t> type)
{
    const auto* const found = std::find_if(std::begin(supplyTypes), std::end(supplyTypes),
                                           [&](const SupplyType& row) { return type && row.type == *type; });
    return found == std::end(supplyTypes) ? nullptr : found;
}

// The type column says toner of drums and waste boxes too, so words that name a part overrule it; a
// receptacle never marks paper. Without a useful type the words decide alone.
SupplyKind kindOf(const SupplyType* type, bool receptacle, const Supply& supply)
{
    const std::optional<SupplyKind> part = device::partFromDescription(supply.description);
    if (type != nullptr && type->says) {
        if (type->kind != SupplyKind::Toner) {
            return type->kind;
        }
        if (part) {
            return *part;
        }
        return receptacle ? SupplyKind::Waste : SupplyKind::Toner;
    }
    if (part) {
        return *part;
    }
    if (receptacle) {
        return SupplyKind::Waste;
    }
    const bool marks = supply.color != SupplyColor::None || device::namesMarkingMaterial(supply.description);
    return marks ? SupplyKind::Toner : SupplyKind::Other;
}

device::ColorSaid colorOf(const PrinterTables& tables, std::uint32_t row, const std::string& description)
{
    const std::optional<std::int64_t> colorant =
        tables[ColumnId::PrtMarkerSuppliesColorantIndex].numberOf(row);
    if (colorant && *colorant > 0 && *colorant <= 0x7FFFFFFF) { // 0: no colorant (RFC 3805)
        const device::ColorSaid said = device::colorFromColorant(
            textAt(tables, ColumnId::PrtMarkerColorantValue, static_cast<std::uint32_t>(*colorant)));
        if (said.color != SupplyColor::None) {
            return said;
        }
    }
    return device::colorFromDescription(description);
}

Supply buildSupply(const PrinterTables& tables, std::uint32_t row)
{
    Supply supply;
    supply.description = textAt(tables, ColumnId::PrtMarkerSuppliesDescription, row);
    const device::ColorSaid color = colorOf(tables, row, supply.description);
    supply.color = color.color;
    supply.colorText = color.color == SupplyColor::None ? std::string() : color.text;
    const SupplyType* type = findSupplyType(tables[ColumnId::PrtMarkerSuppliesType].numberOf(row));
    const bool declared = tables[ColumnId::PrtMarkerSuppliesClass].numberOf(row) == classReceptacle;
    supply.kind = kindOf(type, declared, supply);
    supply.receptacle = declared || supply.kind == SupplyKind::Waste;
    supply.type = type == nullptr ? "unknown" : type->keyword;
    const Level level = levelOf(tables[ColumnId::PrtMarkerSuppliesLevel].numberOf(row),
                                tables[ColumnId::PrtMarkerSuppliesMaxCapacity].numberOf(row),
                                tables[ColumnId::PrtMarkerSuppliesSupplyUnit].numberOf(row));
    supply.levelKind = level.kind;
    supply.percent = level.percent;
    return supply;
}

// A printer with one toner and no word of its colour prints black.
void colorTheOnlyToner(std::vector<Supply>& supplies)
{
    Supply* only = nullptr;
    for (Supply& supply : supplies) {
        if (supply.kind == SupplyKind::Toner) {
            if (only != nullptr) {
                return;
            }
            only = &supply;
        }
    }
    if (only != nullptr && only->color == SupplyColor::None) {
        only->color = SupplyColor::Black;
        only->colorText = device::colorKeyword(SupplyColor::Black);
    }
}

// PrtSubUnitStatusTC: the low three bits tell availability, the next ones alerts, off-line and transition.
bool trayAvailable(std::optional<std::int64_t> status)
{
    if (!status) {
        return true; // nothing speaks against it
    }
    const std::int64_t availability = *status & 7;
    const bool offline = (*status & 32) != 0;
    return *status >= 0 && availability != 3 && availability != 5 && !offline;
}

std::string trayName(const PrinterTables& tables, std::uint32_t row)
{
    const std::string name = textAt(tables, ColumnId::PrtInputName, row);
    if (!name.empty()) {
        return name;
    }
    const std::string description = textAt(tables, ColumnId::PrtInputDescription, row);
    return description.empty() ? "纸盒 " + std::to_string(row) : description;
}

// PrtCapacityUnitTC
const char* capacityUnitKeyword(std::optional<std::int64_t> unit)
{
    switch (unit.value_or(0)) {
    case 3:
        return "tenThousandthsOfInches";
    case 4:
        return "micrometers";
    case 8:
        return "sheets";
    case 16:
        return "feet";
    case 17:
        return "meters";
    case 18:
        return "items";
    case 19:
        return "percent";
    default:
        return "";
    }
}

} // namespace

const char* supplyTypeKeyword(std::int64_t type)
{
    const SupplyType* found = findSupplyType(type);
    return found == nullptr ? "unknown" : found->keyword;
}

Level levelOf(std::optional<std::int64_t> level, std::optional<std::int64_t> max,
              std::optional<std::int64_t> unit)
{
    if (!level) {
        return Level{};
    }
    if (*level < 0) {
        switch (*level) {
        case -1:
            return Level{device::LevelKind::Unlimited, 0};
        case -3:
            return Level{device::LevelKind::Some, 0};
        default:
            return Level{};
        }
    }
    const std::int64_t capacity = unit == unitPercent ? 100 : max.value_or(-2);
    constexpr std::int64_t largest = 0xFFFFFFFF; // of any 32-bit type that agents use
    if (capacity <= 0 || capacity > largest) {
        return Level{}; // of how much is not known: a level alone makes no percentage
    }
    if (*level > capacity + capacity / 10) {
        return Level{device::LevelKind::Some, 0}; // pages or grams against a capacity in percent
    }
    const std::int64_t percent = (*level * 200 + capacity) / (capacity * 2); // rounded to the nearest
    return Level{device::LevelKind::Percent, static_cast<int>(std::min<std::int64_t>(percent, 100))};
}

std::vector<Supply> buildSupplies(const PrinterTables& tables)
{
    std::vector<Supply> supplies;
    for (const std::uint32_t row : rowsOf(tables, supplyColumns)) {
        supplies.push_back(buildSupply(tables, row));
    }
    colorTheOnlyToner(supplies);
    return supplies;
}

std::vector<device::Tray> buildTrays(const PrinterTables& tables)
{
    std::vector<device::Tray> trays;
    for (const std::uint32_t row : rowsOf(tables, inputColumns)) {
        device::Tray tray;
        tray.name = trayName(tables, row);
        tray.level = tables[ColumnId::PrtInputCurrentLevel].numberOf(row).value_or(-2);
        tray.capacity = tables[ColumnId::PrtInputMaxCapacity].numberOf(row).value_or(-2);
        const std::optional<std::int64_t> unit = tables[ColumnId::PrtInputCapacityUnit].numberOf(row);
        tray.unit = capacityUnitKeyword(unit);
        const Level level = levelOf(tray.level, tray.capacity, unit);
        tray.levelKind = level.kind;
        tray.percent = level.percent;
        tray.available = trayAvailable(tables[ColumnId::PrtInputStatus].numberOf(row));
        tray.empty = tray.level == 0;
        trays.push_back(std::move(tray));
    }
    return trays;
}

} // namespace tarn::snmp
