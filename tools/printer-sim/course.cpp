#include "tools/printer-sim/course.h"

#include <algorithm>
#include <cmath>

namespace printersim {

namespace {

std::int64_t valueOf(const std::vector<Course::Point>& points, double seconds, bool line)
{
    const auto after =
        std::upper_bound(points.begin(), points.end(), seconds,
                         [](double moment, const Course::Point& point) { return moment < point.seconds; });
    if (after == points.begin()) {
        return points.front().value;
    }
    const Course::Point& from = *std::prev(after);
    if (after == points.end() || !line) {
        return from.value;
    }
    const double share = (seconds - from.seconds) / (after->seconds - from.seconds);
    return from.value + std::llround(static_cast<double>(after->value - from.value) * share);
}

std::int64_t risesWithin(const std::vector<Course::Point>& points, double seconds, std::int64_t before)
{
    std::int64_t rises = 0;
    for (const Course::Point& point : points) {
        if (point.seconds > seconds && &point != &points.front()) {
            break;
        }
        rises += before == 0 && point.value != 0 ? 1 : 0;
        before = point.value;
    }
    return rises;
}

} // namespace

std::int64_t Course::at(double seconds) const
{
    if (points.empty()) {
        return 0;
    }
    if (kind == Kind::Constant) {
        return points.front().value;
    }
    if (kind == Kind::Count) {
        return points.front().value + std::llround(std::floor(perMinute * std::max(seconds, 0.0) / 60.0));
    }
    const double moment = repeatSeconds > 0 ? std::fmod(std::max(seconds, 0.0), repeatSeconds) : seconds;
    return valueOf(points, moment, kind == Kind::Line);
}

std::int64_t Course::risesUntil(double seconds) const
{
    if (points.empty()) {
        return 0;
    }
    if (kind != Kind::Steps) {
        return points.front().value != 0 ? 1 : 0;
    }
    if (repeatSeconds <= 0) {
        return risesWithin(points, seconds, 0);
    }
    const double whole = std::floor(std::max(seconds, 0.0) / repeatSeconds);
    const double rest = std::max(seconds, 0.0) - whole * repeatSeconds;
    if (whole < 1) {
        return risesWithin(points, rest, 0);
    }
    const std::int64_t last = valueOf(points, repeatSeconds, false);
    const auto rounds = static_cast<std::int64_t>(whole);
    return risesWithin(points, repeatSeconds, 0) + (rounds - 1) * risesWithin(points, repeatSeconds, last) +
           risesWithin(points, rest, last);
}

} // namespace printersim
