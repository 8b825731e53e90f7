// The table for people.
#include <algorithm>
#include <cstdio>
#include <map>

#include "tools/tarn-status/formats/format.h"
#include "tools/tarn-status/rfc3339.h"
#include "tools/tarn-status/text.h"

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

const char* levelStyle(int percent, bool receptacle)
{
    const int left = receptacle ? 100 - percent : percent;
    return left <= kLowPercent ? kRed : left <= kScarcePercent ? kYellow : kGreen;
}

// TablePrinter writes one printer's lines.
class TablePrinter final
{
public:
    TablePrinter(const Reading& reading, std::chrono::system_clock::time_point time,
                 const FormatSettings& settings)
        : m_reading(reading), m_time(time), m_language(settings.language), m_colour(settings.colour)
    {
    }

    std::string lines() const
    {
        std::string out = headLine() + factsLine();
        if (m_reading.online) {
            for (const Json::Value& alert : m_reading.detail["alerts"]) {
                out += alertLine(alert);
            }
        }
        for (const Json::Value& supply : m_reading.detail["supplies"]) {
            out += supplyLine(supply);
        }
        for (const Json::Value& tray : m_reading.detail["trays"]) {
            out += trayLine(tray);
        }
        return out;
    }

private:
    __attribute__((format_arg(2), format_arg(3))) const char* say(const char* english,
                                                                  const char* chinese) const
    {
        return tarnstatus::say(m_language, english, chinese);
    }

    std::string headLine() const
    {
        Line line(m_colour);
        line.addColumn(printable(m_reading.printer.name), 20, kBold);
        if (m_reading.printer.name != m_reading.printer.ip && !m_reading.printer.ip.empty()) {
            line.addColumn(printable(m_reading.printer.ip), 17);
        }
        return line.add(summaryOf(m_reading, m_language), m_reading.online ? kGreen : kRed).end();
    }

    std::string factsLine() const
    {
        Line line(m_colour);
        line.add("    ").add(m_reading.model.empty() ? say("unknown model", "未知型号")
                                                     : printable(m_reading.model));
        if (!m_reading.serial.empty()) {
            line.add(say("  serial ", "  序列号 ")).add(printable(m_reading.serial));
        }
        if (m_reading.pages >= 0) {
            line.add("  " + std::to_string(m_reading.pages) + say(" pages", " 页"));
        }
        line.add("  ").add(ageText(), kDim);
        if (!m_reading.source.empty()) {
            line.add(" ").add("(" + printable(waysText()) + ")", kDim);
        }
        return line.end();
    }

    std::string ageText() const
    {
        char text[64];
        if (m_reading.ageMs < 0) {
            return say("never answered", "从未应答");
        }
        if (m_reading.isRemembered) {
            return rememberedText();
        }
        if (m_reading.ageMs < 100000) {
            std::snprintf(text, sizeof text, say("answered %.1f s ago", "%.1f 秒前应答"),
                          static_cast<double>(m_reading.ageMs) / 1000);
        } else {
            std::snprintf(text, sizeof text, say("answered %lld min ago", "%lld 分钟前应答"),
                          static_cast<long long>(m_reading.ageMs / 60000));
        }
        return text;
    }

    // With the date: it may be of long ago.
    std::string rememberedText() const
    {
        const auto hours = static_cast<long long>(m_reading.ageMs / 3600000);
        char age[64];
        if (hours < 48) {
            std::snprintf(age, sizeof age, say("%lld h", "%lld 小时"), hours);
        } else {
            std::snprintf(age, sizeof age, say("%lld days", "%lld 天"), hours / 24);
        }
        const std::string date = localDate(m_time - std::chrono::milliseconds(m_reading.ageMs));
        return m_language == Language::Chinese ? "最后已知值（" + date + "，" + age + "前）"
                                               : "last known values, of " + date + " (" + age + " ago)";
    }

    // "sm", or "sm; ipp: trays, counters" where some fields came another way.
    std::string waysText() const
    {
        std::map<std::string, std::string> others;
        if (m_reading.sources.isObject()) {
            for (const std::string& field : m_reading.sources.getMemberNames()) {
                const std::string way = m_reading.sources[field].asString();
                if (way != m_reading.source) {
                    std::string& fields = others[way];
                    fields += (fields.empty() ? "" : ", ") + field;
                }
            }
        }
        std::string text = m_reading.source;
        for (const auto& [way, fields] : others) {
            text += "; " + way + ": " + fields;
        }
        return text;
    }

    void addLevel(Line& line, const Json::Value& percent, bool receptacle) const
    {
        if (!percent.isInt()) {
            line.addColumn("", kBarCells + 1)
                .add(percent == "some" ? say("some", "有余量") : say("unknown", "未知"), kDim);
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

    std::string supplyLine(const Json::Value& supply) const
    {
        Line line(m_colour);
        line.add("    ")
            .addColumn(className(supply, m_language), 11)
            .addColumn(colourName(supply, m_language), 14);
        addLevel(line, supply["percent"], supply["receptacle"] == true);
        return line.add("  ").add(printable(supply["description"]), kDim).end();
    }

    std::string trayLine(const Json::Value& tray) const
    {
        Line line(m_colour);
        line.add("    ").addColumn(say("tray", "纸盒"), 11).addColumn(trayName(tray, m_language), 14);
        addLevel(line, tray["percent"], false);
        if (tray["empty"] == true) {
            line.add(say("  empty", "  空"), kRed);
        } else if (tray["available"] == false) {
            line.add(say("  not available", "  不可用"), kYellow);
        }
        return line.end();
    }

    std::string alertLine(const Json::Value& alert) const
    {
        const char* style = alert["severity"] == "critical"  ? kRed
                            : alert["severity"] == "warning" ? kYellow
                                                             : kDim;
        Line line(m_colour);
        line.add("  ! ", style).add(alertText(alert, m_language), style);
        if (const std::string place = alertPlace(alert, m_language); !place.empty()) {
            line.add(" (" + place + ")");
        }
        return line.add("  ").add(printable(alert["code"]), kDim).end();
    }

    const Reading& m_reading;
    const std::chrono::system_clock::time_point m_time;
    const Language m_language;
    const bool m_colour;
};

class Table final : public Format
{
public:
    explicit Table(const FormatSettings& settings) : m_settings(settings) {}

    std::string render(const Look& look) override
    {
        std::string out;
        for (const Reading& reading : look.readings) {
            out += TablePrinter(reading, look.time, m_settings).lines();
        }
        return out;
    }

private:
    const FormatSettings m_settings;
};

} // namespace

std::unique_ptr<Format> makeTable(const FormatSettings& settings)
{
    return std::make_unique<Table>(settings);
}

} // namespace tarnstatus
