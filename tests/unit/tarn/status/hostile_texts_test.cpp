// Nothing that a printer says steers the terminal it is shown on.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>

#include "tests/unit/tarn/status/readings.h"
#include "tests/unit/tarn/support/hostile_text.h"
#include "tools/tarn-status/formats/format.h"

namespace tarnstatus {
namespace {

using test::goodReading;
using test::json;

std::string rendered(const char* format, const std::vector<Reading>& readings, FormatSettings settings = {})
{
    return findFormat(format)->make(settings)->render({{}, readings});
}

// Each text of the reading is what `make` makes of it.
void replaceTexts(Json::Value& value, const std::function<std::string(const std::string&)>& make)
{
    if (value.isString()) {
        value = make(value.asString());
    } else if (value.isArray() || value.isObject()) {
        for (Json::Value& item : value) {
            replaceTexts(item, make);
        }
    }
}

Reading hostileReading(const std::function<std::string(const std::string&)>& make)
{
    Reading reading = goodReading();
    reading.detail["trays"] = json(
        R"([{"name":"Tray","percent":50,"level":1,"capacity":2,"unit":"sheets","available":true,"empty":false}])");
    reading.detail["alerts"] =
        json(R"([{"code":"jam","text":"卡纸","place":"Tray","severity":"critical","number":8}])");
    for (std::string* text : {&reading.printer.name, &reading.printer.ip, &reading.model, &reading.serial,
                              &reading.message, &reading.description, &reading.source}) {
        *text = make(*text);
    }
    replaceTexts(reading.detail, make);
    replaceTexts(reading.sources, make);
    return reading;
}

TEST(HostileTexts, SteerNoTerminalInAnyFormatOrLanguage)
{
    // Behind what stands there, before it, and in its place: words that are looked up are met and missed.
    const std::function<std::string(const std::string&)> kinds[] = {
        [](const std::string& own) { return own + tarn::test::hostileText(); },
        [](const std::string& own) { return tarn::test::hostileText() + own; },
        [](const std::string&) { return tarn::test::hostileText(); },
    };
    for (const char* format : {"table", "brief", "json", "csv", "prometheus", "nagios"}) {
        for (const auto& kind : kinds) {
            for (const Language language : {Language::English, Language::Chinese}) {
                for (const bool watching : {false, true}) {
                    FormatSettings settings;
                    settings.language = language;
                    settings.watching = watching;
                    const std::string text =
                        rendered(format, {hostileReading(kind), goodReading()}, settings);
                    EXPECT_EQ(tarn::test::steeringIn(text, "\n"), "") << format << '\n' << text;
                    EXPECT_NE(text.find(tarn::test::kHostileWord), std::string::npos) << format;
                }
            }
        }
    }
}

TEST(HostileTexts, EndNoLine)
{
    const Reading hostile =
        hostileReading([](const std::string& own) { return own + "\n\r\v\f\xe2\x80\xa8" + own; });
    for (const char* format : {"brief", "csv", "prometheus", "nagios"}) {
        const std::string odd = rendered(format, {hostile, goodReading()});
        const std::string good = rendered(
            format, {hostileReading([](const std::string& own) { return own + own; }), goodReading()});
        EXPECT_EQ(std::count(odd.begin(), odd.end(), '\n'), std::count(good.begin(), good.end(), '\n'))
            << odd;
    }
}

TEST(HostileTexts, AreWholeInJson)
{
    const Json::Value report = json(
        rendered("json", {hostileReading([](const std::string&) { return tarn::test::hostileText(); })}));
    EXPECT_EQ(report["printers"][0]["model"].asString(), tarn::test::hostileText());
    EXPECT_EQ(report["printers"][0]["trays"][0]["name"].asString(), tarn::test::hostileText());
}

} // namespace
} // namespace tarnstatus
