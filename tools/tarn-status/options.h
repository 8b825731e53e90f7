#pragma once

#include <chrono>
#include <string>
#include <vector>

#include "tools/common/option_table.h"
#include "tools/tarn-status/explain/explain.h"
#include "tools/tarn-status/formats/format.h"
#include "tools/tarn-status/history/history_options.h"
#include "tools/tarn-status/thresholds.h"

namespace tarnstatus {

// What the command line asks for.
struct Options
{
    enum class Action
    {
        Show,
        CheckConfig,
        Explain,
        Help,
        Version,
    };

    Action action = Action::Show;
    std::vector<std::string> addresses;
    std::string listFile;
    bool find = false;
    std::string network;    // of --find; empty: those that announce themselves alone
    std::string saveFile;   // of --save
    std::string configFile; // of --check-config; empty: the one that the library reads
    ExplainOptions explain;
    bool usb = false;
    bool cups = false;
    const FormatKind* format = nullptr; // never null after parsing
    bool watch = false;
    std::string changeCommand; // of --on-change, with its path
    std::chrono::milliseconds interval{2000};
    std::chrono::milliseconds timeout{6000};
    Thresholds warning;
    Thresholds critical;
    HistoryOptions history;
};

// Throws tools::UsageError.
Options parseOptions(const std::vector<std::string>& arguments);

std::string helpText();

} // namespace tarnstatus
