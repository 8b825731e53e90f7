// The dialects of IPP printers, each as attributes of our own.
#include "tarn/src/ipp/ipp_status.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "tarn/src/device/rendering.h"
#include "tarn/src/device/supply_words.h"
#include "tarn/src/device/utf8.h"
#include "tarn/src/ipp/reasons.h"
#include "tests/unit/tarn/ipp/attributes_text.h"

namespace tarn::ipp {
namespace {

using namespace tarn::device;
using test::statusOf;

// "black toner 80", "none waste 70 (receptacle)", one a line.
std::string suppliesOf(const std::string& lines)
{
    std::string out;
    for (const Supply& supply : statusOf(lines).supplies) {
        out += out.empty() ? "" : "\n";
        out += supply.color == SupplyColor::Other ? supply.colorText : colorKeyword(supply.color);
        out += std::string(" ") + kindKeyword(supply.kind) + ' ';
        switch (supply.levelKind) {
        case LevelKind::Percent:
            out += std::to_string(supply.percent);
            break;
        case LevelKind::Some:
            out += "some";
            break;
        case LevelKind::Unlimited:
            out += "unlimited";
            break;
        case LevelKind::Unknown:
            out += '?';
            break;
        }
        out += supply.receptacle ? " (receptacle)" : "";
    }
    return out;
}

// "cover-open:coverOpen critical", one a line, worst first.
std::string alertsOf(const DeviceStatus& status)
{
    std::string out;
    for (const Alert& alert : status.alerts) {
        out += out.empty() ? "" : "\n";
        out += alert.keyword + (alert.severity == Severity::Critical  ? " critical"
                                : alert.severity == Severity::Warning ? " warning"
                                                                      : " other");
    }
    return out;
}

std::string alertsOf(const std::string& lines)
{
    return alertsOf(statusOf(lines));
}

TEST(IppStatus, WholePrinter)
{
    const DeviceStatus status = statusOf(R"(
        printer-make-and-model = Lyra C310
        printer-device-id = MFG:Lyra;MDL:C310;SN:LY310-00077;
        printer-info = Lyra in the hall
        printer-location = hall
        printer-state = 3
        printer-state-reasons = none
        printer-is-accepting-jobs = 1
        printer-impressions-completed = 54321
        printer-supply = type=tonerCartridge;maxcapacity=100;level=80;colorantname=black; | level=61;type=tonerCartridge;colorantname=cyan;maxcapacity=100
        printer-supply-description = Black Toner | Cyan Toner
        printer-input-tray = type=sheetFeedAutoRemovableTray;maxcapacity=250;level=125;status=0;name=Tray 1;unit=sheets;)");
    EXPECT_EQ(status.model, "Lyra C310");
    EXPECT_EQ(status.serialNumber, "LY310-00077");
    EXPECT_EQ(status.description, "Lyra in the hall");
    EXPECT_EQ(status.location, "hall");
    EXPECT_EQ(status.activity, Activity::Idle);
    EXPECT_EQ(status.totalPages, 54321);
    ASSERT_EQ(status.trays.size(), 1u);
    EXPECT_EQ(status.trays[0].name, "Tray 1");
    EXPECT_EQ(status.trays[0].percent, 50);
    EXPECT_EQ(status.trays[0].unit, "sheets");
    EXPECT_TRUE(status.trays[0].available);
    EXPECT_TRUE(status.alerts.empty());
    EXPECT_EQ(stateMessage(status), "就绪");
}

TEST(IppStatus, NothingSaidIsNothingKnown)
{
    const DeviceStatus status = buildStatus(IppAttributes());
    EXPECT_EQ(status, DeviceStatus());
    EXPECT_EQ(stateCode(status), 1);
}

TEST(IppStatus, IdentityFallsBackToTheDeviceId)
{
    DeviceStatus status = statusOf("printer-device-id = MFG:Lyra;MDL:C310;DES:Lyra Office;SN:S-1");
    EXPECT_EQ(status.model, "Lyra C310");
    EXPECT_EQ(status.serialNumber, "S-1");
    EXPECT_EQ(status.description, "Lyra Office");
    status = statusOf("printer-device-id = MFG:Lyra;MDL:LYRA C310;");
    EXPECT_EQ(status.model, "LYRA C310") << "the maker is there already";
    status = statusOf("printer-device-id = MFG:Lyra-Nova Corp.;MDL:LN C310;");
    EXPECT_EQ(status.model, "LN C310");
    status = statusOf("printer-make-and-model = Lyra-Nova LN C310");
    EXPECT_EQ(status.model, "LN C310");
    status = statusOf("printer-serial-number = A-1\nprinter-device-id = MDL:C310;SN:B-2;");
    EXPECT_EQ(status.serialNumber, "A-1");
}

TEST(IppStatus, SerialNumberMayBeHexTextOrAPlaceholder)
{
    EXPECT_EQ(statusOf("printer-serial-number = \"4C593331302D373712\"").serialNumber, "LY310-77");
    EXPECT_EQ(statusOf("printer-device-id = MDL:C310;SN:4C593331302D373712;").serialNumber, "LY310-77");
    EXPECT_EQ(statusOf("printer-serial-number = unknown\nprinter-device-id = MDL:C310;SN:B-2;").serialNumber,
              "B-2");
}

TEST(IppStatus, QueuesNamePrinterAndDriver)
{
    EXPECT_EQ(statusOf("printer-make-and-model = Lyra C310, driverless, cups-filters 1.28.17").model,
              "Lyra C310");
}

TEST(IppStatus, QueueWithoutADriverNamesNoModel)
{
    EXPECT_EQ(statusOf("printer-make-and-model = Local Raw Printer").model, "");
    EXPECT_EQ(
        statusOf("printer-make-and-model = Local Raw Printer\nprinter-device-id = MFG:Lyra;MDL:C310").model,
        "Lyra C310");
}

TEST(IppStatus, CountersAreTakenInTheirOrderAndZeroIsANumber)
{
    EXPECT_EQ(statusOf("printer-media-sheets-completed = 5\nprinter-pages-completed = 9").totalPages, 9);
    EXPECT_EQ(statusOf("printer-media-sheets-completed = 5").totalPages, 5);
    EXPECT_EQ(statusOf("printer-impressions-completed = 0\nprinter-pages-completed = 9").totalPages, 0);
    EXPECT_EQ(statusOf("printer-impressions-completed = -2\nprinter-pages-completed = 9").totalPages, 9);
    EXPECT_FALSE(statusOf("printer-pages-completed = many").totalPages.has_value());
}

TEST(IppSupplies, KeysInAnyOrderAndTheLastSemicolonMissing)
{
    EXPECT_EQ(
        suppliesOf("printer-supply = "
                   "colorantname=magenta;level=7;class=supplyThatIsConsumed;type=toner;maxcapacity=100"),
        "magenta toner 7");
    EXPECT_EQ(suppliesOf("printer-supply =  Level = 30 ;TYPE=ink; MaxCapacity=60;ColorantName=Yellow;"),
              "yellow toner 50");
}

TEST(IppSupplies, WithoutCapacityAndUnitALevelUpToAHundredIsPercent)
{
    EXPECT_EQ(suppliesOf("printer-supply = type=toner;level=42;colorantname=cyan"), "cyan toner 42");
    EXPECT_EQ(suppliesOf("printer-supply = type=toner;level=4200;colorantname=cyan"), "cyan toner ?");
    EXPECT_EQ(
        suppliesOf("printer-supply = type=toner;level=42;unit=percent;maxcapacity=-2;colorantname=cyan"),
        "cyan toner 42");
}

TEST(IppSupplies, LevelsThatAreNoNumbers)
{
    EXPECT_EQ(suppliesOf("printer-supply = type=toner;level=-3;maxcapacity=100;colorantname=black"),
              "black toner some");
    EXPECT_EQ(suppliesOf("printer-supply = type=toner;level=-2;maxcapacity=100;colorantname=black"),
              "black toner ?");
    EXPECT_EQ(suppliesOf("printer-supply = type=toner;level=-1;maxcapacity=100;colorantname=black"),
              "black toner unlimited");
    EXPECT_EQ(suppliesOf("printer-supply = type=toner;colorantname=black"), "black toner ?");
    EXPECT_EQ(suppliesOf("printer-supply = type=toner;level=lots;colorantname=black"), "black toner ?");
    EXPECT_EQ(
        suppliesOf(
            "marker-types = toner|toner|toner\nmarker-names = Black|Cyan|Magenta\nmarker-levels = -1|-2|-3"),
        "black toner ?\ncyan toner ?\nmagenta toner some");
}

TEST(IppSupplies, ReceptaclesTellTheRoomThatIsLeft)
{
    EXPECT_EQ(
        suppliesOf("printer-supply = class=receptacleThatIsFilled;type=wasteToner;unit=percent;level=25;"),
        "none waste 25 (receptacle)");
    EXPECT_EQ(suppliesOf("marker-types = waste-toner\nmarker-names = Waste Toner Box\nmarker-levels = "
                         "25\nmarker-colors = none"),
              "none waste 75 (receptacle)")
        << "the marker attributes tell how full it is";
    EXPECT_EQ(suppliesOf("marker-types = waste-toner|waste-toner|waste-toner\nmarker-levels = 0|100|101"),
              "none waste 100 (receptacle)\nnone waste 0 (receptacle)\nnone waste 0 (receptacle)");
    EXPECT_EQ(suppliesOf("printer-supply = type=toner;level=40;maxcapacity=100\nprinter-supply-description = "
                         "Waste toner bottle"),
              "none waste 40 (receptacle)")
        << "the words overrule the type";
}

TEST(IppSupplies, MarkersWithSingleValuesForSetsAndListsOfUnequalLength)
{
    EXPECT_EQ(suppliesOf("marker-levels = 33"), "none other 33");
    EXPECT_EQ(suppliesOf("marker-levels = 33\nmarker-types = toner"), "black toner 33")
        << "the only toner is black";
    EXPECT_EQ(
        suppliesOf(
            "marker-names = Black Toner|Cyan Toner|Magenta Toner\nmarker-levels = 50\nmarker-types = toner"),
        "black toner 50\ncyan toner ?\nmagenta toner ?");
    EXPECT_EQ(
        suppliesOf("marker-names = Black,Cyan, Yellow\nmarker-levels = 1|2|3\nmarker-types = ink|ink|ink"),
        "black toner 1\ncyan toner 2\nyellow toner 3");
    EXPECT_EQ(suppliesOf("marker-colors = #000000|#00FFFF|#FF00FF|#FFFF00\nmarker-levels = "
                         "1|2|3|4\nmarker-types = toner|toner|toner|toner"),
              "black toner 1\ncyan toner 2\nmagenta toner 3\nyellow toner 4");
}

TEST(IppSupplies, ColoursOfMarkers)
{
    const auto color = [](const std::string& hex) {
        return suppliesOf("marker-levels = 5|5\nmarker-types = ink|ink\nmarker-colors = " + hex + "|none");
    };
    EXPECT_EQ(color("#101010"), "black toner 5\nnone toner 5");
    EXPECT_EQ(color("#00AEEF"), "cyan toner 5\nnone toner 5");
    EXPECT_EQ(color("#C0C0C0"), "#C0C0C0 toner 5\nnone toner 5");
    EXPECT_EQ(color("#EC008C"), "magenta toner 5\nnone toner 5");
    EXPECT_EQ(color("#E4007F"), "magenta toner 5\nnone toner 5");
    EXPECT_EQ(color("#ED1C24"), "red toner 5\nnone toner 5");
    EXPECT_EQ(color("#FF0000"), "red toner 5\nnone toner 5");
    EXPECT_EQ(color("#00FFFF#FF00FF#FFFF00"), "tri-color toner 5\nnone toner 5");
    EXPECT_EQ(color("#FFFF00,#00aeef,#EC008C"), "tri-color toner 5\nnone toner 5");
    EXPECT_EQ(color("#00FFFF#FF00FF"), "#00FFFF#FF00FF toner 5\nnone toner 5");
    EXPECT_EQ(color("#00FFFF#00FFFF#FF00FF#FFFF00"), "#00FFFF#00FFFF#FF00FF#FFFF00 toner 5\nnone toner 5");
    EXPECT_EQ(color("#0FF"), "cyan toner 5\nnone toner 5");
    EXPECT_EQ(color("#FF00FFFF"), "magenta toner 5\nnone toner 5");
    EXPECT_EQ(color("Yellow"), "yellow toner 5\nnone toner 5");
    EXPECT_EQ(color("tri-color"), "tri-color toner 5\nnone toner 5");
    EXPECT_EQ(color("#12345"), "none toner 5\nnone toner 5");
    EXPECT_EQ(color("#GG0000"), "none toner 5\nnone toner 5");
    EXPECT_EQ(suppliesOf("marker-names = Light Cyan|Black\nmarker-types = ink|ink\nmarker-levels = "
                         "5|6\nmarker-colors = #00FFFF|#000000"),
              "light cyan toner 5\nblack toner 6")
        << "the name says it more exactly";
}

TEST(IppSupplies, TriColourCartridgeStandsForItsThreeColours)
{
    for (const char* lines :
         {"marker-colors = #00FFFF#FF00FF#FFFF00|#000000\nmarker-levels = 40|70\nmarker-types = ink|ink",
          "marker-names = tri-color ink|black ink\nmarker-levels = 40|70\nmarker-types = ink|ink",
          "marker-names = Color|Black\nmarker-levels = 40|70\nmarker-types = ink-cartridge|ink-cartridge",
          "printer-supply = type=ink;level=40;colorantname=multi-color|type=ink;level=70;colorantname=black",
          "printer-supply = type=ink;level=40|type=ink;level=70\n"
          "printer-supply-description = Cyan, Magenta, Yellow cartridge|Black cartridge"}) {
        const std::string info = infoDocument(statusOf(lines));
        EXPECT_NE(info.find(R"("CToner":"40","KToner":"70","MToner":"40","RToner":"-1","YToner":"40")"),
                  std::string::npos)
            << lines << '\n'
            << info;
    }
}

TEST(IppSupplies, ColoursOfAListThatDoesNotFitAreNotJoined)
{
    EXPECT_EQ(suppliesOf("printer-supply = type=toner;level=60|type=toner;level=20\nmarker-colors = #00FFFF"),
              "none toner 60\nnone toner 20");
}

TEST(IppSupplies, NoColourIsNotThatOfItsStatus)
{
    EXPECT_EQ(suppliesOf("printer-supply = type=wasteToner;level=90;maxcapacity=100;colorantname=no-color\n"
                         "marker-colors = #777777\nmarker-levels = 90\nmarker-types = waste-toner"),
              "none waste 90 (receptacle)");
}

TEST(IppSupplies, TwoOfOneColourAndPartsThatAreNoToner)
{
    const std::string lines = "printer-supply = type=toner;level=60;maxcapacity=100;colorantname=black|"
                              "type=toner;level=20;maxcapacity=100;colorantname=black|type=opc;level=9;"
                              "maxcapacity=100;colorantname=black\n"
                              "printer-supply-description = Toner 1|Toner 2|Drum";
    EXPECT_EQ(suppliesOf(lines), "black toner 60\nblack toner 20\nblack drum 9");
    EXPECT_NE(infoDocument(statusOf(lines)).find(R"("KToner":"20")"), std::string::npos);
}

TEST(IppSupplies, BothWaysOfTellingComplementEachOther)
{
    EXPECT_EQ(suppliesOf("printer-supply = "
                         "type=toner;colorantname=black|type=toner;colorantname=cyan;level=5;maxcapacity=10\n"
                         "marker-levels = 80|90\nmarker-types = toner|toner"),
              "black toner 80\ncyan toner 50");
    EXPECT_EQ(suppliesOf("printer-supply = type=toner;colorantname=black\nmarker-levels = 80|90"),
              "black toner ?")
        << "lists that do not fit together are not joined";
}

TEST(IppSupplies, NamesOfMarkersAreForSuppliesWithoutAny)
{
    const DeviceStatus status =
        statusOf("printer-supply = type=toner;colorantname=black|type=toner;colorantname=cyan\n"
                 "printer-supply-description = Schwarz\n"
                 "marker-names = Black Toner|Cyan Toner\nmarker-types = toner|toner");
    ASSERT_EQ(status.supplies.size(), 2u);
    EXPECT_EQ(status.supplies[0].description, "Schwarz");
    EXPECT_EQ(status.supplies[1].description, "Cyan Toner");
}

TEST(IppSupplies, ListsInAnotherOrderAreNotJoined)
{
    EXPECT_EQ(suppliesOf("printer-supply = type=ink;colorantname=black|type=ink;colorantname=cyan\n"
                         "marker-names = cyan ink|black ink\nmarker-levels = 10|90\nmarker-types = ink|ink"),
              "black toner ?\ncyan toner ?");
}

TEST(IppSupplies, TypesClassesAndUnitsHoweverTheyAreWritten)
{
    EXPECT_EQ(suppliesOf("marker-types = TONER-CARTRIDGE|Waste_Toner|\"21\"|imaging-drum|ink-tank\n"
                         "marker-levels = 1|2|3|4|5"),
              "none toner 1\nnone waste 98 (receptacle)\nnone toner 3\nnone drum 4\nnone toner 5");
    EXPECT_EQ(suppliesOf("printer-supply = type=other;class=4;level=30;unit=19;maxcapacity=-2|"
                         "type=other;class=receptacle-that-is-filled;level=30;unit=Percent|"
                         "type=ink;level=30%;maxcapacity=-2;colorantname=cyan"),
              "none waste 30 (receptacle)\nnone waste 30 (receptacle)\ncyan toner 30");
}

TEST(IppTrays, LevelsNamesAndAvailability)
{
    const std::vector<Tray> trays = statusOf("printer-input-tray = maxcapacity=500;level=-3;status=0|"
                                             "level=0;maxcapacity=100;name=by-pass;status=19|garbage")
                                        .trays;
    ASSERT_EQ(trays.size(), 3u);
    EXPECT_EQ(trays[0].name, "纸盒 1");
    EXPECT_EQ(trays[0].levelKind, LevelKind::Some);
    EXPECT_EQ(trays[1].name, "by-pass");
    EXPECT_TRUE(trays[1].empty);
    EXPECT_FALSE(trays[1].available);
    EXPECT_EQ(trays[2].levelKind, LevelKind::Unknown);
    EXPECT_FALSE(trays[2].empty);
}

TEST(IppState, PrinterStateBecomesActivity)
{
    EXPECT_EQ(stateCode(statusOf("printer-state = 3")), 3);
    EXPECT_EQ(stateCode(statusOf("printer-state = 4")), 4);
    EXPECT_EQ(stateMessage(statusOf("printer-state = 4")), "打印中");
    EXPECT_EQ(stateCode(statusOf("printer-state = 5")), 1);
    EXPECT_EQ(stateMessage(statusOf("printer-state = 5")), "需要处理");
    EXPECT_EQ(stateCode(statusOf("printer-state = 77")), 1);
    EXPECT_EQ(stateMessage(statusOf("printer-state = 3\nprinter-state-reasons = hibernate")), "节能");
    EXPECT_EQ(stateCode(statusOf("printer-state = 3\nprinter-state-reasons = marker-warming-up-report")), 5);
}

TEST(IppReasons, SuffixesTellHowBadItIs)
{
    EXPECT_EQ(alertsOf("printer-state-reasons = none"), "");
    EXPECT_EQ(alertsOf("printer-state-reasons = cover-open"), "coverOpen critical");
    EXPECT_EQ(alertsOf("printer-state-reasons = cover-open-error"), "coverOpen critical");
    EXPECT_EQ(alertsOf("printer-state-reasons = cover-open-warning"), "coverOpen warning");
    EXPECT_EQ(alertsOf("printer-state-reasons = cover-open-report"), "coverOpen other");
    EXPECT_EQ(alertsOf("printer-state-reasons = toner-low"), "markerTonerAlmostEmpty warning")
        << "low is no error";
    EXPECT_EQ(alertsOf("printer-state-reasons = toner-low-warning|media-jam-error"),
              "jam critical\nmarkerTonerAlmostEmpty warning");
}

TEST(IppReasons, WhatStopsThePrinterNeedsAttention)
{
    EXPECT_TRUE(statusOf("printer-state = 3\nprinter-state-reasons = cover-open").needsAttention);
    EXPECT_FALSE(statusOf("printer-state = 3\nprinter-state-reasons = cover-open-warning").needsAttention);
    EXPECT_FALSE(statusOf("printer-state = 3\nprinter-state-reasons = toner-low").needsAttention);
    EXPECT_EQ(stateMessage(statusOf("printer-state = 5\nprinter-state-reasons = paused")), "需要处理-已暂停");
}

TEST(IppReasons, Flags)
{
    EXPECT_TRUE(statusOf("printer-state-reasons = media-low-report").paperLow);
    EXPECT_TRUE(statusOf("printer-state-reasons = media-needed").paperOut);
    EXPECT_TRUE(statusOf("printer-state-reasons = toner-low").tonerLow);
    EXPECT_TRUE(statusOf("printer-state-reasons = marker-supply-low-warning").tonerLow);
    EXPECT_TRUE(statusOf("printer-state-reasons = toner-empty").tonerOut);
    EXPECT_TRUE(statusOf("printer-state-reasons = marker-supply-empty-error").tonerOut);
    const DeviceStatus waste = statusOf("printer-state-reasons = marker-waste-full|marker-waste-almost-full");
    EXPECT_FALSE(waste.tonerLow || waste.tonerOut || waste.paperLow || waste.paperOut);
}

TEST(IppReasons, WhatAPartLacksIsNoToner)
{
    for (const char* keyword : {"drum-cartridge-low-warning", "cleaning-cartridge-empty-warning"}) {
        const DeviceStatus status = statusOf("printer-state-reasons = " + std::string(keyword));
        EXPECT_FALSE(status.tonerLow || status.tonerOut) << keyword;
        EXPECT_EQ(status.alerts.size(), 1u) << keyword;
    }
    EXPECT_TRUE(statusOf("printer-state-reasons = black-cartridge-low-warning").tonerLow);
}

TEST(IppReasons, OneEmptyTrayOfSeveralIsNotOutOfPaper)
{
    const std::string one = "printer-state-reasons = media-empty\nprinter-input-tray = "
                            "level=0;maxcapacity=50|level=9;maxcapacity=50\n";
    EXPECT_FALSE(statusOf(one + "printer-state = 3").paperOut);
    EXPECT_EQ(alertsOf(one + "printer-state = 3"), "inputMediaSupplyEmpty warning");
    EXPECT_TRUE(statusOf(one + "printer-state = 5").paperOut);
    EXPECT_TRUE(statusOf("printer-state-reasons = media-empty\nprinter-input-tray = level=0;maxcapacity=50")
                    .paperOut);
    EXPECT_TRUE(statusOf("printer-state-reasons = media-empty").paperOut) << "no tray says otherwise";
    EXPECT_TRUE(statusOf("printer-state-reasons = media-empty-error\nprinter-state = 3\nprinter-input-tray = "
                         "level=0;maxcapacity=50|level=-2;maxcapacity=-2\n")
                    .paperOut)
        << "nor does one whose level is not known";
    EXPECT_FALSE(
        statusOf("printer-state-reasons = media-empty-error\nprinter-state = 3\nprinter-input-tray = "
                 "level=0;maxcapacity=50|level=-3;maxcapacity=50\n")
            .paperOut);
    EXPECT_FALSE(statusOf("printer-state-reasons = media-empty-report").paperOut);
}

TEST(IppReasons, OfAPrinterWithInkTheyMeanInk)
{
    const std::string ink = "marker-types = ink|ink-cartridge\nmarker-levels = 4|5\n";
    EXPECT_EQ(alertsOf(ink + "printer-state-reasons = marker-supply-low-warning"),
              "markerInkAlmostEmpty warning");
    EXPECT_EQ(alertsOf(ink + "printer-state-reasons = marker-waste-full"),
              "markerWasteInkReceptacleFull critical");
    EXPECT_EQ(alertsOf("printer-state-reasons = marker-supply-low-warning"),
              "markerTonerAlmostEmpty warning");
}

TEST(IppReasons, KeywordsMadeLikeTheStandards)
{
    EXPECT_EQ(alertsOf("printer-state-reasons = input-manual-input-request-warning"),
              "inputManualInputRequest warning");
    EXPECT_EQ(alertsOf("printer-state-reasons = bander-cover-open-error"), "coverOpen critical");
    EXPECT_EQ(alertsOf("printer-state-reasons = stapler-near-empty"), "subunitAlmostEmpty warning");
    EXPECT_EQ(alertsOf("printer-state-reasons = bander-cover-closed"), "") << "an event, and over";
}

TEST(IppReasons, WordsOfTheDevicesOwnAreShownUnlessTheyOnlyReport)
{
    const DeviceStatus status = statusOf("printer-state = 3\nprinter-state-reasons = "
                                         "com.example-flux-low-warning|wifi-not-configured-report|odd-thing");
    EXPECT_EQ(alertsOf("printer-state-reasons = wifi-not-configured-report"), "");
    EXPECT_EQ(alertsOf("printer-state-reasons = odd-thing"), "other critical") << "no suffix is an error";
    const std::string message = stateMessage(status);
    EXPECT_EQ(static_cast<std::size_t>(std::count(message.begin(), message.end(), '-')), status.alerts.size())
        << message;
}

TEST(IppReasons, LowMarkersAreLowWithoutAWord)
{
    EXPECT_TRUE(statusOf("marker-types = toner\nmarker-levels = 9\nmarker-low-levels = 10").tonerLow);
    EXPECT_FALSE(statusOf("marker-types = toner\nmarker-levels = 11\nmarker-low-levels = 10").tonerLow);
    EXPECT_FALSE(statusOf("marker-types = waste-toner\nmarker-levels = 95\nmarker-low-levels = 10").tonerLow);
    EXPECT_TRUE(statusOf("marker-types = toner\nmarker-levels = 0").tonerOut) << "it says nothing of reasons";
    EXPECT_FALSE(statusOf("marker-types = toner\nmarker-levels = 0\nprinter-state-reasons = none").tonerOut);
}

TEST(IppReasons, QueueThatTakesNoJobs)
{
    EXPECT_EQ(alertsOf("printer-is-accepting-jobs = 0"), "notAcceptingJobs warning");
    EXPECT_EQ(alertsOf("printer-is-accepting-jobs = 1"), "");
}

TEST(IppAlerts, RowsSayItBeforeReasonsDo)
{
    EXPECT_EQ(alertsOf("printer-alert = code=coverOpen;severity=warning;group=cover;\n"
                       "printer-alert-description = Front cover\nprinter-state-reasons = cover-open"),
              "coverOpen warning");
    EXPECT_EQ(alertsOf("printer-alert = code=808;severity=critical"), "inputMediaSupplyEmpty critical");
    EXPECT_EQ(alertsOf("printer-alert = code=unknown;severity=critical|code=other;severity=other|\n"
                       "printer-alert-description = Flux gone|Ready"),
              "other critical");
    EXPECT_EQ(statusOf("printer-alert = code=unknown;severity=critical\nprinter-alert-description = A-B")
                  .alerts[0]
                  .text,
              "A－B");
}

TEST(IppStatus, EveryTextIsUtf8WhateverCame)
{
    IppAttributes attributes;
    for (const char* name :
         {"printer-make-and-model", "printer-info", "printer-location", "marker-names", "printer-supply",
          "printer-supply-description", "printer-input-tray", "printer-alert", "printer-alert-description",
          "printer-state-reasons", "printer-device-id"}) {
        attributes.add(name, {std::nullopt, "MDL:\xFF\xC3;name=\xE4\x01-;type=\x80"});
    }
    const DeviceStatus status = buildStatus(attributes);
    EXPECT_TRUE(isValidUtf8(detailDocument(status)));
    EXPECT_TRUE(isValidUtf8(stateMessage(status)));
    EXPECT_FALSE(status.model.empty());
}

TEST(IppStatus, BoundedWhateverCame)
{
    IppAttributes attributes;
    for (int i = 0; i < 5000; ++i) {
        attributes.add("marker-levels", {i, ""});
        attributes.add("printer-input-tray", {std::nullopt, "level=1"});
        attributes.add("printer-state-reasons", {std::nullopt, "odd" + std::to_string(i)});
    }
    const DeviceStatus status = buildStatus(attributes);
    EXPECT_LE(status.supplies.size(), 64u);
    EXPECT_LE(status.trays.size(), 64u);
    EXPECT_LE(status.alerts.size(), 64u);
}

} // namespace
} // namespace tarn::ipp
