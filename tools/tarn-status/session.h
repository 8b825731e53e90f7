#pragma once

#include "tools/tarn-status/formats/format.h"

namespace tarnstatus {

struct Options;

// Shows printers as the command line asks, until that is done or a signal ends it. Returns the exit status.
// Throws tools::FileError, AccessError, tools::WriteError.
int show(const Options& options);

// One look at the printers that the command line names.
Look lookOnce(const Options& options);

} // namespace tarnstatus
