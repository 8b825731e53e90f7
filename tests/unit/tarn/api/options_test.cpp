#include "tarn/src/api/options.h"

#include <gtest/gtest.h>

#include <string>
#include <tuple>

namespace tarn::api {
namespace {

auto valuesOf(const Options& o)
{
    return std::make_tuple(o.acceptsList, o.usesNetwork, o.usesIpp, o.usesUsb, o.findsUsbPrinters,
                           o.findsCupsQueues, o.usesCache, o.writesCache);
}

TEST(OptionsTest, EachMemberSetsItsOwnOption)
{
    const std::vector<std::pair<const char*, bool Options::*>> members = {
        {"enable_set_printer_list", &Options::acceptsList},
        {"enable_ipp", &Options::usesIpp},
        {"enable_usb_printer_discovery", &Options::findsUsbPrinters},
        {"enable_cups_printer", &Options::findsCupsQueues},
        {"enable_cache", &Options::usesCache},
        {"enable_cache_writing", &Options::writesCache},
    };
    for (const auto& [member, option] : members) {
        Options expected;
        expected.*option = !(expected.*option);
        Options parsed;
        ASSERT_TRUE(
            parsed.parse(std::string("{\"") + member + "\":" + (expected.*option ? "true}" : "false}")));
        EXPECT_EQ(valuesOf(parsed), valuesOf(expected)) << member;
        ASSERT_TRUE(parsed.parse(std::string("{\"") + member + "\":\"true\"}")); // another type
        EXPECT_EQ(valuesOf(parsed), valuesOf(expected)) << member;
    }
}

TEST(OptionsTest, BackendsAreNamedWhole)
{
    const auto used = [](const char* names) {
        Options options;
        EXPECT_TRUE(options.parse(std::string(R"({"enable_backends":")") + names + "\"}"));
        return std::make_pair(options.usesNetwork, options.usesUsb);
    };
    EXPECT_EQ(used("sm|smusb"), std::make_pair(true, true));
    EXPECT_EQ(used("smusb"), std::make_pair(false, true));
    EXPECT_EQ(used("x|sm|y"), std::make_pair(true, false));
    EXPECT_EQ(used(""), std::make_pair(false, false));
    EXPECT_EQ(used("smx| sm"), std::make_pair(false, false));
}

TEST(OptionsTest, WhatIsLeftOutStaysAndABrokenDocumentChangesNothing)
{
    Options options;
    ASSERT_TRUE(options.parse(R"({"enable_ipp":false,"enable_backends":"sm"})"));
    const auto before = valuesOf(options);
    EXPECT_TRUE(options.parse("{}"));
    EXPECT_EQ(valuesOf(options), before);
    for (const char* text : {"", "[]", "null", R"({"enable_cache":false)"}) {
        EXPECT_FALSE(options.parse(text)) << text;
    }
    EXPECT_FALSE(options.parse(R"({"enable_cache":false,"x":")" + std::string(1u << 20, 'x') + "\"}"));
    EXPECT_EQ(valuesOf(options), before);
}

TEST(OptionsTest, UsbPrintersAreFoundOnlyWhereUsbIsUsed)
{
    Options options;
    EXPECT_TRUE(options.discoversUsb());
    ASSERT_TRUE(options.parse(R"({"enable_backends":"sm"})"));
    EXPECT_FALSE(options.discoversUsb());
    ASSERT_TRUE(options.parse(R"({"enable_backends":"smusb","enable_usb_printer_discovery":false})"));
    EXPECT_FALSE(options.discoversUsb());
}

} // namespace
} // namespace tarn::api
