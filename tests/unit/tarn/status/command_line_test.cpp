#include <gtest/gtest.h>

#include "tests/unit/tarn/support/scratch_directory.h"
#include "tools/common/file_error.h"
#include "tools/tarn-status/addresses.h"
#include "tools/tarn-status/options.h"

namespace tarnstatus {
namespace {

Options parse(const std::vector<std::string>& arguments)
{
    return parseOptions(arguments);
}

// What is said of a wrong command line; "" of a right one.
std::string refusal(const std::vector<std::string>& arguments)
{
    try {
        parseOptions(arguments);
    } catch (const tools::UsageError& error) {
        return error.what();
    }
    return "";
}

TEST(CommandLine, AddressesAListOrANetworkExcludeEachOther)
{
    EXPECT_EQ(parse({"10.0.0.1", "10.0.0.2"}).addresses.size(), 2u);
    EXPECT_EQ(parse({"--list", "file"}).listFile, "file");
    EXPECT_EQ(parse({"--find", "10.0.0.0/24"}).network, "10.0.0.0/24");
    EXPECT_EQ(refusal({}), "no printer named");
    EXPECT_EQ(refusal({"--json"}), "no printer named");
    EXPECT_EQ(refusal({"--list", "file", "10.0.0.1"}), "addresses, --list and --find exclude each other");
    EXPECT_EQ(refusal({"--list", "file", "--find", "10.0.0.0/24"}),
              "addresses, --list and --find exclude each other");
}

TEST(CommandLine, NetworkOfFindMayBeLeftOut)
{
    EXPECT_TRUE(parse({"--find"}).find);
    EXPECT_EQ(parse({"--find"}).network, "");
    EXPECT_EQ(parse({"-f", "10.0.0.0/25"}).network, "10.0.0.0/25");
    EXPECT_EQ(parse({"--find=10.0.0.0/25"}).network, "10.0.0.0/25");
    EXPECT_EQ(parse({"--find", "--json"}).network, "");
    EXPECT_NE(refusal({"--find", "10.0.0.0/8"}), "");
    EXPECT_FALSE(parse({"10.0.0.1"}).find);
}

TEST(CommandLine, SaveGoesWithFind)
{
    EXPECT_EQ(parse({"--find", "--save", "file"}).saveFile, "file");
    EXPECT_EQ(refusal({"--save", "file", "10.0.0.1"}), "--save goes with --find");
    EXPECT_NE(refusal({"--find", "--save", ""}), "");
}

TEST(CommandLine, WhatIsDiscoveredStandsAloneOrBesideTheOthers)
{
    EXPECT_TRUE(parse({"--usb"}).usb);
    EXPECT_TRUE(parse({"-c", "10.0.0.1"}).cups);
    EXPECT_EQ(parse({"-c", "10.0.0.1"}).addresses.size(), 1u);
    EXPECT_FALSE(parse({"10.0.0.1"}).usb);
    EXPECT_NE(refusal({"--usb", "--list", "file", "10.0.0.1"}), "");
}

TEST(CommandLine, OptionsMayStandAnywhereAndBeShort)
{
    const Options options = parse({"10.0.0.1", "-j", "-w0.5", "-t", "1.5"});
    EXPECT_STREQ(options.format->name, "json");
    EXPECT_TRUE(options.watch);
    EXPECT_EQ(options.interval, std::chrono::milliseconds(500));
    EXPECT_EQ(options.timeout, std::chrono::milliseconds(1500));
    EXPECT_STREQ(parse({"10.0.0.1"}).format->name, "table");
    EXPECT_STREQ(parse({"--format=csv", "10.0.0.1"}).format->name, "csv");
    EXPECT_STREQ(parse({"--form", "brief", "10.0.0.1"}).format->name, "brief");
}

TEST(CommandLine, SecondsOfWatchMayStandBehindABlank)
{
    for (const auto& arguments : std::vector<std::vector<std::string>>{{"--watch", "5", "10.0.0.1"},
                                                                       {"10.0.0.1", "--watch", "5"},
                                                                       {"10.0.0.1", "-jw", "5.0"},
                                                                       {"--watch=5", "10.0.0.1"},
                                                                       {"-w", "5", "10.0.0.1"}}) {
        const Options options = parse(arguments);
        EXPECT_TRUE(options.watch);
        EXPECT_EQ(options.interval, std::chrono::milliseconds(5000)) << arguments.front();
        EXPECT_EQ(options.addresses, std::vector<std::string>{"10.0.0.1"}) << arguments.front();
    }
    // An address behind it stays one.
    const Options options = parse({"--watch", "10.0.0.1", "10.0.0.2"});
    EXPECT_EQ(options.interval, std::chrono::milliseconds(2000));
    EXPECT_EQ(options.addresses.size(), 2u);
    EXPECT_EQ(parse({"--watch", "printer5"}).addresses, std::vector<std::string>{"printer5"});
    EXPECT_EQ(refusal({"--watch", "0", "10.0.0.1"}), "--watch \"0\": not 0.1 seconds at least");
    EXPECT_EQ(refusal({"--watch", "5"}), "no printer named");
}

TEST(CommandLine, WrongArgumentsAreNamed)
{
    EXPECT_EQ(refusal({"--colour", "10.0.0.1"}), "unknown option: --colour");
    EXPECT_EQ(refusal({"-x", "10.0.0.1"}), "unknown option: -x");
    EXPECT_EQ(refusal({"--list"}), "argument missing: --list");
    EXPECT_EQ(refusal({"--list", ""}), "--list \"\": not the name of a file");
    EXPECT_EQ(refusal({"--usb=yes"}), "--usb takes no argument");
    for (const char* wrong : {"soon", "-1", "nan", "1e300", ""}) {
        EXPECT_EQ(refusal({"--timeout", wrong, "10.0.0.1"}),
                  std::string("--timeout \"") + wrong + "\": not a number of seconds");
    }
    EXPECT_EQ(refusal({"--watch=soon", "10.0.0.1"}), "--watch \"soon\": not a number of seconds");
    EXPECT_NE(refusal({"--find", "10.0.0.0/16"}), "");
    EXPECT_NE(refusal({"--find", "office"}), "");
    EXPECT_EQ(refusal({"--format", "xml", "10.0.0.1"}),
              "--format \"xml\": not one of table, brief, json, csv, prometheus, nagios");
    EXPECT_EQ(refusal({"--watch", "--format=nagios", "10.0.0.1"}),
              "--watch and --format nagios exclude each other");
    EXPECT_EQ(refusal({"--watch", "--format=prometheus", "10.0.0.1"}),
              "--watch and --format prometheus exclude each other");
}

TEST(CommandLine, HelpAndVersionNeedNoPrinter)
{
    EXPECT_EQ(parse({"--help"}).action, Options::Action::Help);
    EXPECT_EQ(parse({"-V"}).action, Options::Action::Version);
    EXPECT_EQ(parse({"--check-config"}).action, Options::Action::CheckConfig);
    EXPECT_EQ(parse({"--check-config=x"}).configFile, "x");
}

TEST(CommandLine, HelpNamesEveryFormat)
{
    const std::string help = helpText();
    for (const char* name : {"table ", "brief ", "json ", "csv ", "prometheus ", "nagios "}) {
        EXPECT_NE(help.find(name), std::string::npos) << name;
    }
}

TEST(CommandLine, ThresholdsKeepWhatIsNotNamed)
{
    const Options usual = parse({"10.0.0.1"});
    EXPECT_EQ(usual.warning.toner, 20);
    EXPECT_EQ(usual.critical.toner, 5);
    EXPECT_FALSE(usual.warning.age);
    const Options options =
        parse({"-W", "toner=30,age=60.5", "-C", "state=none", "-C", "toner=0", "10.0.0.1"});
    EXPECT_EQ(options.warning.toner, 30);
    EXPECT_EQ(options.warning.age, 60.5);
    EXPECT_EQ(options.warning.state, Thresholds::State::Attention);
    EXPECT_EQ(options.critical.state, Thresholds::State::None);
    EXPECT_EQ(options.critical.toner, 0);
    for (const char* wrong :
         {"", "toner", "toner=", "toner=101", "toner=x", "state=bad", "age=-1", "ink=5", "5"}) {
        EXPECT_NE(refusal({"-W", wrong, "10.0.0.1"}), "") << wrong;
    }
}

TEST(Address, IsDottedIPv4OrTheNameOfAHost)
{
    EXPECT_EQ(kindOfAddress("10.0.0.1"), AddressKind::Ipv4);
    EXPECT_EQ(kindOfAddress("printer"), AddressKind::HostName);
    EXPECT_EQ(kindOfAddress("printer-3.example.com."), AddressKind::HostName);
    EXPECT_EQ(kindOfAddress("3com"), AddressKind::HostName);
    // What inet_aton() would make something else of is never looked up.
    for (const char* digits : {"300.1.1.1", "1.2", "10.0.0.010", "10.0.0", "5", "1.2.3.4.5", "", "...",
                               "0x7f.1", "0x7f000001", "010.1"}) {
        EXPECT_EQ(kindOfAddress(digits), AddressKind::Digits) << digits;
        EXPECT_EQ(refusal({digits, "10.0.0.1"}), std::string("no IPv4 address: ") + digits);
    }
    EXPECT_EQ(refusal({"fe80::1"}), "IPv6 is not spoken: fe80::1");
    EXPECT_EQ(refusal({"[::1]"}), "IPv6 is not spoken: [::1]");
    for (const char* other : {"a/b", "a b", ".example", "user@host", "\xe6\x89\x93", "*"}) {
        EXPECT_EQ(refusal({other}), std::string("neither an IPv4 address nor the name of a host: ") + other);
    }
}

TEST(Address, OfAHostNameIsLookedUp)
{
    std::string why;
    EXPECT_EQ(lookUp("localhost", why), "127.0.0.1");
    EXPECT_EQ(why, "");
    EXPECT_EQ(lookUp("no-such-host.invalid", why), ""); // RFC 6761: never found
    EXPECT_NE(why, "");
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
    EXPECT_THROW(printersOf(scratch.path("broken.json")), tools::FileError);
    EXPECT_THROW(printersOf(scratch.path("none.json")), tools::FileError);
    EXPECT_THROW(printersOf(scratch.path("")), tools::FileError) << "a directory";
    scratch.write("empty.json", "");
    EXPECT_THROW(printersOf(scratch.path("empty.json")), tools::FileError);
    scratch.write("deep.json", std::string(5000, '['));
    EXPECT_THROW(printersOf(scratch.path("deep.json")), tools::FileError);
}

} // namespace
} // namespace tarnstatus
