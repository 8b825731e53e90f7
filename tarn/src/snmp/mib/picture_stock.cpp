// Supplies and trays: what is in the printer.
#include <algorithm>

#include "tarn/src/device/supply_types.h"
#include "tarn/src/device/supply_words.h"
#include "tarn/src/snmp/mib/picture.h"

namespace tarn::snmp {

namespace {

using device::Supply;
using device::SupplyColor;

constexpr std::int64_t classReceptacle = 4;

// The colorant's row; nothing for 0, which is none (RFC 3805).
std::optional<std::uint32_t> colorantOf(const PrinterTables& tables, std::uint32_t row)
{
    const std::int64_t index = tables[ColumnId::PrtMarkerSuppliesColorantIndex].numberOf(row).value_or(0);
    const bool valid = index > 0 && index <= 0x7FFFFFFF;
    return valid ? std::optional<std::uint32_t>(static_cast<std::uint32_t>(index)) : std::nullopt;
}

// Whether all supplies have the same colorant while their words name different colours: agents do that.
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

device::ColorSaid colorOf(const PrinterTables& tables, std::uint32_t row, const std::string& description,
                          bool byColorant)
{
    const std::optional<std::uint32_t> colorant = byColorant ? colorantOf(tables, row) : std::nullopt;
    if (colorant) {
        const device::ColorSaid said =
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
    const bool declared = tables[ColumnId::PrtMarkerSuppliesClass].numberOf(row) == classReceptacle;
    supply.kind = device::kindOf(type, declared, supply);
    supply.receptacle = declared || supply.kind == device::SupplyKind::Waste;
    supply.type = type == nullptr ? "unknown" : type->keyword;
    setLevel(tables, row, supply);
    return supply;
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

std::vector<Supply> buildSupplies(const PrinterTables& tables)
{
    std::vector<Supply> supplies;
    const bool byColorant = !hasOneColorantForAll(tables);
    for (const std::uint32_t row : rowsOf(tables, supplyColumns)) {
        supplies.push_back(buildSupply(tables, row, byColorant));
    }
    device::colorTheOnlyToner(supplies);
    return supplies;
}

void refreshSupplies(const PrinterTables& tables, std::vector<Supply>& supplies)
{
    setLevels(tables, rowsOf(tables, supplyColumns), supplies);
}

void refreshTrays(const PrinterTables& tables, std::vector<device::Tray>& trays)
{
    setLevels(tables, rowsOf(tables, inputColumns), trays);
}

std::vector<device::Tray> buildTrays(const PrinterTables& tables)
{
    std::vector<device::Tray> trays;
    for (const std::uint32_t row : rowsOf(tables, inputColumns)) {
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
