#include "tarn/src/ipp/keyed_text.h"

#include <gtest/gtest.h>

#include "tarn/src/ipp/ipp_attributes.h"

namespace tarn::ipp {
namespace {

TEST(KeyedText, KeysInAnyCaseJoinedOrNotAndBlanksAround)
{
    const KeyedText keys(" Type = ink ;Max-Capacity=60; colorant_name =Yellow;level=3");
    EXPECT_EQ(keys.text("type"), "ink");
    EXPECT_EQ(keys.number("maxcapacity"), 60);
    EXPECT_EQ(keys.text("colorantname"), "Yellow");
    EXPECT_EQ(keys.number("level"), 3);
    EXPECT_EQ(keys.text("unit"), "");
}

TEST(KeyedText, ValuesInQuotesMayHoldSeparators)
{
    const KeyedText keys("name=\"Tray 1; left\";level='7';unit=\"percent\"");
    EXPECT_EQ(keys.text("name"), "Tray 1; left");
    EXPECT_EQ(keys.number("level"), 7);
    EXPECT_EQ(keys.text("unit"), "percent");
    EXPECT_EQ(KeyedText("name=5\" tray;level=1").text("name"), "5\" tray");
    EXPECT_EQ(KeyedText("name=\"open;level=1").number("level"), 1)
        << "a quote that is never closed is a sign";
}

TEST(KeyedText, BackslashTakesTheNextCharacterLiterally)
{
    const KeyedText keys("name=A\\;B\\\\C;level=4");
    EXPECT_EQ(keys.text("name"), "A;B\\C");
    EXPECT_EQ(keys.number("level"), 4);
}

TEST(KeyedText, MissingSemicolonsBeforeKeysOfTheStandards)
{
    const KeyedText keys("type=ink level=5, maxcapacity=10 name=Tray one two");
    EXPECT_EQ(keys.text("type"), "ink");
    EXPECT_EQ(keys.number("level"), 5);
    EXPECT_EQ(keys.number("maxcapacity"), 10);
    EXPECT_EQ(keys.text("name"), "Tray one two");
    EXPECT_EQ(KeyedText("name=a odd=b;level=1").text("name"), "a odd=b") << "no key of theirs";
}

TEST(KeyedText, NumbersWithFractionSignAndPercent)
{
    const KeyedText keys("level=42.7;maxcapacity=+100;status=80 %;index=-2;time=1x;type=;unit=50%");
    EXPECT_EQ(keys.number("level"), 42);
    EXPECT_EQ(keys.number("maxcapacity"), 100);
    EXPECT_EQ(keys.number("status"), 80);
    EXPECT_TRUE(keys.isPercentage("status"));
    EXPECT_TRUE(keys.isPercentage("unit"));
    EXPECT_FALSE(keys.isPercentage("level"));
    EXPECT_EQ(keys.number("index"), -2);
    EXPECT_EQ(keys.number("time"), std::nullopt);
    EXPECT_EQ(keys.number("type"), std::nullopt);
}

TEST(KeyedText, KeysAreBounded)
{
    std::string text;
    for (int i = 1; i <= 33; ++i) {
        text += "key" + std::to_string(i) + "=x;";
    }
    const KeyedText keys(text);
    EXPECT_EQ(keys.text("key32"), "x");
    EXPECT_EQ(keys.text("key33"), "");
}

TEST(KeyedText, TextWithoutKeysIsAWord)
{
    EXPECT_EQ(KeyedText(" none ").word(), "none");
    EXPECT_EQ(KeyedText("other;").word(), "other");
    EXPECT_EQ(KeyedText("code=jam").word(), "");
}

TEST(KeyedText, TheAttributesOwnNameIsPeeledOff)
{
    const auto peeled = [](const std::string& text) { return withoutOwnName("printer-alert", text); };
    EXPECT_EQ(peeled("printer-alert[0] = code=jam;index=1"), "code=jam;index=1");
    EXPECT_EQ(peeled("printer-alert[12]=code=jam"), "code=jam");
    EXPECT_EQ(peeled(" Printer-Alert = 'Jam in the back'"), "Jam in the back");
    EXPECT_EQ(peeled("printer-alert: x"), "printer-alert: x");
    EXPECT_EQ(peeled("printer-alert-description = x"), "printer-alert-description = x");
    EXPECT_EQ(peeled("printer-alert[x] = y"), "printer-alert[x] = y");
    EXPECT_EQ(peeled("printer-alert"), "printer-alert");
    EXPECT_EQ(peeled("printer-alert[0"), "printer-alert[0");
    EXPECT_EQ(peeled("code=jam"), "code=jam");
}

TEST(KeyedText, EveryAttributeIsPeeled)
{
    IppAttributes attributes;
    attributes.add("printer-info", {std::nullopt, "printer-info[0] = \"Lyra\""});
    EXPECT_EQ(attributes.text("printer-info"), "Lyra");
}

} // namespace
} // namespace tarn::ipp
