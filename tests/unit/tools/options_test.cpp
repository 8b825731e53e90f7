#include "tools/printer-sim/options.h"

#include <gtest/gtest.h>

#include "tools/common/option_table.h"
#include "tools/printer-sim/load_printers.h"

namespace printersim {
namespace {

std::string refusal(const std::vector<std::string>& arguments)
{
    try {
        parseOptions(arguments);
    } catch (const tools::UsageError& error) {
        return error.what();
    }
    return "accepted";
}

std::string loadFailure(const std::vector<std::string>& arguments)
{
    try {
        loadPrinters(parseOptions(arguments));
    } catch (const std::runtime_error& error) {
        return error.what();
    }
    return "loaded";
}

TEST(Options, AreReadWithBlankOrSign)
{
    const Options options =
        parseOptions({"--port", "1161", "--web-port=0", "--community", "a", "--write-community=b",
                      "--v1-only", "--max-size=484", "--seed", "7", "--one-socket", "--control", "--faults",
                      "loss=5", "--address", "127.9.0.1", "x.json"});
    EXPECT_EQ(options.port, 1161);
    EXPECT_EQ(options.webPort, 0);
    EXPECT_EQ(options.agent.readCommunity, "a");
    EXPECT_EQ(options.agent.writeCommunity, "b");
    EXPECT_TRUE(options.agent.v1Only);
    EXPECT_EQ(options.agent.maxMessageSize, 484U);
    EXPECT_EQ(options.seed, 7U);
    EXPECT_TRUE(options.oneSocket);
    EXPECT_TRUE(options.control);
    EXPECT_EQ(options.faults.loss, 5U);
    EXPECT_EQ(options.firstAddress, 0x7F090001U);
}

TEST(Options, ASourceMayHaveAnAddressAndACount)
{
    const Options options = parseOptions({"a.json", "b@c.json@127.3.0.1", "d.json*20", "e.json@127.4.0.1*3"});
    ASSERT_EQ(options.sources.size(), 4U);
    EXPECT_FALSE(options.sources[0].address);
    EXPECT_EQ(options.sources[1].file, "b@c.json");
    EXPECT_EQ(options.sources[1].address, 0x7F030001U);
    EXPECT_EQ(options.sources[2].count, 20U);
    EXPECT_EQ(options.sources[3].file, "e.json");
    EXPECT_EQ(options.sources[3].count, 3U);
}

TEST(Options, WrongOnesAreExplained)
{
    EXPECT_EQ(refusal({}), "no scenario and no recording named");
    EXPECT_EQ(refusal({"--fast", "x"}), "unknown option: --fast");
    EXPECT_EQ(refusal({"-x"}), "unknown option: -x");
    EXPECT_EQ(refusal({"x", "--port"}), "argument missing: --port");
    EXPECT_EQ(refusal({"x", "--control=yes"}), "--control takes no argument");
    EXPECT_EQ(refusal({"x", "--port", "0"}), "--port \"0\": not a number from 1 to 65535");
    EXPECT_EQ(refusal({"x", "--address=10.0.0.1"}), "--address \"10.0.0.1\": no address of 127.0.0.0/8");
    EXPECT_EQ(refusal({"x@10.0.0.1"}), "\"x@10.0.0.1\": no address of 127.0.0.0/8");
    EXPECT_EQ(refusal({"x*0"}), "\"x*0\": not a number from 1 to 100000");
    EXPECT_EQ(refusal({"@127.0.0.1"}), "\"@127.0.0.1\": no file");
    EXPECT_EQ(refusal({"x", "--faults=loss"}), "--faults \"loss\": unknown fault \"loss\"");
}

TEST(Options, MayBeShortenedAndEndWithTwoDashes)
{
    EXPECT_EQ(parseOptions({"x", "--comm=a"}).agent.readCommunity, "a");
    EXPECT_EQ(refusal({"x", "--web=1", "--w=1"}), "unknown option: --w=1") << "two begin like that";
    const Options options = parseOptions({"--", "--port"});
    ASSERT_EQ(options.sources.size(), 1U);
    EXPECT_EQ(options.sources[0].file, "--port");
    EXPECT_EQ(parseOptions({"--help", "--fast"}).action, Options::Action::Help);
}

TEST(Options, HelpNamesEachOfThem)
{
    for (const char* name : {"port", "web-port", "address", "community", "write-community", "v1-only",
                             "max-size", "faults", "seed", "one-socket", "control", "help", "version"}) {
        EXPECT_NE(helpText().find(std::string("--") + name), std::string::npos) << name;
    }
}

TEST(LoadPrinters, GivesEachPrinterTheNextAddress)
{
    const std::string file = KEL_TEST_DATA "/mono.json";
    const auto printers =
        loadPrinters(parseOptions({"--address=127.0.0.254", file + "*3", file + "@127.9.0.1", file}));
    ASSERT_EQ(printers.size(), 5U);
    EXPECT_EQ(addressText(printers[0].address()), "127.0.0.254");
    EXPECT_EQ(addressText(printers[2].address()), "127.0.1.0");
    EXPECT_EQ(addressText(printers[3].address()), "127.9.0.1");
    EXPECT_EQ(addressText(printers[4].address()), "127.9.0.2");
    EXPECT_EQ(printers[4].get({1, 3, 6, 1, 2, 1, 43, 5, 1, 1, 17, 1}, 0)->bytes, "ORM1200005");
}

TEST(LoadPrinters, SaysWhatIsWrongWithAFile)
{
    const std::string file = KEL_TEST_DATA "/mono.json";
    EXPECT_EQ(loadFailure({"/nonexistent/x.json"}), "/nonexistent/x.json: no such file");
    EXPECT_EQ(loadFailure({"/proc/self"}), "/proc/self: cannot be read");
    EXPECT_EQ(loadFailure({file + "@127.0.0.5", file + "@127.0.0.5"}), "two printers at 127.0.0.5");
    EXPECT_EQ(loadFailure({file + "@127.255.255.255*2"}), "there are no addresses left in 127.0.0.0/8");
    const std::string noRecording = KEL_TEST_DATA "/no_recording.txt";
    EXPECT_EQ(loadFailure({noRecording}), noRecording + ":2: not OID|TAG|VALUE: \"a line of prose\"");
}

} // namespace
} // namespace printersim
