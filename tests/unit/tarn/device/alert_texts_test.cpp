#include "tarn/src/device/alert_texts.h"

#include <gtest/gtest.h>

#include <cctype>
#include <set>

namespace tarn::device {
namespace {

// PrtAlertCodeTC of IANA-PRINTER-MIB without other(1) and unknown(2).
std::set<int> listedCodes()
{
    std::set<int> codes;
    const std::pair<int, int> ranges[] = {{3, 38},      {501, 507},   {801, 813},   {901, 904},
                                          {1001, 1005}, {1101, 1115}, {1301, 1304}, {1501, 1507},
                                          {1509, 1509}, {1801, 1801}};
    for (const auto& [first, last] : ranges) {
        for (int code = first; code <= last; ++code) {
            codes.insert(code);
        }
    }
    return codes;
}

bool isChinese(const std::string& text)
{
    return text.find("\xE4") != std::string::npos || text.find("\xE5") != std::string::npos ||
           text.find("\xE6") != std::string::npos || text.find("\xE7") != std::string::npos ||
           text.find("\xE8") != std::string::npos || text.find("\xE9") != std::string::npos;
}

bool isKeyword(const std::string& keyword)
{
    if (keyword.empty() || std::islower(static_cast<unsigned char>(keyword[0])) == 0) {
        return false;
    }
    for (const char c : keyword) {
        if (std::isalnum(static_cast<unsigned char>(c)) == 0) {
            return false;
        }
    }
    return true;
}

TEST(AlertTexts, EveryListedCodeHasAChineseTextAndAKeyword)
{
    std::set<std::string> keywords;
    for (int code = 0; code < 2000; ++code) {
        const AlertText* text = findAlertText(code);
        ASSERT_EQ(text != nullptr, listedCodes().count(code) != 0) << code;
        if (text != nullptr) {
            EXPECT_EQ(text->code, code);
            EXPECT_TRUE(isChinese(text->text)) << code;
            EXPECT_EQ(std::string(text->text).find('-'), std::string::npos) << code;
            EXPECT_TRUE(isKeyword(text->keyword)) << code;
            EXPECT_TRUE(keywords.insert(text->keyword).second) << text->keyword;
        }
    }
    EXPECT_EQ(findAlertText(-1), nullptr);
    EXPECT_EQ(findAlertText(1 << 30), nullptr);
}

TEST(AlertTexts, SayWhatTheCodesMean)
{
    EXPECT_STREQ(findAlertText(8)->text, "卡纸");
    EXPECT_STREQ(findAlertText(8)->keyword, "jam");
    EXPECT_STREQ(findAlertText(3)->keyword, "coverOpen");
    EXPECT_STREQ(findAlertText(808)->text, "缺纸");
    EXPECT_STREQ(findAlertText(1101)->text, "碳粉用尽");
    EXPECT_STREQ(findAlertText(1104)->text, "碳粉不足");
    EXPECT_EQ(findAlertText(503)->meaning, AlertMeaning::Event);
    EXPECT_EQ(findAlertText(1001)->meaning, AlertMeaning::StaleWhenIdle);
    EXPECT_EQ(findAlertText(23)->meaning, AlertMeaning::PowerSave);
    EXPECT_EQ(findAlertText(24)->meaning, AlertMeaning::WarmUp);
}

TEST(ErrorBits, EveryBitHasAChineseTextAndAKeyword)
{
    const char* const keywords[errorBitCount] = {"lowPaper",
                                                 "noPaper",
                                                 "lowToner",
                                                 "noToner",
                                                 "doorOpen",
                                                 "jammed",
                                                 "offline",
                                                 "serviceRequested",
                                                 "inputTrayMissing",
                                                 "outputTrayMissing",
                                                 "markerSupplyMissing",
                                                 "outputNearFull",
                                                 "outputFull",
                                                 "inputTrayEmpty",
                                                 "overduePreventMaint"};
    for (int bit = 0; bit < errorBitCount; ++bit) {
        EXPECT_EQ(errorBit(bit).bit, bit);
        EXPECT_STREQ(errorBit(bit).keyword, keywords[bit]);
        EXPECT_TRUE(isChinese(errorBit(bit).text)) << bit;
        EXPECT_EQ(std::string(errorBit(bit).text).find('-'), std::string::npos);
        for (const int code : errorBit(bit).explainedBy) {
            EXPECT_TRUE(code == 0 || findAlertText(code) != nullptr) << code;
        }
    }
}

// RFC 2790, hrPrinterDetectedErrorState: what makes hrDeviceStatus down(5).
TEST(ErrorBits, StopThePrinterWhereTheStandardSaysDown)
{
    const std::set<int> down = {1, 3, 4, 5, 6};
    for (int bit = 0; bit < errorBitCount; ++bit) {
        EXPECT_EQ(errorBit(bit).stopsPrinter, down.count(bit) != 0) << bit;
    }
}

TEST(AlertGroups, HaveNames)
{
    for (const std::int64_t group : {6, 8, 9, 10, 11, 12, 13, 14, 15, 30, 31}) {
        EXPECT_STRNE(alertGroupText(group), alertGroupText(0)) << group;
    }
    EXPECT_STREQ(alertGroupText(5), "打印机");
    EXPECT_STREQ(alertGroupText(-7), "打印机");
}

} // namespace
} // namespace tarn::device
