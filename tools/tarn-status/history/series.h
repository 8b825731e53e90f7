#pragma once

#include <optional>
#include <vector>

#include "tools/tarn-status/history/history.h"

namespace tarnstatus {

// A level that held from a moment on.
struct LevelPoint
{
    UnixTime time = 0;
    int percent = 0;
};

// The known levels of one supply.
std::vector<LevelPoint> levelsOf(const History& history, std::size_t supply);

// What remains of the points from the last replacement on: a level that rises by so much is another
// cartridge, by less the printer's own inexactness.
constexpr int kReplacementRise = 10;
std::vector<LevelPoint> sinceReplacement(const std::vector<LevelPoint>& points);

// One day by the clock on the wall.
struct HistoryDay
{
    UnixTime begin = 0;
    std::optional<std::int64_t> printed; // pages; not known where the counter is not, or went back
    Entry last;                          // how the day ended
};

// The days with an entry, and that of the last answer.
std::vector<HistoryDay> daysOf(const History& history);

// Midnight before that time, by the clock on the wall; and the one so many days later.
UnixTime dayBegin(UnixTime time, int daysLater = 0);

} // namespace tarnstatus
