#include "tarn/src/device/rendering.h"

#include <gtest/gtest.h>
#include <json/json.h>

#include <memory>
#include <random>
#include <set>

namespace tarn::device {
namespace {

Json::Value parsed(const std::string& text)
{
    Json::CharReaderBuilder builder;
    const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    Json::Value value;
    std::string why;
    EXPECT_TRUE(reader->parse(text.data(), text.data() + text.size(), &value, &why)) << why;
    return value;
}

Supply toner(SupplyColor color, LevelKind kind, int percent = 0)
{
    Supply supply;
    supply.kind = SupplyKind::Toner;
    supply.color = color;
    supply.levelKind = kind;
    supply.percent = percent;
    supply.type = "toner";
    return supply;
}

Alert alert(const std::string& text, const std::string& place = "")
{
    Alert made;
    made.keyword = "jam";
    made.text = text;
    made.place = place;
    return made;
}

std::string info(const DeviceStatus& status, const char* key)
{
    return parsed(infoDocument(status))[key].asString();
}

TEST(StateCode, IsThatOfHrPrinterStatus)
{
    DeviceStatus status;
    const std::pair<Activity, int> codes[] = {{Activity::Unknown, 1},
                                              {Activity::Other, 1},
                                              {Activity::Idle, 3},
                                              {Activity::Printing, 4},
                                              {Activity::WarmUp, 5}};
    for (const auto& [activity, code] : codes) {
        status.activity = activity;
        EXPECT_EQ(stateCode(status), code);
    }
}

TEST(StateMessage, BeginsWithAShortSummary)
{
    DeviceStatus status;
    EXPECT_EQ(stateMessage(status), "在线");
    status.activity = Activity::Idle;
    EXPECT_EQ(stateMessage(status), "就绪");
    status.powerSave = true;
    EXPECT_EQ(stateMessage(status), "节能");
    status.needsAttention = true;
    EXPECT_EQ(stateMessage(status), "需要处理");
    status.activity = Activity::WarmUp;
    EXPECT_EQ(stateMessage(status), "预热中");
    status.activity = Activity::Printing;
    EXPECT_EQ(stateMessage(status), "打印中");
}

TEST(StateMessage, HasOneItemAnAlert)
{
    DeviceStatus status;
    status.activity = Activity::Idle;
    status.alerts = {alert("卡纸"), alert("缺纸", "纸盒 1")};
    EXPECT_EQ(stateMessage(status), "就绪-卡纸-缺纸（纸盒 1）");
}

TEST(StateMessage, HoldsNoHyphenButTheSeparators)
{
    DeviceStatus status;
    status.activity = Activity::Idle;
    status.alerts = {alert("a-b", "SJIC35P-BK")};
    const std::string message = stateMessage(status);
    EXPECT_EQ(std::count(message.begin(), message.end(), '-'), 1) << message;
}

TEST(InfoDocument, AlwaysHoldsEveryKeyAsAText)
{
    const Json::Value root = parsed(infoDocument(DeviceStatus()));
    const std::set<std::string> keys = {"CToner",     "MToner",    "YToner",    "KToner",    "RToner",
                                        "totalprint", "lessPaper", "lackPaper", "lessToner", "lackToner"};
    const std::vector<std::string> members = root.getMemberNames();
    EXPECT_EQ(std::set<std::string>(members.begin(), members.end()), keys);
    for (const std::string& key : keys) {
        EXPECT_TRUE(root[key].isString()) << key;
    }
    for (const char* key : {"CToner", "MToner", "YToner", "KToner", "RToner", "totalprint"}) {
        EXPECT_EQ(root[key].asString(), "-1") << key;
    }
    for (const char* key : {"lessPaper", "lackPaper", "lessToner", "lackToner"}) {
        EXPECT_EQ(root[key].asString(), "0") << key;
    }
}

TEST(InfoDocument, TellsEachColourOnItsOwn)
{
    DeviceStatus status;
    status.supplies = {
        toner(SupplyColor::Black, LevelKind::Percent, 1), toner(SupplyColor::Cyan, LevelKind::Percent, 2),
        toner(SupplyColor::Magenta, LevelKind::Percent, 3), toner(SupplyColor::Yellow, LevelKind::Percent, 0),
        toner(SupplyColor::Red, LevelKind::Percent, 100)};
    EXPECT_EQ(info(status, "KToner"), "1");
    EXPECT_EQ(info(status, "CToner"), "2");
    EXPECT_EQ(info(status, "MToner"), "3");
    EXPECT_EQ(info(status, "YToner"), "0");
    EXPECT_EQ(info(status, "RToner"), "100");
}

TEST(InfoDocument, WritesALevelWithoutNumberAsAFullBar)
{
    for (const LevelKind kind : {LevelKind::Some, LevelKind::Unknown, LevelKind::Unlimited}) {
        DeviceStatus status;
        status.supplies = {toner(SupplyColor::Black, kind)};
        EXPECT_EQ(info(status, "KToner"), "101");
    }
}

TEST(InfoDocument, LetsTheEmptierKnownOfTwoRule)
{
    DeviceStatus status;
    status.supplies = {
        toner(SupplyColor::Black, LevelKind::Percent, 80), toner(SupplyColor::Black, LevelKind::Percent, 20),
        toner(SupplyColor::Cyan, LevelKind::Some),         toner(SupplyColor::Cyan, LevelKind::Percent, 100),
        toner(SupplyColor::Magenta, LevelKind::Unknown),   toner(SupplyColor::Magenta, LevelKind::Some)};
    EXPECT_EQ(info(status, "KToner"), "20");
    EXPECT_EQ(info(status, "CToner"), "100");
    EXPECT_EQ(info(status, "MToner"), "101");
}

TEST(InfoDocument, TakesNoPartForToner)
{
    DeviceStatus status;
    Supply drum = toner(SupplyColor::Black, LevelKind::Percent, 30);
    drum.kind = SupplyKind::Drum;
    Supply light = toner(SupplyColor::Other, LevelKind::Percent, 30);
    light.colorText = "light cyan";
    status.supplies = {drum, light};
    EXPECT_EQ(info(status, "KToner"), "-1");
    EXPECT_EQ(info(status, "CToner"), "-1");
    EXPECT_EQ(parsed(detailDocument(status))["supplies"][1]["colour"].asString(), "light cyan");
}

TEST(InfoDocument, TellsPagesAndFlags)
{
    DeviceStatus status;
    status.totalPages = 0;
    EXPECT_EQ(info(status, "totalprint"), "0");
    status.totalPages = 12345;
    status.paperLow = true;
    EXPECT_EQ(info(status, "totalprint"), "12345");
    EXPECT_EQ(info(status, "lessPaper"), "1");
    EXPECT_EQ(info(status, "lackPaper"), "0");
    status.paperOut = status.tonerLow = status.tonerOut = true;
    status.paperLow = false;
    EXPECT_EQ(info(status, "lessPaper"), "0");
    EXPECT_EQ(info(status, "lackPaper"), "1");
    EXPECT_EQ(info(status, "lessToner"), "1");
    EXPECT_EQ(info(status, "lackToner"), "1");
}

TEST(InfoDocument, WritesACounterBeyond32BitsAsTheLargestNumber)
{
    DeviceStatus status;
    status.totalPages = 4294967295;
    EXPECT_EQ(info(status, "totalprint"), "2147483647");
    EXPECT_EQ(parsed(detailDocument(status))["counters"]["totalPages"].asInt64(), 4294967295);
}

TEST(DetailDocument, HoldsTheWholeStatus)
{
    DeviceStatus status;
    status.model = "Acme \"Jet\" 黑";
    status.serialNumber = "S1";
    status.activity = Activity::Idle;
    status.supplies = {toner(SupplyColor::Black, LevelKind::Some)};
    Tray tray;
    tray.name = "Tray 1";
    tray.level = 250;
    tray.capacity = -2;
    tray.unit = "sheets";
    status.trays = {tray};
    Alert jam = alert("卡纸", "x");
    jam.code = 8;
    jam.severity = Severity::Critical;
    status.alerts = {jam};
    const Json::Value root = parsed(detailDocument(status));
    EXPECT_EQ(root["schema"].asInt(), 1);
    EXPECT_EQ(root["model"].asString(), "Acme \"Jet\" 黑");
    EXPECT_EQ(root["serial"].asString(), "S1");
    EXPECT_EQ(root["activity"].asString(), "idle");
    EXPECT_EQ(root["supplies"][0]["type"].asString(), "toner");
    EXPECT_EQ(root["supplies"][0]["class"].asString(), "toner");
    EXPECT_EQ(root["supplies"][0]["colour"].asString(), "black");
    EXPECT_EQ(root["supplies"][0]["percent"].asString(), "some");
    EXPECT_TRUE(root["trays"][0]["percent"].isNull());
    EXPECT_EQ(root["trays"][0]["level"].asInt(), 250);
    EXPECT_TRUE(root["trays"][0]["capacity"].isNull());
    EXPECT_EQ(root["alerts"][0]["code"].asString(), "jam");
    EXPECT_EQ(root["alerts"][0]["number"].asInt(), 8);
    EXPECT_EQ(root["alerts"][0]["severity"].asString(), "critical");
    EXPECT_EQ(root["alerts"][0]["place"].asString(), "x");
    EXPECT_TRUE(root["counters"]["totalPages"].isNull());
    EXPECT_FALSE(root["flags"]["lessPaper"].asBool());
}

TEST(DetailDocument, KeepsUnknownAndZeroApart)
{
    DeviceStatus status;
    status.supplies = {toner(SupplyColor::Black, LevelKind::Percent, 0),
                       toner(SupplyColor::Cyan, LevelKind::Unknown)};
    Tray empty;
    empty.level = 0;
    empty.capacity = 0;
    status.trays = {empty, Tray()};
    status.totalPages = 0;
    const Json::Value root = parsed(detailDocument(status));
    EXPECT_TRUE(root["trays"][0]["level"].isIntegral());
    EXPECT_TRUE(root["trays"][0]["capacity"].isIntegral());
    EXPECT_TRUE(root["trays"][1]["level"].isNull());
    EXPECT_TRUE(root["trays"][1]["capacity"].isNull());
    EXPECT_TRUE(root["counters"]["totalPages"].isIntegral());
    EXPECT_EQ(root["supplies"][0]["percent"].asInt(), 0);
    EXPECT_TRUE(root["supplies"][0]["percent"].isIntegral());
    EXPECT_TRUE(root["supplies"][1]["percent"].isNull());
}

// The document's form is a JSON writer's, though none writes it.
TEST(InfoDocument, IsWhatAJsonWriterWrites)
{
    std::mt19937 random(20);
    for (int round = 0; round < 200; ++round) {
        DeviceStatus status;
        for (int i = static_cast<int>(random() % 7); i > 0; --i) {
            status.supplies.push_back(toner(static_cast<SupplyColor>(random() % 7),
                                            static_cast<LevelKind>(random() % 4),
                                            static_cast<int>(random() % 101)));
        }
        if (random() % 2 != 0) {
            status.totalPages = static_cast<std::int64_t>(random()) * (random() % 3) - 5;
        }
        status.paperLow = random() % 2 != 0;
        status.paperOut = random() % 2 != 0;
        status.tonerLow = random() % 2 != 0;
        status.tonerOut = random() % 2 != 0;
        Json::StreamWriterBuilder builder;
        builder["indentation"] = "";
        builder["emitUTF8"] = true;
        const std::string document = infoDocument(status);
        EXPECT_EQ(document, Json::writeString(builder, parsed(document)));
    }
}

} // namespace
} // namespace tarn::device
