#include "tarn/src/snmp/mib/columns.h"

#include <algorithm>
#include <cstdlib>

#include "tarn/src/base/immortal.h"
#include "tarn/src/snmp/wire/codec.h"

namespace tarn::snmp {

namespace {

constexpr std::uint16_t kManySupplies = 64;
constexpr std::uint16_t kManyTrays = 32;
constexpr std::uint16_t kManyAlerts = 48;
constexpr std::size_t kLongestText = 512; // the longest text of any standard object has 255 octets

using Form = IndexForm;
using Kind = ColumnKind;

// In the order of ColumnId, which a test holds.
const ColumnSpec kSpecs[kColumnCount] = {
    {ColumnId::SysDescr, "1.3.6.1.2.1.1.1", Form::Scalar, Kind::Text, 1},
    {ColumnId::SysObjectId, "1.3.6.1.2.1.1.2", Form::Scalar, Kind::ObjectId, 1},
    {ColumnId::SysUpTime, "1.3.6.1.2.1.1.3", Form::Scalar, Kind::Number, 1},
    {ColumnId::SysLocation, "1.3.6.1.2.1.1.6", Form::Scalar, Kind::Text, 1},
    {ColumnId::HrDeviceType, "1.3.6.1.2.1.25.3.2.1.2", Form::Device, Kind::ObjectId, 96},
    {ColumnId::HrDeviceDescr, "1.3.6.1.2.1.25.3.2.1.3", Form::Device, Kind::Text, 1},
    {ColumnId::HrDeviceStatus, "1.3.6.1.2.1.25.3.2.1.5", Form::Device, Kind::Number, 1},
    {ColumnId::HrPrinterStatus, "1.3.6.1.2.1.25.3.5.1.1", Form::Device, Kind::Number, 1},
    {ColumnId::HrPrinterDetectedErrorState, "1.3.6.1.2.1.25.3.5.1.2", Form::Device, Kind::Text, 1},
    {ColumnId::PrtGeneralConfigChanges, "1.3.6.1.2.1.43.5.1.1.1", Form::PrinterDevice, Kind::Number, 1},
    {ColumnId::PrtGeneralCurrentLocalization, "1.3.6.1.2.1.43.5.1.1.2", Form::PrinterDevice, Kind::Number, 1},
    {ColumnId::PrtGeneralPrinterName, "1.3.6.1.2.1.43.5.1.1.16", Form::PrinterDevice, Kind::Text, 1},
    {ColumnId::PrtGeneralSerialNumber, "1.3.6.1.2.1.43.5.1.1.17", Form::PrinterDevice, Kind::Text, 1},
    {ColumnId::PrtAlertCriticalEvents, "1.3.6.1.2.1.43.5.1.1.18", Form::PrinterDevice, Kind::Number, 1},
    {ColumnId::PrtAlertAllEvents, "1.3.6.1.2.1.43.5.1.1.19", Form::PrinterDevice, Kind::Number, 1},
    {ColumnId::PrtLocalizationCharacterSet, "1.3.6.1.2.1.43.7.1.1.4", Form::PrinterRow, Kind::Number, 1},
    {ColumnId::PrtInputType, "1.3.6.1.2.1.43.8.2.1.2", Form::PrinterRow, Kind::Number, kManyTrays},
    {ColumnId::PrtInputCapacityUnit, "1.3.6.1.2.1.43.8.2.1.8", Form::PrinterRow, Kind::Number, kManyTrays},
    {ColumnId::PrtInputMaxCapacity, "1.3.6.1.2.1.43.8.2.1.9", Form::PrinterRow, Kind::Number, kManyTrays},
    {ColumnId::PrtInputCurrentLevel, "1.3.6.1.2.1.43.8.2.1.10", Form::PrinterRow, Kind::Number, kManyTrays},
    {ColumnId::PrtInputStatus, "1.3.6.1.2.1.43.8.2.1.11", Form::PrinterRow, Kind::Number, kManyTrays},
    {ColumnId::PrtInputName, "1.3.6.1.2.1.43.8.2.1.13", Form::PrinterRow, Kind::Text, kManyTrays},
    {ColumnId::PrtInputDescription, "1.3.6.1.2.1.43.8.2.1.18", Form::PrinterRow, Kind::Text, kManyTrays},
    {ColumnId::PrtMarkerCounterUnit, "1.3.6.1.2.1.43.10.2.1.3", Form::PrinterRow, Kind::Number, 8},
    {ColumnId::PrtMarkerLifeCount, "1.3.6.1.2.1.43.10.2.1.4", Form::PrinterRow, Kind::Number, 8},
    {ColumnId::PrtMarkerSuppliesColorantIndex, "1.3.6.1.2.1.43.11.1.1.3", Form::PrinterRow, Kind::Number,
     kManySupplies},
    {ColumnId::PrtMarkerSuppliesClass, "1.3.6.1.2.1.43.11.1.1.4", Form::PrinterRow, Kind::Number,
     kManySupplies},
    {ColumnId::PrtMarkerSuppliesType, "1.3.6.1.2.1.43.11.1.1.5", Form::PrinterRow, Kind::Number,
     kManySupplies},
    {ColumnId::PrtMarkerSuppliesDescription, "1.3.6.1.2.1.43.11.1.1.6", Form::PrinterRow, Kind::Text,
     kManySupplies},
    {ColumnId::PrtMarkerSuppliesSupplyUnit, "1.3.6.1.2.1.43.11.1.1.7", Form::PrinterRow, Kind::Number,
     kManySupplies},
    {ColumnId::PrtMarkerSuppliesMaxCapacity, "1.3.6.1.2.1.43.11.1.1.8", Form::PrinterRow, Kind::Number,
     kManySupplies},
    {ColumnId::PrtMarkerSuppliesLevel, "1.3.6.1.2.1.43.11.1.1.9", Form::PrinterRow, Kind::Number,
     kManySupplies},
    {ColumnId::PrtMarkerColorantValue, "1.3.6.1.2.1.43.12.1.1.4", Form::PrinterRow, Kind::Text, 32},
    {ColumnId::PrtAlertSeverityLevel, "1.3.6.1.2.1.43.18.1.1.2", Form::PrinterRow, Kind::Number, kManyAlerts},
    {ColumnId::PrtAlertGroup, "1.3.6.1.2.1.43.18.1.1.4", Form::PrinterRow, Kind::Number, kManyAlerts},
    {ColumnId::PrtAlertGroupIndex, "1.3.6.1.2.1.43.18.1.1.5", Form::PrinterRow, Kind::Number, kManyAlerts},
    {ColumnId::PrtAlertLocation, "1.3.6.1.2.1.43.18.1.1.6", Form::PrinterRow, Kind::Number, kManyAlerts},
    {ColumnId::PrtAlertCode, "1.3.6.1.2.1.43.18.1.1.7", Form::PrinterRow, Kind::Number, kManyAlerts},
    {ColumnId::PrtAlertDescription, "1.3.6.1.2.1.43.18.1.1.8", Form::PrinterRow, Kind::Text, kManyAlerts},
};

std::optional<std::size_t> positionOf(const std::vector<std::uint32_t>& rows, std::uint32_t row)
{
    const auto found = std::lower_bound(rows.begin(), rows.end(), row);
    if (found == rows.end() || *found != row) {
        return std::nullopt;
    }
    return static_cast<std::size_t>(found - rows.begin());
}

} // namespace

const ColumnSpec& specOf(ColumnId id)
{
    return kSpecs[static_cast<std::size_t>(id)];
}

namespace {

const Immortal<std::vector<Oid>> columnOids([] {
    std::vector<Oid> made;
    for (const ColumnSpec& spec : kSpecs) {
        made.push_back(parseOid(spec.oid));
    }
    return made;
}());
const Immortal<std::vector<std::string>> encodedColumnOids([] {
    std::vector<std::string> made;
    for (const Oid& oid : *columnOids) {
        made.push_back(encodeOid(oid));
    }
    return made;
}());
const Immortal<ColumnData> untouchedColumn;

} // namespace

const Oid& oidOf(ColumnId id)
{
    return (*columnOids)[static_cast<std::size_t>(id)];
}

const std::string& encodedOidOf(ColumnId id)
{
    return (*encodedColumnOids)[static_cast<std::size_t>(id)];
}

Oid parseOid(const char* dotted)
{
    Oid oid;
    while (*dotted != '\0') {
        char* end = nullptr;
        oid.push_back(static_cast<std::uint32_t>(std::strtoul(dotted, &end, 10)));
        if (end == dotted) {
            return Oid{};
        }
        dotted = *end == '.' ? end + 1 : end;
    }
    return oid;
}

std::string dottedOid(const Oid& oid)
{
    std::string text;
    for (const std::uint32_t part : oid) {
        if (!text.empty()) {
            text += '.';
        }
        text += std::to_string(part);
    }
    return text;
}

bool hasPrefix(const Oid& oid, const Oid& prefix)
{
    return oid.size() >= prefix.size() && std::equal(prefix.begin(), prefix.end(), oid.begin());
}

std::optional<std::int64_t> ColumnData::numberOf(std::uint32_t row) const
{
    const std::optional<std::size_t> position = positionOf(rows, row);
    if (!position || *position >= numbers.size()) {
        return std::nullopt;
    }
    return numbers[*position];
}

const std::string* ColumnData::textOf(std::uint32_t row) const
{
    const std::optional<std::size_t> position = positionOf(rows, row);
    return position && *position < texts.size() ? &texts[*position] : nullptr;
}

std::optional<std::int64_t> ColumnData::firstNumber() const
{
    return numbers.empty() ? std::nullopt : std::optional<std::int64_t>(numbers.front());
}

const std::string* ColumnData::firstText() const
{
    return texts.empty() ? nullptr : &texts.front();
}

void ColumnData::clear()
{
    rows.clear();
    numbers.clear();
    texts.clear();
}

bool operator==(const ColumnData& left, const ColumnData& right)
{
    return left.rows == right.rows && left.numbers == right.numbers && left.texts == right.texts;
}

ColumnData& PrinterTables::operator[](ColumnId id)
{
    std::uint8_t& place = m_places[static_cast<std::size_t>(id)];
    if (place == 0) {
        if (m_touched == m_columns.size()) {
            m_columns.emplace_back();
        } else {
            m_columns[m_touched].clear();
        }
        place = static_cast<std::uint8_t>(++m_touched);
    }
    return m_columns[place - 1u];
}

const ColumnData& PrinterTables::operator[](ColumnId id) const
{
    const std::uint8_t place = m_places[static_cast<std::size_t>(id)];
    return place == 0 ? *untouchedColumn : m_columns[place - 1u];
}

void PrinterTables::clear()
{
    m_places.fill(0);
    m_touched = 0;
}

bool appendCell(ColumnData& column, ColumnKind kind, std::uint32_t row, const Value& value)
{
    if (!column.rows.empty() && row <= column.rows.back()) {
        return false;
    }
    switch (value.type) {
    case ValueType::Integer:
    case ValueType::Counter32:
    case ValueType::Gauge32:
    case ValueType::TimeTicks:
    case ValueType::Counter64:
        if (kind != ColumnKind::Number) {
            return false;
        }
        column.numbers.push_back(value.number);
        break;
    case ValueType::OctetString:
    case ValueType::Opaque:
        if (kind != ColumnKind::Text) {
            return false;
        }
        column.texts.push_back(value.bytes.substr(0, kLongestText));
        break;
    case ValueType::ObjectId:
        if (kind != ColumnKind::ObjectId) {
            return false;
        }
        column.texts.push_back(dottedOid(value.oid));
        break;
    case ValueType::IpAddress:
    case ValueType::Null:
    case ValueType::NoSuchObject:
    case ValueType::NoSuchInstance:
    case ValueType::EndOfMibView:
        return false;
    }
    column.rows.push_back(row);
    return true;
}

} // namespace tarn::snmp
