// What of printer-alert and printer-state-reasons is an alert, and what is not.
#include <gtest/gtest.h>

#include "tarn/src/device/rendering.h"
#include "tarn/src/ipp/ipp_status.h"
#include "tests/unit/tarn/ipp/attributes_text.h"

namespace tarn::ipp {
namespace {

using namespace tarn::device;
using test::statusOf;

// "冒烟|卡纸": what the items of the message say, in their order.
std::string alertsOf(const std::string& lines)
{
    std::string out;
    for (const Alert& alert : statusOf(lines).alerts) {
        out += (out.empty() ? "" : "|") + (alert.keyword == "other" ? alert.text : alert.keyword);
    }
    return out;
}

TEST(IppAlertRows, SeverityThatIsMissingOrUnknownMakesNoWarning)
{
    for (const char* severity : {"", ";severity=other", ";severity=otherother", ";severity=criticalother",
                                 ";severity=1", ";severity=2", ";severity="}) {
        EXPECT_EQ(alertsOf("printer-alert = code=unknown" + std::string(severity) +
                           "\nprinter-alert-description = Flux gone"),
                  "")
            << severity;
    }
    for (const char* severity :
         {"critical", "warning", "warningBinaryChangeEvent", "warning-binary-change-event", "3", "4", "5"}) {
        EXPECT_EQ(alertsOf("printer-alert = code=unknown;severity=" + std::string(severity) +
                           "\nprinter-alert-description = Flux gone"),
                  "Flux gone")
            << severity;
    }
}

TEST(IppAlertRows, CodeOfAFaultIsAnAlertWhateverItsSeverity)
{
    EXPECT_EQ(alertsOf("printer-alert = code=jam"), "jam");
    EXPECT_EQ(alertsOf("printer-alert = jam"), "jam");
    EXPECT_EQ(alertsOf("printer-alert = code=8;severity=otherother"), "jam");
    EXPECT_EQ(alertsOf("printer-alert = code=printerReadyToPrint;severity=warning"), "") << "an event";
    EXPECT_EQ(alertsOf("printer-alert = code=2"), "");
}

TEST(IppAlertRows, StatesAreNoAlerts)
{
    for (const char* text : {"none", "idle", "Sleeping... ", "Ready", "BEREIT", "就绪", "inPowerSave"}) {
        for (const char* row : {"none", "other", "code=other", "code=unknown;severity=warning",
                                "code=other;severity=critical;group=generalPrinter"}) {
            EXPECT_EQ(alertsOf("printer-state = 3\nprinter-alert = " + std::string(row) +
                               "\nprinter-alert-description = " + text),
                      "")
                << row << ' ' << text;
        }
    }
}

TEST(IppAlertRows, StateThatAllRowsShareIsThePresentOne)
{
    const std::string idle = "printer-state = 3\nprinter-state-reasons = none\n";
    EXPECT_TRUE(statusOf(idle + "printer-alert = other\nprinter-alert-description = Sleeping...").powerSave);
    EXPECT_TRUE(statusOf(idle + "printer-state-message = Sleep mode").powerSave);
    EXPECT_FALSE(statusOf(idle + "printer-alert = code=unknown|code=unknown\n"
                                 "printer-alert-description = ready|inPowerSave")
                     .powerSave)
        << "a history";
    EXPECT_EQ(stateCode(statusOf("printer-state = 5\nprinter-alert = other\n"
                                 "printer-alert-description = Warming up")),
              5);
}

TEST(IppAlertRows, RowsOfAnIdlePrinterThatGivesNoReasonAreHistory)
{
    const std::string rows =
        "printer-alert = code=trayOpen;severity=critical|code=coverOpen;severity=critical|"
        "code=unknown;severity=warning\n"
        "printer-alert-description = Tray 2 open|Cover|Flux low\n";
    EXPECT_EQ(alertsOf(rows + "printer-state = 3\nprinter-state-reasons = none"), "");
    EXPECT_EQ(alertsOf(rows + "printer-state = 3\nprinter-state-reasons = none|cups-missing-filter-warning"),
              "");
    EXPECT_EQ(alertsOf(rows + "printer-state = 5\nprinter-state-reasons = none"),
              "coverOpen|Tray 2 open|Flux low");
    EXPECT_EQ(alertsOf(rows + "printer-state = 3"), "coverOpen|Tray 2 open|Flux low")
        << "it says nothing of reasons";
    const DeviceStatus status = statusOf("printer-state = 3\nprinter-state-reasons = none\n"
                                         "printer-alert = code=markerTonerEmpty;severity=critical");
    EXPECT_FALSE(status.tonerOut);
}

TEST(IppAlertRows, OwnNameOfTheAttributeIsNoPartOfTheRow)
{
    EXPECT_EQ(alertsOf("printer-state = 5\n"
                       "printer-alert = printer-alert[0] = code=jam;index=1;severity=critical\n"
                       "printer-alert-description = printer-alert-description[0] = '08-600 Jam'"),
              "jam");
    EXPECT_EQ(alertsOf("printer-state = 5\n"
                       "printer-alert = printer-alert[0] = code=other;index=1;severity=critical\n"
                       "printer-alert-description = printer-alert-description[0] = 'Flux gone'"),
              "Flux gone");
}

TEST(IppAlertRows, ReasonOfTheStandardExplainsOneRowOfItsSeverity)
{
    const std::string rows = "printer-state = 5\nprinter-alert = code=unknown;severity=critical|"
                             "code=unknown;severity=critical\n"
                             "printer-alert-description = Paper is stuck|Flux gone\n";
    EXPECT_EQ(alertsOf(rows + "printer-state-reasons = media-jam-error"), "jam|Flux gone");
    EXPECT_EQ(alertsOf(rows + "printer-state-reasons = toner-low-warning"),
              "Paper is stuck|Flux gone|markerTonerAlmostEmpty");
}

TEST(IppAlertRows, CodesSetTheFlags)
{
    const auto flags = [](const std::string& code) {
        const DeviceStatus status =
            statusOf("printer-state = 3\nprinter-alert = severity=critical;code=" + code);
        return std::string(status.paperLow ? "paperLow" : "") + (status.paperOut ? "paperOut" : "") +
               (status.tonerLow ? "tonerLow" : "") + (status.tonerOut ? "tonerOut" : "");
    };
    EXPECT_EQ(flags("inputMediaSupplyLow"), "paperLow");
    EXPECT_EQ(flags("inputMediaSupplyEmpty"), "paperOut");
    EXPECT_EQ(flags("markerInkAlmostEmpty"), "tonerLow");
    EXPECT_EQ(flags("markerTonerEmpty"), "tonerOut");
    EXPECT_EQ(flags("jam"), "");
}

TEST(IppAlertRows, ColdFuserIsAnAlertOfAStoppedPrinterAlone)
{
    const auto alerts = [](const std::string& state) {
        return alertsOf("printer-alert = code=1001;severity=critical\nprinter-state = " + state);
    };
    EXPECT_EQ(alerts("3"), "");
    EXPECT_EQ(alerts("4"), "");
    EXPECT_EQ(alerts("5"), "markerFuserUnderTemperature");
}

TEST(IppReasons, UnknownOnesAreShownAsWords)
{
    EXPECT_EQ(alertsOf("printer-state-reasons = flux-capacitor-gone-error"), "flux capacitor gone");
}

TEST(IppReasons, BookkeepingOfTheSchedulerIsNoAlert)
{
    EXPECT_EQ(alertsOf("printer-state-reasons = cups-ipp-missing-send-document|cups-insecure-filter-warning|"
                       "cups-remote-stopped-error|toner-low-warning"),
              "markerTonerAlmostEmpty");
    EXPECT_FALSE(statusOf("printer-state-reasons = cups-missing-filter-error").needsAttention);
}

TEST(IppReasons, SeveralInOneValueInAnyCase)
{
    EXPECT_EQ(alertsOf("printer-state-reasons = Cover-Open,toner_low-warning"),
              "coverOpen|markerTonerAlmostEmpty");
}

TEST(IppReasons, ShortagesOfANamedSubUnitAreThoseOfTheStandard)
{
    EXPECT_EQ(alertsOf("printer-state-reasons = cyan-ink-low-warning"), "markerInkAlmostEmpty");
    EXPECT_TRUE(statusOf("printer-state-reasons = cyan-ink-low-warning").tonerLow);
    EXPECT_EQ(alertsOf("printer-state-reasons = black-toner-near-empty-warning"), "markerTonerAlmostEmpty");
    EXPECT_EQ(alertsOf("printer-state-reasons = media-tray-empty-error"), "inputMediaSupplyEmpty");
    EXPECT_TRUE(statusOf("printer-state-reasons = media-tray-empty-error").paperOut);
    EXPECT_EQ(alertsOf("printer-state-reasons = ink-empty"), "markerInkEmpty");
    EXPECT_EQ(alertsOf("printer-state-reasons = tray-open-warning"), "subunitOpened");
    EXPECT_EQ(alertsOf("printer-state-reasons = stapler-empty-warning"), "subunitEmpty");
}

TEST(IppReasons, StatesOfTheDevicesOwnAreNoAlerts)
{
    EXPECT_EQ(alertsOf("printer-state-reasons = deep-sleep|ready-warning"), "");
    EXPECT_TRUE(statusOf("printer-state-reasons = power-saver").powerSave);
}

TEST(IppReasons, LowLevelsAreOneForAllOrOneForEachMarker)
{
    const std::string two = "marker-types = toner|toner\nmarker-levels = 50|9\n";
    EXPECT_TRUE(statusOf(two + "marker-low-levels = 10").tonerLow);
    EXPECT_TRUE(statusOf(two + "marker-low-levels = 10|10").tonerLow);
    EXPECT_FALSE(statusOf(two + "marker-low-levels = 60|10|10").tonerLow) << "whose are they?";
}

} // namespace
} // namespace tarn::ipp
