#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tarn/src/snmp/wire/pdu.h"

namespace tarn::snmp {

// The objects that are read from a printer, one a column. System: RFC 3418. hr*: RFC 2790. prt*: RFC 3805.
enum class ColumnId : std::uint8_t
{
    SysDescr,
    SysObjectId,
    SysUpTime,
    SysLocation,
    HrDeviceType,
    HrDeviceDescr,
    HrDeviceStatus,
    HrPrinterStatus,
    HrPrinterDetectedErrorState,
    PrtGeneralConfigChanges,
    PrtGeneralCurrentLocalization,
    PrtGeneralPrinterName,
    PrtGeneralSerialNumber,
    PrtAlertCriticalEvents,
    PrtAlertAllEvents,
    PrtLocalizationCharacterSet,
    PrtInputType,
    PrtInputCapacityUnit,
    PrtInputMaxCapacity,
    PrtInputCurrentLevel,
    PrtInputStatus,
    PrtInputName,
    PrtInputDescription,
    PrtMarkerCounterUnit,
    PrtMarkerLifeCount,
    PrtMarkerSuppliesColorantIndex,
    PrtMarkerSuppliesClass,
    PrtMarkerSuppliesType,
    PrtMarkerSuppliesDescription,
    PrtMarkerSuppliesSupplyUnit,
    PrtMarkerSuppliesMaxCapacity,
    PrtMarkerSuppliesLevel,
    PrtMarkerColorantValue,
    PrtAlertSeverityLevel,
    PrtAlertGroup,
    PrtAlertGroupIndex,
    PrtAlertLocation,
    PrtAlertCode,
    PrtAlertDescription,
    Count,
};

constexpr std::size_t kColumnCount = static_cast<std::size_t>(ColumnId::Count);

// How the instances of a column are named behind the column's own identifier.
enum class IndexForm : std::uint8_t
{
    Scalar,        // .0
    Device,        // .hrDeviceIndex
    PrinterDevice, // .hrDeviceIndex, of the row that the Printer-MIB uses
    PrinterRow,    // .hrDeviceIndex.row
};

enum class ColumnKind : std::uint8_t
{
    Number,
    Text,     // octets as received; charset.h makes text of them
    ObjectId, // kept as dotted text
};

struct ColumnSpec
{
    ColumnId id;
    const char* oid;
    IndexForm form;
    ColumnKind kind;
    std::uint16_t maxRows; // more are not read, whatever the agent has
};

const ColumnSpec& specOf(ColumnId id);

// The column's own identifier; made once, valid for ever.
const Oid& oidOf(ColumnId id);
// The same as it stands in a message.
const std::string& encodedOidOf(ColumnId id);

Oid parseOid(const char* dotted);
std::string dottedOid(const Oid& oid);
bool hasPrefix(const Oid& oid, const Oid& prefix);

// One column as read: rows ascending, and one number or text a row.
struct ColumnData
{
    std::vector<std::uint32_t> rows;
    std::vector<std::int64_t> numbers;
    std::vector<std::string> texts;

    std::optional<std::int64_t> numberOf(std::uint32_t row) const;
    // Null when there is no such row; valid until the column changes.
    const std::string* textOf(std::uint32_t row) const;
    std::optional<std::int64_t> firstNumber() const;
    const std::string* firstText() const;
    bool empty() const { return rows.empty(); }
    void clear();
};

bool operator==(const ColumnData& left, const ColumnData& right);
inline bool operator!=(const ColumnData& left, const ColumnData& right)
{
    return !(left == right);
}

// Takes a value of the kind that the column wants; false, and nothing changes, when it is of another kind, an
// exception of v2c, or not above the last row.
bool appendCell(ColumnData& column, ColumnKind kind, std::uint32_t row, const Value& value);

// Everything that was read of one printer. Most reads touch few of the columns, and thousands may be
// under way at once: only what was touched takes memory.
class PrinterTables final
{
public:
    // Valid until another column is touched for the first time.
    ColumnData& operator[](ColumnId id);
    // Valid until the tables change; a column that was never touched is an empty one.
    const ColumnData& operator[](ColumnId id) const;

    std::size_t touched() const { return m_touched; }
    void reserve(std::size_t columns) { m_columns.reserve(columns); }
    // All are untouched again; their memory is kept for the next.
    void clear();

private:
    std::array<std::uint8_t, kColumnCount> m_places{}; // one above its place in m_columns; 0: untouched
    std::vector<ColumnData> m_columns;
    std::size_t m_touched = 0; // the first so many of m_columns
};

} // namespace tarn::snmp
