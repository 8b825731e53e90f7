#include "tools/tarn-status/history/report.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <ctime>
#include <map>

#include "tools/tarn-status/csv_field.h"
#include "tools/tarn-status/history/forecast.h"
#include "tools/tarn-status/history/series.h"
#include "tools/tarn-status/rfc3339.h"
#include "tools/tarn-status/text.h"

namespace tarnstatus {

namespace {

using Row = std::vector<std::string>;

// Columns as wide as their widest cell; all but the first ones are numbers, and stand to the right.
std::string aligned(const std::vector<Row>& rows, std::size_t leftColumns)
{
    std::vector<std::size_t> widths(rows.front().size());
    for (const Row& row : rows) {
        for (std::size_t i = 0; i < row.size(); ++i) {
            widths[i] = std::max(widths[i], displayWidth(row[i]));
        }
    }
    std::string out;
    for (const Row& row : rows) {
        std::string line;
        for (std::size_t i = 0; i < row.size(); ++i) {
            const std::string blanks(widths[i] - displayWidth(row[i]), ' ');
            line += (i == 0 ? "" : "  ") + (i < leftColumns ? row[i] + blanks : blanks + row[i]);
        }
        line.erase(line.find_last_not_of(' ') + 1);
        out += line + '\n';
    }
    return out;
}

std::string csvLine(const Row& row)
{
    std::string line;
    for (std::size_t i = 0; i < row.size(); ++i) {
        line += (i == 0 ? "" : ",") + csvField(row[i]);
    }
    return line + '\n';
}

template <typename Number>
std::string shown(const std::optional<Number>& number, const char* unit, const char* unknown)
{
    return number ? std::to_string(*number) + unit : unknown;
}

std::string localDate(UnixTime time)
{
    std::tm local{};
    const std::time_t seconds = time;
    localtime_r(&seconds, &local);
    char text[32];
    std::strftime(text, sizeof text, "%Y-%m-%d", &local);
    return text;
}

std::string utc(UnixTime time)
{
    return rfc3339(std::chrono::system_clock::time_point(std::chrono::seconds(time)));
}

std::string headLine(const RecordedPrinter& printer, Language language)
{
    std::string line = printer.name;
    if (!printer.ip.empty() && printer.ip != printer.name) {
        line += "  " + printer.ip;
    }
    if (!printer.model.empty()) {
        line += "  " + printer.model;
    }
    if (!printer.serial.empty()) {
        line += say(language, "  serial ", "  序列号 ") + printer.serial;
    }
    return line + '\n';
}

std::string tenths(double value)
{
    char text[64];
    std::snprintf(text, sizeof text, "%.1f", value);
    return text;
}

// "in 41 days (35 to 50), about 2027-01-02"
std::string forecastText(const Forecast& forecast, UnixTime end, Language language)
{
    if (forecast.percent == 0) {
        return say(language, "empty", "已用完");
    }
    const auto whole = [](double days) { return static_cast<int>(std::lround(days)); };
    char text[160];
    std::snprintf(text, sizeof text,
                  say(language, "empty in %d days (%d to %d), about %s", "约 %d 天后用完（%d 至 %d 天），%s"),
                  whole(forecast.days), whole(forecast.soonest), whole(forecast.latest),
                  localDate(end + static_cast<UnixTime>(forecast.days * static_cast<double>(kDay))).c_str());
    return text;
}

struct NamedForecast
{
    std::string supply;
    int percent;
    std::optional<Forecast> forecast;
};

// Of the toners that the printer has now and tells a level of.
std::vector<NamedForecast> forecastsOf(const History& history, Language language)
{
    std::vector<NamedForecast> forecasts;
    if (history.entries.empty()) {
        return forecasts;
    }
    const std::vector<std::string> names = supplyNames(history, language);
    for (std::size_t i = 0; i < history.supplies.size(); ++i) {
        const std::optional<int> level = history.entries.back().levels[i];
        if (history.supplies[i].kind == "toner" && level) {
            forecasts.push_back({names[i], *level, forecastOf(levelsOf(history, i), history.printer.seen)});
        }
    }
    return forecasts;
}

} // namespace

std::vector<std::string> supplyNames(const History& history, Language language)
{
    std::vector<std::string> names;
    std::map<std::string, int> counts;
    for (const RecordedSupply& supply : history.supplies) {
        Json::Value words;
        words["class"] = supply.kind;
        words["colour"] = supply.colour;
        std::string name = colourName(words, language);
        if (supply.kind != "toner" || name.empty()) {
            name = className(words, language) + (name.empty() ? "" : " " + name);
        }
        const int count = ++counts[name];
        names.push_back(count == 1 ? name : name + " " + std::to_string(count));
    }
    return names;
}

std::string historyTable(const History& history, Language language)
{
    std::vector<Row> rows = {
        {say(language, "date", "日期"), say(language, "pages", "页数"), say(language, "counter", "计数")}};
    for (const std::string& name : supplyNames(history, language)) {
        rows.front().push_back(name);
    }
    for (const HistoryDay& day : daysOf(history)) {
        Row row = {localDate(day.begin), shown(day.printed, "", "-"), shown(day.last.pages, "", "-")};
        for (const std::optional<int>& level : day.last.levels) {
            row.push_back(shown(level, " %", "-"));
        }
        rows.push_back(std::move(row));
    }
    return headLine(history.printer, language) + aligned(rows, 1);
}

std::string historyCsv(const History& history)
{
    Row names = {"time", "pages"};
    for (const std::string& name : supplyNames(history, Language::English)) {
        names.push_back(name);
    }
    std::string out = csvLine(names);
    for (const Entry& entry : history.entries) {
        Row row = {utc(entry.time), shown(entry.pages, "", "")};
        for (const std::optional<int>& level : entry.levels) {
            row.push_back(shown(level, "", ""));
        }
        out += csvLine(row);
    }
    return out;
}

std::string forecastTable(const std::vector<History>& histories, Language language)
{
    std::string out;
    for (const History& history : histories) {
        std::vector<Row> rows;
        for (const NamedForecast& named : forecastsOf(history, language)) {
            rows.push_back({"    " + named.supply, std::to_string(named.percent) + " %",
                            named.forecast ? forecastText(*named.forecast, history.printer.seen, language)
                                           : say(language, "not known yet", "暂无法预测")});
        }
        out += headLine(history.printer, language);
        if (rows.empty()) {
            out += say(language, "    tells no level of a toner\n", "    未提供碳粉余量\n");
            continue;
        }
        // Levels to the right, what they lead to behind them.
        std::vector<Row> levels;
        levels.reserve(rows.size());
        for (const Row& row : rows) {
            levels.push_back({row[0], row[1]});
        }
        std::string text = aligned(levels, 1);
        std::size_t end = 0;
        for (const Row& row : rows) {
            end = text.find('\n', end);
            text.insert(end, "  " + row[2]);
            end += row[2].size() + 3;
        }
        out += text;
    }
    return out;
}

std::string forecastCsv(const std::vector<History>& histories)
{
    std::string out = "printer,ip,serial,supply,time,percent,days,soonest,latest\n";
    for (const History& history : histories) {
        const RecordedPrinter& printer = history.printer;
        for (const NamedForecast& named : forecastsOf(history, Language::English)) {
            Row row = {printer.name, printer.ip,        printer.serial,
                       named.supply, utc(printer.seen), std::to_string(named.percent)};
            if (named.forecast) {
                row.insert(row.end(), {tenths(named.forecast->days), tenths(named.forecast->soonest),
                                       tenths(named.forecast->latest)});
            } else {
                row.insert(row.end(), 3, "");
            }
            out += csvLine(row);
        }
    }
    return out;
}

} // namespace tarnstatus
