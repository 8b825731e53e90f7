#pragma once

#include <stdexcept>
#include <vector>

#include "tools/printer-sim/options.h"
#include "tools/printer-sim/printer.h"

namespace printersim {

// The kind of printer that a scenario or a recording describes; the faults of a scenario go to faults.
std::shared_ptr<const PrinterKind> kindOf(const std::string& fileName, const std::string& text,
                                          FaultPlan& faults);

// The printers of the command line, their files read. Throws std::runtime_error, "FILE:LINE: REASON" where a
// file is at fault.
std::vector<Printer> loadPrinters(const Options& options);

} // namespace printersim
