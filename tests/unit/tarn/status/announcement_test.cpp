#include "tools/tarn-status/find/announcement.h"

#include <gtest/gtest.h>

#include "tarn/src/device/utf8.h"

namespace tarnstatus {
namespace {

Announcement announced(const std::vector<std::string>& texts)
{
    return announcementOf("printer", "10.0.0.1", texts);
}

TEST(Announcement, ModelIsTheTypeElseTheProductElseWhatUsbSays)
{
    EXPECT_EQ(announced({"product=(Vega 300)", "ty=Lyra C310", "usb_MDL=X"}).model, "Lyra C310");
    EXPECT_EQ(announced({"ty=", "product=(Vega 300)"}).model, "Vega 300");
    EXPECT_EQ(announced({"product=Vega (300)"}).model, "Vega (300)");
    EXPECT_EQ(announced({"usb_MFG=Lyra", "usb_MDL=C310"}).model, "Lyra C310");
    EXPECT_EQ(announced({"usb_MDL=C310"}).model, "C310");
    EXPECT_EQ(announced({"usb_MFG=Lyra"}).model, "");
    EXPECT_EQ(announced({}).model, "");
}

TEST(Announcement, KeysAreFoundInEveryCaseAndTheFirstHolds)
{
    EXPECT_EQ(announced({"TY=first", "ty=second"}).model, "first");
    EXPECT_EQ(announced({"ty", "ty=with a value"}).model, "with a value");
    EXPECT_EQ(announced({"type=other key", "note==x"}).location, "=x");
    EXPECT_EQ(announced({"=", ""}).model, "");
}

TEST(Announcement, QueueOfAPrintServerIsToldByItsPath)
{
    EXPECT_TRUE(announced({"rp=printers/office"}).isQueue);
    EXPECT_TRUE(announced({"rp=/classes/all"}).isQueue);
    EXPECT_FALSE(announced({"rp=ipp/print"}).isQueue);
    EXPECT_FALSE(announced({"rp=printers"}).isQueue);
    EXPECT_FALSE(announced({}).isQueue);
}

TEST(OneLine, IsCutBetweenCharacters)
{
    EXPECT_EQ(oneLine("abc", 3), "abc");
    EXPECT_EQ(oneLine("abcd", 3), "abc");
    EXPECT_EQ(oneLine("ab\xC3\xA9", 3), "ab");
    EXPECT_EQ(oneLine("ab\xC3\xA9", 4), "ab\xC3\xA9");
    EXPECT_EQ(oneLine("ab cd", 3), "ab");
    EXPECT_EQ(oneLine("\xE6\x89\x93", 2), "");
    EXPECT_EQ(oneLine(std::string(4096, 'x'), kLongestName).size(), kLongestName);
    EXPECT_TRUE(tarn::device::isValidUtf8(oneLine(std::string(4096, '\xE9'), kLongestName)));
}

TEST(OneLine, HoldsNothingThatSteers)
{
    EXPECT_EQ(oneLine("\033[2Ja\nb\r\xE2\x80\xAE"
                      "c",
                      99),
              "[2Ja b c");
    EXPECT_EQ(oneLine("\x9B", 99), ""); // alone, Latin-1
}

std::vector<Announcement> together(const std::vector<Announcement>& all)
{
    std::vector<Announcement> printers;
    for (const Announcement& one : all) {
        addAnnouncement(printers, one);
    }
    return printers;
}

TEST(Announcements, OneAddressOneUuidOrOneNameIsOnePrinter)
{
    EXPECT_EQ(together({{"a", "10.0.0.1", "", "", "", false}, {"b", "10.0.0.1", "m", "", "", false}}).size(),
              1u);
    EXPECT_EQ(together({{"a", "10.0.0.1", "", "", "u", false}, {"b", "10.0.0.2", "", "", "u", false}}).size(),
              1u);
    EXPECT_EQ(together({{"a", "10.0.0.1", "", "", "", false}, {"a", "10.0.0.2", "", "", "u", false}}).size(),
              1u);
    EXPECT_EQ(together({{"", "10.0.0.1", "", "", "", false}, {"", "10.0.0.2", "", "", "", false}}).size(),
              2u);
}

TEST(Announcements, UuidsTellPrintersOfOneNameApartUnlessTheyAreNil)
{
    EXPECT_EQ(together({{"a", "10.0.0.1", "", "", "u", false}, {"a", "10.0.0.2", "", "", "v", false}}).size(),
              2u);
    const std::string nil = "00000000-0000-0000-0000-000000000000";
    EXPECT_EQ(together({{"a", "10.0.0.1", "", "", nil, false}, {"b", "10.0.0.2", "", "", nil, false}}).size(),
              2u);
}

TEST(Announcements, FirstToKnowSomethingHasSaidIt)
{
    const auto printers = together({{"a", "10.0.0.1", "", "hall", "", false},
                                    {"b", "10.0.0.1", "m", "roof", "u", false},
                                    {"c", "10.0.0.1", "n", "", "", false}});
    ASSERT_EQ(printers.size(), 1u);
    EXPECT_EQ(printers[0].name, "a");
    EXPECT_EQ(printers[0].model, "m");
    EXPECT_EQ(printers[0].location, "hall");
    EXPECT_EQ(printers[0].uuid, "u");
}

TEST(Announcements, AreBounded)
{
    std::vector<Announcement> printers;
    for (std::size_t i = 0; i < kMostPrinters + 10; ++i) {
        addAnnouncement(printers, {std::to_string(i), "address " + std::to_string(i), "", "", "", false});
    }
    EXPECT_EQ(printers.size(), kMostPrinters);
}

} // namespace
} // namespace tarnstatus
