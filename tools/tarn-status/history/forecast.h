#pragma once

#include <optional>
#include <vector>

#include "tools/tarn-status/history/series.h"

namespace tarnstatus {

// When a supply is used up, counted from the last answer on.
struct Forecast
{
    int percent = 0; // what is left
    double days = 0;
    double soonest = 0; // eight times of ten it lasts between soonest
    double latest = 0;  // and latest
};

// Nothing where the data do not allow it: since the last replacement less than a week, or less than three per
// cent used, or so unevenly that the interval would say nothing.
//
// What is left lasts as it was used since the last replacement. How far the rate of the days to come may be
// from that follows from how much the days and the weeks differ among each other.
std::optional<Forecast> forecastOf(const std::vector<LevelPoint>& points, UnixTime end);

} // namespace tarnstatus
