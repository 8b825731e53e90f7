// Supplies and trays: what is in the printer.
#include "tarn/src/device/supply_types.h"
#include "tarn/src/device/supply_words.h"
#include "tarn/src/snmp/picture.h"

namespace tarn::snmp {

namespace {

using device::Supply;
using device::SupplyColor;

constexpr std::int64_t classReceptacle = 4;

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
    const device::SupplyType* type =
        device::findSupplyType(tables[ColumnId::PrtMarkerSuppliesType].numberOf(row));
    const bool declared = tables[ColumnId::PrtMarkerSuppliesClass].numberOf(row) == classReceptacle;
    supply.kind = device::kindOf(type, declared, supply);
    supply.receptacle = declared || supply.kind == device::SupplyKind::Waste;
    supply.type = type == nullptr ? "unknown" : type->keyword;
    const device::Level level = device::levelOf(tables[ColumnId::PrtMarkerSuppliesLevel].numberOf(row),
                                                tables[ColumnId::PrtMarkerSuppliesMaxCapacity].numberOf(row),
                                                tables[ColumnId::PrtMarkerSuppliesSupplyUnit].numberOf(row));
    supply.levelKind = level.kind;
    supply.percent = level.percent;
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
    for (const std::uint32_t row : rowsOf(tables, supplyColumns)) {
        supplies.push_back(buildSupply(tables, row));
    }
    device::colorTheOnlyToner(supplies);
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
        const device::Level level = device::levelOf(tray.level, tray.capacity, unit);
        tray.levelKind = level.kind;
        tray.percent = level.percent;
        tray.available = device::subUnitAvailable(tables[ColumnId::PrtInputStatus].numberOf(row));
        tray.empty = tray.level == 0;
        trays.push_back(std::move(tray));
    }
    return trays;
}

} // namespace tarn::snmp
