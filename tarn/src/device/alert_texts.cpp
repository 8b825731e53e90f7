#include "tarn/src/device/alert_texts.h"

#include <algorithm>
#include <iterator>

#include "tarn/src/device/utf8.h"

namespace tarn::device {

namespace {

using M = AlertMeaning;

// Ascending by code.
const AlertText kAlertTexts[] = {
    {3, "coverOpen", "机盖打开", M::Fault},
    {4, "coverClosed", "机盖已关闭", M::Event},
    {5, "interlockOpen", "安全联锁打开", M::Fault},
    {6, "interlockClosed", "安全联锁已闭合", M::Event},
    {7, "configurationChange", "配置已更改", M::Event},
    {8, "jam", "卡纸", M::Fault},
    {9, "subunitMissing", "部件缺失", M::Fault},
    {10, "subunitLifeAlmostOver", "部件寿命将尽", M::Fault},
    {11, "subunitLifeOver", "部件寿命已尽", M::Fault},
    {12, "subunitAlmostEmpty", "部件即将用尽", M::Fault},
    {13, "subunitEmpty", "部件已用尽", M::Fault},
    {14, "subunitAlmostFull", "部件将满", M::Fault},
    {15, "subunitFull", "部件已满", M::Fault},
    {16, "subunitNearLimit", "部件接近极限", M::Fault},
    {17, "subunitAtLimit", "部件达到极限", M::Fault},
    {18, "subunitOpened", "部件打开", M::Fault},
    {19, "subunitClosed", "部件已关闭", M::Event},
    {20, "subunitTurnedOn", "部件已开启", M::Event},
    {21, "subunitTurnedOff", "部件已关断", M::Fault},
    {22, "subunitOffline", "部件脱机", M::Fault},
    {23, "subunitPowerSaver", "节能", M::PowerSave},
    {24, "subunitWarmingUp", "预热中", M::WarmUp},
    {25, "subunitAdded", "部件已添加", M::Event},
    {26, "subunitRemoved", "部件已移除", M::Fault},
    {27, "subunitResourceAdded", "部件资源已添加", M::Event},
    {28, "subunitResourceRemoved", "部件资源已移除", M::Event},
    {29, "subunitRecoverableFailure", "部件可恢复故障", M::Fault},
    {30, "subunitUnrecoverableFailure", "部件故障，需维修", M::Fault},
    {31, "subunitRecoverableStorageError", "存储可恢复错误", M::Fault},
    {32, "subunitUnrecoverableStorageError", "存储错误，需维修", M::Fault},
    {33, "subunitMotorFailure", "电机故障", M::Fault},
    {34, "subunitMemoryExhausted", "内存不足", M::Fault},
    {35, "subunitUnderTemperature", "部件温度过低", M::Fault},
    {36, "subunitOverTemperature", "部件温度过高", M::Fault},
    {37, "subunitTimingFailure", "部件时序故障", M::Fault},
    {38, "subunitThermistorFailure", "热敏电阻故障", M::Fault},
    {501, "doorOpen", "门打开", M::Fault},
    {502, "doorClosed", "门已关闭", M::Event},
    {503, "powerUp", "已通电", M::Event},
    {504, "powerDown", "已断电", M::Fault},
    {505, "printerNMSReset", "打印机被网络复位", M::Event},
    {506, "printerManualReset", "打印机被手动复位", M::Event},
    {507, "printerReadyToPrint", "打印机可以打印", M::Event},
    {801, "inputMediaTrayMissing", "纸盒缺失", M::Fault},
    {802, "inputMediaSizeChange", "纸张尺寸已更改", M::Event},
    {803, "inputMediaWeightChange", "纸张克重已更改", M::Event},
    {804, "inputMediaTypeChange", "纸张类型已更改", M::Event},
    {805, "inputMediaColorChange", "纸张颜色已更改", M::Event},
    {806, "inputMediaFormPartsChange", "纸张联数已更改", M::Event},
    {807, "inputMediaSupplyLow", "纸张不足", M::Fault},
    {808, "inputMediaSupplyEmpty", "缺纸", M::Fault},
    {809, "inputMediaChangeRequest", "请更换纸张", M::Fault},
    {810, "inputManualInputRequest", "请手动进纸", M::Fault},
    {811, "inputTrayPositionFailure", "纸盒位置错误", M::Fault},
    {812, "inputTrayElevationFailure", "纸盒升降故障", M::Fault},
    {813, "inputCannotFeedSizeSelected", "所选尺寸无法进纸", M::Fault},
    {901, "outputMediaTrayMissing", "出纸盒缺失", M::Fault},
    {902, "outputMediaTrayAlmostFull", "出纸盒将满", M::Fault},
    {903, "outputMediaTrayFull", "出纸盒已满", M::Fault},
    {904, "outputMailboxSelectFailure", "出纸信箱选择故障", M::Fault},
    {1001, "markerFuserUnderTemperature", "定影器温度过低", M::StaleWhenIdle},
    {1002, "markerFuserOverTemperature", "定影器温度过高", M::Fault},
    {1003, "markerFuserTimingFailure", "定影器时序故障", M::Fault},
    {1004, "markerFuserThermistorFailure", "定影器热敏电阻故障", M::Fault},
    {1005, "markerAdjustingPrintQuality", "正在调整打印质量", M::Event},
    {1101, "markerTonerEmpty", "碳粉用尽", M::Fault},
    {1102, "markerInkEmpty", "墨水用尽", M::Fault},
    {1103, "markerPrintRibbonEmpty", "色带用尽", M::Fault},
    {1104, "markerTonerAlmostEmpty", "碳粉不足", M::Fault},
    {1105, "markerInkAlmostEmpty", "墨水不足", M::Fault},
    {1106, "markerPrintRibbonAlmostEmpty", "色带将尽", M::Fault},
    {1107, "markerWasteTonerReceptacleAlmostFull", "废粉盒将满", M::Fault},
    {1108, "markerWasteInkReceptacleAlmostFull", "废墨盒将满", M::Fault},
    {1109, "markerWasteTonerReceptacleFull", "废粉盒已满", M::Fault},
    {1110, "markerWasteInkReceptacleFull", "废墨盒已满", M::Fault},
    {1111, "markerOpcLifeAlmostOver", "感光鼓寿命将尽", M::Fault},
    {1112, "markerOpcLifeOver", "感光鼓寿命已尽", M::Fault},
    {1113, "markerDeveloperAlmostEmpty", "显影剂不足", M::Fault},
    {1114, "markerDeveloperEmpty", "显影剂用尽", M::Fault},
    {1115, "markerTonerCartridgeMissing", "碳粉盒缺失", M::Fault},
    {1301, "mediaPathMediaTrayMissing", "走纸通道托盘缺失", M::Fault},
    {1302, "mediaPathMediaTrayAlmostFull", "走纸通道托盘将满", M::Fault},
    {1303, "mediaPathMediaTrayFull", "走纸通道托盘已满", M::Fault},
    {1304, "mediaPathCannotDuplexMediaSelected", "所选纸张无法双面打印", M::Fault},
    {1501, "interpreterMemoryIncrease", "解释器内存增加", M::Event},
    {1502, "interpreterMemoryDecrease", "解释器内存减少", M::Event},
    {1503, "interpreterCartridgeAdded", "字库卡已插入", M::Event},
    {1504, "interpreterCartridgeDeleted", "字库卡已取出", M::Event},
    {1505, "interpreterResourceAdded", "解释器资源已添加", M::Event},
    {1506, "interpreterResourceDeleted", "解释器资源已删除", M::Event},
    {1507, "interpreterResourceUnavailable", "解释器资源不可用", M::Fault},
    {1509, "interpreterComplexPageEncountered", "页面过于复杂", M::Fault},
    {1801, "alertRemovalOfBinaryChangeEntry", "警报已解除", M::Event},
};

// In the order of the bits.
const ErrorBit kErrorBits[kErrorBitCount] = {
    {0, "lowPaper", "纸张不足", false, {807, 808, 12, 0}},
    {1, "noPaper", "缺纸", true, {808, 809, 810, 13, 0}},
    {2, "lowToner", "碳粉不足", false, {1104, 1105, 1106, 1101, 1102, 1103, 12, 0}},
    {3, "noToner", "碳粉用尽", true, {1101, 1102, 1103, 1115, 13, 0}},
    {4, "doorOpen", "门打开", true, {3, 501, 5, 18, 0}},
    {5, "jammed", "卡纸", true, {8, 0}},
    {6, "offline", "脱机", true, {22, 0}},
    {7, "serviceRequested", "请求维护", false, {30, 29, 32, 33, 38, 1003, 1004, 0}},
    {8, "inputTrayMissing", "纸盒缺失", false, {801, 0}},
    {9, "outputTrayMissing", "出纸盒缺失", false, {901, 0}},
    {10, "markerSupplyMissing", "耗材缺失", false, {1115, 9, 0}},
    {11, "outputNearFull", "出纸盒将满", false, {902, 0}},
    {12, "outputFull", "出纸盒已满", false, {903, 0}},
    {13, "inputTrayEmpty", "有纸盒缺纸", false, {808, 13, 0}},
    {14, "overduePreventMaint", "预防性维护已到期", false, {0}},
};

} // namespace

const AlertText* findAlertText(int code)
{
    const auto* const found =
        std::lower_bound(std::begin(kAlertTexts), std::end(kAlertTexts), code,
                         [](const AlertText& row, int wanted) { return row.code < wanted; });
    return found != std::end(kAlertTexts) && found->code == code ? found : nullptr;
}

const AlertText* findAlertText(std::string_view keyword)
{
    const std::u32string wanted = folded(keyword);
    const auto* const found =
        std::find_if(std::begin(kAlertTexts), std::end(kAlertTexts),
                     [&wanted](const AlertText& row) { return folded(row.keyword) == wanted; });
    return found != std::end(kAlertTexts) ? found : nullptr;
}

const ErrorBit& errorBit(int bit)
{
    return kErrorBits[bit];
}

// PrtAlertGroupTC, IANA-PRINTER-MIB.
const char* alertGroupText(std::int64_t group)
{
    switch (group) {
    case 6:
        return "机盖";
    case 8:
        return "进纸部件";
    case 9:
        return "出纸部件";
    case 10:
        return "打印部件";
    case 11:
        return "耗材";
    case 12:
        return "颜料";
    case 13:
        return "走纸通道";
    case 14:
        return "通信通道";
    case 15:
        return "解释器";
    case 30:
        return "装订部件";
    case 31:
        return "装订耗材";
    default:
        return "打印机";
    }
}

void addAlert(std::vector<Alert>& alerts, Alert alert)
{
    for (Alert& other : alerts) {
        if (other.keyword == alert.keyword && other.text == alert.text && other.place == alert.place) {
            other.severity = std::max(other.severity, alert.severity);
            return;
        }
    }
    alerts.push_back(std::move(alert));
}

void sortWorstFirst(std::vector<Alert>& alerts)
{
    std::stable_sort(alerts.begin(), alerts.end(),
                     [](const Alert& a, const Alert& b) { return a.severity > b.severity; });
}

} // namespace tarn::device
