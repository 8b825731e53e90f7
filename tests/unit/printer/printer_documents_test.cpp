#include "printer/printer_documents.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <atomic>
#include <stdexcept>
#include <thread>

#include "printer/status_query.h"
#include "tests/support/eventually.h"
#include "tests/unit/printer/tarn_fixture.h"

using namespace morvik::kel;
using kel_test::tarnControl;
using kel_test::TarnScript;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

namespace {

PrinterContext network(const std::string& name, const std::string& ip = "192.168.1.20")
{
    PrinterContext context(false);
    context.printerName = name;
    context.manufacturer = "MORVIK";
    context.model = "X1";
    context.ip = ip;
    return context;
}

class PrinterDocuments : public kel_test::LoadedTarnFixture
{
protected:
    static std::vector<PrinterContext> returned(const std::optional<std::string>& document, int result = 0)
    {
        TarnScript script = tarnControl().script();
        script.echoList = false;
        script.listDocument = document;
        script.getPrinterListResult = result;
        tarnControl().setScript(script);
        return syncPrinterList({});
    }
    static std::vector<std::string> models(const std::optional<std::string>& document)
    {
        TarnScript script = tarnControl().script();
        script.modelsDocument = document;
        tarnControl().setScript(script);
        return getPrinterModels();
    }
};

TEST_F(PrinterDocuments, SendsEachNetworkPrinterWithFourMembers)
{
    syncPrinterList({network("office")});
    EXPECT_EQ(tarnControl().lastPrinterList(), "[{\"ip\":\"192.168.1.20\",\"manufacturer\":\"MORVIK\","
                                               "\"model\":\"X1\",\"printerName\":\"office\"}]\n");
}

TEST_F(PrinterDocuments, SendsThemInOrderAndLeavesUsbPrintersOut)
{
    PrinterContext usb(true);
    usb.printerName = "usb";
    syncPrinterList({network("b", "1"), usb, network("a", "2")});
    EXPECT_EQ(tarnControl().lastPrinterList(),
              "[{\"ip\":\"1\",\"manufacturer\":\"MORVIK\",\"model\":\"X1\",\"printerName\":\"b\"},"
              "{\"ip\":\"2\",\"manufacturer\":\"MORVIK\",\"model\":\"X1\",\"printerName\":\"a\"}]\n");
}

TEST_F(PrinterDocuments, OnlyUsbPrintersSendNull)
{
    syncPrinterList({PrinterContext(true)});
    EXPECT_EQ(tarnControl().lastPrinterList(), "null\n");
    syncPrinterList({});
    EXPECT_EQ(tarnControl().lastPrinterList(), "null\n");
    EXPECT_EQ(tarnControl().count("tarn_setPrinterList"), 2);
}

TEST_F(PrinterDocuments, TextsAreEscapedAndComeBackUnchanged)
{
    const std::string name = "办 \"x\"\\\n\t/";
    const std::vector<PrinterContext> list = syncPrinterList({network(name)});
    EXPECT_THAT(tarnControl().lastPrinterList(), ::testing::HasSubstr("\\u529e \\\"x\\\"\\\\\\n\\t/"));
    ASSERT_THAT(list, SizeIs(1));
    EXPECT_EQ(list[0].printerName, name);
    EXPECT_EQ(list[0].ip, "192.168.1.20");
}

TEST_F(PrinterDocuments, TakesTheListBackMemberByMember)
{
    const std::vector<PrinterContext> list =
        returned(R"([{"uuid":"u","printerName":"n","manufacturer":"m","model":"o","description":"d","ip":"i",
                      "isUsbPrinter":true,"state":5,"serialNumber":"s"}])");
    ASSERT_THAT(list, SizeIs(1));
    EXPECT_EQ(list[0].uuid, "u");
    EXPECT_EQ(list[0].printerName, "n");
    EXPECT_EQ(list[0].manufacturer, "m");
    EXPECT_EQ(list[0].model, "o");
    EXPECT_EQ(list[0].description, "d");
    EXPECT_EQ(list[0].ip, "i");
    EXPECT_TRUE(list[0].isUsbPrinter);
    EXPECT_EQ(list[0].state, 0); // status fields are fresh
    EXPECT_EQ(list[0].serialNumber, "");
    EXPECT_EQ(list[0].kToner, -1);
    EXPECT_THAT(tarnControl().calls(),
                ElementsAre("tarn_setPrinterList", "tarn_getPrinterList", "tarn_freePrinterList"));
}

TEST_F(PrinterDocuments, OnlyAJsonBooleanMakesAUsbPrinter)
{
    for (const char* value : {"\"true\"", "1", "\"1\"", "null", "[]", "false"}) {
        const auto list = returned(std::string(R"([{"printerName":"p","isUsbPrinter":)") + value + "}]");
        ASSERT_THAT(list, SizeIs(1)) << value;
        EXPECT_FALSE(list[0].isUsbPrinter) << value;
    }
}

TEST_F(PrinterDocuments, MembersThatAreNotStringsGiveEmptyTexts)
{
    const auto list = returned(R"([{"printerName":5,"ip":null,"model":{},"uuid":[],"description":true}])");
    ASSERT_THAT(list, SizeIs(1));
    EXPECT_EQ(list[0].printerName + list[0].ip + list[0].model + list[0].uuid + list[0].description, "");
}

TEST_F(PrinterDocuments, EmptyElementsGivePrintersWithoutTexts)
{
    const auto list = returned("[{},null,{\"printerName\":\"x\"}]");
    ASSERT_THAT(list, SizeIs(3));
    EXPECT_EQ(list[0].printerName + list[0].uuid + list[0].ip, "");
    EXPECT_FALSE(list[0].isUsbPrinter);
    EXPECT_EQ(list[1].printerName, "");
    EXPECT_EQ(list[2].printerName, "x");
}

TEST_F(PrinterDocuments, ElementsThatCannotHaveMembersAreSkipped)
{
    const auto list = returned(R"([5,"text",true,[],1.5,{"printerName":"x"}])");
    ASSERT_THAT(list, SizeIs(1));
    EXPECT_EQ(list[0].printerName, "x");
}

TEST_F(PrinterDocuments, TextsEndAtTheirFirstNul)
{
    const auto list = returned(R"([{"printerName":"a\u0000b"}])");
    ASSERT_THAT(list, SizeIs(1));
    EXPECT_EQ(list[0].printerName, "a");
}

TEST_F(PrinterDocuments, FailingToSetTheListEndsTheExchange)
{
    TarnScript script;
    script.setPrinterListResult = 1;
    tarnControl().setScript(script);
    EXPECT_THAT(syncPrinterList({network("office")}), IsEmpty());
    EXPECT_THAT(tarnControl().calls(), ElementsAre("tarn_setPrinterList"));
}

TEST_F(PrinterDocuments, NullListGivesNothing)
{
    EXPECT_THAT(returned(std::nullopt), IsEmpty());
    EXPECT_EQ(tarnControl().count("tarn_freePrinterList"), 0);
}

TEST_F(PrinterDocuments, ListThatComesWithAnErrorIsNeitherReadNorHandedBack)
{
    EXPECT_THAT(returned("[{}]", 3), IsEmpty());
    EXPECT_EQ(tarnControl().count("tarn_freePrinterList"), 0);
    EXPECT_EQ(tarnControl().textsOut(), m_textsBefore + 1);
    m_textsBefore = tarnControl().textsOut(); // kept on purpose: that text is the library's loss
}

TEST_F(PrinterDocuments, UnusableListsGiveNothingAndAreHandedBack)
{
    for (const char* text : {"", "plain", "[", "{}", "null", "5", "\"[]\"", "\xEF\xBB\xBF[{}]"}) {
        EXPECT_THAT(returned(text), IsEmpty()) << text;
    }
    EXPECT_THAT(returned(std::string(100'000, '[')), IsEmpty());
    EXPECT_EQ(tarnControl().count("tarn_freePrinterList"), 9);
}

TEST_F(PrinterDocuments, JunkBehindTheListIsAccepted)
{
    EXPECT_THAT(returned("[{}] junk"), SizeIs(1));
}

TEST_F(PrinterDocuments, ModelsComeInOrderWithEmptyNamesForMissingOnes)
{
    EXPECT_THAT(models(R"([{"model":"A"},{},{"model":"B"}])"), ElementsAre("A", "", "B"));
}

TEST_F(PrinterDocuments, ModelsAreConvertedToText)
{
    EXPECT_THAT(models(R"([{"model":5},{"model":true},{"model":null},null,{"model":-1}])"),
                ElementsAre("5", "true", "", "", "-1"));
}

TEST_F(PrinterDocuments, ModelsThatCannotBeConvertedAreSkipped)
{
    EXPECT_THAT(models(R"([{"model":[]},{"model":{}},"A",5,[],true,{"model":"B"}])"), ElementsAre("B"));
}

TEST_F(PrinterDocuments, ModelTextIsNeverHandedBackAndItsResultIgnored)
{
    TarnScript script = tarnControl().script();
    script.getModelsResult = 9;
    tarnControl().setScript(script);
    EXPECT_THAT(models(R"([{"model":"A"}])"), ElementsAre("A"));
    EXPECT_THAT(tarnControl().calls(), ElementsAre("tarn_getModels"));
}

TEST_F(PrinterDocuments, UnusableModelDocumentsGiveNothing)
{
    EXPECT_THAT(models(std::nullopt), IsEmpty());
    for (const char* text : {"", "plain", "{}", "null", "[", "5"}) {
        EXPECT_THAT(models(text), IsEmpty()) << text;
    }
    EXPECT_THAT(models(std::string(2000, '[')), IsEmpty());
}

TEST_F(PrinterDocuments, WithoutALoadedLibraryNothingIsCalled)
{
    forgetLibrary();
    EXPECT_THAT(syncPrinterList({network("office")}), IsEmpty());
    EXPECT_THAT(getPrinterModels(), IsEmpty());
    EXPECT_THAT(tarnControl().calls(), IsEmpty());
}

TEST_F(PrinterDocuments, WhatTheLibraryThrowsGivesNothingAndNothingStaysLocked)
{
    for (const char* function : {"tarn_setPrinterList", "tarn_getPrinterList", "tarn_getModels"}) {
        tarnControl().setHook([function](const std::string& called, const std::string&) {
            if (called == function) {
                throw 42;
            }
        });
        const bool isModels = std::string(function) == "tarn_getModels";
        EXPECT_EQ(syncPrinterList({network("office")}).empty(), !isModels) << function;
        EXPECT_EQ(getPrinterModels().empty(), isModels) << function;
    }
    tarnControl().setHook(nullptr);
    EXPECT_THAT(syncPrinterList({network("office")}), SizeIs(1));
}

// Ten threads poll without a pause. The exchange comes to its turn after the poll that is under way and one
// or two more; with a bare std::mutex a thread that has just let go of it takes it again, for seconds. The
// median, because a loaded machine may hold up this thread before it even asks.
TEST_F(PrinterDocuments, ListExchangeIsNotStarvedByPolls)
{
    kel_test::ScriptedPrinter printer;
    printer.delayMs = 3;
    setPrinter("busy", printer);
    std::atomic<bool> stop{false};
    std::vector<std::thread> threads;
    for (int i = 0; i < 10; ++i) {
        threads.emplace_back([&] {
            PrinterContext context = network("busy");
            while (!stop) {
                queryPrinterStatus(context);
            }
        });
    }
    EXPECT_TRUE(kel_test::eventually([] { return opens("busy") > 3; }));
    std::atomic<long> opensAtExchange{0};
    tarnControl().setHook([&](const std::string& function, const std::string&) {
        if (function == "tarn_setPrinterList") {
            opensAtExchange = opens("busy");
        }
    });
    std::vector<long> passed;
    for (int round = 0; round < 30; ++round) {
        const long last = opens("busy");
        EXPECT_TRUE(kel_test::eventually([&] { return opens("busy") > last; })); // a poll is under way
        const long before = opens("busy");
        syncPrinterList({});
        passed.push_back(opensAtExchange - before);
    }
    stop = true;
    for (std::thread& thread : threads) {
        thread.join();
    }
    std::nth_element(passed.begin(), passed.begin() + 15, passed.end());
    EXPECT_LE(passed[15], 3);
}

} // namespace
