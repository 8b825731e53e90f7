// Supplies and trays: what is in the printer.
#include <algorithm>

#include "tarn/src/device/supply_types.h"
#include "tarn/src/device/supply_words.h"
#include "tarn/src/snmp/mib/status.h"

namespace tarn::snmp {

namespace {

using device::Supply;
using device::SupplyColor;

constexpr std::int64_t kClassReceptacle = 4;

device::ColorSaid colorOf(const PrinterTables& tables, std::uint32_t row, const std::string& description,
                          bool byColorant)
{
    const std::optional<std::uint32_t> colorant = byColorant ? colorantOf(tables, row) : std::nullopt;
    if (colorant) {
        device::ColorSaid said =
            device::colorFromColorant(textAt(tables, ColumnId::PrtMarkerColorantValue, *colorant));
        if (said.color != SupplyColor::None) {
            return said;
        }
    }
    return device::colorFromDescription(description);
}

void setLevel(const PrinterTables& tables, std::uint32_t row, Supply& supply)
{
    const device::Level level = device::levelOf(tables[ColumnId::PrtMarkerSuppliesLevel].numberOf(row),
                                                tables[ColumnId::PrtMarkerSuppliesMaxCapacity].numberOf(row),
                                                tables[ColumnId::PrtMarkerSuppliesSupplyUnit].numberOf(row));
    supply.levelKind = level.kind;
    supply.percent = level.percent;
}

void setLevel(const PrinterTables& tables, std::uint32_t row, device::Tray& tray)
{
    tray.level = tables[ColumnId::PrtInputCurrentLevel].numberOf(row).value_or(-2);
    tray.capacity = tables[ColumnId::PrtInputMaxCapacity].numberOf(row).value_or(-2);
    const device::Level level =
        device::levelOf(tray.level, tray.capacity, tables[ColumnId::PrtInputCapacityUnit].numberOf(row));
    tray.levelKind = level.kind;
    tray.percent = level.percent;
    tray.empty = tray.level == 0;
}

template <typename T>
void setLevels(const PrinterTables& tables, const std::vector<std::uint32_t>& rows, std::vector<T>& items)
{
    for (std::size_t i = 0; i < rows.size() && i < items.size(); ++i) {
        setLevel(tables, rows[i], items[i]);
    }
}

Supply buildSupply(const PrinterTables& tables, std::uint32_t row, bool byColorant)
{
    Supply supply;
    supply.description = textAt(tables, ColumnId::PrtMarkerSuppliesDescription, row);
    const device::ColorSaid color = colorOf(tables, row, supply.description, byColorant);
    supply.color = color.color;
    supply.colorText = color.color == SupplyColor::None ? std::string() : color.text;
    const device::SupplyType* type =
        device::findSupplyType(tables[ColumnId::PrtMarkerSuppliesType].numberOf(row));
    const bool declared = tables[ColumnId::PrtMarkerSuppliesClass].numberOf(row) == kClassReceptacle;
    supply.kind = device::kindOf(type, declared, supply);
    supply.receptacle = declared || supply.kind == device::SupplyKind::Waste;
    supply.type = type == nullptr ? "unknown" : type->keyword;
    setLevel(tables, row, supply);
    return supply;
}

std::string trayName(const PrinterTables& tables, std::uint32_t row)
{
    std::string name = textAt(tables, ColumnId::PrtInputName, row);
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

std::optional<std::uint32_t> colorantOf(const PrinterTables& tables, std::uint32_t row)
{
    const std::int64_t index = tables[ColumnId::PrtMarkerSuppliesColorantIndex].numberOf(row).value_or(0);
    const bool valid = index > 0 && index <= 0x7FFFFFFF;
    return valid ? std::optional<std::uint32_t>(static_cast<std::uint32_t>(index)) : std::nullopt;
}

std::vector<Supply> buildSupplies(const PrinterTables& tables)
{
    std::vector<Supply> supplies;
    const bool byColorant = !hasQuirk(tables, QuirkEffect::IgnoreColorants);
    for (const std::uint32_t row : rowsOf(tables, kSupplyColumns)) {
        supplies.push_back(buildSupply(tables, row, byColorant));
    }
    device::colorTheOnlyToner(supplies);
    return supplies;
}

void refreshSupplies(const PrinterTables& tables, std::vector<Supply>& supplies)
{
    setLevels(tables, rowsOf(tables, kSupplyColumns), supplies);
}

void refreshTrays(const PrinterTables& tables, std::vector<device::Tray>& trays)
{
    setLevels(tables, rowsOf(tables, kInputColumns), trays);
}

std::vector<device::Tray> buildTrays(const PrinterTables& tables)
{
    std::vector<device::Tray> trays;
    for (const std::uint32_t row : rowsOf(tables, kInputColumns)) {
        device::Tray tray;
        tray.name = trayName(tables, row);
        tray.unit = capacityUnitKeyword(tables[ColumnId::PrtInputCapacityUnit].numberOf(row));
        tray.available = device::subUnitAvailable(tables[ColumnId::PrtInputStatus].numberOf(row));
        setLevel(tables, row, tray);
        trays.push_back(std::move(tray));
    }
    return trays;
}

} // namespace tarn::snmp
