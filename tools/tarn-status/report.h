#pragma once

#include <string>
#include <vector>

#include <json/value.h>

#include "tools/tarn-status/printer_access.h"

namespace tarnstatus {

enum class ExitCode
{
    Fine = 0,
    Attention = 1,
    Unreachable = 2,
    Usage = 3,
};

// Of all printers together, the worst: unreachable is worse than attention.
ExitCode exitCodeOf(const std::vector<Reading>& readings);

// Whether what answers is a printer at all.
bool looksLikePrinter(const Reading& reading);

// The document of --json. Its members are described in docs/tarn-status.1; "schema" is 1 and grows when one
// of them changes its meaning or goes.
Json::Value jsonReport(const std::vector<Reading>& readings);

// The table for people; with colour where the terminal has it.
std::string tableReport(const std::vector<Reading>& readings, bool colour);

// How many columns of a terminal the UTF-8 text takes.
std::size_t displayWidth(const std::string& text);

} // namespace tarnstatus
