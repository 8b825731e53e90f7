#pragma once

#include <string>

namespace tarnstatus {

// Says what is wrong in a configuration file of the library's, one line each on standard output; file empty:
// the one that the library would read. Returns the exit status. Throws tools::FileError when a file that was
// named cannot be read.
int checkConfig(const std::string& file);

} // namespace tarnstatus
