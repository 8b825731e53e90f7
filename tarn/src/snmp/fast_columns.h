#pragma once

// Within session*.cpp only: what the Fast conversation asks for, in its order.

#include "tarn/src/snmp/columns.h"
#include "tarn/src/snmp/session_impl.h"

namespace tarn::snmp {

constexpr ColumnId fastScalars[] = {ColumnId::SysUpTime,
                                    ColumnId::HrDeviceStatus,
                                    ColumnId::HrPrinterStatus,
                                    ColumnId::HrPrinterDetectedErrorState,
                                    ColumnId::PrtGeneralConfigChanges,
                                    ColumnId::PrtAlertCriticalEvents,
                                    ColumnId::PrtAlertAllEvents};
constexpr ColumnId fastRows[] = {ColumnId::PrtMarkerLifeCount, ColumnId::PrtMarkerSuppliesLevel,
                                 ColumnId::PrtInputCurrentLevel};

// What tells that the slow tables must be read again.
constexpr bool isChangeCounter(ColumnId id)
{
    return id == ColumnId::PrtGeneralConfigChanges || id == ColumnId::PrtAlertCriticalEvents ||
           id == ColumnId::PrtAlertAllEvents;
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
