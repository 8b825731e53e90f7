#pragma once

#include "tools/tarn-status/explain/finding.h"

namespace tarnstatus {

// Looks for printers that are attached, and asks each of the first few who it is.
void askUsb(const Tell& tell);

} // namespace tarnstatus
