// One line, with performance data and an exit status from 0 to 3, as the plugins of Nagios and its like have
// it: the same in every language.
#include <algorithm>
#include <cstdio>

#include "tools/tarn-status/formats/format.h"
#include "tools/tarn-status/judgement.h"
#include "tools/tarn-status/text.h"

namespace tarnstatus {

namespace {

constexpr int kOk = 0;
constexpr int kWarning = 1;
constexpr int kCritical = 2;
constexpr int kUnknown = 3;

const char* const kStatusWords[] = {"OK", "WARNING", "CRITICAL", "UNKNOWN"};

std::string seconds(double value)
{
    char text[32];
    std::snprintf(text, sizeof text, "%.1f", value);
    return text;
}

// What ends the text or the line may not stand in it.
std::string plain(const std::string& text)
{
    std::string out = printable(text);
    std::replace(out.begin(), out.end(), '|', '/');
    return out;
}

// A label of the performance data: in quotes, doubled inside; no "=".
std::string label(const std::string& text)
{
    std::string out = "'";
    for (const char c : plain(text)) {
        out += c == '\'' ? std::string("''") : std::string(1, c == '=' ? '-' : c);
    }
    return out + '\'';
}

std::string tonerName(const Json::Value& supply)
{
    const std::string colour = supply["colour"].asString();
    return colour.empty() || colour == "none" ? "toner" : colour;
}

bool isToner(const Json::Value& supply)
{
    return supply["class"] == "toner" && supply["percent"].isInt() && supply["receptacle"] != true;
}

// What makes the thresholds hold for a printer; empty when they do not.
std::string complaintOf(const Reading& reading, const Thresholds& thresholds)
{
    std::string out;
    const auto add = [&out](const std::string& what) { out += (out.empty() ? "" : ", ") + what; };
    if (thresholds.state != Thresholds::State::None && !reading.online) {
        add("offline");
    }
    if (thresholds.state == Thresholds::State::Attention && reading.online && needsAttention(reading)) {
        std::string alerts;
        for (const Json::Value& alert : reading.detail["alerts"]) {
            if (alert["severity"] != "other") {
                alerts += (alerts.empty() ? "" : ", ") + alertText(alert, Language::English);
            }
        }
        add(alerts.empty() ? "needs attention" : alerts);
    }
    if (thresholds.age &&
        (reading.ageMs < 0 || static_cast<double>(reading.ageMs) >= *thresholds.age * 1000)) {
        add(reading.ageMs < 0 ? "never answered"
                              : "answered " + seconds(static_cast<double>(reading.ageMs) / 1000) + " s ago");
    }
    for (const Json::Value& supply : reading.detail["supplies"]) {
        if (thresholds.toner && isToner(supply) && supply["percent"].asInt() <= *thresholds.toner) {
            add(tonerName(supply) + ' ' + std::to_string(supply["percent"].asInt()) + " %");
        }
    }
    return out;
}

class Nagios final : public Format
{
public:
    explicit Nagios(const FormatSettings& settings)
        : m_warning(settings.warning), m_critical(settings.critical)
    {
    }

    std::string render(const Look& look) override
    {
        std::string text;
        std::string data;
        for (const Reading& reading : look.readings) {
            std::string complaint = complaintOf(reading, m_critical);
            if (complaint.empty()) {
                complaint = complaintOf(reading, m_warning);
            }
            if (!complaint.empty()) {
                text += (text.empty() ? "" : "; ") + plain(reading.printer.name) + ": " + plain(complaint);
            }
            data += dataOf(reading, look.readings.size() == 1 ? "" : reading.printer.name + ' ');
        }
        const std::size_t count = look.readings.size();
        if (count == 0) {
            text = "no printer found";
        } else if (text.empty()) {
            text = count == 1 ? plain(look.readings.front().printer.name) + ": " +
                                    summaryOf(look.readings.front(), Language::English)
                              : std::to_string(count) + " printers";
        }
        return std::string("PRINTERS ") + kStatusWords[exitStatus(look)] + " - " + text +
               (data.empty() ? "" : " |" + data) + '\n';
    }

    int exitStatus(const Look& look) const override
    {
        int worst = look.readings.empty() ? kUnknown : kOk;
        for (const Reading& reading : look.readings) {
            const int own = !complaintOf(reading, m_critical).empty()  ? kCritical
                            : !complaintOf(reading, m_warning).empty() ? kWarning
                                                                       : kOk;
            worst = std::max(worst, own);
        }
        return worst;
    }

private:
    // "below N" is "N:" as a range; ours holds at N as well.
    static std::string tonerRange(const Thresholds& thresholds)
    {
        return thresholds.toner ? std::to_string(*thresholds.toner + 1) + ':' : std::string();
    }

    static std::string ageRange(const Thresholds& thresholds)
    {
        return thresholds.age ? seconds(*thresholds.age) : std::string();
    }

    std::string dataOf(const Reading& reading, const std::string& prefix) const
    {
        std::string data;
        int index = 0;
        for (const Json::Value& supply : reading.detail["supplies"]) {
            ++index;
            if (isToner(supply)) {
                data += ' ' + label(prefix + tonerName(supply) + '_' + std::to_string(index)) + '=' +
                        std::to_string(supply["percent"].asInt()) + "%;" + tonerRange(m_warning) + ';' +
                        tonerRange(m_critical) + ";0;100";
            }
        }
        if (reading.pages >= 0) {
            data += ' ' + label(prefix + "pages") + '=' + std::to_string(reading.pages) + 'c';
        }
        if (reading.ageMs >= 0) {
            data += ' ' + label(prefix + "age") + '=' + seconds(static_cast<double>(reading.ageMs) / 1000) +
                    "s;" + ageRange(m_warning) + ';' + ageRange(m_critical) + ";0";
        }
        return data;
    }

    const Thresholds m_warning;
    const Thresholds m_critical;
};

} // namespace

std::unique_ptr<Format> makeNagios(const FormatSettings& settings)
{
    return std::make_unique<Nagios>(settings);
}

} // namespace tarnstatus
