#include "tarn/src/device/alert_texts.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <map>
#include <set>
#include <vector>

namespace tarn::device {
namespace {

// PrtAlertCodeTC of IANA-PRINTER-MIB without other(1) and unknown(2): number, label, and what it is called
// here.
struct Listed
{
    int code;
    const char* keyword;
    const char* text;
};
const Listed kListed[] = {
    {3, "coverOpen", "机盖打开"},
    {4, "coverClosed", "机盖已关闭"},
    {5, "interlockOpen", "安全联锁打开"},
    {6, "interlockClosed", "安全联锁已闭合"},
    {7, "configurationChange", "配置已更改"},
    {8, "jam", "卡纸"},
    {9, "subunitMissing", "部件缺失"},
    {10, "subunitLifeAlmostOver", "部件寿命将尽"},
    {11, "subunitLifeOver", "部件寿命已尽"},
    {12, "subunitAlmostEmpty", "部件即将用尽"},
    {13, "subunitEmpty", "部件已用尽"},
    {14, "subunitAlmostFull", "部件将满"},
    {15, "subunitFull", "部件已满"},
    {16, "subunitNearLimit", "部件接近极限"},
    {17, "subunitAtLimit", "部件达到极限"},
    {18, "subunitOpened", "部件打开"},
    {19, "subunitClosed", "部件已关闭"},
    {20, "subunitTurnedOn", "部件已开启"},
    {21, "subunitTurnedOff", "部件已关断"},
    {22, "subunitOffline", "部件脱机"},
    {23, "subunitPowerSaver", "节能"},
    {24, "subunitWarmingUp", "预热中"},
    {25, "subunitAdded", "部件已添加"},
    {26, "subunitRemoved", "部件已移除"},
    {27, "subunitResourceAdded", "部件资源已添加"},
    {28, "subunitResourceRemoved", "部件资源已移除"},
    {29, "subunitRecoverableFailure", "部件可恢复故障"},
    {30, "subunitUnrecoverableFailure", "部件故障，需维修"},
    {31, "subunitRecoverableStorageError", "存储可恢复错误"},
    {32, "subunitUnrecoverableStorageError", "存储错误，需维修"},
    {33, "subunitMotorFailure", "电机故障"},
    {34, "subunitMemoryExhausted", "内存不足"},
    {35, "subunitUnderTemperature", "部件温度过低"},
    {36, "subunitOverTemperature", "部件温度过高"},
    {37, "subunitTimingFailure", "部件时序故障"},
    {38, "subunitThermistorFailure", "热敏电阻故障"},
    {501, "doorOpen", "门打开"},
    {502, "doorClosed", "门已关闭"},
    {503, "powerUp", "已通电"},
    {504, "powerDown", "已断电"},
    {505, "printerNMSReset", "打印机被网络复位"},
    {506, "printerManualReset", "打印机被手动复位"},
    {507, "printerReadyToPrint", "打印机可以打印"},
    {801, "inputMediaTrayMissing", "纸盒缺失"},
    {802, "inputMediaSizeChange", "纸张尺寸已更改"},
    {803, "inputMediaWeightChange", "纸张克重已更改"},
    {804, "inputMediaTypeChange", "纸张类型已更改"},
    {805, "inputMediaColorChange", "纸张颜色已更改"},
    {806, "inputMediaFormPartsChange", "纸张联数已更改"},
    {807, "inputMediaSupplyLow", "纸张不足"},
    {808, "inputMediaSupplyEmpty", "缺纸"},
    {809, "inputMediaChangeRequest", "请更换纸张"},
    {810, "inputManualInputRequest", "请手动进纸"},
    {811, "inputTrayPositionFailure", "纸盒位置错误"},
    {812, "inputTrayElevationFailure", "纸盒升降故障"},
    {813, "inputCannotFeedSizeSelected", "所选尺寸无法进纸"},
    {901, "outputMediaTrayMissing", "出纸盒缺失"},
    {902, "outputMediaTrayAlmostFull", "出纸盒将满"},
    {903, "outputMediaTrayFull", "出纸盒已满"},
    {904, "outputMailboxSelectFailure", "出纸信箱选择故障"},
    {1001, "markerFuserUnderTemperature", "定影器温度过低"},
    {1002, "markerFuserOverTemperature", "定影器温度过高"},
    {1003, "markerFuserTimingFailure", "定影器时序故障"},
    {1004, "markerFuserThermistorFailure", "定影器热敏电阻故障"},
    {1005, "markerAdjustingPrintQuality", "正在调整打印质量"},
    {1101, "markerTonerEmpty", "碳粉用尽"},
    {1102, "markerInkEmpty", "墨水用尽"},
    {1103, "markerPrintRibbonEmpty", "色带用尽"},
    {1104, "markerTonerAlmostEmpty", "碳粉不足"},
    {1105, "markerInkAlmostEmpty", "墨水不足"},
    {1106, "markerPrintRibbonAlmostEmpty", "色带将尽"},
    {1107, "markerWasteTonerReceptacleAlmostFull", "废粉盒将满"},
    {1108, "markerWasteInkReceptacleAlmostFull", "废墨盒将满"},
    {1109, "markerWasteTonerReceptacleFull", "废粉盒已满"},
    {1110, "markerWasteInkReceptacleFull", "废墨盒已满"},
    {1111, "markerOpcLifeAlmostOver", "感光鼓寿命将尽"},
    {1112, "markerOpcLifeOver", "感光鼓寿命已尽"},
    {1113, "markerDeveloperAlmostEmpty", "显影剂不足"},
    {1114, "markerDeveloperEmpty", "显影剂用尽"},
    {1115, "markerTonerCartridgeMissing", "碳粉盒缺失"},
    {1301, "mediaPathMediaTrayMissing", "走纸通道托盘缺失"},
    {1302, "mediaPathMediaTrayAlmostFull", "走纸通道托盘将满"},
    {1303, "mediaPathMediaTrayFull", "走纸通道托盘已满"},
    {1304, "mediaPathCannotDuplexMediaSelected", "所选纸张无法双面打印"},
    {1501, "interpreterMemoryIncrease", "解释器内存增加"},
    {1502, "interpreterMemoryDecrease", "解释器内存减少"},
    {1503, "interpreterCartridgeAdded", "字库卡已插入"},
    {1504, "interpreterCartridgeDeleted", "字库卡已取出"},
    {1505, "interpreterResourceAdded", "解释器资源已添加"},
    {1506, "interpreterResourceDeleted", "解释器资源已删除"},
    {1507, "interpreterResourceUnavailable", "解释器资源不可用"},
    {1509, "interpreterComplexPageEncountered", "页面过于复杂"},
    {1801, "alertRemovalOfBinaryChangeEntry", "警报已解除"},
};

// All others are faults.
AlertMeaning meaningOf(int code)
{
    static const std::set<int> events = {4,    6,    7,    19,   20,   25,   27,   28,  502,
                                         503,  505,  506,  507,  802,  803,  804,  805, 806,
                                         1005, 1501, 1502, 1503, 1504, 1505, 1506, 1801};
    switch (code) {
    case 23:
        return AlertMeaning::PowerSave;
    case 24:
        return AlertMeaning::WarmUp;
    case 1001:
        return AlertMeaning::StaleWhenIdle;
    default:
        return events.count(code) != 0 ? AlertMeaning::Event : AlertMeaning::Fault;
    }
}

bool isChinese(const std::string& text)
{
    return text.find("\xE4") != std::string::npos || text.find("\xE5") != std::string::npos ||
           text.find("\xE6") != std::string::npos || text.find("\xE7") != std::string::npos ||
           text.find("\xE8") != std::string::npos || text.find("\xE9") != std::string::npos;
}

TEST(AlertTexts, AreThoseOfTheStandardsListAndNoOthers)
{
    std::map<int, const Listed*> all;
    for (const Listed& row : kListed) {
        all.emplace(row.code, &row);
    }
    for (int code = -1; code < 2000; ++code) {
        const AlertText* const text = findAlertText(code);
        const auto expected = all.find(code);
        ASSERT_EQ(text != nullptr, expected != all.end()) << code;
        if (text != nullptr) {
            EXPECT_EQ(text->code, code);
            EXPECT_STREQ(text->keyword, expected->second->keyword);
            EXPECT_STREQ(text->text, expected->second->text);
            EXPECT_EQ(text->meaning, meaningOf(code)) << code;
            EXPECT_EQ(findAlertText(std::string_view(expected->second->keyword)), text);
        }
    }
    EXPECT_EQ(findAlertText(1 << 30), nullptr);
}

// A hyphen parts the items of a message.
TEST(AlertTexts, AreChineseWithoutHyphens)
{
    for (const Listed& row : kListed) {
        EXPECT_TRUE(isChinese(row.text)) << row.code;
        EXPECT_EQ(std::string(row.text).find('-'), std::string::npos) << row.code;
    }
}

TEST(AlertTexts, AreFoundWhateverTheCase)
{
    EXPECT_EQ(findAlertText("JAM"), findAlertText(8));
    EXPECT_EQ(findAlertText("printernmsreset"), findAlertText(505));
    EXPECT_EQ(findAlertText("jams"), nullptr);
    EXPECT_EQ(findAlertText(""), nullptr);
}

// The names are RFC 2790's; the codes those that the standard's list has for the same.
TEST(ErrorBits, AreCalledAndExplainedAsListed)
{
    struct
    {
        const char* keyword;
        const char* text;
        std::vector<int> explainedBy;
    } const expected[kErrorBitCount] = {
        {"lowPaper", "纸张不足", {807, 808, 12}},
        {"noPaper", "缺纸", {808, 809, 810, 13}},
        {"lowToner", "碳粉不足", {1104, 1105, 1106, 1101, 1102, 1103, 12}},
        {"noToner", "碳粉用尽", {1101, 1102, 1103, 1115, 13}},
        {"doorOpen", "门打开", {3, 501, 5, 18}},
        {"jammed", "卡纸", {8}},
        {"offline", "脱机", {22}},
        {"serviceRequested", "请求维护", {30, 29, 32, 33, 38, 1003, 1004}},
        {"inputTrayMissing", "纸盒缺失", {801}},
        {"outputTrayMissing", "出纸盒缺失", {901}},
        {"markerSupplyMissing", "耗材缺失", {1115, 9}},
        {"outputNearFull", "出纸盒将满", {902}},
        {"outputFull", "出纸盒已满", {903}},
        {"inputTrayEmpty", "有纸盒缺纸", {808, 13}},
        {"overduePreventMaint", "预防性维护已到期", {}},
    };
    for (int bit = 0; bit < kErrorBitCount; ++bit) {
        const ErrorBit& row = errorBit(bit);
        EXPECT_EQ(row.bit, bit);
        EXPECT_STREQ(row.keyword, expected[bit].keyword);
        EXPECT_STREQ(row.text, expected[bit].text);
        const auto* const end = std::find(std::begin(row.explainedBy), std::end(row.explainedBy), 0);
        ASSERT_NE(end, std::end(row.explainedBy)) << bit;
        EXPECT_EQ(std::vector<int>(std::begin(row.explainedBy), end), expected[bit].explainedBy) << bit;
        for (const int code : expected[bit].explainedBy) {
            EXPECT_NE(findAlertText(code), nullptr) << code;
        }
    }
}

// RFC 2790, hrPrinterDetectedErrorState: what makes hrDeviceStatus down(5).
TEST(ErrorBits, StopThePrinterWhereTheStandardSaysDown)
{
    const std::set<int> down = {1, 3, 4, 5, 6};
    for (int bit = 0; bit < kErrorBitCount; ++bit) {
        EXPECT_EQ(errorBit(bit).stopsPrinter, down.count(bit) != 0) << bit;
    }
}

// PrtAlertGroupTC.
TEST(AlertGroups, HaveNames)
{
    const std::map<std::int64_t, const char*> named = {
        {6, "机盖"},      {8, "进纸部件"},  {9, "出纸部件"}, {10, "打印部件"}, {11, "耗材"},    {12, "颜料"},
        {13, "走纸通道"}, {14, "通信通道"}, {15, "解释器"},  {30, "装订部件"}, {31, "装订耗材"}};
    for (std::int64_t group = -7; group < 50; ++group) {
        const auto own = named.find(group);
        EXPECT_STREQ(alertGroupText(group), own == named.end() ? "打印机" : own->second) << group;
    }
}

TEST(AlertList, KeepsTheWorseOfTwoAlike)
{
    std::vector<Alert> alerts;
    Alert alert;
    alert.keyword = "jam";
    alert.text = "卡纸";
    alert.severity = Severity::Warning;
    addAlert(alerts, alert);
    alert.severity = Severity::Critical;
    addAlert(alerts, alert);
    alert.severity = Severity::Other;
    addAlert(alerts, alert);
    ASSERT_EQ(alerts.size(), 1u);
    EXPECT_EQ(alerts[0].severity, Severity::Critical);
    for (std::string Alert::*part : {&Alert::keyword, &Alert::text, &Alert::place}) {
        Alert other = alert;
        other.*part = "x";
        addAlert(alerts, other);
    }
    EXPECT_EQ(alerts.size(), 4u);
}

TEST(AlertList, HasTheWorstFirstAndEqualOnesInTheirOrder)
{
    std::vector<Alert> alerts(4);
    alerts[0].keyword = "a";
    alerts[1].keyword = "b";
    alerts[1].severity = Severity::Critical;
    alerts[2].keyword = "c";
    alerts[3].keyword = "d";
    alerts[3].severity = Severity::Critical;
    sortWorstFirst(alerts);
    std::string order;
    for (const Alert& alert : alerts) {
        order += alert.keyword;
    }
    EXPECT_EQ(order, "bdac");
}

} // namespace
} // namespace tarn::device
