#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace tarnstatus {

// Seconds since 1970, UTC.
using UnixTime = std::int64_t;

constexpr UnixTime kDay = 86400;

// A marker supply, as the JSON document names it.
struct RecordedSupply
{
    std::string kind; // toner, drum, waste ...
    std::string colour;
    std::string description;

    bool operator==(const RecordedSupply& other) const
    {
        return kind == other.kind && colour == other.colour && description == other.description;
    }
};

// What was different from a moment on.
struct Entry
{
    UnixTime time = 0;
    std::optional<std::int64_t> pages;
    std::vector<std::optional<int>> levels; // percent, one for each of the printer's supplies
};

// A printer that was recorded.
struct RecordedPrinter
{
    std::int64_t id = 0;
    std::string name;
    std::string ip;
    std::string model;
    std::string serial;
    UnixTime seen = 0; // its last answer that was recorded; nothing changed between the last entry and this
};

// History is what was recorded of one printer.
//
// Invariants
//  (1) The entries are in the order of time, and none is later than printer.seen.
//  (2) Each entry has a level, known or not, for each supply.
struct History
{
    RecordedPrinter printer;
    std::vector<RecordedSupply> supplies; // every one it ever had, in the order of appearance
    std::vector<Entry> entries;
    bool isCut = false; // there are older entries, too many to be read
};

} // namespace tarnstatus
