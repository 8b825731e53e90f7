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
    std::string why;
    ASSERT_TRUE(config.parse(R"({
        "default": {"port": 1000, "community": "all"},
        "addresses": {
            "10.0.0.0/8": {"port": 2000, "version": "1"},
            "10.1.0.0/16": {"port": 3000},
            "10.1.2.3": {"community": "one"}
        }})",
                             why))
        << why;
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
    std::string why;
    ASSERT_TRUE(config.parse(R"({
        "default": {"ippPort": 8631},
        "addresses": {
            "10.0.0.0/8": {"ipp": "ipps", "ippPath": "/printers/one"},
            "10.1.2.3": {"ipp": "off"},
            "10.1.2.4": {"ipp": "ipp", "ippPort": 80}
        }})",
                             why))
        << why;
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
    std::string why;
    ASSERT_TRUE(config.parse(R"({"addresses": {"010.001.2.3": {"port": 5}, "0.0.0.0/0": {"port": 6}}})", why))
        << why;
    EXPECT_EQ(addressIn(config, "10.1.2.3").endpoint.port, 5);
    EXPECT_EQ(addressIn(config, "10.1.2.4").endpoint.port, 6);
}

TEST(Configuration, CommentsAndUnknownMembersAreIgnored)
{
    Config config;
    std::string why;
    EXPECT_TRUE(
        config.parse("// office\n{\"future\": [1], \"default\": {\"port\": 7, \"colour\": true}}", why))
        << why;
    EXPECT_EQ(addressIn(config, "1.2.3.4").endpoint.port, 7);
}

TEST(Configuration, BrokenTextChangesNothingAndSaysWhy)
{
    for (const char* text : {"",
                             "[]",
                             "{",
                             "{\"default\": 1}",
                             "{\"addresses\": []}",
                             "{\"addresses\": {\"office\": {}}}",
                             "{\"addresses\": {\"1.2.3.4\": 7}}",
                             "{\"addresses\": {\"1.2.3.4/33\": {}}}",
                             "{\"addresses\": {\"1.2.3.4/\": {}}}",
                             "{\"addresses\": {\"1.2.3.4/-1\": {}}}",
                             "{\"default\": {\"port\": 0}}",
                             "{\"default\": {\"port\": 65536}}",
                             "{\"default\": {\"port\": \"161\"}}",
                             "{\"default\": {\"version\": \"4\"}}",
                             "{\"default\": {\"version\": 1}}",
                             "{\"default\": {\"community\": 5}}",
                             R"({"default": {"ipp": "no"}})",
                             R"({"default": {"ipp": false}})",
                             R"({"default": {"ippPort": 0}})",
                             R"({"default": {"ippPath": ""}})",
                             R"({"default": {"ippPath": "ipp"}})",
                             R"({"default": {"ippPath": "/a b"}})",
                             R"({"default": {"ippPath": "/a\r\nHost: b"}})"}) {
        Config config;
        std::string why;
        EXPECT_FALSE(config.parse(text, why)) << text;
        EXPECT_FALSE(why.empty()) << text;
        EXPECT_EQ(addressIn(config, "1.2.3.4").endpoint.port, 161) << text;
    }
}

TEST(Configuration, DeepNestingIsRefusedNotThrown)
{
    Config config;
    std::string why;
    EXPECT_FALSE(config.parse(std::string(5000, '['), why));
    EXPECT_FALSE(config.parse(std::string(100, '[') + std::string(100, ']'), why));
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
    const std::string text = cache.text();
    EXPECT_FALSE(cache.isDirty());
    IdentityCache again;
    ASSERT_TRUE(again.parse(text));
    EXPECT_FALSE(again.isDirty());
    ASSERT_NE(again.find(*parseIpv4("10.0.0.1")), nullptr);
    EXPECT_EQ(*again.find(*parseIpv4("10.0.0.1")), (Identity{"Laser 5\"x\\", "S-1", "彩色\n二"}));
    ASSERT_NE(again.find(*parseIpv4("10.0.0.2")), nullptr); // met, and silent
    EXPECT_EQ(again.find(*parseIpv4("10.0.0.3")), nullptr);
    EXPECT_EQ(again.models(), std::vector<std::string>{"Laser 5\"x\\"});
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

TEST(IdentityCache, ModelsAreKeptInTheOrderOfMeetingThoughTheirPrintersGo)
{
    IdentityCache cache;
    cache.remember(1, {"B", "", ""});
    cache.remember(2, {"A", "", ""});
    cache.remember(3, {"B", "", ""});
    cache.remember(1, {"C", "", ""});
    EXPECT_EQ(cache.models(), (std::vector<std::string>{"B", "A", "C"}));
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
    EXPECT_EQ(cache.models(), std::vector<std::string>{"A"});
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
