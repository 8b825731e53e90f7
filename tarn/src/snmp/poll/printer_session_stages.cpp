#include <algorithm>
#include <iterator>

#include "tarn/src/device/packed_status.h"
#include "tarn/src/snmp/poll/fast_columns.h"
#include "tarn/src/snmp/poll/printer_session.h"

// What is asked in each stage of a read, and what is made of the answers.
namespace tarn::snmp {

using engine::ReadKind;
using engine::ReadOutcome;

namespace {

using Id = ColumnId;

constexpr const char* kHrDevicePrinter = "1.3.6.1.2.1.25.3.1.5"; // hrDeviceType of a printer

constexpr Id kFullScalars[] = {Id::SysUpTime,
                               Id::HrDeviceDescr,
                               Id::HrDeviceStatus,
                               Id::HrPrinterStatus,
                               Id::HrPrinterDetectedErrorState,
                               Id::PrtGeneralConfigChanges,
                               Id::PrtGeneralCurrentLocalization,
                               Id::PrtGeneralPrinterName,
                               Id::PrtGeneralSerialNumber,
                               Id::PrtAlertCriticalEvents,
                               Id::PrtAlertAllEvents};

struct GroupedColumn
{
    Id id;
    int group; // columns of one group are repeated together: alike in the number of rows
};

constexpr GroupedColumn kFullRows[] = {
    {Id::PrtMarkerCounterUnit, 0},
    {Id::PrtMarkerLifeCount, 0},
    {Id::PrtAlertSeverityLevel, 0},
    {Id::PrtAlertGroup, 0},
    {Id::PrtAlertGroupIndex, 0},
    {Id::PrtAlertLocation, 0},
    {Id::PrtAlertCode, 0},
    {Id::PrtAlertDescription, 0},
    {Id::PrtMarkerSuppliesColorantIndex, 1},
    {Id::PrtMarkerSuppliesClass, 1},
    {Id::PrtMarkerSuppliesType, 1},
    {Id::PrtMarkerSuppliesDescription, 1},
    {Id::PrtMarkerSuppliesSupplyUnit, 1},
    {Id::PrtMarkerSuppliesMaxCapacity, 1},
    {Id::PrtMarkerSuppliesLevel, 1},
    {Id::PrtMarkerColorantValue, 2},
    {Id::PrtInputType, 2},
    {Id::PrtInputCapacityUnit, 2},
    {Id::PrtInputMaxCapacity, 2},
    {Id::PrtInputCurrentLevel, 2},
    {Id::PrtInputStatus, 2},
    {Id::PrtInputName, 2},
    {Id::PrtInputDescription, 2},
};

constexpr Id kSystemObjects[] = {Id::SysDescr, Id::SysObjectId, Id::SysUpTime, Id::SysLocation};

// One of each table, the one most agents have; in order of trust where a table has none.
constexpr Id kPrinterColumns[] = {Id::PrtGeneralConfigChanges,    Id::PrtMarkerSuppliesLevel,
                                  Id::PrtMarkerLifeCount,         Id::PrtInputMaxCapacity,
                                  Id::PrtAlertSeverityLevel,      Id::PrtMarkerColorantValue,
                                  Id::PrtLocalizationCharacterSet};
constexpr Id kDeviceColumns[] = {Id::HrPrinterStatus, Id::HrPrinterDetectedErrorState};

// What was not there is looked for again now and then: an agent may start before all its parts do.
constexpr int kFullsBetweenSearches = 10;

Oid scalarName(Id id)
{
    Oid oid = oidOf(id);
    oid.push_back(0);
    return oid;
}

bool contains(const std::vector<std::uint32_t>& rows, std::uint32_t row)
{
    return std::find(rows.begin(), rows.end(), row) != rows.end();
}

// Whether the Fast read asks the same of both.
bool hasSameRows(const PrinterTables& before, const PrinterTables& now)
{
    const auto same = [&](Id id) { return before[id].rows == now[id].rows; };
    return std::all_of(std::begin(kFastScalars), std::end(kFastScalars), same) &&
           std::all_of(std::begin(kFastRows), std::end(kFastRows), same) && same(Id::PrtAlertSeverityLevel);
}

} // namespace

// ---- the system group: small, and every agent has it ----

void PrinterSession::beginSystem()
{
    std::vector<Oid> names;
    for (const Id id : kSystemObjects) {
        names.push_back(scalarName(id));
    }
    m_read->objects.emplace(std::move(names), m_sizing.limits());
}

void PrinterSession::finishSystem()
{
    for (const Id id : kSystemObjects) {
        if (const Value* value = m_read->objects->find(scalarName(id))) {
            appendCell(m_read->now.tables[id], specOf(id).kind, 0, *value);
        }
    }
    enter(Stage::Find);
}

// ---- the printer's index ----

void PrinterSession::addFind(Id id, std::uint16_t maxRows)
{
    ColumnReader::Walk walk;
    walk.id = id;
    walk.prefix = oidOf(id);
    walk.indexOnly = true;
    walk.maxRows = maxRows;
    m_read->columns->add(std::move(walk));
}

void PrinterSession::beginFind()
{
    m_read->columns.emplace(m_sizing.limits());
    for (const Id id : kPrinterColumns) {
        addFind(id, 1);
    }
    for (const Id id : kDeviceColumns) {
        addFind(id, 4); // a host may list a fax as a printer too
    }
}

void PrinterSession::finishFind()
{
    std::vector<std::uint32_t> devices;
    for (const Id id : kDeviceColumns) {
        const std::vector<std::uint32_t> rows = m_read->columns->take(id).rows;
        devices.insert(devices.end(), rows.begin(), rows.end());
    }
    std::sort(devices.begin(), devices.end());
    PrinterIndex& index = m_read->index;
    std::array<std::vector<std::uint32_t>, std::size(kPrinterColumns)> rows;
    std::optional<std::uint32_t> printer;
    for (std::size_t i = 0; i < rows.size(); ++i) {
        rows[i] = m_read->columns->take(kPrinterColumns[i]).rows;
        if (!printer && !rows[i].empty()) {
            printer = rows[i].front();
        }
    }
    index.device = printer.value_or(devices.empty() ? 1 : devices.front());
    for (std::size_t i = 0; i < rows.size(); ++i) {
        if (!rows[i].empty() || m_kind == ReadKind::Identity) { // an empty table keeps the index it had
            index.of(tableOf(kPrinterColumns[i])) = rows[i].empty() ? index.device : rows[i].front();
        }
    }
    if (devices.empty()) {
        return enter(Stage::DeviceTypes);
    }
    if (!contains(devices, index.device)) {
        index.device = devices.front();
    }
    enter(Stage::Tables);
}

void PrinterSession::beginDeviceTypes()
{
    m_read->columns.emplace(m_sizing.limits());
    ColumnReader::Walk walk;
    walk.id = Id::HrDeviceType;
    walk.prefix = oidOf(walk.id);
    walk.maxRows = specOf(walk.id).maxRows;
    m_read->columns->add(std::move(walk));
}

void PrinterSession::finishDeviceTypes()
{
    ColumnData types = m_read->columns->take(Id::HrDeviceType);
    std::vector<std::uint32_t> printers;
    for (std::size_t i = 0; i < types.rows.size(); ++i) {
        if (types.texts[i] == kHrDevicePrinter) {
            printers.push_back(types.rows[i]);
        }
    }
    if (!printers.empty()) {
        if (!contains(printers, m_read->index.device)) {
            m_read->index.device = printers.front();
        }
        ColumnData& kept =
            m_read->now.tables[Id::HrDeviceType]; // the printer's row alone: the rest is of no use
        kept.rows = {m_read->index.device};
        kept.texts = {kHrDevicePrinter};
    }
    enter(Stage::Tables);
}

// ---- the tables ----

// One object of the printer's row, or a scalar.
void PrinterSession::addInstance(Id id)
{
    ColumnReader::Walk walk;
    walk.id = id;
    walk.prefix = oidOf(id);
    walk.onlyRow = instanceOf(id, m_read->index);
    m_read->columns->add(std::move(walk));
}

void PrinterSession::addRows(Id id, int group, bool askExpected)
{
    ColumnReader::Walk walk;
    walk.id = id;
    walk.prefix = oidOf(id);
    walk.prefix.push_back(m_read->index.of(id));
    walk.expected = known()[id].rows;
    walk.askExpected = askExpected;
    walk.group = group;
    walk.maxRows = specOf(id).maxRows;
    m_read->columns->add(std::move(walk));
}

void PrinterSession::beginTables()
{
    m_read->columns.emplace(m_sizing.limits());
    m_read->columns->reserve(std::size(kFullScalars) + std::size(kFullRows));
    if (m_kind == ReadKind::Full) {
        m_fulls = static_cast<std::uint8_t>((m_fulls + 1) % kFullsBetweenSearches);
    }
    m_askAll = m_kind == ReadKind::Identity || m_fulls == 0;
    for (const Id id : kFullScalars) {
        if (m_askAll || !known()[id].empty() || specOf(id).form == IndexForm::Device) {
            addInstance(id);
        }
    }
    for (const GroupedColumn& column : kFullRows) {
        if (m_askAll || !lacksColumn(column.id)) {
            addRows(column.id, column.group, false);
        }
    }
}

// The device has the table and not this column of it: asking again would only make it answer something else.
bool PrinterSession::lacksColumn(Id id) const
{
    const bool supplies = id >= Id::PrtMarkerSuppliesColorantIndex && id <= Id::PrtMarkerSuppliesLevel;
    const bool inputs = id >= Id::PrtInputType && id <= Id::PrtInputDescription;
    if (!known()[id].empty() || !(supplies || inputs)) {
        return false;
    }
    return !rowsOf(known(), supplies ? kSupplyColumns : kInputColumns).empty();
}

void PrinterSession::finishTables()
{
    for (const Id id : kFullScalars) {
        m_read->now.tables[id] = m_read->columns->take(id);
    }
    for (const GroupedColumn& column : kFullRows) {
        m_read->now.tables[column.id] = m_read->columns->take(column.id);
    }
    if (m_kind == ReadKind::Full &&
        isRestart(known()[Id::SysUpTime].firstNumber(), m_read->now.tables[Id::SysUpTime].firstNumber())) {
        m_oneFast = false;
        return end(ReadOutcome::Restarted);
    }
    const bool sameLocalization =
        m_kind == ReadKind::Full &&
        m_read->now.tables[Id::PrtGeneralCurrentLocalization] == known()[Id::PrtGeneralCurrentLocalization];
    if (sameLocalization) {
        m_read->now.tables[Id::PrtLocalizationCharacterSet] = known()[Id::PrtLocalizationCharacterSet];
        return enter(Stage::Vendor);
    }
    enter(Stage::Charset);
}

void PrinterSession::beginCharset()
{
    m_read->columns.emplace(m_sizing.limits());
    ColumnReader::Walk walk;
    walk.id = Id::PrtLocalizationCharacterSet;
    walk.prefix = oidOf(walk.id);
    walk.prefix.push_back(m_read->index.of(walk.id));
    const std::optional<std::int64_t> current =
        m_read->now.tables[Id::PrtGeneralCurrentLocalization].firstNumber();
    if (current && *current > 0 && *current <= 0xFFFF) {
        walk.onlyRow = static_cast<std::uint32_t>(*current);
    }
    m_read->columns->add(std::move(walk)); // without a current one, the first
}

void PrinterSession::finishCharset()
{
    m_read->now.tables[Id::PrtLocalizationCharacterSet] =
        m_read->columns->take(Id::PrtLocalizationCharacterSet);
    enter(Stage::Vendor);
}

// ---- vendor objects, only where the standard's leave something open ----

void PrinterSession::beginVendor()
{
    std::vector<Oid> names;
    m_read->vendorObjects.clear();
    const bool counterOnly = m_kind == ReadKind::Full;
    if (counterOnly ? m_read->before.vendor.totalPages.has_value() : lacksIdentity(m_read->now.tables)) {
        const std::string* sysObjectId = m_read->now.tables[Id::SysObjectId].firstText();
        for (const VendorObject* object : vendorObjectsFor(sysObjectId == nullptr ? "" : *sysObjectId)) {
            if (!counterOnly || object->field == VendorField::TotalPages) {
                m_read->vendorObjects.push_back(object);
                names.push_back(oidOf(*object));
            }
        }
        std::sort(names.begin(), names.end()); // an object that carries two fields is asked for once
        names.erase(std::unique(names.begin(), names.end()), names.end());
    }
    m_read->objects.emplace(std::move(names), m_sizing.limits());
}

void PrinterSession::finishVendor()
{
    if (!m_read->vendorObjects.empty() && m_kind == ReadKind::Full) {
        m_read->now.vendor.totalPages.reset();
    }
    const std::optional<std::int64_t> charset =
        m_read->now.tables[Id::PrtLocalizationCharacterSet].firstNumber();
    for (const VendorObject* object : m_read->vendorObjects) {
        if (const Value* value = m_read->objects->find(oidOf(*object))) {
            takeVendorValue(*object, *value, charset, m_read->now.vendor);
        }
    }
    if (!holdsPrinter(m_read->now.tables, m_read->now.vendor)) {
        m_oneFast = false;
        return end(ReadOutcome::Unusable);
    }
    m_oneFast = m_oneFast && m_sizing.limits().asksLike(m_fastLimits) && m_index == m_read->index &&
                hasSameRows(known(), m_read->now.tables);
    m_index = m_read->index;
    m_kept.keep(m_read->now);
    publish(m_read->now);
}

void PrinterSession::publish(const Reading& reading)
{
    device::DeviceStatus status = buildStatus(reading.tables, reading.vendor);
    const std::uint64_t digest = device::PackedStatus(status).digest();
    if (m_statusDigest == digest) {
        return end(ReadOutcome::Unchanged);
    }
    m_statusDigest = digest;
    m_status = std::make_shared<const device::DeviceStatus>(std::move(status));
    end(ReadOutcome::Changed);
}

// ---- the fast read ----

// Everything known to move, each asked for by the name before it: a row that went or came shows at once.
void PrinterSession::beginFast()
{
    m_read->columns.emplace(m_sizing.limits());
    m_read->columns->reserve(std::size(kFastScalars) + std::size(kFastRows) + 1);
    for (const Id id : kFastScalars) {
        if (!known()[id].empty()) {
            addInstance(id);
        }
    }
    for (const Id id : kFastRows) {
        if (!known()[id].empty()) {
            addRows(id, 0, true);
        }
    }
    addRows(Id::PrtAlertSeverityLevel, 0, !m_sizing.limits().bulk);
}

void PrinterSession::finishFast()
{
    PrinterTables& kept = m_read->before.tables; // becomes what is known now
    PrinterTables& read = m_read->now.tables;
    FastChange change = FastChange::None;
    const auto take = [&](Id id) {
        read[id] = m_read->columns->take(id);
        change = std::max(change, changeIn(id, known()[id], read[id]));
    };
    m_oneFast = m_read->answers == 1;
    m_fastLimits = m_sizing.limits();
    for (const Id id : kFastScalars) {
        take(id);
        m_oneFast = m_oneFast && read[id].rows == known()[id].rows; // what is gone is not asked for again
    }
    for (const Id id : kFastRows) {
        take(id);
    }
    take(Id::PrtAlertSeverityLevel);
    if (change > FastChange::Numbers) {
        return end(change == FastChange::Restart ? ReadOutcome::Restarted : ReadOutcome::NeedsFull);
    }
    for (const Id id : kFastScalars) {
        kept[id] = std::move(read[id]);
    }
    for (const Id id : kFastRows) {
        kept[id] = std::move(read[id]);
    }
    m_kept.keep(m_read->before);
    return change == FastChange::Numbers ? publish(m_read->before) : end(ReadOutcome::Unchanged);
}

} // namespace tarn::snmp
