#pragma once

namespace tarnstatus {

struct Options;

// Reads the printers that the command line names, and records them. Returns the exit status: 0, or 2 where
// none answered. Throws tools::FileError, tools::WriteError, AccessError.
int record(const Options& options);

// Shows what was recorded. Throws tools::FileError, tools::WriteError.
int lookBack(const Options& options);

} // namespace tarnstatus
