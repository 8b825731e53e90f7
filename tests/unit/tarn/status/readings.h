#pragma once

#include <gtest/gtest.h>

#include <memory>

#include <json/reader.h>

#include "tools/tarn-status/printer_access.h"

namespace tarnstatus::test {

inline Json::Value json(const std::string& text)
{
    Json::Value root;
    const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
    EXPECT_TRUE(reader->parse(text.data(), text.data() + text.size(), &root, nullptr)) << text;
    return root;
}

inline Reading goodReading()
{
    Reading reading;
    reading.printer = {"office", "10.0.0.1"};
    reading.model = "Laser";
    reading.serial = "S1";
    reading.message = "就绪";
    reading.source = "sm";
    reading.state = 3;
    reading.pages = 1234;
    reading.online = true;
    reading.ageMs = 1500;
    reading.info = json(R"({"lessPaper":"0","lackPaper":"0","lessToner":"0","lackToner":"0"})");
    reading.detail = json(R"({"supplies":[{"class":"toner","colour":"black","percent":50,"receptacle":false,
        "description":"Black"}],"trays":[],"alerts":[],"counters":{"totalPages":1234},"flags":{"lessPaper":false},
        "location":"hall","activity":"idle","needsAttention":false})");
    return reading;
}

// A printer that was named and never answered.
inline Reading unmetReading()
{
    Reading reading;
    reading.printer = {"far", "10.9.9.9"};
    reading.info = json(R"({"lessPaper":"0","lackPaper":"0","lessToner":"0","lackToner":"0"})");
    reading.detail = Json::Value(Json::objectValue);
    return reading;
}

// One that is off, and said all that in an earlier run.
inline Reading rememberedReading()
{
    Reading reading = goodReading();
    reading.online = false;
    reading.isRemembered = true;
    reading.state = 2;
    reading.message.clear();
    reading.ageMs = std::int64_t{50} * 3600 * 1000;
    reading.info["lackPaper"] = "1";
    return reading;
}

} // namespace tarnstatus::test
