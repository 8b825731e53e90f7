// The tables of printer-state-reasons, row by row.
#include "tarn/src/ipp/reasons.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

namespace tarn::ipp {
namespace {

using device::AlertText;
using device::findAlertText;
using R = ReasonEffect;

// The keywords of RFC 8011 5.4.12, PWG 5100.9, PWG 5100.13 and 5100.22, and what devices say beside them; the
// alert of the standard's list of codes that says the same, or a word of our own where that has none.
struct Expected
{
    const char* keyword;
    const char* alert;
    ReasonEffect effect;
    bool stopsPrinter;
};
const Expected kExpected[] = {
    {"connecting-to-device", "", R::None, false},
    {"cover-open", "coverOpen", R::None, true},
    {"deactivated", "deactivated", R::None, true},
    {"developer-empty", "markerDeveloperEmpty", R::None, true},
    {"developer-low", "markerDeveloperAlmostEmpty", R::None, false},
    {"door-open", "doorOpen", R::None, true},
    {"fuser-over-temp", "markerFuserOverTemperature", R::None, true},
    {"fuser-under-temp", "markerFuserUnderTemperature", R::WarmUp, false},
    {"hibernate", "", R::PowerSave, false},
    {"hold-new-jobs", "holdNewJobs", R::None, false},
    {"identify-printer-requested", "", R::None, false},
    {"ink-empty", "markerInkEmpty", R::SupplyEmpty, true},
    {"ink-low", "markerInkAlmostEmpty", R::SupplyLow, false},
    {"input-tray-missing", "inputMediaTrayMissing", R::None, true},
    {"interlock-open", "interlockOpen", R::None, true},
    {"interpreter-resource-unavailable", "interpreterResourceUnavailable", R::None, false},
    {"marker-supply-empty", "markerTonerEmpty", R::SupplyEmpty, true},
    {"marker-supply-low", "markerTonerAlmostEmpty", R::SupplyLow, false},
    {"marker-supply-missing", "markerTonerCartridgeMissing", R::None, true},
    {"marker-waste-almost-full", "markerWasteTonerReceptacleAlmostFull", R::None, false},
    {"marker-waste-full", "markerWasteTonerReceptacleFull", R::None, true},
    {"media-empty", "inputMediaSupplyEmpty", R::TrayEmpty, false},
    {"media-jam", "jam", R::None, true},
    {"media-low", "inputMediaSupplyLow", R::PaperLow, false},
    {"media-needed", "inputMediaSupplyEmpty", R::PaperOut, true},
    {"media-path-jam", "jam", R::None, true},
    {"moving-to-paused", "", R::None, false},
    {"none", "", R::None, false},
    {"offline", "offline", R::Offline, true},
    {"opc-life-over", "markerOpcLifeOver", R::None, true},
    {"opc-near-eol", "markerOpcLifeAlmostOver", R::None, false},
    {"other", "", R::None, false},
    {"output-area-almost-full", "outputMediaTrayAlmostFull", R::None, false},
    {"output-area-full", "outputMediaTrayFull", R::None, true},
    {"output-tray-missing", "outputMediaTrayMissing", R::None, true},
    {"paper-empty", "inputMediaSupplyEmpty", R::TrayEmpty, false},
    {"paper-jam", "jam", R::None, true},
    {"paper-low", "inputMediaSupplyLow", R::PaperLow, false},
    {"paper-out", "inputMediaSupplyEmpty", R::TrayEmpty, false},
    {"paused", "paused", R::None, true},
    {"power-down", "powerDown", R::None, true},
    {"resuming", "", R::None, false},
    {"shutdown", "shutdown", R::None, true},
    {"sleeping", "", R::PowerSave, false},
    {"spool-area-full", "spoolAreaFull", R::None, true},
    {"standby", "", R::PowerSave, false},
    {"stopped-partly", "stoppedPartly", R::None, false},
    {"stopping", "", R::None, false},
    {"suspend", "", R::PowerSave, false},
    {"testing", "", R::None, false},
    {"timed-out", "timedOut", R::None, true},
    {"toner-empty", "markerTonerEmpty", R::SupplyEmpty, true},
    {"toner-low", "markerTonerAlmostEmpty", R::SupplyLow, false},
    {"warming-up", "", R::WarmUp, false},
};

TEST(IppReasons, AreAsListed)
{
    for (const Expected& row : kExpected) {
        const Reason* const reason = findReason(row.keyword);
        ASSERT_NE(reason, nullptr) << row.keyword;
        EXPECT_STREQ(reason->keyword, row.keyword);
        const AlertText* const alert = findAlertText(reason->code);
        ASSERT_EQ(alert != nullptr, reason->code != 0) << row.keyword;
        const char* const own = reason->alert != nullptr ? reason->alert : "";
        EXPECT_STREQ(alert != nullptr ? alert->keyword : own, row.alert) << row.keyword;
        EXPECT_TRUE(alert == nullptr || *own == '\0') << row.keyword;
        EXPECT_EQ(reason->effect, row.effect) << row.keyword;
        EXPECT_EQ(reason->stopsPrinter, row.stopsPrinter) << row.keyword;
    }
    for (const char* const other : {"", "a", "zz", "jam", "media-jams", "toner", "warming-up-"}) {
        EXPECT_EQ(findReason(other), nullptr) << other;
    }
}

TEST(IppReasons, WithoutACodeHaveTextsOfTheirOwn)
{
    const std::pair<const char*, const char*> texts[] = {
        {"deactivated", "已停用"},
        {"hold-new-jobs", "新任务被保留"},
        {"offline", "脱机"},
        {"paused", "已暂停"},
        {"shutdown", "已关机"},
        {"spool-area-full", "打印队列空间已满"},
        {"stopped-partly", "部分停止"},
        {"timed-out", "设备没有响应"},
    };
    for (const auto& [keyword, text] : texts) {
        const Reason* const reason = findReason(keyword);
        ASSERT_NE(reason, nullptr) << keyword;
        EXPECT_STREQ(reason->text, text) << keyword;
    }
    for (const Expected& row : kExpected) {
        const Reason* const reason = findReason(row.keyword);
        ASSERT_NE(reason, nullptr) << row.keyword;
        EXPECT_EQ(reason->text != nullptr, reason->alert != nullptr) << row.keyword;
    }
}

// PWG 5100.9 makes keywords of a sub-unit's name and the alert's, which ends in the alert of any sub-unit.
TEST(IppReasons, OfASubUnitAreItsAlerts)
{
    const std::pair<const char*, const char*> endings[] = {
        {"unrecoverable-storage-error", "subunitUnrecoverableStorageError"},
        {"recoverable-storage-error", "subunitRecoverableStorageError"},
        {"unrecoverable-failure", "subunitUnrecoverableFailure"},
        {"recoverable-failure", "subunitRecoverableFailure"},
        {"configuration-change", "configurationChange"},
        {"thermistor-failure", "subunitThermistorFailure"},
        {"under-temperature", "subunitUnderTemperature"},
        {"interlock-closed", "interlockClosed"},
        {"life-almost-over", "subunitLifeAlmostOver"},
        {"memory-exhausted", "subunitMemoryExhausted"},
        {"over-temperature", "subunitOverTemperature"},
        {"interlock-open", "interlockOpen"},
        {"resource-removed", "subunitResourceRemoved"},
        {"timing-failure", "subunitTimingFailure"},
        {"motor-failure", "subunitMotorFailure"},
        {"resource-added", "subunitResourceAdded"},
        {"almost-empty", "subunitAlmostEmpty"},
        {"cover-closed", "coverClosed"},
        {"almost-full", "subunitAlmostFull"},
        {"door-closed", "doorClosed"},
        {"power-saver", "subunitPowerSaver"},
        {"cover-open", "coverOpen"},
        {"near-empty", "subunitAlmostEmpty"},
        {"near-limit", "subunitNearLimit"},
        {"turned-off", "subunitTurnedOff"},
        {"warming-up", "subunitWarmingUp"},
        {"door-open", "doorOpen"},
        {"life-over", "subunitLifeOver"},
        {"near-full", "subunitAlmostFull"},
        {"turned-on", "subunitTurnedOn"},
        {"at-limit", "subunitAtLimit"},
        {"near-eol", "subunitLifeAlmostOver"},
        {"offline", "subunitOffline"},
        {"missing", "subunitMissing"},
        {"removed", "subunitRemoved"},
        {"closed", "subunitClosed"},
        {"opened", "subunitOpened"},
        {"added", "subunitAdded"},
        {"empty", "subunitEmpty"},
        {"full", "subunitFull"},
        {"jam", "jam"},
        {"open", "subunitOpened"},
        {"low", "subunitAlmostEmpty"},
        {"out", "subunitEmpty"},
    };
    for (const auto& [ending, keyword] : endings) {
        const std::string word = std::string("stapler-") + ending;
        const AlertText* const alert = alertLike(word);
        ASSERT_NE(alert, nullptr) << word;
        EXPECT_STREQ(alert->keyword, keyword) << word;
    }
    EXPECT_EQ(alertLike("stapler-purple"), nullptr);
    EXPECT_EQ(alertLike(""), nullptr);
    EXPECT_EQ(alertLike("input-manual-input-request"), findAlertText("inputManualInputRequest"));
}

TEST(IppReasons, OfSuppliesAndMediaAreTheirAlerts)
{
    struct
    {
        const char* subunit;
        const char* almost;
        const char* empty;
    } const shortages[] = {
        {"toner", "markerTonerAlmostEmpty", "markerTonerEmpty"},
        {"marker-supply", "markerTonerAlmostEmpty", "markerTonerEmpty"},
        {"cartridge", "markerTonerAlmostEmpty", "markerTonerEmpty"},
        {"ink", "markerInkAlmostEmpty", "markerInkEmpty"},
        {"ribbon", "markerPrintRibbonAlmostEmpty", "markerPrintRibbonEmpty"},
        {"media", "inputMediaSupplyLow", "inputMediaSupplyEmpty"},
        {"paper", "inputMediaSupplyLow", "inputMediaSupplyEmpty"},
        {"input-tray", "inputMediaSupplyLow", "inputMediaSupplyEmpty"},
        {"media-tray", "inputMediaSupplyLow", "inputMediaSupplyEmpty"},
    };
    for (const auto& row : shortages) {
        for (const std::string& subunit : {std::string(row.subunit), std::string("second-") + row.subunit}) {
            for (const char* const word : {"-low", "-near-empty", "-almost-empty"}) {
                EXPECT_EQ(alertLike(subunit + word), findAlertText(row.almost)) << subunit << word;
            }
            for (const char* const word : {"-empty", "-out"}) {
                EXPECT_EQ(alertLike(subunit + word), findAlertText(row.empty)) << subunit << word;
            }
            EXPECT_EQ(alertLike(subunit + "-jam"), findAlertText("jam")) << subunit;
        }
        EXPECT_EQ(alertLike(std::string("x") + row.subunit + "-low"), findAlertText("subunitAlmostEmpty"));
    }
    EXPECT_EQ(alertLike("drum-cartridge-low"), findAlertText("subunitAlmostEmpty")) << "holds no toner";
    EXPECT_EQ(alertLike("used-ink-near-empty"), findAlertText("subunitAlmostEmpty")) << "holds what is waste";
}

TEST(IppReasons, EndInHowBadTheyAre)
{
    using S = ReasonWord::Suffix;
    const std::tuple<const char*, const char*, S> words[] = {
        {"media-low", "media-low", S::None},
        {"media-low-report", "media-low", S::Report},
        {"media-low-warning", "media-low", S::Warning},
        {"media-low-error", "media-low", S::Error},
        {"-error", "-error", S::None},
        {"terror", "terror", S::None},
        {"", "", S::None},
    };
    for (const auto& [reason, keyword, suffix] : words) {
        const ReasonWord word = splitReason(reason);
        EXPECT_EQ(word.keyword, keyword);
        EXPECT_EQ(word.suffix, suffix) << reason;
    }
}

std::string wordsOf(std::initializer_list<const char*> values)
{
    IppAttributes attributes;
    for (const char* const value : values) {
        attributes.add("printer-state-reasons", {std::nullopt, value});
    }
    std::string all;
    for (const ReasonWord& word : reasonWords(attributes)) {
        all += word.keyword + ' ';
    }
    return all;
}

TEST(IppReasons, AreReadFromWhateverIsWritten)
{
    EXPECT_EQ(wordsOf({"media-low", "Media_JAM-error"}), "media-low media-jam ");
    EXPECT_EQ(wordsOf({"media-low,toner-low", "cover-open  paused,"}),
              "media-low toner-low cover-open paused ");
    EXPECT_EQ(wordsOf({"none", "", "none-report", "cups-waiting-for-job-completed", "cups"}), "cups ");
    EXPECT_EQ(wordsOf({"nonesuch", "my-cups-low"}), "nonesuch my-cups-low ");
}

TEST(IppReasons, AreSixtyFourAtMost)
{
    std::string many;
    for (int i = 0; i < 70; ++i) {
        many += "paused ";
    }
    IppAttributes attributes;
    attributes.add("printer-state-reasons", {std::nullopt, many});
    EXPECT_EQ(reasonWords(attributes).size(), 64u);
}

} // namespace
} // namespace tarn::ipp
