#pragma once

#include <chrono>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "tools/tarn-status/printer_access.h"

namespace tarnstatus {

// What happened to a printer.
struct Change
{
    const char* event; // offline, back, toner-low, out-of-paper
    Reading reading;
};

// Something that is or is not, believed once it was seen in two looks and for so long.
class Debounced final
{
public:
    using Time = std::chrono::steady_clock::time_point;

    static constexpr std::chrono::seconds kHold{5};

    // True where this look changes what is believed. The first value is believed at once, and is no change.
    bool take(bool value, Time now);
    bool value() const { return m_believed.value_or(false); }

private:
    std::optional<bool> m_believed;
    std::optional<Time> m_doubtedSince;
};

// ChangeDetector tells edges of looks: what is as it was is none, and neither is what the first look shows.
//
// Invariants
//  (1) Paper and toner of a printer that cannot be reached stay as they were.
//  (2) A printer that is missing from a look, unplugged for example, cannot be reached.
// Threading: one thread.
class ChangeDetector final
{
public:
    std::vector<Change> take(const std::vector<Reading>& readings, Debounced::Time now);

private:
    struct Printer
    {
        Reading last;
        bool isThere = true; // in this look
        Debounced online;
        Debounced tonerLow;
        Debounced outOfPaper;
    };

    static void check(Printer& printer, Debounced::Time now, std::vector<Change>& changes);

    std::map<std::string, Printer> m_printers;
};

} // namespace tarnstatus
