#include "tools/tarn-status/history/forecast.h"

#include <algorithm>
#include <cmath>

namespace tarnstatus {

namespace {

constexpr double kShortestDays = 7;
constexpr int kLeastUse = 3;            // per cent
constexpr std::size_t kWeek = 7;        // days
constexpr std::size_t kWeeksToLook = 3; // that weeks can be compared among each other
constexpr double kQuantile = 1.2816;    // of the normal distribution, for eight of ten
constexpr double kRounding = 1.0 / 12;  // variance of a level that is told in whole per cents
constexpr double kWidest = 0.7;         // half of the interval, in parts of the rate
constexpr double kLongestDays = 3650;

double squared(double value)
{
    return value * value;
}

// What was used on each of the last whole days, the last one first.
std::vector<double> dailyUse(const std::vector<LevelPoint>& points, UnixTime end)
{
    std::vector<double> use;
    auto later = points.rbegin();
    int level = later->percent;
    for (UnixTime time = end - kDay; time >= points.front().time; time -= kDay) {
        while (later->time > time) {
            ++later;
        }
        use.push_back(later->percent - level);
        level = later->percent;
    }
    return use;
}

struct Variance
{
    double perDay = 0;
    double freedom = 1;
};

double plainVariance(const std::vector<double>& values)
{
    double mean = 0;
    for (const double value : values) {
        mean += value / static_cast<double>(values.size());
    }
    double sum = 0;
    for (const double value : values) {
        sum += squared(value - mean);
    }
    return sum / static_cast<double>(values.size() - 1);
}

// Of the same day in two weeks: what the days of a week differ by regularly does not count.
double varianceWithoutWeekdays(const std::vector<double>& use)
{
    double sum = 0;
    for (std::size_t i = kWeek; i < use.size(); ++i) {
        sum += squared(use[i] - use[i - kWeek]);
    }
    return sum / static_cast<double>(use.size() - kWeek) / 2 - 2 * kRounding;
}

double varianceOfWeeks(const std::vector<double>& use)
{
    std::vector<double> weeks(use.size() / kWeek);
    for (std::size_t i = 0; i < weeks.size() * kWeek; ++i) {
        weeks[i / kWeek] += use[i];
    }
    return (plainVariance(weeks) - 2 * kRounding) / static_cast<double>(kWeek);
}

Variance varianceOf(const std::vector<double>& use)
{
    const auto days = static_cast<double>(use.size());
    if (use.size() < 2 * kWeek) {
        return {plainVariance(use), days - 1};
    }
    double perDay = varianceWithoutWeekdays(use);
    if (use.size() >= kWeeksToLook * kWeek) {
        perDay = std::max(perDay, varianceOfWeeks(use)); // busy weeks, and quiet ones
    }
    return {std::max(perDay, 0.0), (days - static_cast<double>(kWeek)) * 0.7};
}

} // namespace

std::optional<Forecast> forecastOf(const std::vector<LevelPoint>& allPoints, UnixTime end)
{
    const std::vector<LevelPoint> points = sinceReplacement(allPoints);
    if (points.empty() || end < points.back().time) {
        return std::nullopt;
    }
    Forecast forecast;
    forecast.percent = points.back().percent;
    if (forecast.percent == 0) {
        return forecast; // it is empty
    }
    const double time = static_cast<double>(end - points.front().time) / static_cast<double>(kDay);
    const int used = points.front().percent - forecast.percent;
    if (time < kShortestDays || used < kLeastUse) {
        return std::nullopt;
    }
    const double rate = used / time;
    forecast.days = forecast.percent / rate;
    const Variance variance = varianceOf(dailyUse(points, end));
    const double relative = std::sqrt(variance.perDay / time + variance.perDay / forecast.days +
                                      2 * kRounding / squared(time) + kRounding / squared(forecast.days)) /
                            rate;
    // Student's distribution, as far as it is wider than the normal one.
    const double half = kQuantile * (1 + (squared(kQuantile) + 1) / (4 * variance.freedom)) * relative;
    if (half > kWidest || forecast.days > kLongestDays) {
        return std::nullopt;
    }
    forecast.soonest = forecast.days / (1 + half);
    forecast.latest = forecast.days / (1 - half);
    return forecast;
}

} // namespace tarnstatus
