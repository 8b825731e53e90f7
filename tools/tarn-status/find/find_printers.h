#pragma once

#include <vector>

#include "tools/tarn-status/printer_access.h"

namespace tarnstatus {

struct Options;

// The printers that announce themselves, and those that answer among the hosts of options.network where one
// is named. An address is one printer. Meanwhile the access knows other printers. IPP is spoken only where
// printers have announced themselves, and to what was found.
std::vector<NamedPrinter> findPrinters(PrinterAccess& access, const Options& options);

} // namespace tarnstatus
