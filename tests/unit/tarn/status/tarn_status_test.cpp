#include <gtest/gtest.h>

#include <memory>

#include <json/reader.h>

#include "tests/unit/tarn/support/scratch_directory.h"
#include "tools/tarn-status/options.h"
#include "tools/tarn-status/report.h"

namespace tarnstatus {
namespace {

Options parse(std::vector<std::string> arguments)
{
    arguments.insert(arguments.begin(), "tarn-status");
    std::vector<char*> argv;
    for (std::string& argument : arguments) {
        argv.push_back(argument.data());
    }
    argv.push_back(nullptr);
    return parseOptions(static_cast<int>(arguments.size()), argv.data());
}

Json::Value json(const std::string& text)
{
    Json::Value root;
    const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
    EXPECT_TRUE(reader->parse(text.data(), text.data() + text.size(), &root, nullptr)) << text;
    return root;
}

Reading goodReading()
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
        "location":"hall"})");
    return reading;
}

TEST(CommandLine, AddressesAListOrANetworkExcludeEachOther)
{
    EXPECT_EQ(parse({"10.0.0.1", "10.0.0.2"}).addresses.size(), 2u);
    EXPECT_EQ(parse({"--list", "file"}).listFile, "file");
    EXPECT_EQ(parse({"--find", "10.0.0.0/24"}).network, "10.0.0.0/24");
    for (const auto& wrong : std::vector<std::vector<std::string>>{
             {}, {"--list", "file", "10.0.0.1"}, {"--list", "file", "--find", "10.0.0.0/24"}, {"--json"}}) {
        EXPECT_EQ(parse(wrong).action, Options::Action::Usage);
    }
}

TEST(CommandLine, WhatIsDiscoveredStandsAloneOrBesideTheOthers)
{
    EXPECT_TRUE(parse({"--usb"}).usb);
    EXPECT_EQ(parse({"--usb"}).action, Options::Action::Show);
    EXPECT_TRUE(parse({"-c", "10.0.0.1"}).cups);
    EXPECT_EQ(parse({"-c", "10.0.0.1"}).addresses.size(), 1u);
    EXPECT_FALSE(parse({"10.0.0.1"}).usb);
    EXPECT_EQ(parse({"--usb", "--list", "file", "10.0.0.1"}).action, Options::Action::Usage);
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

TEST(CommandLine, OptionsMayStandAnywhereAndBeShort)
{
    const Options options = parse({"10.0.0.1", "-j", "-w0.5", "-t", "1.5"});
    EXPECT_EQ(options.action, Options::Action::Show);
    EXPECT_TRUE(options.json);
    EXPECT_TRUE(options.watch);
    EXPECT_EQ(options.interval, std::chrono::milliseconds(500));
    EXPECT_EQ(options.timeout, std::chrono::milliseconds(1500));
    EXPECT_EQ(parse({"--watch", "10.0.0.1"}).interval, std::chrono::milliseconds(2000));
}

TEST(CommandLine, WrongArgumentsAreUsage)
{
    for (const auto& wrong : std::vector<std::vector<std::string>>{{"--colour", "10.0.0.1"},
                                                                   {"--list"},
                                                                   {"-x", "10.0.0.1"},
                                                                   {"--timeout", "soon", "10.0.0.1"},
                                                                   {"--timeout", "-1", "10.0.0.1"},
                                                                   {"--timeout", "nan", "10.0.0.1"},
                                                                   {"--timeout", "1e300", "10.0.0.1"},
                                                                   {"--watch=0", "10.0.0.1"},
                                                                   {"--find", "10.0.0.0/16"},
                                                                   {"--find", "office"},
                                                                   {"--list", ""},
                                                                   {"printer.example"}}) {
        const Options options = parse(wrong);
        EXPECT_EQ(options.action, Options::Action::Usage) << wrong.front();
        EXPECT_FALSE(options.complaint.empty());
    }
}

TEST(CommandLine, HelpAndVersionNeedNoPrinter)
{
    EXPECT_EQ(parse({"--help"}).action, Options::Action::Help);
    EXPECT_EQ(parse({"-V"}).action, Options::Action::Version);
}

TEST(Network, HostsAreThoseBetweenItsOwnAndItsBroadcastAddress)
{
    const auto hosts = hostsOf("192.168.7.99/24");
    ASSERT_EQ(hosts.size(), 254u);
    EXPECT_EQ(hosts.front(), "192.168.7.1");
    EXPECT_EQ(hosts.back(), "192.168.7.254");
    EXPECT_EQ(hostsOf("192.168.7.99").size(), 254u);
    EXPECT_EQ(hostsOf("10.0.0.4/30"), (std::vector<std::string>{"10.0.0.5", "10.0.0.6"}));
    EXPECT_EQ(hostsOf("10.0.0.4/31"), (std::vector<std::string>{"10.0.0.4", "10.0.0.5"}));
    EXPECT_EQ(hostsOf("10.0.0.4/32"), std::vector<std::string>{"10.0.0.4"});
    for (const char* wrong :
         {"", "/24", "10.0.0.0/23", "10.0.0.0/33", "10.0.0.0/", "10.0.0.0/2x", "10.0.0/24", "10.0.0.0/024"}) {
        EXPECT_TRUE(hostsOf(wrong).empty()) << wrong;
    }
}

TEST(ExitStatus, IsThatOfTheWorstPrinter)
{
    const Reading fine = goodReading();
    Reading alerting = fine;
    alerting.detail["alerts"] = json(R"([{"severity":"warning"}])");
    Reading away = fine;
    away.online = false;
    EXPECT_EQ(exitCodeOf({fine, fine}), ExitCode::Fine);
    EXPECT_EQ(exitCodeOf({fine, alerting}), ExitCode::Attention);
    EXPECT_EQ(exitCodeOf({alerting, away, fine}), ExitCode::Unreachable);
    EXPECT_EQ(exitCodeOf({}), ExitCode::Unreachable);
}

TEST(ExitStatus, FlagsNeedAttentionAndMereRemarksDoNot)
{
    for (const char* flag : {"lessPaper", "lackPaper", "lessToner", "lackToner"}) {
        Reading reading = goodReading();
        reading.info[flag] = "1";
        EXPECT_EQ(exitCodeOf({reading}), ExitCode::Attention) << flag;
    }
    Reading remark = goodReading();
    remark.detail["alerts"] = json(R"([{"severity":"other"}])");
    EXPECT_EQ(exitCodeOf({remark}), ExitCode::Fine);
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
    Reading unmet;
    unmet.printer = {"far", "10.9.9.9"};
    unmet.detail = Json::Value(Json::objectValue);
    const Json::Value report = jsonReport({goodReading(), unmet});
    EXPECT_EQ(report["schema"], 1);
    ASSERT_EQ(report["printers"].size(), 2u);
    const Json::Value& good = report["printers"][0];
    const Json::Value& far = report["printers"][1];
    EXPECT_EQ(good.getMemberNames(), far.getMemberNames());
    EXPECT_EQ(good["age"], 1.5);
    EXPECT_EQ(good["summary"], "就绪");
    EXPECT_EQ(good["supplies"][0]["percent"], 50);
    EXPECT_TRUE(far["age"].isNull());
    EXPECT_EQ(far["online"], false);
    EXPECT_TRUE(far["supplies"].isArray());
    EXPECT_TRUE(far["flags"].isObject());
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

TEST(Table, ChineseTakesTwoColumns)
{
    EXPECT_EQ(displayWidth("abc"), 3u);
    EXPECT_EQ(displayWidth("就绪"), 4u);
    EXPECT_EQ(displayWidth("█░"), 2u);
    EXPECT_EQ(displayWidth("é"), 1u);
    EXPECT_EQ(displayWidth("（a）"), 5u);
}

TEST(ListFile, IsReadAsThePrinterListOfTheProgram)
{
    const tarn::test::ScratchDirectory scratch;
    scratch.write("printers.json",
                  R"([{"ip":"10.0.0.1","manufacturer":"","model":"","printerName":"\u529e"},5,{"ip":7}])"
                  "\n");
    const auto printers = printersOf(scratch.path("printers.json"));
    ASSERT_EQ(printers.size(), 2u);
    EXPECT_EQ(printers[0].name, "办");
    EXPECT_EQ(printers[0].ip, "10.0.0.1");
    EXPECT_EQ(printers[1].ip, "");
    scratch.write("broken.json", "{");
    EXPECT_THROW(printersOf(scratch.path("broken.json")), AccessError);
    EXPECT_THROW(printersOf(scratch.path("none.json")), AccessError);
    scratch.write("deep.json", std::string(5000, '['));
    EXPECT_THROW(printersOf(scratch.path("deep.json")), AccessError);
}

} // namespace
} // namespace tarnstatus
