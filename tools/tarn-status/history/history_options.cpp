#include "tools/tarn-status/history/history_options.h"

#include <cstdio>
#include <ctime>

#include "tools/tarn-status/history/plot.h"

namespace tarnstatus {

using tools::Option;
using tools::UsageError;

namespace {

constexpr int kMostDays = 36500;

// 0 where it is no time.
int daysOfText(const std::string& text)
{
    const std::size_t digits = text.find_first_not_of("0123456789");
    const std::string unit = digits == std::string::npos ? "d" : text.substr(digits);
    const std::string number = text.substr(0, digits);
    const int factor = unit == "d" ? 1 : unit == "w" ? 7 : unit == "m" ? 30 : unit == "y" ? 365 : 0;
    if (number.empty() || number.size() > 5 || factor == 0) {
        return 0;
    }
    const int days = std::stoi(number) * factor;
    return days <= kMostDays ? days : 0;
}

std::string filled(const std::string& argument, const char* complaint)
{
    if (argument.empty()) {
        throw UsageError(complaint);
    }
    return argument;
}

void takeKeep(const std::string& argument, HistoryOptions& options)
{
    options.keepDays = daysOfText(argument);
    options.isKeepGiven = true;
    if (options.keepDays == 0) {
        throw UsageError("no time of a day to a hundred years, such as 90d, 12w, 6m or 2y");
    }
}

void takeSince(const std::string& argument, HistoryOptions& options)
{
    options.since = argument;
    sinceOf(argument, 0);
}

void takePlot(const std::string& argument, HistoryOptions& options)
{
    PlotKind kind{};
    if (!plotKindOf(argument, kind)) {
        throw UsageError("not the name of an .svg or .png file");
    }
    options.plotFile = argument;
}

} // namespace

std::vector<Option> historyOptions(HistoryOptions& o)
{
    using Kind = Option::Argument;
    return {
        {'r', "record", Kind::None, "", "add pages and levels to the history, where they changed",
         [&o](const std::string&) { o.record = true; }},
        {0, "keep", Kind::Needed, "TIME", "with --record: for how long (90d, 12w, 6m; default 2y)",
         [&o](const std::string& value) { takeKeep(value, o); }},
        {'H', "history", Kind::Needed, "PRINTER",
         "what was recorded of a printer (its name, address or\nserial number)",
         [&o](const std::string& value) { o.printer = filled(value, "not the name of a printer"); }},
        {0, "since", Kind::Needed, "WHEN", "with --history: from a date on (2026-11-01), or so long (90d)",
         [&o](const std::string& value) { takeSince(value, o); }},
        {0, "plot", Kind::Needed, "FILE", "with --history: draw it into FILE.svg or FILE.png",
         [&o](const std::string& value) { takePlot(value, o); }},
        {0, "forecast", Kind::None, "",
         "when the toners of the recorded printers, or of that of\n--history, are used up",
         [&o](const std::string&) { o.forecast = true; }},
    };
}

void checkHistoryOptions(const HistoryOptions& options)
{
    if (options.record && options.isLookingBack()) {
        throw UsageError("--record excludes --history and --forecast");
    }
    if (options.isKeepGiven && !options.record) {
        throw UsageError("--keep wants --record");
    }
    if (options.printer.empty() && (!options.since.empty() || !options.plotFile.empty())) {
        throw UsageError("--since and --plot want --history");
    }
    if (options.forecast && !options.plotFile.empty()) {
        throw UsageError("--forecast and --plot exclude each other");
    }
}

UnixTime sinceOf(const std::string& text, UnixTime now)
{
    if (const int days = daysOfText(text); days != 0) {
        return now - days * kDay;
    }
    std::tm date{};
    char end = 0;
    // NOLINTNEXTLINE(cert-err34-c): no number of four digits is too large
    if (std::sscanf(text.c_str(), "%4d-%2d-%2d%c", &date.tm_year, &date.tm_mon, &date.tm_mday, &end) == 3) {
        date.tm_year -= 1900;
        date.tm_mon -= 1;
        date.tm_isdst = -1;
        const std::tm wanted = date;
        const UnixTime time = std::mktime(&date);
        // Otherwise that day is not in the calendar.
        if (date.tm_year == wanted.tm_year && date.tm_mon == wanted.tm_mon &&
            date.tm_mday == wanted.tm_mday) {
            return time;
        }
    }
    throw UsageError("neither a date such as 2026-11-01 nor a time such as 90d, 12w, 6m or 2y");
}

} // namespace tarnstatus
