#pragma once

// Within printer_session*.cpp only: what the Fast read asks for, in its order.

#include <cstdint>

#include "tarn/src/snmp/mib/columns.h"
#include "tarn/src/snmp/mib/printer_index.h"
#include "tarn/src/snmp/mib/up_time.h"

namespace tarn::snmp {

constexpr ColumnId kFastScalars[] = {ColumnId::SysUpTime,
                                     ColumnId::HrDeviceStatus,
                                     ColumnId::HrPrinterStatus,
                                     ColumnId::HrPrinterDetectedErrorState,
                                     ColumnId::PrtGeneralConfigChanges,
                                     ColumnId::PrtAlertCriticalEvents,
                                     ColumnId::PrtAlertAllEvents};
constexpr ColumnId kFastRows[] = {ColumnId::PrtMarkerLifeCount, ColumnId::PrtMarkerSuppliesLevel,
                                  ColumnId::PrtInputCurrentLevel};

// What tells that the slow tables must be read again.
constexpr bool isChangeCounter(ColumnId id)
{
    return id == ColumnId::PrtGeneralConfigChanges || id == ColumnId::PrtAlertCriticalEvents ||
           id == ColumnId::PrtAlertAllEvents;
}

// What a Fast reading says beside what is known, each more than the one before.
enum class FastChange : std::uint8_t
{
    None,
    Numbers,
    Tables, // they must be read again
    Restart,
};

// The same of one column; the greatest of all columns is the reading's.
inline FastChange changeIn(ColumnId id, const ColumnData& known, const ColumnData& read)
{
    if (id == ColumnId::SysUpTime) {
        return isRestart(known.firstNumber(), read.firstNumber()) ? FastChange::Restart : FastChange::None;
    }
    if (known == read) {
        return FastChange::None;
    }
    const bool cameOrWent = specOf(id).form == IndexForm::PrinterRow && known.rows != read.rows;
    const bool tables = cameOrWent || isChangeCounter(id) || id == ColumnId::PrtAlertSeverityLevel;
    return tables ? FastChange::Tables : FastChange::Numbers;
}

// Of an object that has one row, or is a scalar.
inline std::uint32_t instanceOf(ColumnId id, const PrinterIndex& index)
{
    switch (specOf(id).form) {
    case IndexForm::Scalar:
        return 0;
    case IndexForm::Device:
        return index.device;
    case IndexForm::PrinterDevice:
    case IndexForm::PrinterRow:
        break;
    }
    return index.of(id);
}

} // namespace tarn::snmp
