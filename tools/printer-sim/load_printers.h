#pragma once

#include <stdexcept>
#include <vector>

#include "tools/printer-sim/options.h"
#include "tools/printer-sim/printer.h"

namespace printersim {

// The kind of printer that a scenario or a recording describes; the faults of a scenario go to faults.
std::shared_ptr<const PrinterKind> kindOf(const std::string& fileName, const std::string& text,
                                          FaultPlan& faults);

// The printers of the command line, their files read. Throws tools::FileError, "FILE:LINE: REASON", and
// tools::UsageError where two printers were to have one address.
std::vector<Printer> loadPrinters(const Options& options);

} // namespace printersim
