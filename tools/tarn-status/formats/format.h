#pragma once

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "tools/tarn-status/printer_access.h"
#include "tools/tarn-status/thresholds.h"
#include "tools/tarn-status/words.h"

namespace tarnstatus {

// What all printers said at one moment.
struct Look
{
    std::chrono::system_clock::time_point time;
    std::vector<Reading> readings;
};

// What a format is made with.
struct FormatSettings
{
    bool colour = false;   // escape sequences may be used
    bool watching = false; // more looks follow the first
    Language language = Language::English;
    Thresholds warning;
    Thresholds critical;
};

// Format turns looks at printers into text. One object sees all the looks of a run, in their order.
class Format
{
public:
    virtual ~Format() = default;
    // All lines of one look, each with its end.
    virtual std::string render(const Look& look) = 0;
    // What the program ends with, were this the last look.
    virtual int exitStatus(const Look& look) const;
};

// One row of the list of formats.
struct FormatKind
{
    const char* name;
    const char* help;
    bool isForWatching;   // false: its readers take one look a run
    bool isForPeople;     // on a terminal a look takes the place of the last
    bool showsRemembered; // false: its readers take what it says for what is
    std::unique_ptr<Format> (*make)(const FormatSettings& settings);
};

// What a format of that kind is given of a look.
Look lookFor(const FormatKind& kind, Look look);

// Null when there is none of that name.
const FormatKind* findFormat(const std::string& name);
// All of them, in the order of the help.
std::string formatNames(const char* separator);
// A line for each, for the help.
const char* formatHelp();

// What --on-change tells of one printer: a JSON document in one line.
std::string eventDocument(const char* event, std::chrono::system_clock::time_point time,
                          const Reading& reading);

std::unique_ptr<Format> makeTable(const FormatSettings& settings);
std::unique_ptr<Format> makeBrief(const FormatSettings& settings);
std::unique_ptr<Format> makeJson(const FormatSettings& settings);
std::unique_ptr<Format> makeCsv(const FormatSettings& settings);
std::unique_ptr<Format> makePrometheus(const FormatSettings& settings);
std::unique_ptr<Format> makeNagios(const FormatSettings& settings);

} // namespace tarnstatus
