#pragma once

#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string>
#include <vector>

#include "tarn/src/device/device_status.h"
#include "tarn/src/snmp/mib/columns.h"
#include "tarn/src/snmp/mib/quirks.h"

namespace tarn::snmp {

// What vendor objects added to the standard's.
struct VendorFacts
{
    std::string serialNumber;
    std::string model;
    std::optional<std::int64_t> totalPages;
};

// Takes a vendor object's answer into the facts, unless the field is there already.
void takeVendorValue(const VendorObject& object, const Value& value, std::optional<std::int64_t> charset,
                     VendorFacts& facts);

// Whether anything that was read is a printer's: a host without printer objects is none.
bool holdsPrinter(const PrinterTables& tables, const VendorFacts& vendor);

// What the standard's objects leave open and vendor objects might answer.
bool lacksIdentity(const PrinterTables& tables);

// The status of what was read. Pure; docs/PROTOCOLS.md has the decision tables.
device::DeviceStatus buildStatus(const PrinterTables& tables, const VendorFacts& vendor);

// The same of a status that was built of tables with the same rows and texts, of which only the objects of
// the Fast read have moved since: what words say of supplies and trays need not be found out again.
void refreshStatus(const PrinterTables& tables, const VendorFacts& vendor, device::DeviceStatus& status);

// ---- its parts, apart for tests ----

// Columns whose rows make a supply, a tray, an alert.
constexpr std::initializer_list<ColumnId> kSupplyColumns = {
    ColumnId::PrtMarkerSuppliesClass, ColumnId::PrtMarkerSuppliesType, ColumnId::PrtMarkerSuppliesDescription,
    ColumnId::PrtMarkerSuppliesMaxCapacity, ColumnId::PrtMarkerSuppliesLevel};
constexpr std::initializer_list<ColumnId> kInputColumns = {ColumnId::PrtInputMaxCapacity,
                                                           ColumnId::PrtInputCurrentLevel,
                                                           ColumnId::PrtInputStatus, ColumnId::PrtInputName};
constexpr std::initializer_list<ColumnId> kAlertColumns = {ColumnId::PrtAlertSeverityLevel,
                                                           ColumnId::PrtAlertCode, ColumnId::PrtAlertGroup,
                                                           ColumnId::PrtAlertDescription};

// All rows that any of these columns has, ascending.
std::vector<std::uint32_t> rowsOf(const PrinterTables& tables, std::initializer_list<ColumnId> columns);

// The row of a supply's colorant; nothing for 0, which is none (RFC 3805).
std::optional<std::uint32_t> colorantOf(const PrinterTables& tables, std::uint32_t row);

// Text of one cell in the device's charset; empty when there is none.
std::string textAt(const PrinterTables& tables, ColumnId id, std::uint32_t row);
std::string firstTextOf(const PrinterTables& tables, ColumnId id);

std::vector<device::Supply> buildSupplies(const PrinterTables& tables);
std::vector<device::Tray> buildTrays(const PrinterTables& tables);
// Of supplies and trays that were built of the same rows.
void refreshSupplies(const PrinterTables& tables, std::vector<device::Supply>& supplies);
void refreshTrays(const PrinterTables& tables, std::vector<device::Tray>& trays);

// Makes alerts, flags, activity, powerSave and needsAttention; supplies and trays must be there.
void buildAlerts(const PrinterTables& tables, device::DeviceStatus& status);

} // namespace tarn::snmp
