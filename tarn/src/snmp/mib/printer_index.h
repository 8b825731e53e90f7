#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>

#include "tarn/src/snmp/mib/columns.h"

namespace tarn::snmp {

// The tables of the Printer-MIB that are read. By the standard all have the same hrDeviceIndex; there are
// agents that count some of them from 0 and others from 1.
enum class PrinterTable : std::uint8_t
{
    General,
    Localization,
    Input,
    Marker,
    Supplies,
    Colorant,
    Alert,
    Count,
};

constexpr std::size_t kPrinterTableCount = static_cast<std::size_t>(PrinterTable::Count);

// Of a prt... column.
constexpr PrinterTable tableOf(ColumnId id)
{
    if (id <= ColumnId::PrtAlertAllEvents) {
        return PrinterTable::General;
    }
    if (id == ColumnId::PrtLocalizationCharacterSet) {
        return PrinterTable::Localization;
    }
    if (id <= ColumnId::PrtInputDescription) {
        return PrinterTable::Input;
    }
    if (id <= ColumnId::PrtMarkerLifeCount) {
        return PrinterTable::Marker;
    }
    if (id <= ColumnId::PrtMarkerSuppliesLevel) {
        return PrinterTable::Supplies;
    }
    return id == ColumnId::PrtMarkerColorantValue ? PrinterTable::Colorant : PrinterTable::Alert;
}

// Where the printer's rows are.
struct PrinterIndex
{
    std::uint32_t device = 1; // of the Host Resources tables
    std::array<std::uint32_t, kPrinterTableCount> tables = {1, 1, 1, 1, 1, 1, 1};

    std::uint32_t& of(PrinterTable table) { return tables[static_cast<std::size_t>(table)]; }
    // Of a column's rows; the column is of the Printer-MIB.
    std::uint32_t of(ColumnId id) const { return tables[static_cast<std::size_t>(tableOf(id))]; }
    // Then the index of a table that was empty cannot be told from the others'.
    bool differsBetweenTables() const
    {
        return std::any_of(tables.begin(), tables.end(), [this](std::uint32_t i) { return i != tables[0]; });
    }
};

inline bool operator==(const PrinterIndex& left, const PrinterIndex& right)
{
    return left.device == right.device && left.tables == right.tables;
}

} // namespace tarn::snmp
