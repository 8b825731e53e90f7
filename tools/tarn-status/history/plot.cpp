#include "tools/tarn-status/history/plot.h"

#include <algorithm>
#include <cmath>
#include <ctime>

#include "tools/tarn-status/history/canvas.h"
#include "tools/tarn-status/history/report.h"
#include "tools/tarn-status/history/series.h"

namespace tarnstatus {

namespace {

using Side = Canvas::Side;

constexpr double kWidth = 960;
constexpr double kHeight = 560;
constexpr Colour kGrid{0.88, 0.88, 0.88};
constexpr Colour kBars{0.35, 0.5, 0.7};
constexpr double kTicks = 8; // at most, of dates

// Where a panel of the picture is, and what its axes mean.
struct Panel
{
    double left = 60;
    double right = kWidth - 200;
    double top = 0;
    double bottom = 0;
    UnixTime begin = 0;
    UnixTime end = 1;
    double most = 100; // at its top

    double x(UnixTime time) const
    {
        return left + (right - left) * static_cast<double>(time - begin) / static_cast<double>(end - begin);
    }
    double y(double value) const { return bottom - (bottom - top) * value / most; }
};

struct NamedColour
{
    const char* name;
    Colour colour;
};

const NamedColour kColours[] = {
    {"black", {0.1, 0.1, 0.1}},     {"cyan", {0, 0.6, 0.75}},  {"magenta", {0.8, 0.1, 0.5}},
    {"yellow", {0.88, 0.69, 0.05}}, {"red", {0.85, 0.1, 0.1}},
};
// What has no colour of its own, in turn.
constexpr Colour kOthers[] = {{0.45, 0.3, 0.2}, {0.3, 0.55, 0.25}, {0.5, 0.4, 0.7}, {0.55, 0.55, 0.55}};

Colour colourOf(const RecordedSupply& supply, std::size_t index)
{
    for (const NamedColour& named : kColours) {
        if (supply.colour == named.name) {
            return named.colour;
        }
    }
    return kOthers[index % std::size(kOthers)];
}

// The next of 1, 2, 5, 10, 20, 50 ... that is not less.
double roundStep(double value)
{
    const double power = std::pow(10, std::floor(std::log10(std::max(value, 1.0))));
    for (const double factor : {1.0, 2.0, 5.0}) {
        if (factor * power >= value) {
            return factor * power;
        }
    }
    return 10 * power;
}

std::string dateText(UnixTime time, bool withYear)
{
    std::tm local{};
    const std::time_t seconds = time;
    localtime_r(&seconds, &local);
    char text[32];
    std::strftime(text, sizeof text, withYear ? "%Y-%m-%d" : "%m-%d", &local);
    return text;
}

void drawAxes(Canvas& canvas, const Panel& panel, const char* title, const char* unit)
{
    const double step = panel.most == 100 ? 25 : roundStep(panel.most / 4);
    for (int i = 0; step * i <= panel.most; ++i) {
        const double value = step * i;
        canvas.line(panel.left, panel.y(value), panel.right, panel.y(value), kGrid, 1);
        canvas.text(panel.left - 6, panel.y(value) + 4,
                    std::to_string(static_cast<std::int64_t>(value)) + unit, Side::Left);
    }
    canvas.text(panel.left, panel.top - 8, title, Side::Right);
    const auto days = static_cast<double>(panel.end - panel.begin) / static_cast<double>(kDay);
    const int every = static_cast<int>(std::max(1.0, std::ceil(days / kTicks)));
    const UnixTime first = dayBegin(panel.begin);
    for (int day = 0; day <= days + 1; day += every) {
        const UnixTime time = dayBegin(first, day);
        if (time >= panel.begin && time <= panel.end) {
            canvas.line(panel.x(time), panel.bottom, panel.x(time), panel.bottom + 4, kOthers[3], 1);
            canvas.text(panel.x(time), panel.bottom + 18, dateText(time, days > 300), Side::Middle);
        }
    }
}

// Levels are steps: each holds until the next one.
void drawLevel(Canvas& canvas, const Panel& panel, const History& history, std::size_t supply,
               const Colour& colour)
{
    const RecordedSupply& drawn = history.supplies[supply];
    bool isKnown = false;
    double y = 0;
    for (const Entry& entry : history.entries) {
        const double x = panel.x(entry.time);
        if (isKnown) {
            canvas.lineTo(x, y);
        }
        const std::optional<int> level = entry.levels[supply];
        if (level) {
            y = panel.y(*level);
            isKnown ? canvas.lineTo(x, y) : canvas.moveTo(x, y);
        }
        isKnown = level.has_value();
    }
    if (isKnown) {
        canvas.lineTo(panel.right, y);
    }
    canvas.stroke(colour, 2, drawn.kind != "toner");
}

void drawLevels(Canvas& canvas, const Panel& panel, const History& history, Language language)
{
    drawAxes(canvas, panel, say(language, "levels", "余量"), " %");
    const std::vector<std::string> names = supplyNames(history, language);
    double legend = panel.top + 10;
    for (std::size_t i = 0; i < history.supplies.size(); ++i) {
        const Colour colour = colourOf(history.supplies[i], i);
        drawLevel(canvas, panel, history, i, colour);
        if (legend < kHeight - 20) {
            canvas.moveTo(panel.right + 20, legend - 4);
            canvas.lineTo(panel.right + 50, legend - 4);
            canvas.stroke(colour, 2, history.supplies[i].kind != "toner");
            canvas.text(panel.right + 58, legend, names[i], Side::Right);
            legend += 20;
        }
    }
}

void drawPages(Canvas& canvas, Panel panel, const std::vector<HistoryDay>& days, Language language)
{
    std::int64_t most = 0;
    for (const HistoryDay& day : days) {
        most = std::max(most, day.printed.value_or(0));
    }
    const double step = roundStep(static_cast<double>(most) / 4);
    panel.most = std::max(4.0, std::ceil(static_cast<double>(most) / step) * step);
    drawAxes(canvas, panel, say(language, "pages a day", "每日页数"), "");
    for (const HistoryDay& day : days) {
        const double left = panel.x(std::max(day.begin, panel.begin));
        const double right = panel.x(std::min(dayBegin(day.begin, 1), panel.end));
        const double top = panel.y(static_cast<double>(day.printed.value_or(0)));
        canvas.bar(left, top, std::max(1.0, (right - left) * 0.85), panel.bottom - top, kBars);
    }
}

std::string titleOf(const RecordedPrinter& printer)
{
    std::string title = printer.name;
    if (!printer.model.empty()) {
        title += "  (" + printer.model + (printer.serial.empty() ? "" : ", " + printer.serial) + ")";
    }
    return title;
}

} // namespace

bool plotKindOf(const std::string& file, PlotKind& kind)
{
    const std::string end = file.size() > 4 ? file.substr(file.size() - 4) : "";
    kind = end == ".png" ? PlotKind::Png : PlotKind::Svg;
    return end == ".png" || end == ".svg";
}

std::string plotOf(const History& history, PlotKind kind, Language language)
{
    const std::vector<HistoryDay> days = daysOf(history);
    Panel panel;
    if (!days.empty()) {
        panel.begin = days.front().begin;
        panel.end = dayBegin(history.printer.seen, 1);
    }
    Canvas canvas(kind, kWidth, kHeight);
    canvas.text(panel.left, 28, titleOf(history.printer), Side::Right, 16);
    panel.top = 66;
    panel.bottom = 306;
    drawLevels(canvas, panel, history, language);
    panel.top = 366;
    panel.bottom = kHeight - 34;
    drawPages(canvas, panel, days, language);
    return canvas.content();
}

} // namespace tarnstatus
