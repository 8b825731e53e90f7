// One row a printer (RFC 4180, with LF), below one row of names: the same in every language. What a printer
// does not say is an empty field.
#include <algorithm>
#include <cstdio>

#include "tools/tarn-status/csv_field.h"
#include "tools/tarn-status/formats/format.h"
#include "tools/tarn-status/judgement.h"
#include "tools/tarn-status/rfc3339.h"
#include "tools/tarn-status/text.h"

namespace tarnstatus {

namespace {

constexpr char kHeader[] =
    "time,name,ip,state,online,age,source,model,serial,location,pages,black,cyan,magenta,"
    "yellow,red,less_paper,lack_paper,less_toner,lack_toner,alerts\n";

std::string ageField(std::int64_t ageMs)
{
    if (ageMs < 0) {
        return {};
    }
    char text[32];
    std::snprintf(text, sizeof text, "%.1f", static_cast<double>(ageMs) / 1000);
    return text;
}

// Of two toners of one colour the emptier one whose level is known.
std::string tonerField(const Reading& reading, const char* colour)
{
    int least = 101;
    for (const Json::Value& supply : reading.detail["supplies"]) {
        if (supply["class"] == "toner" && supply["colour"] == colour && supply["percent"].isInt()) {
            least = std::min(least, supply["percent"].asInt());
        }
    }
    return least > 100 ? std::string() : std::to_string(least);
}

std::string alertCodes(const Reading& reading)
{
    std::string codes;
    for (const Json::Value& alert : reading.detail["alerts"]) {
        codes += (codes.empty() ? "" : " ") + printable(alert["code"]);
    }
    return codes;
}

class Csv final : public Format
{
public:
    std::string render(const Look& look) override
    {
        std::string out = m_hasHeader ? "" : kHeader;
        m_hasHeader = true;
        for (const Reading& reading : look.readings) {
            out += row(reading, rfc3339(look.time));
        }
        return out;
    }

private:
    static std::string row(const Reading& reading, const std::string& time)
    {
        std::string out = time;
        for (const std::string& text :
             {reading.printer.name, reading.printer.ip, std::string(stateWord(reading.state)),
              std::string(reading.online ? "1" : "0"), ageField(reading.ageMs), reading.source, reading.model,
              reading.serial, reading.detail.get("location", "").asString(),
              reading.pages < 0 ? std::string() : std::to_string(reading.pages)}) {
            out += ',' + csvField(printable(text));
        }
        for (const char* colour : {"black", "cyan", "magenta", "yellow", "red"}) {
            out += ',' + tonerField(reading, colour);
        }
        for (const char* flag : {"lessPaper", "lackPaper", "lessToner", "lackToner"}) {
            out += std::string(",") + (reading.ageMs < 0 ? "" : reading.info[flag] == "1" ? "1" : "0");
        }
        return out + ',' + csvField(alertCodes(reading)) + '\n';
    }

    bool m_hasHeader = false;
};

} // namespace

std::unique_ptr<Format> makeCsv(const FormatSettings&)
{
    return std::make_unique<Csv>();
}

} // namespace tarnstatus
