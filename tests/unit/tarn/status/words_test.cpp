#include <gtest/gtest.h>

#include <algorithm>

#include "tarn/src/device/alert_texts.h"
#include "tarn/src/device/supply_words.h"
#include "tests/unit/tarn/status/readings.h"
#include "tests/unit/tarn/support/scratch_directory.h"
#include "tools/tarn-status/screen.h"
#include "tools/tarn-status/text.h"
#include "tools/tarn-status/words.h"

namespace tarnstatus {
namespace {

bool isAscii(const std::string& text)
{
    return std::all_of(text.begin(), text.end(), [](char c) { return c >= ' ' && c < 0x7F; });
}

TEST(Width, ChineseTakesTwoColumns)
{
    EXPECT_EQ(displayWidth("abc"), 3u);
    EXPECT_EQ(displayWidth("就绪"), 4u);
    EXPECT_EQ(displayWidth("█░"), 2u);
    EXPECT_EQ(displayWidth("é"), 1u);
    EXPECT_EQ(displayWidth("（a）"), 5u);
    EXPECT_EQ(displayWidth("\033[31mab\033[0m"), 2u);
    EXPECT_EQ(displayWidth("\033[31就绪"), 4u) << "no letter ends the sequence; char may have a sign";
}

TEST(Width, IsKeptToWithoutTearingCharactersOrColours)
{
    EXPECT_EQ(cutToWidth("abcdef", 4), "abcd");
    EXPECT_EQ(cutToWidth("abc", 4), "abc");
    EXPECT_EQ(cutToWidth("a就绪", 4), "a就");
    EXPECT_EQ(cutToWidth("a就绪", 2), "a");
    EXPECT_EQ(cutToWidth("\033[31mabcdef\033[0m tail", 3), "\033[31mabc\033[0m");
    EXPECT_EQ(cutToWidth("", 0), "");
    EXPECT_EQ(cutToWidth("\xff\xfe\x80", 9), "\xff\xfe\x80") << "no UTF-8, and no harm";
    EXPECT_EQ(cutToWidth("a\033[", 9), "a\033[");
}

TEST(Frame, BeginsAtTheCornerAndNeverScrolls)
{
    EXPECT_EQ(frameOf("one\ntwo\n", {24, 80}, "more"), "\033[H\033[Kone\r\n\033[Ktwo\r\n\033[J");
    EXPECT_EQ(frameOf("", {24, 80}, "more"), "\033[H\033[J");
    // As many lines as rows: no line end behind the last.
    EXPECT_EQ(frameOf("1\n2\n", {2, 80}, "more"), "\033[H\033[K1\r\n\033[K2");
}

TEST(Frame, IsCutToTheSizeOfTheTerminal)
{
    EXPECT_EQ(frameOf("12345678\n2\n3\n4\n", {3, 6}, "more"),
              "\033[H\033[K123456\r\n\033[K2\r\n\033[K+ 2 mo");
    EXPECT_EQ(frameOf("1\n2\n3\n", {1, 80}, "more"), "\033[H\033[K+ 3 more");
}

TEST(Words, LanguageIsThatOfMessages)
{
    const tarn::test::ScopedVariable all("LC_ALL", nullptr);
    const tarn::test::ScopedVariable messages("LC_MESSAGES", nullptr);
    const tarn::test::ScopedVariable lang("LANG", "zh_CN.UTF-8");
    EXPECT_EQ(languageOfEnvironment(), Language::Chinese);
    const tarn::test::ScopedVariable english("LC_MESSAGES", "en_GB.UTF-8");
    EXPECT_EQ(languageOfEnvironment(), Language::English);
    const tarn::test::ScopedVariable taiwan("LC_ALL", "zh_TW");
    EXPECT_EQ(languageOfEnvironment(), Language::Chinese);
}

TEST(Words, OfAlertsAreThereForEveryCodeOfTheLibrary)
{
    for (int code = 0; code < 3000; ++code) {
        if (const auto* text = tarn::device::findAlertText(code); text != nullptr) {
            const char* const english = englishAlert(text->keyword);
            ASSERT_NE(english, nullptr) << text->keyword;
            EXPECT_TRUE(isAscii(english)) << english;
        }
    }
    for (int bit = 0; bit < tarn::device::kErrorBitCount; ++bit) {
        EXPECT_NE(englishAlert(tarn::device::errorBit(bit).keyword), nullptr)
            << tarn::device::errorBit(bit).keyword;
    }
    EXPECT_EQ(englishAlert("other"), nullptr);
}

TEST(Words, ThatTheLibraryMakesUpItselfAreEnglishElsewhere)
{
    for (int group = 0; group < 60; ++group) {
        const std::string note = std::string(tarn::device::alertGroupText(group)) + "提示";
        EXPECT_TRUE(isAscii(englishForLibrary(note))) << note;
    }
    EXPECT_EQ(englishForLibrary("纸盒 12"), "tray 12");
    EXPECT_EQ(englishForLibrary("大厅的纸盒"), "大厅的纸盒") << "a device's own texts stay as they are";
    using tarn::device::SupplyColor;
    for (const SupplyColor colour : {SupplyColor::Black, SupplyColor::Cyan, SupplyColor::Magenta,
                                     SupplyColor::Yellow, SupplyColor::Red}) {
        EXPECT_EQ(englishForLibrary(tarn::device::colorText(colour)), tarn::device::colorKeyword(colour));
    }
}

TEST(Words, SummaryComesFromTheStatusNotFromItsChinese)
{
    Reading reading = test::goodReading();
    EXPECT_EQ(summaryOf(reading, Language::English), "ready");
    EXPECT_EQ(summaryOf(reading, Language::Chinese), "就绪");
    reading.detail["powerSave"] = true;
    EXPECT_EQ(summaryOf(reading, Language::English), "power save");
    reading.detail["needsAttention"] = true;
    EXPECT_EQ(summaryOf(reading, Language::English), "needs attention");
    reading.detail["activity"] = "warmup";
    EXPECT_EQ(summaryOf(reading, Language::English), "warming up");
    reading.detail["activity"] = "printing";
    EXPECT_EQ(summaryOf(reading, Language::English), "printing");
    reading.online = false;
    EXPECT_EQ(summaryOf(reading, Language::English), "offline");
    EXPECT_EQ(summaryOf(reading, Language::Chinese), "离线");
}

} // namespace
} // namespace tarnstatus
