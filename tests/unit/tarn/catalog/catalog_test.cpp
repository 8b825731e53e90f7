#include <gtest/gtest.h>

#include "tarn/src/base/json_input.h"
#include "tarn/src/catalog/config.h"
#include "tarn/src/catalog/identity_cache.h"
#include "tarn/src/catalog/printer_list.h"
#include "tests/unit/tarn/support/scratch_directory.h"

namespace tarn::catalog {
namespace {

using engine::parseIpv4;
using engine::VersionChoice;

engine::PrinterAddress addressIn(const Config& config, const char* ip)
{
    return config.addressFor(*parseIpv4(ip));
}

// The complaints of a text, one line each.
std::string complaintsOf(Config& config, const std::string& text)
{
    ConfigComplaints complaints(text);
    config.parse(text, complaints);
    std::string lines;
    for (const std::string& line : complaints.lines()) {
        EXPECT_EQ(line.find_first_of("\r\n\033"), std::string::npos) << line;
        lines += line + "\n";
    }
    return lines;
}

TEST(Configuration, WithoutAFileEveryPrinterIsAskedOnPort161WithPublic)
{
    const engine::PrinterAddress address = addressIn(Config(), "10.1.2.3");
    EXPECT_EQ(address.endpoint, (engine::Endpoint{*parseIpv4("10.1.2.3"), 161}));
    EXPECT_EQ(address.version, VersionChoice::Auto);
    EXPECT_EQ(*address.community, "public");
}

TEST(Configuration, AddressComesBeforeNetworkBeforeDefault)
{
    Config config;
    EXPECT_EQ(complaintsOf(config, R"({
        "default": {"port": 1000, "community": "all"},
        "addresses": {
            "10.0.0.0/8": {"port": 2000, "version": "1"},
            "10.1.0.0/16": {"port": 3000},
            "10.1.2.3": {"community": "one"}
        }})"),
              "");
    const engine::PrinterAddress one = addressIn(config, "10.1.2.3");
    EXPECT_EQ(one.endpoint.port, 3000);
    EXPECT_EQ(one.version, VersionChoice::V1);
    EXPECT_EQ(*one.community, "one");
    EXPECT_EQ(addressIn(config, "10.2.2.3").endpoint.port, 2000);
    EXPECT_EQ(addressIn(config, "11.2.2.3").endpoint.port, 1000);
    EXPECT_EQ(*addressIn(config, "11.2.2.3").community, "all");
}

TEST(Configuration, IppIsSetLikeTheRestAndCostsNothingWhereNobodySetsIt)
{
    EXPECT_EQ(addressIn(Config(), "10.1.2.3").ipp, nullptr);
    Config config;
    EXPECT_EQ(complaintsOf(config, R"({
        "default": {"ippPort": 8631},
        "addresses": {
            "10.0.0.0/8": {"ipp": "ipps", "ippPath": "/printers/one"},
            "10.1.2.3": {"ipp": "off"},
            "10.1.2.4": {"ipp": "ipp", "ippPort": 80}
        }})"),
              "");
    using engine::IppChoice;
    EXPECT_EQ(addressIn(config, "11.0.0.1").ipp->choice, IppChoice::Auto);
    EXPECT_EQ(addressIn(config, "11.0.0.1").ipp->port, 8631);
    EXPECT_EQ(addressIn(config, "11.0.0.1").ipp->path, "");
    EXPECT_EQ(addressIn(config, "10.0.0.1").ipp->choice, IppChoice::Tls);
    EXPECT_EQ(addressIn(config, "10.0.0.1").ipp->path, "/printers/one");
    EXPECT_EQ(addressIn(config, "10.1.2.3").ipp->choice, IppChoice::Off);
    EXPECT_EQ(addressIn(config, "10.1.2.4").ipp->choice, IppChoice::Plain);
    EXPECT_EQ(addressIn(config, "10.1.2.4").ipp->port, 80);
    EXPECT_EQ(addressIn(config, "10.1.2.4").ipp->path, "/printers/one");
}

TEST(Configuration, AddressesWithLeadingZerosAndWholeNetworksAreUnderstood)
{
    Config config;
    EXPECT_EQ(
        complaintsOf(config, R"({"addresses": {"010.001.2.3": {"port": 5}, "0.0.0.0/0": {"port": 6}}})"), "");
    EXPECT_EQ(addressIn(config, "10.1.2.3").endpoint.port, 5);
    EXPECT_EQ(addressIn(config, "10.1.2.4").endpoint.port, 6);
}

TEST(Configuration, MayHoldComments)
{
    Config config;
    EXPECT_EQ(complaintsOf(config, "// office\n{\"default\": {\"port\": 7}}"), "");
    EXPECT_EQ(addressIn(config, "1.2.3.4").endpoint.port, 7);
}

TEST(Configuration, UnknownKeysAreNamedWithTheirLineAndTheRestHolds)
{
    Config config;
    EXPECT_EQ(complaintsOf(config, R"({
  "future": [1],
  "default": {"port": 7, "colour": true},
  "addresses": {
    "10.0.0.1": {"comunity": "secret", "ippPort": 80},
    "10.0.0.2": {"community": "two"}
  },
  "users": {"mon": {"authPassword": "12345678", "hash": "SHA"}}
})"),
              R"(line 2: unknown key "future"
line 8: "users": "mon": unknown key "hash"
line 3: "default": unknown key "colour"
line 5: "addresses": "10.0.0.1": unknown key "comunity" (is "community" meant?)
)");
    EXPECT_EQ(addressIn(config, "10.0.0.1").endpoint.port, 7);
    EXPECT_EQ(addressIn(config, "10.0.0.1").ipp->port, 80);
    EXPECT_EQ(*addressIn(config, "10.0.0.1").community, "public");
    EXPECT_EQ(*addressIn(config, "10.0.0.2").community, "two");
}

TEST(Configuration, AWrongValueIsSkippedAloneAndNamedWithItsLine)
{
    for (const char* member :
         {R"("port": 0)", R"("port": 65536)", R"("port": "161")", R"("port": 1.5)", R"("version": "4")",
          R"("version": 1)", R"("community": 5)", R"("ipp": "no")", R"("ipp": false)", R"("ippPort": 0)",
          R"("ippPath": "")", R"("ippPath": "ipp")", R"("ippPath": "/a b")", R"("ippPath": "/a\r\nHost: b")",
          R"("user": 7)"}) {
        Config config;
        const std::string name = std::string(member).substr(0, std::string(member).find(':'));
        const std::string said = complaintsOf(
            config, std::string("{\"default\": {\"community\": \"all\"},\n") +
                        "\"addresses\": {\"10.0.0.0/8\": {\n" + member + "},\n\"10.0.0.2\": {\"port\": 5}}}");
        EXPECT_EQ(said.find("line 3: \"addresses\": \"10.0.0.0/8\": " + name + " is not "), 0u) << said;
        EXPECT_EQ(std::count(said.begin(), said.end(), '\n'), 1) << said;
        EXPECT_EQ(addressIn(config, "10.0.0.2").endpoint.port, 5) << member;
        EXPECT_EQ(*addressIn(config, "10.0.0.2").community, "all") << member;
        EXPECT_EQ(addressIn(config, "10.0.0.1").endpoint.port, 161) << member;
    }
}

TEST(Configuration, WhatIsNoAddressOrNoObjectIsSkippedAlone)
{
    Config config;
    EXPECT_EQ(complaintsOf(config, R"({
"default": 1,
"addresses": {
"office": {},
"1.2.3.4": 7,
"1.2.3.4/33": {},
"1.2.3.4/": {},
"1.2.3.4/-1": {},
"1.2.3.5": {"port": 5}
}})"),
              R"(line 2: "default": is no object
line 5: "addresses": "1.2.3.4": is no object
line 7: "addresses": "1.2.3.4/": is no IPv4 address or network
line 8: "addresses": "1.2.3.4/-1": is no IPv4 address or network
line 6: "addresses": "1.2.3.4/33": is no IPv4 address or network
line 4: "addresses": "office": is no IPv4 address or network
)");
    EXPECT_EQ(addressIn(config, "1.2.3.5").endpoint.port, 5);
    Config other;
    EXPECT_EQ(complaintsOf(other, R"({"addresses": [], "users": [], "default": {"port": 6}})"),
              "line 1: \"users\": is no object\nline 1: \"addresses\": is no object\n");
    EXPECT_EQ(addressIn(other, "1.2.3.4").endpoint.port, 6);
}

TEST(Configuration, BrokenTextChangesNothingAndSaysWhere)
{
    Config config;
    EXPECT_EQ(complaintsOf(config, R"({"default": {"port": 9}})"), "");
    EXPECT_EQ(complaintsOf(config, "[]"), "no JSON object\n");
    EXPECT_EQ(complaintsOf(config, "{\n  \"default\": {},\n  \"addresses\" 5\n}").find("line 3, column 15: "),
              0u);
    EXPECT_EQ(complaintsOf(config, "").find("line 1, column 1: "), 0u);
    EXPECT_EQ(complaintsOf(config, std::string(5000, '[')), "nested too deep\n");
    EXPECT_NE(complaintsOf(config, std::string(100, '[') + std::string(100, ']')), "");
    EXPECT_EQ(addressIn(config, "1.2.3.4").endpoint.port, 9);
}

TEST(Configuration, ComplaintsAreBoundedAndFitForATerminal)
{
    std::string text = "{\"default\": {\"\\u001b[31m\\nred\\u009b" + std::string(200, 'x') + "\": 1";
    for (int i = 0; i < 500; ++i) {
        text += ",\"unheard" + std::to_string(i) + "\": 1";
    }
    Config config;
    const std::string said = complaintsOf(config, text + "}}");
    EXPECT_EQ(std::count(said.begin(), said.end(), '\n'), 101) << said;
    EXPECT_NE(said.find("\nand 401 more\n"), std::string::npos) << said;
    EXPECT_EQ(said.find("\xc2\x9b"), std::string::npos) << said;
    EXPECT_NE(said.find("\"?[31m?red?xxx"), std::string::npos) << said;
    EXPECT_LT(said.find("...\""), said.find('\n')) << said;
}

TEST(Configuration, FileIsFoundThroughTheEnvironmentAndBrokenOnesCostOneLine)
{
    const test::ScratchDirectory scratch;
    const test::ScopedVariable config("TARN_CONFIG", scratch.path("tarn.json"));
    EXPECT_EQ(addressIn(Config::load(), "1.2.3.4").endpoint.port, 161); // absent: silently the defaults
    scratch.write("tarn.json", R"({"default": {"port": 99}})");
    EXPECT_EQ(addressIn(Config::load(), "1.2.3.4").endpoint.port, 99);
    scratch.write("tarn.json", "{");
    testing::internal::CaptureStderr();
    EXPECT_EQ(addressIn(Config::load(), "1.2.3.4").endpoint.port, 161);
    const std::string said = testing::internal::GetCapturedStderr();
    EXPECT_EQ(std::count(said.begin(), said.end(), '\n'), 1) << said;
    EXPECT_NE(said.find(scratch.path("tarn.json")), std::string::npos) << said;
}

TEST(Configuration, WhatIsWrongInAFileIsSaidOnceALineWithItsName)
{
    const test::ScratchDirectory scratch;
    const test::ScopedVariable config("TARN_CONFIG", scratch.path("tarn.json"));
    scratch.write("tarn.json", "{\"default\": {\"comunity\": \"a\",\n\"port\": 99, \"version\": 2}}");
    testing::internal::CaptureStderr();
    EXPECT_EQ(addressIn(Config::load(), "1.2.3.4").endpoint.port, 99);
    const std::string said = testing::internal::GetCapturedStderr();
    const std::string begin = "tarn: " + scratch.path("tarn.json") + ": line ";
    EXPECT_EQ(said, begin + "1: \"default\": unknown key \"comunity\" (is \"community\" meant?)\n" + begin +
                        "2: \"default\": \"version\" is not \"auto\", \"1\", \"2c\" or \"3\"\n");
}

TEST(Configuration, DefaultPlaceIsUnderTheConfigurationHome)
{
    const test::ScratchDirectory scratch;
    const test::ScopedVariable none("TARN_CONFIG", nullptr);
    const test::ScopedVariable home("XDG_CONFIG_HOME", scratch.path("config"));
    scratch.write("config/tarn/tarn.json", R"({"default": {"port": 98}})");
    EXPECT_EQ(addressIn(Config::load(), "1.2.3.4").endpoint.port, 98);
}

TEST(IdentityCache, ComesBackFromItsText)
{
    IdentityCache cache;
    EXPECT_TRUE(cache.remember(*parseIpv4("10.0.0.1"), {"Laser 5\"x\\", "S-1", "彩色\n二"}));
    EXPECT_TRUE(cache.remember(*parseIpv4("10.0.0.2"), {}));
    EXPECT_TRUE(cache.isDirty());
    cache.markSaved();
    EXPECT_FALSE(cache.isDirty());
    IdentityCache again;
    ASSERT_TRUE(again.parse(cache.text()));
    EXPECT_FALSE(again.isDirty());
    ASSERT_NE(again.find(*parseIpv4("10.0.0.1")), nullptr);
    EXPECT_EQ(*again.find(*parseIpv4("10.0.0.1")), (Identity{"Laser 5\"x\\", "S-1", "彩色\n二"}));
    ASSERT_NE(again.find(*parseIpv4("10.0.0.2")), nullptr); // met, and silent
    EXPECT_EQ(again.find(*parseIpv4("10.0.0.3")), nullptr);
    EXPECT_EQ(again.models(), std::vector<std::string>{"Laser 5\"x\\"});
}

TEST(IdentityCache, KnowsAsManyAddressesAsItMayAndNotOneMore)
{
    IdentityCache cache;
    std::uint32_t address = 1;
    for (std::size_t i = 0; i < IdentityCache::kMostEntries; ++i) {
        ASSERT_TRUE(cache.remember(address++, {"Jet", "", ""}));
    }
    EXPECT_FALSE(cache.remember(address, {"Jet", "", ""}));
    EXPECT_EQ(cache.find(address), nullptr);
    EXPECT_TRUE(cache.remember(1, {"Jet 2", "", ""})); // who is known may change
}

TEST(IdentityCache, PrinterThatIsOffIsStillThatPrinter)
{
    IdentityCache cache;
    cache.remember(1, {"A", "1", "a"});
    EXPECT_FALSE(cache.remember(1, {}));
    EXPECT_EQ(cache.find(1)->model, "A");
    EXPECT_FALSE(cache.remember(1, {"A", "1", "a"}));
    EXPECT_TRUE(cache.remember(1, {"B", "2", "b"})); // exchanged for another
    EXPECT_EQ(cache.find(1)->model, "B");
}

TEST(IdentityCache, FileThatIsReadLateTellsOnlyOfAddressesOfWhichNothingIsKnown)
{
    IdentityCache before;
    before.remember(1, {"A", "1", "a"});
    before.remember(2, {"B", "2", "b"});
    before.remember(3, {"C", "3", "c"});
    IdentityCache cache;
    cache.remember(1, {"New", "9", "n"});
    cache.remember(2, {}); // silent
    ASSERT_TRUE(cache.parse(before.text()));
    EXPECT_EQ(cache.find(1)->model, "New");
    EXPECT_EQ(cache.find(2)->model, "B");
    EXPECT_EQ(cache.find(3)->model, "C");
    EXPECT_TRUE(cache.isDirty()); // the file does not hold the new one
}

TEST(IdentityCache, ModelsAreThoseThatAnIdentityNamesInTheOrderOfMeeting)
{
    IdentityCache cache;
    cache.remember(1, {"B", "", ""});
    cache.remember(2, {"A", "", ""});
    cache.remember(3, {"B", "", ""});
    const std::uint64_t before = cache.modelsRevision();
    cache.remember(3, {"B", "serial", ""});
    EXPECT_EQ(cache.modelsRevision(), before);
    cache.remember(1, {"C", "", ""});
    EXPECT_EQ(cache.models(), (std::vector<std::string>{"B", "A", "C"})); // 3 is still a B
    EXPECT_NE(cache.modelsRevision(), before);
    cache.remember(3, {"A", "", ""});
    EXPECT_EQ(cache.models(), (std::vector<std::string>{"A", "C"}));
    IdentityCache again; // the next start, in the same order
    again.remember(9, {"C", "", ""});
    ASSERT_TRUE(again.parse(cache.text()));
    EXPECT_EQ(again.models(), (std::vector<std::string>{"C", "A"}));
    IdentityCache fresh;
    ASSERT_TRUE(fresh.parse(cache.text()));
    EXPECT_EQ(fresh.models(), cache.models());
}

TEST(IdentityCache, PrinterThatKeepsChangingItsNameIsFollowedForAWhileOnly)
{
    IdentityCache cache;
    cache.remember(1, {"first", "", ""});
    for (unsigned i = 0; i < IdentityCache::kMostChanges; ++i) {
        EXPECT_TRUE(cache.remember(1, {"evil " + std::to_string(i), "", ""}));
    }
    const std::string last = cache.find(1)->model;
    EXPECT_FALSE(cache.remember(1, {"once too often", "", ""}));
    EXPECT_EQ(cache.find(1)->model, last);
    EXPECT_EQ(cache.models(), std::vector<std::string>{last});
    EXPECT_TRUE(cache.remember(2, {"another", "", ""})); // a limit of the address, not of all
    IdentityCache next;
    ASSERT_TRUE(next.parse(cache.text()));
    EXPECT_TRUE(next.remember(1, {"after the next start", "", ""}));
}

TEST(IdentityCache, ForeignAndBrokenTextsAreNone)
{
    for (const char* text :
         {"", "null", "[]", "{}", "{\"format\":2}", "{\"format\":\"1\"}", "{\"format\":1"}) {
        IdentityCache cache;
        EXPECT_FALSE(cache.parse(text)) << text;
    }
    IdentityCache cache;
    EXPECT_TRUE(cache.parse(
        R"({"format":1,"models":[1,"A",null,"A"],"printers":{"x":{},"1.2.3.4":5,"1.2.3.5":[]}})"));
    EXPECT_TRUE(cache.models().empty()); // nobody is an A
    EXPECT_NE(cache.find(*parseIpv4("1.2.3.4")), nullptr);
}

std::string listed(const ListedPrinter& printer, const char* model = "", const char* description = "")
{
    std::string out;
    appendListed(out, printer, model, description);
    return out;
}

TEST(PrinterList, NullAndTheEmptyArrayNameNoPrinter)
{
    EXPECT_TRUE(parsePrinterList("null\n")->empty());
    EXPECT_TRUE(parsePrinterList("[]")->empty());
}

TEST(PrinterList, WhatIsNoListIsRefused)
{
    for (const char* text : {"", "{}", "5", "\"x\"", "[", "[{]", "nul"}) {
        EXPECT_FALSE(parsePrinterList(text).has_value()) << text;
    }
    EXPECT_FALSE(parsePrinterList(std::string(100000, '[')).has_value());
}

TEST(PrinterList, NeverGetsShorterThanItWasSent)
{
    const auto printers =
        parsePrinterList(R"([{"printerName":"a"},{},5,null,[],"x",{"printerName":7,"ip":true}])");
    ASSERT_TRUE(printers.has_value());
    ASSERT_EQ(printers->size(), 7u);
    EXPECT_EQ((*printers)[0].printerName, "a");
    for (std::size_t i = 1; i < 7; ++i) {
        EXPECT_EQ((*printers)[i].printerName, "");
        EXPECT_FALSE((*printers)[i].address.has_value());
    }
}

TEST(PrinterList, TextsComeBackByteForByte)
{
    const std::string name = "办公室 \"3\\4\" \t\x01/\x7f\xff\xc3(";
    std::string sent =
        "[{\"printerName\":\"办公室 \\\"3\\\\4\\\" \\t\\u0001\\/\x7f\xff\xc3(\",\"ip\":\"01.2.3.4\"}]";
    const auto printers = parsePrinterList(sent);
    ASSERT_TRUE(printers.has_value());
    EXPECT_EQ((*printers)[0].printerName, name);
    const auto back = parsePrinterList("[" + listed((*printers)[0]) + "]");
    ASSERT_TRUE(back.has_value());
    EXPECT_EQ((*back)[0].printerName, name);
    EXPECT_EQ((*back)[0].ip, "01.2.3.4");
    EXPECT_EQ((*back)[0].address, parseIpv4("1.2.3.4"));
}

TEST(PrinterList, UnicodeEscapesAreTheSameTextAsTheirBytes)
{
    const auto printers = parsePrinterList(R"([{"printerName":"\u529e\ud83d\ude00"}])");
    ASSERT_TRUE(printers.has_value());
    EXPECT_EQ((*printers)[0].printerName, "办😀");
}

TEST(PrinterList, AddressesOfNoSingleDeviceAreNone)
{
    const auto printers = parsePrinterList(R"([{"ip":"255.255.255.255"},{"ip":"0.0.0.0"},{"ip":"1.2.3.4"}])");
    EXPECT_FALSE((*printers)[0].address);
    EXPECT_FALSE((*printers)[1].address);
    EXPECT_TRUE((*printers)[2].address);
}

TEST(PrinterList, DetectedModelReplacesTheOneThatWasSentAndAnUnknownOneDoesNot)
{
    const ListedPrinter printer{"n", "m", "sent", "1.2.3.4", std::nullopt};
    const auto model = [](const std::string& text) { return textMember(*parseJson(text, 1000), "model"); };
    EXPECT_EQ(model(listed(printer)), "sent");
    EXPECT_EQ(model(listed(printer, "detected")), "detected");
}

TEST(PrinterList, ElementHasTheSevenMembersInTheirTypes)
{
    const auto root = parseJson(listed({"n", "m", "x", "1.2.3.4", std::nullopt}, "", "said"), 1000);
    ASSERT_TRUE(root.has_value());
    EXPECT_EQ(root->getMemberNames(),
              (std::vector<std::string>{"description", "ip", "isUsbPrinter", "manufacturer", "model",
                                        "printerName", "uuid"}));
    EXPECT_TRUE((*root)["isUsbPrinter"].isBool());
    EXPECT_FALSE((*root)["isUsbPrinter"].asBool());
    EXPECT_EQ(textMember(*root, "description"), "said");
    EXPECT_TRUE((*root)["uuid"].isString());
}

} // namespace
} // namespace tarn::catalog
