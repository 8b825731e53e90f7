#pragma once

#include "tarn/src/device/device_status.h"
#include "tarn/src/ipp/ipp_attributes.h"

namespace tarn::ipp {

// The status of what a printer said. Pure, and never fails; docs/PROTOCOLS.md has the decision tables.
device::DeviceStatus buildStatus(const IppAttributes& attributes);

// ---- its parts, apart for tests ----

// printer-supply, or the marker attributes, or what both say together.
std::vector<device::Supply> buildSupplies(const IppAttributes& attributes);
std::vector<device::Tray> buildTrays(const IppAttributes& attributes);
// Fills alerts, flags, activity, powerSave and needsAttention; supplies and trays must be there.
void buildAlerts(const IppAttributes& attributes, device::DeviceStatus& status);

} // namespace tarn::ipp
