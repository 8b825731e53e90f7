#include "tarn/src/snmp/mib/status.h"

#include <algorithm>

#include "tarn/src/snmp/mib/charset.h"
#include "tarn/src/snmp/mib/identity_words.h"
#include "tarn/src/snmp/mib/quirks.h"

namespace tarn::snmp {

namespace {

std::string standardSerial(const PrinterTables& tables)
{
    const std::string serial = firstTextOf(tables, ColumnId::PrtGeneralSerialNumber);
    return namesNoSerial(serial) ? std::string() : serial;
}

struct ModelText
{
    std::string text;
    ModelGrade grade;
};

ModelText graded(const std::string& text)
{
    return {text, gradeModel(text)};
}

bool isBehindPrintServer(const PrinterTables& tables)
{
    const std::string* sysObjectId = tables[ColumnId::SysObjectId].firstText();
    return sysObjectId != nullptr && isOfPrintServerMaker(*sysObjectId);
}

// A print server may say there what it is itself.
ModelText gradedDevice(const PrinterTables& tables)
{
    ModelText device = graded(firstTextOf(tables, ColumnId::HrDeviceDescr));
    if (device.grade == ModelGrade::Model && isBehindPrintServer(tables)) {
        device.grade = ModelGrade::Platform;
    }
    return device;
}

// prtGeneralPrinterName is the administrator's to choose, and many networks' to make up.
ModelText gradedName(const PrinterTables& tables)
{
    ModelText name = graded(firstTextOf(tables, ColumnId::PrtGeneralPrinterName));
    if (name.grade == ModelGrade::Model && isHostName(name.text)) {
        name.grade = ModelGrade::Platform;
    }
    return name;
}

// Of the texts, in order of trust: the model that the first of them names; failing that, what is true of the
// printer and of many others.
std::string modelOf(std::initializer_list<ModelText> texts, const std::string& serial)
{
    std::string platform;
    for (const ModelText& text : texts) {
        std::string model = text.grade == ModelGrade::None ? std::string() : cleanModel(text.text, serial);
        if (!model.empty() && text.grade == ModelGrade::Model) {
            return model;
        }
        platform = platform.empty() ? model : platform;
    }
    return platform;
}

void buildIdentity(const PrinterTables& tables, const VendorFacts& vendor, device::DeviceStatus& status)
{
    const std::string sysDescr = firstTextOf(tables, ColumnId::SysDescr);
    const std::string hrDeviceDescr = firstTextOf(tables, ColumnId::HrDeviceDescr);
    status.serialNumber = standardSerial(tables);
    for (const std::string& serial :
         {vendor.serialNumber, serialInDescription(sysDescr), serialInDescription(hrDeviceDescr)}) {
        if (status.serialNumber.empty() && !namesNoSerial(serial)) {
            status.serialNumber = serial;
        }
    }
    status.model =
        modelOf({gradedDevice(tables),
                 graded(vendor.model),
                 gradedName(tables),
                 graded(modelInDescription(sysDescr)),
                 {sysDescr, isBehindPrintServer(tables) ? ModelGrade::None : gradeModel(sysDescr)}},
                status.serialNumber);
    for (const std::string& text : {sysDescr, hrDeviceDescr, status.model}) {
        if (status.description.empty()) {
            status.description = text;
        }
    }
    status.location = firstTextOf(tables, ColumnId::SysLocation);
}

// The printer's own counter. With several markers the largest: every sheet passes that one.
std::optional<std::int64_t> totalPages(const PrinterTables& tables, const VendorFacts& vendor)
{
    const std::vector<std::int64_t>& counts = tables[ColumnId::PrtMarkerLifeCount].numbers;
    std::optional<std::int64_t> most;
    for (const std::int64_t count : counts) {
        if (count >= 0 && (!most || count > *most)) {
            most = count;
        }
    }
    return most ? most : vendor.totalPages;
}

} // namespace

void takeVendorValue(const VendorObject& object, const Value& value, std::optional<std::int64_t> charset,
                     VendorFacts& facts)
{
    if (object.field == VendorField::TotalPages) {
        const std::optional<std::int64_t> pages =
            object.format == VendorFormat::TagList ? vendorNumber(value.bytes) : value.number;
        if (!facts.totalPages && pages && *pages >= 0) {
            facts.totalPages = pages;
        }
        return;
    }
    const std::optional<std::string> octets = vendorText(object, value.bytes);
    const bool plain = object.format == VendorFormat::DeviceId; // its parser made UTF-8 of it
    const std::string text = !octets ? std::string() : plain ? *octets : decodeText(*octets, charset);
    if (object.field == VendorField::SerialNumber && facts.serialNumber.empty() && !namesNoSerial(text)) {
        facts.serialNumber = text;
    } else if (object.field == VendorField::Model && facts.model.empty() &&
               gradeModel(text) == ModelGrade::Model) {
        facts.model = text;
    }
}

std::vector<std::uint32_t> rowsOf(const PrinterTables& tables, std::initializer_list<ColumnId> columns)
{
    std::vector<std::uint32_t> rows;
    for (const ColumnId id : columns) {
        const std::vector<std::uint32_t>& more = tables[id].rows;
        if (more.empty() || more == rows) { // most devices have the same rows in all columns
            continue;
        }
        rows.insert(rows.end(), more.begin(), more.end());
        std::sort(rows.begin(), rows.end());
        rows.erase(std::unique(rows.begin(), rows.end()), rows.end());
    }
    return rows;
}

std::string textAt(const PrinterTables& tables, ColumnId id, std::uint32_t row)
{
    const std::string* octets = tables[id].textOf(row);
    return octets == nullptr
               ? std::string()
               : decodeText(*octets, tables[ColumnId::PrtLocalizationCharacterSet].firstNumber());
}

std::string firstTextOf(const PrinterTables& tables, ColumnId id)
{
    return tables[id].empty() ? std::string() : textAt(tables, id, tables[id].rows.front());
}

bool holdsPrinter(const PrinterTables& tables, const VendorFacts& vendor)
{
    if (!vendor.serialNumber.empty() || !vendor.model.empty() || vendor.totalPages) {
        return true;
    }
    const std::string printerType = "1.3.6.1.2.1.25.3.1.5"; // hrDevicePrinter
    const std::vector<std::string>& types = tables[ColumnId::HrDeviceType].texts;
    if (std::find(types.begin(), types.end(), printerType) != types.end()) {
        return true;
    }
    for (std::size_t i = static_cast<std::size_t>(ColumnId::HrPrinterStatus); i < kColumnCount; ++i) {
        if (!tables[static_cast<ColumnId>(i)].empty()) {
            return true;
        }
    }
    return false;
}

bool lacksIdentity(const PrinterTables& tables)
{
    const std::string serial = standardSerial(tables);
    return serial.empty() || gradedDevice(tables).grade != ModelGrade::Model ||
           tables[ColumnId::PrtMarkerLifeCount].empty();
}

device::DeviceStatus buildStatus(const PrinterTables& tables, const VendorFacts& vendor)
{
    device::DeviceStatus status;
    buildIdentity(tables, vendor, status);
    status.supplies = buildSupplies(tables);
    status.trays = buildTrays(tables);
    status.totalPages = totalPages(tables, vendor);
    buildAlerts(tables, status);
    return status;
}

void refreshStatus(const PrinterTables& tables, const VendorFacts& vendor, device::DeviceStatus& status)
{
    refreshSupplies(tables, status.supplies);
    refreshTrays(tables, status.trays);
    status.totalPages = totalPages(tables, vendor);
    buildAlerts(tables, status);
}

} // namespace tarn::snmp
