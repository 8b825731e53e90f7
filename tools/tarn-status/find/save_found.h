#pragma once

#include <string>
#include <vector>

#include "tools/tarn-status/printer_access.h"

namespace tarnstatus {

// What addToList() did.
struct Saved
{
    std::size_t added = 0;
    std::size_t known = 0; // were in the list already
};

// Adds network printers to a list such as the program's printers.json; makes the file where there is none.
// What it has already, by address, is not added again, and no name twice; what it has stays as it is. The
// file is replaced in one step, or not at all; one that had printers stays as FILE.previous. Another tool or
// program that saves meanwhile is waited for, by the program's own lock on FILE.lock. Throws tools::FileError
// when the file is no list, a link to nothing, or the program runs, which may use it; tools::WriteError when it cannot be
// written. programLock: what the program holds a lock on while it runs.
Saved addToList(const std::string& file, const std::vector<Reading>& found,
                const std::string& programLock = "/tmp/kel.lock");

// The same, and a line about it on standard error.
void saveFound(const std::vector<Reading>& found, const std::string& file);

} // namespace tarnstatus
