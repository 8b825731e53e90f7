// The table for people.
#include <algorithm>
#include <cstdio>
#include <map>

#include "tools/tarn-status/report.h"

namespace tarnstatus {

namespace {

constexpr int kBarCells = 20;
constexpr const char kBold[] = "1";
constexpr const char kDim[] = "2";
constexpr const char kRed[] = "31";
constexpr const char kGreen[] = "32";
constexpr const char kYellow[] = "33";
constexpr int kLowPercent = 10;
constexpr int kScarcePercent = 25;

// Where a line of the table is put together; escape sequences only with colour.
class Line final
{
public:
    explicit Line(bool colour) : m_colour(colour) {}

    Line& add(const std::string& text, const char* style = nullptr)
    {
        if (m_colour && style != nullptr && !text.empty()) {
            m_text += std::string("\033[") + style + "m" + text + "\033[0m";
        } else {
            m_text += text;
        }
        return *this;
    }
    // Text with blanks behind it up to so many columns; one at least.
    Line& addColumn(const std::string& text, std::size_t width, const char* style = nullptr)
    {
        const std::size_t own = displayWidth(text);
        return add(text, style).add(std::string(own < width ? width - own : 1, ' '));
    }
    std::string end() const { return m_text + "\n"; }

private:
    bool m_colour;
    std::string m_text;
};

// A printer's own texts may hold anything: what would steer a terminal is shown as a blank.
std::string printable(const Json::Value& value)
{
    std::string text = value.isString() ? value.asString() : std::string();
    std::replace_if(
        text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7f; },
        ' ');
    // C1 controls, two bytes in UTF-8.
    for (std::size_t i = 0; i + 1 < text.size(); ++i) {
        if (text[i] == '\xc2' && static_cast<unsigned char>(text[i + 1]) < 0xa0) {
            text.replace(i, 2, 1, ' ');
        }
    }
    return text;
}

const char* levelStyle(int percent, bool receptacle)
{
    const int left = receptacle ? 100 - percent : percent;
    return left <= kLowPercent ? kRed : left <= kScarcePercent ? kYellow : kGreen;
}

void addLevel(Line& line, const Json::Value& percent, bool receptacle)
{
    if (!percent.isInt()) {
        line.addColumn("", kBarCells + 1).add(percent == "some" ? "some" : "unknown", kDim);
        return;
    }
    const int value = std::clamp(percent.asInt(), 0, 100);
    const int full = (value * kBarCells + 50) / 100;
    std::string bar;
    for (int i = 0; i < kBarCells; ++i) {
        bar += i < full ? "█" : "░";
    }
    char number[16];
    std::snprintf(number, sizeof number, "%4d %%", value);
    line.add(bar, levelStyle(value, receptacle)).add(number);
}

std::string supplyLine(const Json::Value& supply, bool colour)
{
    Line line(colour);
    const std::string name = printable(supply["colour"]);
    line.add("    ").addColumn(printable(supply["class"]), 11).addColumn(name == "none" ? "" : name, 14);
    addLevel(line, supply["percent"], supply["receptacle"] == true);
    return line.add("  ").add(printable(supply["description"]), kDim).end();
}

std::string trayLine(const Json::Value& tray, bool colour)
{
    Line line(colour);
    line.add("    ").addColumn("tray", 11).addColumn(printable(tray["name"]), 14);
    addLevel(line, tray["percent"], false);
    if (tray["empty"] == true) {
        line.add("  empty", kRed);
    } else if (tray["available"] == false) {
        line.add("  not available", kYellow);
    }
    return line.end();
}

std::string alertLine(const Json::Value& alert, bool colour)
{
    const char* style = alert["severity"] == "critical"  ? kRed
                        : alert["severity"] == "warning" ? kYellow
                                                         : kDim;
    Line line(colour);
    line.add("  ! ", style).add(printable(alert["text"]), style);
    if (const std::string place = printable(alert["place"]); !place.empty()) {
        line.add(" (" + place + ")");
    }
    return line.add("  ").add(printable(alert["code"]), kDim).end();
}

std::string ageText(std::int64_t ageMs)
{
    char text[64];
    if (ageMs < 0) {
        return "never answered";
    }
    if (ageMs < 100000) {
        std::snprintf(text, sizeof text, "answered %.1f s ago", static_cast<double>(ageMs) / 1000);
    } else {
        std::snprintf(text, sizeof text, "answered %lld min ago", static_cast<long long>(ageMs / 60000));
    }
    return text;
}

// "sm", or "sm; ipp: trays, counters" where some fields came another way.
std::string waysText(const Reading& reading)
{
    std::map<std::string, std::string> others;
    if (reading.sources.isObject()) {
        for (const std::string& field : reading.sources.getMemberNames()) {
            const std::string way = reading.sources[field].asString();
            if (way != reading.source) {
                std::string& fields = others[way];
                fields += (fields.empty() ? "" : ", ") + field;
            }
        }
    }
    std::string text = reading.source;
    for (const auto& [way, fields] : others) {
        text += "; " + way + ": " + fields;
    }
    return text;
}

std::string headLines(const Reading& reading, bool colour)
{
    Line head(colour);
    head.addColumn(printable(reading.printer.name), 20, kBold);
    if (reading.printer.name != reading.printer.ip) {
        head.addColumn(printable(reading.printer.ip), 17);
    }
    if (reading.online) {
        head.add(printable(reading.message.substr(0, reading.message.find('-'))), kGreen);
    } else {
        head.add("offline", kRed);
    }
    Line facts(colour);
    facts.add("    ").add(reading.model.empty() ? "unknown model" : printable(reading.model));
    if (!reading.serial.empty()) {
        facts.add("  serial ").add(printable(reading.serial));
    }
    if (reading.pages >= 0) {
        facts.add("  " + std::to_string(reading.pages) + " pages");
    }
    facts.add("  ").add(ageText(reading.ageMs), kDim);
    if (!reading.source.empty()) {
        facts.add(" ").add("(" + waysText(reading) + ")", kDim);
    }
    return head.end() + facts.end();
}

} // namespace

std::string tableReport(const std::vector<Reading>& readings, bool colour)
{
    std::string out;
    for (const Reading& reading : readings) {
        out += headLines(reading, colour);
        if (reading.online) {
            for (const Json::Value& alert : reading.detail["alerts"]) {
                out += alertLine(alert, colour);
            }
        }
        for (const Json::Value& supply : reading.detail["supplies"]) {
            out += supplyLine(supply, colour);
        }
        for (const Json::Value& tray : reading.detail["trays"]) {
            out += trayLine(tray, colour);
        }
    }
    return out;
}

std::size_t displayWidth(const std::string& text)
{
    std::size_t width = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const auto byte = static_cast<unsigned char>(text[i]);
        if ((byte & 0xC0) == 0x80) {
            continue; // goes with the byte before
        }
        // East Asian scripts from U+2E00 on, and what lies beyond the basic plane, take two columns; the
        // bars and dashes before them one.
        const bool wide =
            byte >= 0xF0 || byte >= 0xE3 ||
            (byte == 0xE2 && i + 1 < text.size() && static_cast<unsigned char>(text[i + 1]) >= 0xB8);
        width += wide ? 2 : 1;
    }
    return width;
}

} // namespace tarnstatus
