#pragma once

namespace tarnstatus {

struct Options;

// Shows printers as the command line asks, until that is done or a signal ends it. Returns the exit status.
// Throws tools::FileError, AccessError, tools::WriteError.
int show(const Options& options);

} // namespace tarnstatus
