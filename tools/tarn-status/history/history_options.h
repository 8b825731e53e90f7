#pragma once

#include <string>
#include <vector>

#include "tools/common/option_table.h"
#include "tools/tarn-status/history/history.h"

namespace tarnstatus {

// What the command line asks for of the past.
struct HistoryOptions
{
    bool record = false;
    int keepDays = 730;
    bool isKeepGiven = false;
    std::string printer; // of --history: its name, address or serial number
    std::string since;   // a date, or how long ago; empty: from the beginning
    std::string plotFile;
    bool forecast = false;

    bool isUsed() const
    {
        return record || isKeepGiven || isLookingBack() || !since.empty() || !plotFile.empty();
    }
    // The past is shown, and no printer asked.
    bool isLookingBack() const { return forecast || !printer.empty(); }
};

std::vector<tools::Option> historyOptions(HistoryOptions& options);

// What of these does not go together. Throws tools::UsageError.
void checkHistoryOptions(const HistoryOptions& options);

// "2026-11-01" (midnight by the clock on the wall), or "90", "90d", "12w", "6m", "2y" before now. Throws
// tools::UsageError.
UnixTime sinceOf(const std::string& text, UnixTime now);

} // namespace tarnstatus
