#include "tools/tarn-status/history/series.h"

#include <ctime>

namespace tarnstatus {

namespace {

// Pages are counted from the last known counter on, also over days on which none was known.
class PageCount final
{
public:
    std::optional<std::int64_t> printedUntil(const Entry& entry)
    {
        std::optional<std::int64_t> printed;
        if (entry.pages) {
            if (m_counter && *entry.pages >= *m_counter) {
                printed = *entry.pages - *m_counter;
            }
            m_counter = entry.pages;
        }
        return printed;
    }

private:
    std::optional<std::int64_t> m_counter;
};

} // namespace

std::vector<LevelPoint> levelsOf(const History& history, std::size_t supply)
{
    std::vector<LevelPoint> points;
    for (const Entry& entry : history.entries) {
        if (const std::optional<int> level = entry.levels.at(supply)) {
            points.push_back({entry.time, *level});
        }
    }
    return points;
}

std::vector<LevelPoint> sinceReplacement(const std::vector<LevelPoint>& points)
{
    std::size_t begin = 0;
    int least = 100;
    for (std::size_t i = 0; i < points.size(); ++i) {
        if (points[i].percent >= least + kReplacementRise) {
            begin = i;
            least = points[i].percent;
        }
        least = std::min(least, points[i].percent);
    }
    return {points.begin() + static_cast<std::ptrdiff_t>(begin), points.end()};
}

UnixTime dayBegin(UnixTime time, int daysLater)
{
    std::tm local{};
    const std::time_t seconds = time;
    localtime_r(&seconds, &local);
    local.tm_hour = 0;
    local.tm_min = 0;
    local.tm_sec = 0;
    local.tm_mday += daysLater;
    local.tm_isdst = -1; // not all days are of the same length
    return std::mktime(&local);
}

std::vector<HistoryDay> daysOf(const History& history)
{
    std::vector<HistoryDay> days;
    PageCount count;
    for (const Entry& entry : history.entries) {
        const UnixTime begin = dayBegin(entry.time);
        if (days.empty() || days.back().begin != begin) {
            days.push_back({begin, std::nullopt, entry});
        }
        HistoryDay& day = days.back();
        day.last = entry;
        if (const auto printed = count.printedUntil(entry)) {
            day.printed = day.printed.value_or(0) + *printed;
        }
    }
    if (!days.empty() && dayBegin(history.printer.seen) > days.back().begin) {
        Entry last = days.back().last;
        last.time = history.printer.seen;
        const bool isCounted = last.pages.has_value();
        days.push_back({dayBegin(history.printer.seen),
                        isCounted ? std::optional<std::int64_t>(0) : std::nullopt, last});
    }
    return days;
}

} // namespace tarnstatus
