#include "tools/tarn-status/history/report.h"

#include <sys/stat.h>

#include <fstream>

#include <gmock/gmock.h>

#include "tests/unit/tools/history/recorded.h"
#include "tools/common/standard_output.h"
#include "tools/tarn-status/history/plot.h"
#include "tools/tarn-status/history/row_text.h"
#include "tools/tarn-status/history/series.h"

namespace {

using namespace tarnstatus;
using testing::HasSubstr;
using testing::Optional;
using testing::StartsWith;

constexpr UnixTime kDay1 = 1795356000; // a day, at noon and by UTC

History threeDays()
{
    History history;
    history.printer = {1, "hall, \"2\"", "10.0.0.1", "Orion", "S1", kDay1 + 3 * kDay};
    history.supplies = {{"toner", "black", "K"}, {"toner", "black", "K2"}, {"drum", "none", ""}};
    history.entries = {{kDay1, 100, {50, std::nullopt, 7}},
                       {kDay1 + 3600, 110, {49, 80, 7}},
                       {kDay1 + kDay, std::nullopt, {49, 80, 7}},
                       {kDay1 + 2 * kDay, 160, {48, 80, 7}}};
    return history;
}

TEST(HistoryReport, HasALineADay)
{
    ::setenv("TZ", "UTC", 1);
    EXPECT_EQ(historyTable(threeDays(), Language::English),
              "hall, \"2\"  10.0.0.1  Orion  serial S1\n"
              "date        pages  counter  black  black 2  drum\n"
              "2026-11-22     10      110   49 %     80 %   7 %\n"
              "2026-11-23      -        -   49 %     80 %   7 %\n"
              "2026-11-24     50      160   48 %     80 %   7 %\n"
              "2026-11-25      0      160   48 %     80 %   7 %\n");
    EXPECT_THAT(historyTable(threeDays(), Language::Chinese), HasSubstr("感光鼓"));
}

TEST(HistoryReport, IsListedEntryByEntry)
{
    EXPECT_EQ(historyCsv(threeDays()), "time,pages,black,black 2,drum\n"
                                       "2026-11-22T14:00:00.000Z,100,50,,7\n"
                                       "2026-11-22T15:00:00.000Z,110,49,80,7\n"
                                       "2026-11-23T14:00:00.000Z,,49,80,7\n"
                                       "2026-11-24T14:00:00.000Z,160,48,80,7\n");
}

TEST(HistoryReport, ForecastsTonersOnlyAndOnlyWhatIsKnown)
{
    History history = threeDays();
    EXPECT_THAT(forecastTable({history}, Language::English),
                HasSubstr("    black    48 %  not known yet\n    black 2  80 %  not known yet\n"));
    EXPECT_THAT(forecastCsv({history}),
                HasSubstr("\"hall, \"\"2\"\"\",10.0.0.1,S1,black 2,2026-11-25T14:00:00.000Z,80,,,\n"));
    history.supplies.resize(1);
    history.entries = {{kDay1, 1, {100}}, {kDay1 + 10 * kDay, 1, {90}}, {kDay1 + 20 * kDay, 1, {80}}};
    history.printer.seen = kDay1 + 20 * kDay;
    for (int day = 0; day <= 20; ++day) {
        history.entries.push_back({kDay1 + day * kDay, 1, {100 - day}});
    }
    history.entries.erase(history.entries.begin(), history.entries.begin() + 3);
    EXPECT_THAT(forecastTable({history}, Language::English), HasSubstr("empty in 80 days ("));
    history.entries.clear();
    EXPECT_THAT(forecastTable({history}, Language::English), HasSubstr("tells no level of a toner"));
}

TEST(HistoryDays, ACounterThatGoesBackIsNotCounted)
{
    History history = threeDays();
    history.entries[1].pages = 5;
    history.entries[2].pages = 8;
    const auto days = daysOf(history);
    EXPECT_EQ(days[0].printed, std::nullopt);
    EXPECT_THAT(days[1].printed, Optional(3));
}

TEST(HistoryPlot, IsAFileOfItsKind)
{
    PlotKind kind{};
    EXPECT_TRUE(plotKindOf("a.png", kind));
    EXPECT_EQ(kind, PlotKind::Png);
    EXPECT_TRUE(plotKindOf("dir.png/a.svg", kind));
    EXPECT_EQ(kind, PlotKind::Svg);
    EXPECT_FALSE(plotKindOf("a.jpg", kind));
    EXPECT_FALSE(plotKindOf(".svg", kind));
    EXPECT_THAT(plotOf(threeDays(), PlotKind::Png, Language::English), StartsWith("\x89PNG\r\n"));
    const std::string svg = plotOf(threeDays(), PlotKind::Svg, Language::English);
    EXPECT_THAT(svg, HasSubstr("<svg "));
    EXPECT_THAT(svg, HasSubstr("</svg>"));
    EXPECT_THAT(svg, HasSubstr("rgb(10%,10%,10%)")) << "black's line";
}

TEST(HistoryPlot, DrawsWhateverThereIs)
{
    History history;
    EXPECT_FALSE(plotOf(history, PlotKind::Svg, Language::English).empty());
    history = threeDays();
    history.printer.name = cleanText("\xff\xfe 打印机\x1b");
    history.printer.seen = 253402300799;
    history.entries.front().time = 0;
    history.entries.back().pages = INT32_MAX;
    EXPECT_FALSE(plotOf(history, PlotKind::Png, Language::Chinese).empty());
}

TEST(HistoryPlot, ReplacesAFileWholeOrNotAtAll)
{
    const Directory directory;
    const std::string file = directory.file("a.svg");
    writeFile(file, "first");
    writeFile(file, "second");
    std::ifstream stream(file);
    std::string text;
    std::getline(stream, text);
    EXPECT_EQ(text, "second");
    EXPECT_THROW(writeFile(directory.file("none/a.svg"), "x"), tools::WriteError);
    EXPECT_THROW(writeFile("/dev/full", "x"), tools::WriteError);
    const auto entries = std::filesystem::directory_iterator(directory.file(""));
    EXPECT_EQ(std::distance(begin(entries), end(entries)), 1) << "nothing is left beside it";
}

TEST(CleanText, IsUtf8WithoutControls)
{
    EXPECT_EQ(cleanText("a\nb\x1b[31m"), "a b [31m");
    EXPECT_EQ(cleanText("打印机"), "打印机");
    EXPECT_EQ(cleanText("\xc0\xaf\xed\xa0\x80\xf4\x90\x80\x80\xe6\x89"), "???????????");
}

} // namespace
