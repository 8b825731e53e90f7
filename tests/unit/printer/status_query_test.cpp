#include "printer/status_query.h"

#include <gmock/gmock.h>

#include <limits>
#include <stdexcept>
#include <thread>

#include "tests/unit/printer/tarn_fixture.h"

using namespace morvik::kel;
using kel_test::ScriptedPrinter;
using kel_test::tarnControl;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

PrinterContext named(const std::string& name)
{
    PrinterContext context;
    context.printerName = name;
    return context;
}

class StatusQuery : public kel_test::LoadedTarnFixture
{
protected:
    // Polls a printer whose status document is the given text.
    static PrinterContext& query(PrinterContext& context, const std::optional<std::string>& info)
    {
        ScriptedPrinter printer;
        printer.info = info;
        setPrinter(context.printerName, printer);
        EXPECT_EQ(queryPrinterStatus(context), 0);
        return context;
    }
    static PrinterContext query(const std::string& info)
    {
        PrinterContext context = named("p");
        return query(context, info);
    }
};

TEST_F(StatusQuery, AsksInOrderAndHandsEveryTextBack)
{
    PrinterContext context = named("office");
    EXPECT_EQ(queryPrinterStatus(context), 0);
    EXPECT_THAT(tarnControl().calls(),
                ElementsAre("tarn_openPrinter office", "tarn_getState", "tarn_getSerialNumber",
                            "tarn_freeStr", "tarn_getInfo", "tarn_freeStr", "tarn_getStateMessage",
                            "tarn_freeStr", "tarn_closePrinter"));
    EXPECT_EQ(context.state, 3);
    EXPECT_EQ(context.serialNumber, "SN-1");
    EXPECT_EQ(context.stateMessage, "就绪");
}

TEST_F(StatusQuery, WithoutALoadedLibraryNothingHappens)
{
    forgetLibrary();
    PrinterContext context = named("office");
    context.state = 7;
    EXPECT_EQ(queryPrinterStatus(context), -1);
    EXPECT_EQ(context.state, 7);
    EXPECT_THAT(tarnControl().calls(), IsEmpty());
}

TEST_F(StatusQuery, FailedOpenGivesItsCodeAndState2AndTouchesNothingElse)
{
    ScriptedPrinter printer;
    printer.openResult = 17;
    setPrinter("office", printer);
    PrinterContext context = named("office");
    context.serialNumber = "old";
    context.stateMessage = "old";
    context.kToner = 11;
    EXPECT_EQ(queryPrinterStatus(context), 17);
    EXPECT_EQ(context.state, 2);
    EXPECT_EQ(context.serialNumber, "old");
    EXPECT_EQ(context.stateMessage, "old");
    EXPECT_EQ(context.kToner, 11);
    EXPECT_THAT(tarnControl().calls(), ElementsAre("tarn_openPrinter office"));
}

TEST_F(StatusQuery, NegativeOpenCodeIsReturnedAsItIs)
{
    ScriptedPrinter printer;
    printer.openResult = -3;
    setPrinter("office", printer);
    PrinterContext context = named("office");
    EXPECT_EQ(queryPrinterStatus(context), -3);
    EXPECT_EQ(context.state, 2);
}

TEST_F(StatusQuery, NullTextsKeepWhatWasThereAndAreNotHandedBack)
{
    ScriptedPrinter printer;
    printer.serialNumber.reset();
    printer.info.reset();
    printer.stateMessage.reset();
    setPrinter("office", printer);
    PrinterContext context = named("office");
    context.serialNumber = "old serial";
    context.stateMessage = "old message";
    context.cToner = 12;
    EXPECT_EQ(queryPrinterStatus(context), 0);
    EXPECT_EQ(context.serialNumber, "old serial");
    EXPECT_EQ(context.stateMessage, "old message");
    EXPECT_EQ(context.cToner, 12);
    EXPECT_EQ(tarnControl().count("tarn_freeStr"), 0);
    EXPECT_EQ(tarnControl().count("tarn_closePrinter"), 1);
}

TEST_F(StatusQuery, ResultsOfTheGettersAreNotExamined)
{
    ScriptedPrinter printer;
    printer.getterResult = 5;
    printer.info = R"({"KToner":"80"})";
    setPrinter("office", printer);
    PrinterContext context = named("office");
    EXPECT_EQ(queryPrinterStatus(context), 0);
    EXPECT_EQ(context.state, 3);
    EXPECT_EQ(context.serialNumber, "SN-1");
    EXPECT_EQ(context.stateMessage, "就绪");
    EXPECT_EQ(context.kToner, 80);
}

TEST_F(StatusQuery, EmptyTextsAreTexts)
{
    ScriptedPrinter printer;
    printer.serialNumber = "";
    printer.stateMessage = "";
    setPrinter("office", printer);
    PrinterContext context = named("office");
    context.serialNumber = context.stateMessage = "old";
    EXPECT_EQ(queryPrinterStatus(context), 0);
    EXPECT_EQ(context.serialNumber, "");
    EXPECT_EQ(context.stateMessage, "");
}

TEST_F(StatusQuery, KTonerRulesOverTonerAndBlack)
{
    EXPECT_EQ(query(R"({"toner":"10","KToner":"30"})").kToner, 30);
    EXPECT_EQ(query(R"({"black":"20","KToner":"30"})").kToner, 30);
    EXPECT_EQ(query(R"({"KToner":"30","black":"20","toner":"10"})").kToner, 30);
}

TEST_F(StatusQuery, TonerRulesOverBlack)
{
    EXPECT_EQ(query(R"({"toner":"10","black":"20"})").kToner, 10);
    EXPECT_EQ(query(R"({"black":"20"})").kToner, 20);
}

TEST_F(StatusQuery, TonerThatIsNotAStringLeavesItToBlack)
{
    EXPECT_EQ(query(R"({"toner":10,"black":"20"})").kToner, 20);
    EXPECT_EQ(query(R"({"toner":null,"black":"20"})").kToner, 20);
}

TEST_F(StatusQuery, EachLevelLandsInItsField)
{
    const PrinterContext context =
        query(R"({"CToner":"1","MToner":"2","YToner":"3","KToner":"4","RToner":"5","totalprint":"6"})");
    EXPECT_EQ(context.cToner, 1);
    EXPECT_EQ(context.mToner, 2);
    EXPECT_EQ(context.yToner, 3);
    EXPECT_EQ(context.kToner, 4);
    EXPECT_EQ(context.rToner, 5);
    EXPECT_EQ(context.totalPrint, 6);
}

TEST_F(StatusQuery, LevelsAreNotClamped)
{
    EXPECT_EQ(query(R"({"CToner":"150"})").cToner, 150);
    EXPECT_EQ(query(R"({"CToner":"-5"})").cToner, -5);
}

TEST_F(StatusQuery, OnlyStringsAreRead)
{
    for (const char* value : {"80", "80.5", "true", "null", "[\"80\"]", "{\"a\":\"80\"}"}) {
        PrinterContext context = named("p");
        context.kToner = 7;
        context.lessPaper = true;
        query(context, std::string("{\"KToner\":") + value + ",\"lessPaper\":" + value + "}");
        EXPECT_EQ(context.kToner, 7) << value;
        EXPECT_TRUE(context.lessPaper) << value;
    }
    EXPECT_EQ(query(R"({"KToner":"80"})").kToner, 80);
}

TEST_F(StatusQuery, NumbersAreReadAsStrtolReadsThemAndCutTo32Bits)
{
    const std::pair<const char*, std::int32_t> cases[] = {
        {"12345abc", 12345}, {" \\t42", 42},    {"+7", 7},
        {"-5", -5},          {"abc", 0},        {"", 0},
        {"4294967296", 0},   {"4294967297", 1}, {"2147483648", std::numeric_limits<std::int32_t>::min()},
        {"0x10", 0},         {"010", 10},       {"99999999999999999999", -1}, // LONG_MAX, cut
        {"7\\u00008", 7},    {"12.9", 12},
    };
    for (const auto& [text, expected] : cases) {
        EXPECT_EQ(query(std::string(R"({"totalprint":")") + text + "\"}").totalPrint, expected) << text;
    }
}

TEST_F(StatusQuery, FlagIsTrueExactlyForOne)
{
    for (const char* text : {"1", " 1", "+1", "1abc", "01", "4294967297"}) {
        EXPECT_TRUE(query(std::string(R"({"lessPaper":")") + text + "\"}").lessPaper) << text;
    }
    for (const char* text : {"0", "2", "yes", "", "true", "-1", "11"}) {
        PrinterContext context = named("p");
        context.lessPaper = true;
        EXPECT_FALSE(query(context, std::string(R"({"lessPaper":")") + text + "\"}").lessPaper) << text;
    }
}

TEST_F(StatusQuery, EachFlagLandsInItsFieldAndAbsentOnesStay)
{
    PrinterContext context = named("p");
    query(context, R"({"lessPaper":"1","lackToner":"1"})");
    EXPECT_TRUE(context.lessPaper && context.lackToner);
    EXPECT_FALSE(context.lackPaper || context.lessToner);
    query(context, R"({"lackPaper":"1","lessToner":"1","lackToner":"0"})");
    EXPECT_TRUE(context.lessPaper && context.lackPaper && context.lessToner);
    EXPECT_FALSE(context.lackToner);
}

TEST_F(StatusQuery, WhatALaterPollDoesNotReportKeepsItsValue)
{
    PrinterContext context = named("p");
    query(context, R"({"CToner":"50","totalprint":"9"})");
    query(context, R"({"CToner":"49"})");
    EXPECT_EQ(context.cToner, 49);
    EXPECT_EQ(context.totalPrint, 9);
}

TEST_F(StatusQuery, RefusedDocumentLeavesLevelsAndFlagsButRefreshesTheRest)
{
    for (const char* text : {"plain text", "", "{\"KToner\":\"80\"", "\xEF\xBB\xBF{\"KToner\":\"80\"}"}) {
        PrinterContext context = named("p");
        context.kToner = 33;
        context.lackPaper = true;
        query(context, text);
        EXPECT_EQ(context.kToner, 33) << text;
        EXPECT_TRUE(context.lackPaper);
        EXPECT_EQ(context.state, 3);
        EXPECT_EQ(context.serialNumber, "SN-1");
        EXPECT_EQ(context.stateMessage, "就绪");
    }
}

TEST_F(StatusQuery, TheSameDocumentAgainChangesNothingAndAnotherDoes)
{
    const std::string longTail(20000, ' ');
    PrinterContext context = named("p");
    std::string applied;
    const auto poll = [&](const std::optional<std::string>& info) {
        ScriptedPrinter printer;
        printer.info = info;
        setPrinter("p", printer);
        EXPECT_EQ(queryPrinterStatus(context, applied), 0);
        return context.kToner;
    };
    EXPECT_EQ(poll(R"({"toner":"40"})"), 40);
    EXPECT_EQ(applied, R"({"toner":"40"})");
    EXPECT_EQ(poll(R"({"toner":"40"})"), 40);
    EXPECT_EQ(poll(R"({"toner":"39"})"), 39);
    EXPECT_EQ(poll("{nonsense"), 39);
    EXPECT_EQ(poll(R"({"toner":"40"})"), 40);
    EXPECT_EQ(poll(std::nullopt), 40);
    EXPECT_EQ(poll(R"({"toner":"38"})" + longTail), 38);
    EXPECT_EQ(applied, "") << "too long to be kept";
    EXPECT_EQ(poll(R"({"toner":"38"})" + longTail), 38);
}

TEST_F(StatusQuery, ADocumentThatWasAppliedIsNotParsedAgain)
{
    ScriptedPrinter printer;
    printer.info = R"({"toner":"40"})";
    setPrinter("p", printer);
    PrinterContext context = named("p");
    std::string applied = R"({"toner":"40"})";
    EXPECT_EQ(queryPrinterStatus(context, applied), 0);
    EXPECT_EQ(context.kToner, -1) << "as nobody had";
    EXPECT_EQ(context.serialNumber, "SN-1") << "the rest is taken all the same";
}

TEST_F(StatusQuery, CommentsAndTrailingTextAreAccepted)
{
    EXPECT_EQ(query("/* status */ {\"KToner\":\"80\"} // end").kToner, 80);
    EXPECT_EQ(query("{\"KToner\":\"81\"} junk").kToner, 81);
}

TEST_F(StatusQuery, DocumentsThatAreNoObjectChangeNothing)
{
    for (const char* text : {"null", "[]", "[\"KToner\"]"}) {
        PrinterContext context = named("p");
        context.kToner = 33;
        EXPECT_EQ(query(context, text).kToner, 33) << text;
    }
}

TEST_F(StatusQuery, TooDeeplyNestedDocumentIsRefusedNotThrown)
{
    PrinterContext context = named("p");
    context.kToner = 33;
    const std::string deep = std::string(100'000, '[');
    EXPECT_EQ(query(context, "{\"KToner\":\"80\",\"x\":" + deep).kToner, 33);
    EXPECT_EQ(context.stateMessage, "就绪");
}

TEST_F(StatusQuery, LongDocumentIsNoReasonToIgnoreIt)
{
    const std::string padding(20'000'000, 'x');
    EXPECT_EQ(query("{\"padding\":\"" + padding + "\",\"KToner\":\"80\"}").kToner, 80);
}

TEST_F(StatusQuery, NameIsHandedOverByteForByte)
{
    PrinterContext context = named("办公室 \"1\"\\");
    EXPECT_EQ(queryPrinterStatus(context), 0);
    EXPECT_EQ(opens("办公室 \"1\"\\"), 1);
}

TEST_F(StatusQuery, WhatTheLibraryThrowsEndsTheQueryAndNothingStaysLocked)
{
    for (const char* function : {"tarn_openPrinter", "tarn_getState", "tarn_getSerialNumber", "tarn_getInfo",
                                 "tarn_getStateMessage"}) {
        tarnControl().setHook([function](const std::string& called, const std::string&) {
            if (called == function) {
                throw std::runtime_error("thrown by the library");
            }
        });
        PrinterContext context = named("office");
        EXPECT_EQ(queryPrinterStatus(context), -1) << function;
        tarnControl().setHook(nullptr);
        EXPECT_EQ(queryPrinterStatus(context), 0) << function; // the turn was given back
    }
}

TEST_F(StatusQuery, OneConversationAtATime)
{
    ScriptedPrinter printer;
    printer.delayMs = 5;
    setPrinter("office", printer);
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i) {
        threads.emplace_back([] {
            PrinterContext context = named("office");
            EXPECT_EQ(queryPrinterStatus(context), 0);
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(tarnControl().mostCallsAtOnce(), 1);
    const std::vector<std::string> calls = tarnControl().calls();
    for (std::size_t i = 0; i < calls.size(); i += 9) { // nine calls each, never mixed
        EXPECT_EQ(calls[i], "tarn_openPrinter office");
        EXPECT_EQ(calls[i + 8], "tarn_closePrinter");
    }
}

} // namespace
