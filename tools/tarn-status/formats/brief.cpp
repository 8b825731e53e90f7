// One line a printer: name, state, what is wrong or how much toner is left, pages.
#include "tools/tarn-status/formats/format.h"
#include "tools/tarn-status/judgement.h"
#include "tools/tarn-status/text.h"

namespace tarnstatus {

namespace {

constexpr std::size_t kNameColumns = 24;
constexpr std::size_t kStateColumns = 17;

const char* styleOf(const Reading& reading)
{
    switch (conditionOf(reading)) {
    case Condition::Fine:
        return "32";
    case Condition::Attention:
        return "33";
    case Condition::Unreachable:
        break;
    }
    return "31";
}

// At least one blank behind it.
std::string column(const std::string& text, std::size_t width)
{
    const std::size_t own = displayWidth(text);
    return text + std::string(own < width ? width - own : 1, ' ');
}

std::string alertsOf(const Reading& reading, Language language)
{
    std::string out;
    for (const Json::Value& alert : reading.detail["alerts"]) {
        const std::string place = alertPlace(alert, language);
        out += (out.empty() ? "" : ", ") + alertText(alert, language) +
               (place.empty() ? "" : " (" + place + ')');
    }
    return out;
}

// "black 80 %, cyan 61 %": what marks paper, and says a number.
std::string tonersOf(const Reading& reading, Language language)
{
    std::string out;
    for (const Json::Value& supply : reading.detail["supplies"]) {
        if (supply["class"] == "toner" && supply["percent"].isInt()) {
            out += (out.empty() ? "" : ", ") + colourName(supply, language) + ' ' +
                   std::to_string(supply["percent"].asInt()) + " %";
        }
    }
    return out;
}

class Brief final : public Format
{
public:
    explicit Brief(const FormatSettings& settings) : m_settings(settings) {}

    std::string render(const Look& look) override
    {
        std::string out;
        for (const Reading& reading : look.readings) {
            out += line(reading);
        }
        return out;
    }

private:
    std::string line(const Reading& reading) const
    {
        const std::string state = column(summaryOf(reading, m_settings.language), kStateColumns);
        std::string out = column(printable(reading.printer.name), kNameColumns);
        out += m_settings.colour ? std::string("\033[") + styleOf(reading) + 'm' + state + "\033[0m" : state;
        if (reading.online) {
            const std::string alerts = alertsOf(reading, m_settings.language);
            out += alerts.empty() ? tonersOf(reading, m_settings.language) : alerts;
        }
        out.erase(out.find_last_not_of(' ') + 1);
        return out + '\n';
    }

    const FormatSettings m_settings;
};

} // namespace

std::unique_ptr<Format> makeBrief(const FormatSettings& settings)
{
    return std::make_unique<Brief>(settings);
}

} // namespace tarnstatus
