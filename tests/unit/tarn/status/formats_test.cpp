#include <gtest/gtest.h>

#include <cstdlib>

#include "tests/unit/tarn/status/readings.h"
#include "tools/tarn-status/formats/format.h"
#include "tools/tarn-status/judgement.h"
#include "tools/tarn-status/rfc3339.h"

namespace tarnstatus {
namespace {

using test::goodReading;
using test::json;
using test::rememberedReading;
using test::unmetReading;

const std::chrono::system_clock::time_point kTime{std::chrono::milliseconds(1795354589412)};

std::string rendered(const char* format, const std::vector<Reading>& readings, FormatSettings settings = {})
{
    return findFormat(format)->make(settings)->render({kTime, readings});
}

std::string tableReport(const std::vector<Reading>& readings, bool colour)
{
    FormatSettings settings;
    settings.colour = colour;
    return rendered("table", readings, settings);
}

Json::Value jsonReport(const std::vector<Reading>& readings)
{
    return json(rendered("json", readings));
}

FormatSettings chinese()
{
    FormatSettings settings;
    settings.language = Language::Chinese;
    return settings;
}

TEST(ExitStatus, IsThatOfTheWorstPrinter)
{
    const Reading fine = goodReading();
    Reading alerting = fine;
    alerting.detail["alerts"] = json(R"([{"severity":"warning"}])");
    Reading away = fine;
    away.online = false;
    EXPECT_EQ(conditionOf(std::vector<Reading>{fine, fine}), Condition::Fine);
    EXPECT_EQ(conditionOf(std::vector<Reading>{fine, alerting}), Condition::Attention);
    EXPECT_EQ(conditionOf(std::vector<Reading>{alerting, away, fine}), Condition::Unreachable);
    EXPECT_EQ(conditionOf(std::vector<Reading>{}), Condition::Unreachable);
}

TEST(ExitStatus, FlagsNeedAttentionAndMereRemarksDoNot)
{
    for (const char* flag : {"lessPaper", "lackPaper", "lessToner", "lackToner"}) {
        Reading reading = goodReading();
        reading.info[flag] = "1";
        EXPECT_EQ(conditionOf(std::vector<Reading>{reading}), Condition::Attention) << flag;
    }
    Reading remark = goodReading();
    remark.detail["alerts"] = json(R"([{"severity":"other"}])");
    EXPECT_EQ(conditionOf(std::vector<Reading>{remark}), Condition::Fine);
}

TEST(Find, KeepsPrintersOnly)
{
    EXPECT_TRUE(looksLikePrinter(goodReading()));
    Reading away = goodReading();
    away.online = false;
    EXPECT_FALSE(looksLikePrinter(away));
    Reading stranger;
    stranger.online = true;
    stranger.state = 1;
    stranger.detail = json("{}");
    EXPECT_FALSE(looksLikePrinter(stranger));
    stranger.state = 3;
    EXPECT_TRUE(looksLikePrinter(stranger));
}

TEST(JsonReport, HasEveryMemberForAPrinterThatNeverAnswered)
{
    const Json::Value report = jsonReport({goodReading(), unmetReading()});
    EXPECT_EQ(report["schema"], 1);
    ASSERT_EQ(report["printers"].size(), 2u);
    const Json::Value& good = report["printers"][0];
    const Json::Value& far = report["printers"][1];
    EXPECT_EQ(good.getMemberNames(), far.getMemberNames());
    EXPECT_EQ(report["time"], "2026-11-22T13:36:29.412Z");
    EXPECT_EQ(good["stateWord"], "idle");
    EXPECT_EQ(far["stateWord"], "unreachable");
    EXPECT_EQ(good["age"], 1.5);
    EXPECT_EQ(good["summary"], "就绪");
    EXPECT_EQ(good["supplies"][0]["percent"], 50);
    EXPECT_TRUE(far["age"].isNull());
    EXPECT_EQ(far["online"], false);
    EXPECT_TRUE(far["supplies"].isArray());
    EXPECT_TRUE(far["flags"].isObject());
}

TEST(JsonReport, HasShortNumbersAndOneLineADocumentWhileWatching)
{
    Reading reading = goodReading();
    FormatSettings settings;
    settings.watching = true;
    for (const auto& [ageMs, text] :
         std::vector<std::pair<std::int64_t, std::string>>{{2000, "\"age\":2.0,"},
                                                           {2149, "\"age\":2.1,"},
                                                           {0, "\"age\":0.0,"},
                                                           {86400100, "\"age\":86400.1,"}}) {
        reading.ageMs = ageMs;
        const std::string line = rendered("json", {reading}, settings);
        EXPECT_NE(line.find(text), std::string::npos) << line;
        EXPECT_EQ(line.find('\n'), line.size() - 1) << line;
    }
}

TEST(JsonReport, IsTheSameInEveryLanguage)
{
    EXPECT_EQ(rendered("json", {goodReading()}), rendered("json", {goodReading()}, chinese()));
    EXPECT_EQ(rendered("csv", {goodReading()}), rendered("csv", {goodReading()}, chinese()));
    EXPECT_EQ(rendered("prometheus", {goodReading()}), rendered("prometheus", {goodReading()}, chinese()));
    EXPECT_EQ(rendered("nagios", {goodReading()}), rendered("nagios", {goodReading()}, chinese()));
}

TEST(Time, IsThatOfRfc3339)
{
    EXPECT_EQ(rfc3339(kTime), "2026-11-22T13:36:29.412Z");
    EXPECT_EQ(rfc3339(std::chrono::system_clock::time_point()), "1970-01-01T00:00:00.000Z");
    EXPECT_EQ(rfc3339(std::chrono::system_clock::time_point(std::chrono::milliseconds(-1))),
              "1969-12-31T23:59:59.999Z");
}

TEST(Table, ColourIsForTerminalsOnly)
{
    EXPECT_EQ(tableReport({goodReading()}, false).find('\033'), std::string::npos);
    EXPECT_NE(tableReport({goodReading()}, true).find('\033'), std::string::npos);
}

TEST(Table, BarIsHalfFullAtFiftyPercent)
{
    const std::string table = tableReport({goodReading()}, false);
    EXPECT_NE(table.find("█████████"
                         "█░░░░░░░░░"
                         "░  50 %"),
              std::string::npos)
        << table;
}

TEST(Table, SomeAndUnknownAreWordsNotNumbers)
{
    Reading reading = goodReading();
    reading.detail["supplies"] = json(R"([{"class":"toner","colour":"cyan","percent":"some"},
                                          {"class":"toner","colour":"red","percent":null}])");
    const std::string table = tableReport({reading}, false);
    EXPECT_NE(table.find("some"), std::string::npos);
    EXPECT_NE(table.find("unknown"), std::string::npos);
    EXPECT_EQ(table.find('%'), std::string::npos) << table;
}

TEST(Table, UnreachablePrinterIsOfflineWithoutItsOldAlerts)
{
    Reading reading = goodReading();
    reading.online = false;
    reading.ageMs = -1;
    reading.detail["alerts"] = json(R"([{"text":"卡纸","severity":"critical"}])");
    const std::string table = tableReport({reading}, false);
    EXPECT_NE(table.find("offline"), std::string::npos);
    EXPECT_NE(table.find("never answered"), std::string::npos);
    EXPECT_EQ(table.find("卡纸"), std::string::npos);
}

TEST(Table, PrintersTextsCannotSteerTheTerminal)
{
    Reading reading = goodReading();
    reading.model = "a\033[31mb\nc\x7f\xc2\x9b!";
    const std::string table = tableReport({reading}, false);
    EXPECT_EQ(table.find('\033'), std::string::npos);
    EXPECT_EQ(table.find("\xc2\x9b"), std::string::npos);
    EXPECT_NE(table.find("a [31mb c  !"), std::string::npos) << table;
}

TEST(Ways, AreShownOnceAndThoseOfSingleFieldsBehindIt)
{
    Reading reading = goodReading();
    reading.sources = json(R"({"state":"sm","model":"sm","serial":"ipp","trays":"ipp"})");
    const std::string table = tableReport({reading}, false);
    EXPECT_NE(table.find("(sm; ipp: serial, trays)"), std::string::npos) << table;
    EXPECT_EQ(jsonReport({reading})["printers"][0]["sources"], reading.sources);
    reading.sources = json(R"({"state":"sm"})");
    EXPECT_NE(tableReport({reading}, false).find("(sm)"), std::string::npos);
}

TEST(Table, IsInTheLanguageThatIsAskedFor)
{
    Reading reading = goodReading();
    reading.detail["alerts"] = json(R"([{"code":"jam","text":"卡纸","severity":"critical","place":"纸盒 2"},
        {"code":"other","text":"Call Fred","severity":"warning","place":""}])");
    const std::string english = rendered("table", {reading});
    EXPECT_NE(english.find("  ! paper jam (tray 2)  jam\n"), std::string::npos) << english;
    EXPECT_NE(english.find("  ! Call Fred  other\n"), std::string::npos) << english;
    EXPECT_NE(english.find("ready"), std::string::npos) << english;
    EXPECT_NE(english.find("serial S1  1234 pages  answered 1.5 s ago"), std::string::npos) << english;
    for (const char byte : english) {
        EXPECT_FALSE(byte >= '\xe3' && byte <= '\xe9') << "Chinese in " << english;
    }
    const std::string text = rendered("table", {reading}, chinese());
    EXPECT_NE(text.find("  ! 卡纸 (纸盒 2)  jam\n"), std::string::npos) << text;
    EXPECT_NE(text.find("  ! Call Fred  other\n"), std::string::npos) << text;
    EXPECT_NE(text.find("就绪"), std::string::npos) << text;
    EXPECT_NE(text.find("碳粉       黑色  "), std::string::npos) << text;
    EXPECT_EQ(text.find("pages"), std::string::npos) << text;
}

TEST(Remembered, ValuesAreShownToPeopleWithTheirDateAndAge)
{
    const std::string table = rendered("table", {rememberedReading()});
    EXPECT_NE(table.find("office              10.0.0.1         offline\n"), std::string::npos) << table;
    const std::string date = localDate(kTime - std::chrono::hours(50));
    EXPECT_NE(table.find("1234 pages  last known values, of " + date + " (2 days ago) (sm)\n"),
              std::string::npos)
        << table;
    EXPECT_NE(table.find(" 50 %"), std::string::npos) << table;
    EXPECT_NE(rendered("table", {rememberedReading()}, chinese()).find("最后已知值（" + date + "，2 天前）"),
              std::string::npos);
    Reading recent = rememberedReading();
    recent.ageMs = 47 * 3600 * 1000 + 1;
    EXPECT_NE(rendered("table", {recent}).find(" (47 h ago)"), std::string::npos);
    EXPECT_EQ(rendered("brief", {rememberedReading()}), "office                  offline\n");
}

TEST(Remembered, ValuesAreMarkedInJson)
{
    const Json::Value report = jsonReport({rememberedReading(), goodReading()});
    const Json::Value& off = report["printers"][0];
    EXPECT_EQ(off["online"], false);
    EXPECT_EQ(off["remembered"], true);
    EXPECT_EQ(off["age"], 180000.0);
    EXPECT_EQ(off["supplies"][0]["percent"], 50);
    EXPECT_EQ(report["printers"][1]["remembered"], false);
}

TEST(Remembered, ValuesAreNoMetrics)
{
    const auto given = [](const char* format, Reading reading, const FormatSettings& settings) {
        const FormatKind* const kind = findFormat(format);
        return kind->make(settings)->render(lookFor(*kind, {kTime, {std::move(reading)}}));
    };
    FormatSettings limits;
    limits.warning.toner = 60;
    limits.critical.state = Thresholds::State::Offline;
    limits.warning.age = 10;
    Reading never = unmetReading();
    never.printer = rememberedReading().printer;
    for (const char* format : {"prometheus", "nagios"}) {
        EXPECT_EQ(given(format, rememberedReading(), limits), given(format, never, limits)) << format;
    }
    EXPECT_NE(given("csv", rememberedReading(), {}).find(",unreachable,0,,,Laser,S1,hall,,,,,,,,,,,\n"),
              std::string::npos)
        << given("csv", rememberedReading(), {});
    EXPECT_NE(given("csv", goodReading(), {}).find(",idle,1,1.5,sm,"), std::string::npos);
}

TEST(Remembered, PrinterIsJudgedAsOneThatIsOff)
{
    EXPECT_EQ(conditionOf(std::vector<Reading>{rememberedReading()}), Condition::Unreachable);
    EXPECT_FALSE(looksLikePrinter(rememberedReading()));
}

TEST(Brief, IsOneLineAPrinterWithWhatIsWrongFirst)
{
    Reading jammed = goodReading();
    jammed.detail["alerts"] = json(R"([{"code":"jam","text":"卡纸","severity":"critical","place":""}])");
    jammed.detail["needsAttention"] = true;
    EXPECT_EQ(rendered("brief", {goodReading(), jammed, unmetReading()}),
              "office                  ready            black 50 %\n"
              "office                  needs attention  paper jam\n"
              "far                     offline\n");
    EXPECT_EQ(rendered("brief", {goodReading()}, chinese()),
              "office                  就绪             黑色 50 %\n");
    FormatSettings colour;
    colour.colour = true;
    EXPECT_NE(rendered("brief", {jammed}, colour).find("\033[33mneeds attention  \033[0m"),
              std::string::npos);
}

TEST(Csv, HasOneHeaderAndEmptyFieldsWhereNothingIsKnown)
{
    const auto format = findFormat("csv")->make({});
    Reading odd = goodReading();
    odd.printer.name = "a \"big\", one\n";
    odd.detail["supplies"].append(json(R"({"class":"toner","colour":"black","percent":7})"));
    odd.detail["alerts"] = json(R"([{"code":"jam"},{"code":"doorOpen"}])");
    odd.info["lessPaper"] = "1";
    EXPECT_EQ(
        format->render({kTime, {odd}}),
        "time,name,ip,state,online,age,source,model,serial,location,pages,black,cyan,magenta,yellow,red,"
        "less_paper,lack_paper,less_toner,lack_toner,alerts\n"
        "2026-11-22T13:36:29.412Z,\"a \"\"big\"\", one \",10.0.0.1,idle,1,1.5,sm,Laser,S1,hall,1234,7,,,,,"
        "1,0,0,0,jam doorOpen\n");
    EXPECT_EQ(format->render({kTime, {unmetReading()}}),
              "2026-11-22T13:36:29.412Z,far,10.9.9.9,unreachable,0,,,,,,,,,,,,,,,,\n");
}

TEST(Prometheus, NeverHasASeriesTwiceAndNoNumberForTheUnknown)
{
    const std::string text = rendered("prometheus", {goodReading(), goodReading(), unmetReading()});
    const std::string up = "tarn_printer_up{printer=\"office\",address=\"10.0.0.1\"} 1\n";
    EXPECT_NE(text.find(up), std::string::npos) << text;
    EXPECT_EQ(text.find(up), text.rfind(up)) << text;
    EXPECT_NE(text.find("tarn_printer_up{printer=\"far\",address=\"10.9.9.9\"} 0\n"), std::string::npos)
        << text;
    EXPECT_EQ(text.find("tarn_printer_toner_low{printer=\"far\""), std::string::npos) << text;
    EXPECT_EQ(text.find("tarn_printer_pages_total{printer=\"far\""), std::string::npos) << text;
    EXPECT_NE(text.find("tarn_printer_last_answer_timestamp_seconds{printer=\"office\",address=\"10.0.0.1\"} "
                        "1795354587.912\n"),
              std::string::npos)
        << text;
}

TEST(Prometheus, TextsOfAPrinterCannotEndALabel)
{
    Reading odd = goodReading();
    odd.model = "a\"b\\c\nd";
    EXPECT_NE(rendered("prometheus", {odd}).find(R"(model="a\"b\\c d",)"), std::string::npos);
}

TEST(Prometheus, WithoutPrintersThereIsNothing)
{
    EXPECT_EQ(rendered("prometheus", {}), "");
}

FormatSettings thresholds()
{
    FormatSettings settings;
    settings.warning = {20, std::nullopt, Thresholds::State::Attention};
    settings.critical = {5, std::nullopt, Thresholds::State::Offline};
    return settings;
}

int nagiosStatus(const std::vector<Reading>& readings, const FormatSettings& settings = thresholds())
{
    return findFormat("nagios")->make(settings)->exitStatus({kTime, readings});
}

Reading withBlackAt(int percent)
{
    Reading reading = goodReading();
    reading.detail["supplies"][0]["percent"] = percent;
    return reading;
}

TEST(Nagios, IsOneLineWithPerformanceData)
{
    EXPECT_EQ(rendered("nagios", {goodReading()}, thresholds()),
              "PRINTERS OK - office: ready | 'black_1'=50%;21:;6:;0;100 'pages'=1234c 'age'=1.5s;;;0\n");
    EXPECT_EQ(rendered("nagios", {withBlackAt(12), unmetReading()}, thresholds()),
              "PRINTERS CRITICAL - office: black 12 %; far: offline | 'office black_1'=12%;21:;6:;0;100 "
              "'office pages'=1234c 'office age'=1.5s;;;0\n");
    EXPECT_EQ(rendered("nagios", {}, thresholds()), "PRINTERS UNKNOWN - no printer found\n");
    EXPECT_EQ(
        rendered("nagios", {goodReading(), goodReading()}, thresholds()).find("PRINTERS OK - 2 printers |"),
        0u);
}

TEST(Nagios, TonerCountsAtItsThreshold)
{
    EXPECT_EQ(nagiosStatus({withBlackAt(21)}), 0);
    EXPECT_EQ(nagiosStatus({withBlackAt(20)}), 1);
    EXPECT_EQ(nagiosStatus({withBlackAt(6)}), 1);
    EXPECT_EQ(nagiosStatus({withBlackAt(5)}), 2);
    Reading some = goodReading();
    some.detail["supplies"][0]["percent"] = "some";
    EXPECT_EQ(nagiosStatus({some}), 0);
    Reading waste = withBlackAt(1);
    waste.detail["supplies"][0]["class"] = "waste";
    EXPECT_EQ(nagiosStatus({waste}), 0);
}

TEST(Nagios, StateAndAgeCountAsTheyAreAskedTo)
{
    FormatSettings settings = thresholds();
    EXPECT_EQ(nagiosStatus({unmetReading()}), 2);
    EXPECT_EQ(nagiosStatus({}), 3);
    settings.critical.state = Thresholds::State::None;
    EXPECT_EQ(nagiosStatus({unmetReading()}, settings), 1);
    settings.warning.state = Thresholds::State::None;
    EXPECT_EQ(nagiosStatus({unmetReading()}, settings), 0);
    Reading alerting = goodReading();
    alerting.detail["alerts"] = json(R"([{"code":"jam","text":"卡纸","severity":"critical"}])");
    EXPECT_EQ(nagiosStatus({alerting}), 1);
    EXPECT_EQ(rendered("nagios", {alerting}, thresholds()).find("PRINTERS WARNING - office: paper jam |"),
              0u);
    settings.critical.age = 1.5;
    EXPECT_EQ(nagiosStatus({goodReading()}, settings), 2);
    settings.critical.age = 1.6;
    EXPECT_EQ(nagiosStatus({goodReading()}, settings), 0);
    EXPECT_EQ(nagiosStatus({unmetReading()}, settings), 2) << "never answered";
}

TEST(Nagios, TextsOfAPrinterCannotEndTheLineOrBeginTheData)
{
    Reading odd = withBlackAt(5);
    odd.printer.name = "a|b\nc='d'";
    const std::string line = rendered("nagios", {odd, goodReading()}, thresholds());
    EXPECT_EQ(line.find('|'), line.rfind('|')) << line;
    EXPECT_EQ(line.find('\n'), line.size() - 1) << line;
    EXPECT_NE(line.find(" 'a/b c-''d'' black_1'=5%"), std::string::npos) << line;
}

} // namespace
} // namespace tarnstatus
