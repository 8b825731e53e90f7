#pragma once

#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

#include "tarn/src/device/device_status.h"

namespace tarn::device {

// What the standard's types, levels and units of supplies mean (PrtMarkerSuppliesTypeTC of IANA-PRINTER-MIB,
// RFC 3805), whose keywords IPP uses as well.

struct SupplyType
{
    std::int64_t type;
    std::string_view keyword; // its label in the standard
    SupplyKind kind;
    bool says; // false: the type says nothing of what it is
};

// Null for what the standard does not list.
const SupplyType* findSupplyType(std::optional<std::int64_t> type);
const SupplyType* findSupplyType(std::string_view keyword);

// What a supply is of which description and colour are known. Devices give the type toner to drums and waste
// boxes too, so words that name a part overrule it; a receptacle never marks paper. Without a useful type the
// words decide alone.
SupplyKind kindOf(const SupplyType* type, bool receptacle, const Supply& supply);

// A printer with one toner and no word of its colour prints black.
void colorTheOnlyToner(std::vector<Supply>& supplies);

// RFC 3805 prtMarkerSuppliesLevel, prtInputCurrentLevel; the unit is PrtCapacityUnitTC's.
struct Level
{
    LevelKind kind = LevelKind::Unknown;
    int percent = 0;
};
Level levelOf(std::optional<std::int64_t> level, std::optional<std::int64_t> max,
              std::optional<std::int64_t> unit);

// PrtSubUnitStatusTC: the low three bits tell availability, the next ones alerts, off-line and transition.
bool subUnitAvailable(std::optional<std::int64_t> status);

} // namespace tarn::device
