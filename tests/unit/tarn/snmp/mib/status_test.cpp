// Every oddity that printers were seen to have, each as a recording of our own in tests/data/snmp.
#include "tarn/src/snmp/mib/status.h"

#include <json/json.h>

#include "tarn/src/device/rendering.h"
#include "tarn/src/device/supply_types.h"
#include "tarn/src/snmp/poll/printer_session.h"
#include "tests/unit/tarn/snmp/fixtures.h"

namespace tarn::snmp {
namespace {

using engine::ReadKind;
using engine::ReadOutcome;
using namespace tarn::device;
using kel::testing::fixture;
using kel::testing::statusOf;

// "12" percent, "some", "unlimited" or "?".
std::string levelText(LevelKind kind, int percent)
{
    switch (kind) {
    case LevelKind::Percent:
        return std::to_string(percent);
    case LevelKind::Some:
        return "some";
    case LevelKind::Unlimited:
        return "unlimited";
    case LevelKind::Unknown:
        break;
    }
    return "?";
}

std::vector<std::string> levelsOf(const DeviceStatus& status)
{
    std::vector<std::string> levels;
    for (const Supply& supply : status.supplies) {
        levels.push_back(levelText(supply.levelKind, supply.percent));
    }
    return levels;
}

std::vector<std::string> colorsOf(const DeviceStatus& status)
{
    std::vector<std::string> colors;
    for (const Supply& supply : status.supplies) {
        colors.push_back(supply.colorText);
    }
    return colors;
}

std::vector<SupplyKind> kindsOf(const DeviceStatus& status)
{
    std::vector<SupplyKind> kinds;
    for (const Supply& supply : status.supplies) {
        kinds.push_back(supply.kind);
    }
    return kinds;
}

std::vector<std::string> alertsOf(const DeviceStatus& status)
{
    std::vector<std::string> alerts;
    for (const Alert& alert : status.alerts) {
        alerts.push_back(alert.keyword + (alert.place.empty() ? "" : "@" + alert.place));
    }
    return alerts;
}

using Strings = std::vector<std::string>;

// The five bars as the window gets them, K C M Y R.
Strings bars(const DeviceStatus& status)
{
    Json::Value root;
    std::istringstream(infoDocument(status)) >> root;
    Strings out;
    for (const char* key : {"KToner", "CToner", "MToner", "YToner", "RToner"}) {
        out.push_back(root[key].asString());
    }
    return out;
}

TEST(Status, OfAPrinterByTheBook)
{
    const DeviceStatus status = statusOf("colour-laser");
    EXPECT_EQ(status.model, "Acme ColorJet 500");
    EXPECT_EQ(status.serialNumber, "AJ100200");
    EXPECT_EQ(status.description, "Acme Jet 100; FW 1.0");
    EXPECT_EQ(status.activity, Activity::Idle);
    EXPECT_EQ(status.totalPages, 12345);
    EXPECT_EQ(bars(status), (Strings{"81", "42", "7", "100", "-1"}));
    EXPECT_EQ(status.supplies[0].type, "tonerCartridge");
    EXPECT_TRUE(status.supplies[4].receptacle);
    EXPECT_EQ(status.supplies[4].kind, SupplyKind::Waste);
    ASSERT_EQ(status.trays.size(), 2u);
    EXPECT_EQ(status.trays[0].percent, 50);
    EXPECT_EQ(status.trays[0].unit, "sheets");
    EXPECT_EQ(status.trays[1].levelKind, LevelKind::Some);
    EXPECT_TRUE(status.alerts.empty());
    EXPECT_EQ(stateMessage(status), "就绪");
    EXPECT_FALSE(status.needsAttention);
}

TEST(Status, InventsNoPercentage)
{
    EXPECT_EQ(levelsOf(statusOf("levels")),
              (Strings{"some", "?", "11", "0", "some", "?", "unlimited", "37", "?", "100", "?"}));
}

TEST(Levels, FollowTheRulesOfTheMib)
{
    const auto text = [](std::optional<std::int64_t> level, std::optional<std::int64_t> max,
                         std::optional<std::int64_t> unit = std::nullopt) {
        const device::Level found = device::levelOf(level, max, unit);
        return levelText(found.kind, found.percent);
    };
    EXPECT_EQ(text(std::nullopt, 100), "?");
    EXPECT_EQ(text(-1, 100), "unlimited");
    EXPECT_EQ(text(-2, 100), "?");
    EXPECT_EQ(text(-3, -2), "some");
    EXPECT_EQ(text(-77, 100), "?");
    EXPECT_EQ(text(0, -2), "?"); // a level of nothing in a container of no size
    EXPECT_EQ(text(50, -1), "?");
    EXPECT_EQ(text(50, 0), "?");
    EXPECT_EQ(text(0, 5000), "0");
    EXPECT_EQ(text(1, 3), "33");
    EXPECT_EQ(text(2, 3), "67");
    EXPECT_EQ(text(1, 200), "1");
    EXPECT_EQ(text(110, 100), "100");
    EXPECT_EQ(text(111, 100), "some");
    EXPECT_EQ(text(143065, 100), "some"); // in another unit than the capacity
    EXPECT_EQ(text(143065, 100, 19), "some");
    EXPECT_EQ(text(110, 500, 19), "100");
    EXPECT_EQ(text(37, -2, 19), "37");
    EXPECT_EQ(text(2147483647, 2147483647), "100");
    EXPECT_EQ(text(4294967295, 4294967295), "100");
    EXPECT_EQ(text(INT64_MAX, INT64_MAX), "?"); // no 32-bit number
    EXPECT_EQ(text(INT64_MAX, 5), "some");
    EXPECT_EQ(text(INT64_MIN, 5), "?");
}

TEST(Status, LetsTheEmptierKnownOfOneColourRule)
{
    const DeviceStatus status = statusOf("two-of-a-colour");
    EXPECT_EQ(bars(status), (Strings{"101", "40", "55", "-1", "-1"}));
    EXPECT_FALSE(status.tonerOut);
    EXPECT_EQ(status.totalPages, 1000); // of several markers
}

TEST(Status, JoinsColumnsOfUnequalLength)
{
    const DeviceStatus status = statusOf("short-columns");
    EXPECT_EQ(levelsOf(status), (Strings{"30", "?", "?", "60", "70"}));
    EXPECT_EQ(bars(status), (Strings{"30", "101", "101", "60", "-1"}));
    EXPECT_EQ(status.supplies[4].kind, SupplyKind::Fuser);
    ASSERT_EQ(status.trays.size(), 2u);
    EXPECT_EQ(status.trays[0].name, "纸盒 1");
    EXPECT_EQ(status.trays[1].name, "Bypass");
    EXPECT_EQ(status.trays[1].levelKind, LevelKind::Unknown);
    EXPECT_FALSE(status.trays[1].empty);
}

TEST(Status, TakesNoPartForTonerWhateverItsTypeSays)
{
    const DeviceStatus status = statusOf("not-toner");
    using K = SupplyKind;
    EXPECT_EQ(kindsOf(status), (std::vector<K>{K::Toner, K::Drum, K::Developer, K::Drum, K::Drum, K::Waste,
                                               K::Waste, K::Waste, K::Drum, K::Fuser, K::Cleaner, K::Transfer,
                                               K::Staples, K::Other, K::Toner, K::Waste}));
    EXPECT_EQ(bars(status), (Strings{"11", "25", "-1", "-1", "-1"}));
    EXPECT_TRUE(status.supplies[5].receptacle);
}

TEST(Status, TakesColoursFromTheColorantTable)
{
    EXPECT_EQ(bars(statusOf("colorants-reversed")), (Strings{"20", "40", "60", "80", "-1"}));
    EXPECT_EQ(bars(statusOf("colorant-index-zero")), (Strings{"11", "22", "33", "44", "-1"}));
}

TEST(Status, BelievesNoColorantThatSuppliesOfSeveralColoursShare)
{
    EXPECT_EQ(bars(statusOf("one-colorant-for-all")), (Strings{"11", "22", "33", "44", "-1"}));
}

TEST(Status, KeepsColoursBeyondTheFiveApart)
{
    const DeviceStatus status = statusOf("many-inks");
    // Photo black is black, and the three-colour cartridges stand for what they hold.
    EXPECT_EQ(bars(status), (Strings{"10", "44", "40", "44", "-1"}));
    EXPECT_EQ(colorsOf(status), (Strings{"photo black", "matte black", "light cyan", "magenta", "light black",
                                         "cyan", "yellow", "white", "black", "tri-color", "tri-color"}));
    for (const Supply& supply : status.supplies) {
        EXPECT_EQ(supply.kind, SupplyKind::Toner) << supply.description;
    }
}

TEST(Status, ReadsColoursAndPartsInTheLanguageOfThePanel)
{
    const DeviceStatus status = statusOf("languages");
    using K = SupplyKind;
    EXPECT_EQ(kindsOf(status),
              (std::vector<K>{K::Toner, K::Toner, K::Toner, K::Toner, K::Toner, K::Waste, K::Toner, K::Toner,
                              K::Toner, K::Drum, K::Toner, K::Drum, K::Toner, K::Waste, K::Drum}));
    EXPECT_EQ(bars(status), (Strings{"5", "10", "20", "15", "25"}));
}

TEST(Status, ReadsColoursFromTagsAndPartNumbers)
{
    const DeviceStatus status = statusOf("part-numbers");
    EXPECT_EQ(colorsOf(status),
              (Strings{"cyan", "black", "magenta", "black", "yellow", "black", "cyan", "", "", "magenta"}));
    EXPECT_EQ(status.supplies[4].description, "Yellow Toner"); // the NUL is gone
    EXPECT_EQ(status.supplies[8].kind, SupplyKind::Fuser);
}

TEST(Status, TakesThePrintersOnlyTonerForBlack)
{
    kel::testing::RecordedAgent agent = fixture("host-table-only");
    agent.setText("1.3.6.1.2.1.43.11.1.1.6.1.1", "Cartridge 719/719H");
    EXPECT_EQ(bars(statusOf(agent))[0], "50");
    agent.setText("1.3.6.1.2.1.43.11.1.1.6.1.2", "Cartridge 720");
    EXPECT_EQ(bars(statusOf(agent))[0], "-1"); // of two, either may be anything
}

TEST(Status, DecodesTextsByTheDevicesCharset)
{
    const std::pair<const char*, const char*> texts[] = {
        {"charset-roman8", "Tóner negro"},    {"charset-latin2", "Toner żółty"},
        {"charset-cyrillic", "Чёрный тонер"}, {"charset-gb", "黑色墨粉"},
        {"charset-sjis", "黒トナー"},         {"charset-utf16", "黑色碳粉"},
        {"charset-lies", "Tóner negro"},      {"charset-none", "Tóner negro"}};
    for (const auto& [name, text] : texts) {
        const DeviceStatus status = statusOf(name);
        ASSERT_EQ(status.supplies.size(), 1u) << name;
        EXPECT_EQ(status.supplies[0].description, text) << name;
        EXPECT_EQ(status.supplies[0].percent, 40) << name;
        EXPECT_NE(status.supplies[0].color, SupplyColor::None) << name;
        EXPECT_EQ(status.trays[0].name, text) << name;
    }
}

TEST(Status, FindsModelAndSerialNumberBehindAPrintServer)
{
    const DeviceStatus status = statusOf("print-server");
    EXPECT_EQ(status.model, "Acme ColorJet Pro 252");
    EXPECT_EQ(status.serialNumber, "VNX3Y98438");
}

TEST(Status, TakesTheModelFromTheDeviceIdBehindAnyMakersPrintServer)
{
    const DeviceStatus status = statusOf("device-id-behind-server");
    EXPECT_EQ(status.model, "Acme Labels ZT4-300dpi");
    EXPECT_EQ(status.serialNumber, "AL20401");
    EXPECT_EQ(status.description, "AcmeNet Wired PrintServer");
    kel::testing::RecordedAgent agent = fixture("device-id-behind-server");
    agent.v1 = true;
    EXPECT_EQ(statusOf(agent).model, "Acme Labels ZT4-300dpi");
    agent.setText("1.3.6.1.2.1.1.1.0", "Acme Plotter 5"); // no server, but the printer says more itself
    EXPECT_EQ(statusOf(agent).model, "Acme Labels ZT4-300dpi");
    agent.erase("1.3.6.1.4.1.11.2.3.9.1.1.7.0");
    EXPECT_EQ(statusOf(agent).model, "Acme Plotter 5"); // before the name made of an address
    agent.setText("1.3.6.1.2.1.1.1.0", "AcmeNet PrintServer: Attached to AL ZT5 Rev.1.2");
    EXPECT_EQ(statusOf(agent).model, "AL ZT5");
    agent.setText("1.3.6.1.2.1.1.1.0", "AcmeNet PrintServer");
    EXPECT_EQ(statusOf(agent).model, "ACM2894123");
    agent.erase("1.3.6.1.2.1.43.5.1.1.16.1");
    EXPECT_EQ(statusOf(agent).model, "");
}

TEST(Status, TakesNoTextOfAPrintServersMakerForTheModel)
{
    kel::testing::RecordedAgent agent = fixture("device-id-behind-server");
    kel::testing::RecordedAgent::Value maker;
    maker.type = ValueType::ObjectId;
    maker.oid = parseOid("1.3.6.1.4.1.171.11.1");
    agent.set("1.3.6.1.2.1.1.2.0", maker);
    agent.setText("1.3.6.1.2.1.1.1.0", "DP-301P+");
    agent.setText("1.3.6.1.2.1.25.3.2.1.3.1", "DP-301P+");
    EXPECT_EQ(statusOf(agent).model, "Acme Labels ZT4-300dpi");
    agent.erase("1.3.6.1.4.1.11.2.3.9.1.1.7.0");
    agent.erase("1.3.6.1.2.1.43.5.1.1.16.1");
    agent.setText("1.3.6.1.2.1.25.3.2.1.3.1", "Acme Jet 100"); // it may be the printer's
    EXPECT_EQ(statusOf(agent).model, "Acme Jet 100");
    agent.erase("1.3.6.1.2.1.25.3.2.1.3.1");
    EXPECT_EQ(statusOf(agent).model, "");
}

TEST(Status, KeepsAPlatformsNameWhereNothingSaysMore)
{
    kel::testing::RecordedAgent agent = fixture("platform-name");
    agent.erase("1.3.6.1.4.1.18334.1.1.1.1.6.2.1.0");
    EXPECT_EQ(statusOf(agent).model, "ACME bizline C3110");
    agent.setText("1.3.6.1.2.1.1.1.0", "Generic 28C-2");
    EXPECT_EQ(statusOf(agent).model, "Generic 28C-1");
}

TEST(Status, TakesTheModelOutOfItsCompany)
{
    const DeviceStatus status = statusOf("model-with-firmware");
    EXPECT_EQ(status.model, "Acme S5830dn");
    EXPECT_EQ(status.serialNumber, "7XQ1R92");
    const DeviceStatus platform = statusOf("platform-name");
    EXPECT_EQ(platform.model, "Acme ineo 280");
    EXPECT_EQ(platform.serialNumber, ""); // a placeholder is no serial number
}

TEST(Status, PrefersTheDeviceDescriptionToThePrintersName)
{
    kel::testing::RecordedAgent agent = fixture("colour-laser");
    agent.setText("1.3.6.1.2.1.43.5.1.1.16.1", "third floor");
    EXPECT_EQ(statusOf(agent).model, "Acme ColorJet 500");
    agent.erase("1.3.6.1.2.1.25.3.2.1.3.1");
    EXPECT_EQ(statusOf(agent).model, "third floor");
    agent.erase("1.3.6.1.2.1.43.5.1.1.16.1");
    EXPECT_EQ(statusOf(agent).model, "Acme Jet 100"); // sysDescr, without its firmware
}

TEST(Status, LivesOnVendorObjectsAlone)
{
    const DeviceStatus status = statusOf("vendor-only");
    EXPECT_EQ(status.model, "Acme DCP-100W");
    EXPECT_EQ(status.serialNumber, "E70000Z1N123456");
    EXPECT_EQ(status.totalPages, 2652);
}

TEST(Status, PrefersTheStandardSerialNumberAndCounter)
{
    kel::testing::RecordedAgent agent = fixture("vendor-only");
    agent.setText("1.3.6.1.2.1.43.5.1.1.17.1", "STANDARD1");
    agent.setInteger("1.3.6.1.2.1.43.10.2.1.4.1.1", 7);
    const DeviceStatus status = statusOf(agent);
    EXPECT_EQ(status.serialNumber, "STANDARD1");
    EXPECT_EQ(status.totalPages, 7);
}

TEST(Status, FindsThePrinterAtAnyIndex)
{
    const DeviceStatus zero = statusOf("index-0");
    EXPECT_EQ(zero.model, "Acme Jet 100");
    EXPECT_EQ(zero.activity, Activity::Idle);
    EXPECT_EQ(zero.totalPages, 77);
    EXPECT_EQ(bars(zero)[0], "55");
    EXPECT_EQ(zero.trays.size(), 1u);

    const DeviceStatus far = statusOf("index-87");
    EXPECT_EQ(far.model, "Acme Jet 100");
    EXPECT_EQ(far.activity, Activity::Idle);
    EXPECT_EQ(far.totalPages, 78);
    EXPECT_EQ(bars(far), (Strings{"55", "44", "-1", "-1", "-1"}));
    EXPECT_EQ(alertsOf(far), (Strings{"inputMediaSupplyEmpty@Cassette 7", "markerTonerAlmostEmpty@黑色"}));
    EXPECT_EQ(far.serialNumber, "AJ100200");

    const DeviceStatus host = statusOf("host-table-only");
    EXPECT_EQ(host.model, "Acme Jet 200");
    EXPECT_EQ(bars(host)[0], "50");
}

TEST(Status, FindsEachTableAtItsOwnIndex)
{
    const DeviceStatus status = statusOf("index-0-beside-1");
    EXPECT_EQ(status.serialNumber, "AJ100200");
    EXPECT_EQ(status.activity, Activity::Idle);
    EXPECT_EQ(status.totalPages, 77);
    EXPECT_EQ(bars(status),
              (Strings{"-1", "55", "-1", "-1", "-1"})); // by the colorant table, which has row 0.2
    EXPECT_EQ(status.trays.size(), 1u);
    EXPECT_EQ(alertsOf(status), (Strings{"markerTonerAlmostEmpty@青色"}));
}

TEST(Status, TakesNoEmptyBypassForPaperOut)
{
    const DeviceStatus status = statusOf("bypass-empty");
    EXPECT_FALSE(status.paperOut);
    EXPECT_TRUE(status.trays[0].empty);
    EXPECT_FALSE(status.needsAttention);
    EXPECT_EQ(stateMessage(status), "就绪");
}

TEST(Status, TakesEveryTrayEmptyForPaperOut)
{
    EXPECT_TRUE(statusOf("all-trays-empty").paperOut);
    kel::testing::RecordedAgent agent = fixture("all-trays-empty");
    agent.setInteger("1.3.6.1.2.1.43.8.2.1.11.1.2", 0); // level 0, and no word of it in the status
    EXPECT_FALSE(statusOf(agent).paperOut);
    agent.setInteger("1.3.6.1.2.1.43.8.2.1.11.1.2", 16);
    agent.setInteger("1.3.6.1.2.1.43.8.2.1.10.1.2", -3);
    EXPECT_FALSE(statusOf(agent).paperOut);
}

TEST(Status, TakesStatesAmongTheAlertsForNoAlerts)
{
    const DeviceStatus status = statusOf("states-as-alerts");
    EXPECT_EQ(alertsOf(status), Strings{});
    EXPECT_TRUE(status.powerSave);
    EXPECT_EQ(stateMessage(status), "节能");
    kel::testing::RecordedAgent agent = fixture("states-as-alerts");
    agent.setInteger("1.3.6.1.2.1.25.3.5.1.1.1", 1); // it does not idle: the cold fuser may be why
    EXPECT_EQ(alertsOf(statusOf(agent)), (Strings{"markerFuserUnderTemperature"}));
}

TEST(Status, ReportsEachFaultOnceAndTheWorstFirst)
{
    const DeviceStatus status = statusOf("faults");
    EXPECT_EQ(alertsOf(status), (Strings{"jam", "inputMediaSupplyLow@Tray-1", "other", "other"}));
    EXPECT_EQ(status.alerts[0].severity, Severity::Critical);
    EXPECT_EQ(status.alerts[0].code, 8);
    EXPECT_EQ(status.alerts[1].severity, Severity::Warning);
    EXPECT_EQ(status.alerts[2].text, "Call service － error 0x1－2 now");
    EXPECT_EQ(status.alerts[2].code, 31999);
    EXPECT_EQ(status.alerts[3].text, "进纸部件提示");
    EXPECT_EQ(stateMessage(status),
              "就绪-卡纸-纸张不足（Tray－1）-Call service － error 0x1－2 now-进纸部件提示");
}

TEST(Status, MakesAlertsOfErrorBitsThatNoRowExplains)
{
    const DeviceStatus status = statusOf("error-bits");
    EXPECT_EQ(alertsOf(status), (Strings{"noPaper", "serviceRequested"}));
    EXPECT_TRUE(status.paperOut);
    EXPECT_FALSE(status.paperLow);
    EXPECT_TRUE(status.needsAttention);
    EXPECT_EQ(stateCode(status), 3);
    EXPECT_EQ(stateMessage(status), "需要处理-缺纸-请求维护");

    kel::testing::RecordedAgent agent = fixture("error-bits");
    agent.setInteger("1.3.6.1.2.1.43.18.1.1.2.1.5", 3);
    agent.setInteger("1.3.6.1.2.1.43.18.1.1.7.1.5", 808);
    EXPECT_EQ(alertsOf(statusOf(agent)), (Strings{"inputMediaSupplyEmpty", "serviceRequested"}));
}

TEST(Status, KnowsEveryErrorBit)
{
    const DeviceStatus status = statusOf("all-error-bits");
    EXPECT_EQ(status.alerts.size(), 15u);
    EXPECT_TRUE(status.paperLow && status.paperOut && status.tonerLow && status.tonerOut);
    EXPECT_EQ(status.alerts[0].severity, Severity::Critical);
    EXPECT_EQ(status.alerts[14].severity, Severity::Warning);
}

TEST(Status, ReadsErrorStatesOfNoOctetOneAndTwo)
{
    kel::testing::RecordedAgent agent = fixture("error-bits");
    agent.setText("1.3.6.1.2.1.25.3.5.1.2.1", std::string("\x80", 1));
    EXPECT_EQ(alertsOf(statusOf(agent)), (Strings{"lowPaper"}));
    agent.setText("1.3.6.1.2.1.25.3.5.1.2.1", std::string("\x00\x02\xff", 3));
    EXPECT_EQ(alertsOf(statusOf(agent)), Strings{"overduePreventMaint"});
    agent.setText("1.3.6.1.2.1.25.3.5.1.2.1", std::string("\x00\x01", 2));
    EXPECT_EQ(alertsOf(statusOf(agent)), Strings{});
    agent.setText("1.3.6.1.2.1.25.3.5.1.2.1", "");
    EXPECT_EQ(alertsOf(statusOf(agent)), Strings{});
}

TEST(Status, KnowsStandbyAndStop)
{
    const DeviceStatus standby = statusOf("standby");
    EXPECT_EQ(stateMessage(standby), "节能");
    EXPECT_EQ(stateCode(standby), 1);
    kel::testing::RecordedAgent agent = fixture("standby");
    agent.setInteger("1.3.6.1.2.1.25.3.2.1.5.1", 5);
    EXPECT_EQ(stateMessage(statusOf(agent)), "需要处理");
    agent.setInteger("1.3.6.1.2.1.25.3.5.1.1.1", 5);
    EXPECT_EQ(stateMessage(statusOf(agent)), "预热中");
}

TEST(Status, TakesIntegersOfAnyType)
{
    const DeviceStatus status = statusOf("other-integers");
    EXPECT_EQ(status.activity, Activity::Printing);
    EXPECT_EQ(bars(status)[0], "50");
    EXPECT_EQ(status.totalPages, 0);
}

TEST(Status, TellsTraysApart)
{
    const DeviceStatus status = statusOf("trays");
    ASSERT_EQ(status.trays.size(), 5u);
    EXPECT_FALSE(status.trays[0].available);
    EXPECT_FALSE(status.trays[1].available);
    EXPECT_FALSE(status.trays[2].available);
    EXPECT_TRUE(status.trays[3].available);
    EXPECT_TRUE(status.trays[4].available);
    EXPECT_EQ(status.trays[2].unit, "micrometers");
    EXPECT_EQ(status.trays[2].levelKind, LevelKind::Unknown);
    EXPECT_EQ(status.trays[3].percent, 100);
    EXPECT_EQ(status.trays[4].levelKind, LevelKind::Unlimited);
    EXPECT_FALSE(status.paperOut);
}

TEST(Status, FeedsTonerFlagsFromAlertsButNeverFromReceptacles)
{
    kel::testing::RecordedAgent agent = fixture("colour-laser");
    agent.setInteger("1.3.6.1.2.1.43.11.1.1.9.1.5", 0); // no room left in the waste box
    EXPECT_FALSE(statusOf(agent).tonerOut);
    const auto alert = [&](int code) {
        agent.setInteger("1.3.6.1.2.1.43.18.1.1.2.1.4", 4);
        agent.setInteger("1.3.6.1.2.1.43.18.1.1.7.1.4", code);
        return statusOf(agent);
    };
    EXPECT_TRUE(alert(1104).tonerLow);
    EXPECT_FALSE(alert(1104).tonerOut);
    EXPECT_TRUE(alert(1101).tonerOut);
    EXPECT_FALSE(alert(1109).tonerOut);
    EXPECT_FALSE(alert(1107).tonerLow);
}

TEST(Status, FallsBackWhereThereIsNoErrorState)
{
    kel::testing::RecordedAgent agent = fixture("colour-laser");
    agent.erase("1.3.6.1.2.1.25.3.5.1.2.1");
    EXPECT_FALSE(statusOf(agent).tonerOut);
    agent.setInteger("1.3.6.1.2.1.43.11.1.1.9.1.3", 0);
    EXPECT_TRUE(statusOf(agent).tonerOut);
    agent.setInteger("1.3.6.1.2.1.43.18.1.1.2.1.4", 4);
    agent.setInteger("1.3.6.1.2.1.43.18.1.1.7.1.4", 807);
    EXPECT_TRUE(statusOf(agent).paperLow);
}

TEST(Status, TakesTonerForLowByItsLevelWhereNothingElseSaysIt)
{
    const char* const errorState = "1.3.6.1.2.1.25.3.5.1.2.1";
    const char* const deviceStatus = "1.3.6.1.2.1.25.3.2.1.5.1";
    const char* const cyanLevel = "1.3.6.1.2.1.43.11.1.1.9.1.2";
    kel::testing::RecordedAgent agent = fixture("inks-nearly-empty");
    EXPECT_TRUE(statusOf(agent).tonerLow);
    EXPECT_FALSE(statusOf(agent).tonerOut); // nor by the maintenance box, which is full
    agent.setInteger(cyanLevel, 0);
    EXPECT_TRUE(statusOf(agent).tonerOut);
    agent.setText(errorState, std::string(1, '\0')); // all clear, while the device warns: it goes on working
    EXPECT_TRUE(statusOf(agent).tonerLow);
    EXPECT_FALSE(statusOf(agent).tonerOut);
    agent.setInteger(deviceStatus, 2); // it does not warn
    EXPECT_FALSE(statusOf(agent).tonerLow);
    agent.setInteger(deviceStatus, 3);
    agent.setText(errorState, "\x08"); // it warns of an open door
    EXPECT_FALSE(statusOf(agent).tonerLow);
    agent.erase(errorState);
    for (int row = 1; row <= 4; ++row) {
        agent.setInteger("1.3.6.1.2.1.43.11.1.1.9.1." + std::to_string(row), row == 2 ? 4 : 5);
    }
    EXPECT_TRUE(statusOf(agent).tonerLow);
    agent.setInteger(cyanLevel, 5);
    EXPECT_FALSE(statusOf(agent).tonerLow);
}

TEST(Status, LetsTheEmptierOfBlackAndMatteBlackRule)
{
    const DeviceStatus status = statusOf("two-blacks");
    EXPECT_EQ(bars(status), (Strings{"12", "70", "-1", "-1", "-1"}));
    EXPECT_EQ(colorsOf(status), (Strings{"matte black", "black", "light black", "cyan"}));
    kel::testing::RecordedAgent agent = fixture("two-blacks");
    agent.setInteger("1.3.6.1.2.1.43.11.1.1.9.1.2", 7);
    EXPECT_EQ(bars(statusOf(agent))[0], "7");
}

TEST(Status, OfAHostWithoutPrinterIsNone)
{
    kel::testing::RecordedAgent agent = fixture("no-printer");
    PrinterSession session(Version::V2c);
    runRead(session, agent, ReadKind::Identity);
    EXPECT_EQ(session.outcome(), ReadOutcome::Unusable);
    EXPECT_EQ(session.status(), nullptr);
}

} // namespace
} // namespace tarn::snmp
