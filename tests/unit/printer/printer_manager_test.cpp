#include "printer/printer_manager.h"

#include <gmock/gmock.h>

#include <atomic>
#include <future>
#include <thread>

#include "printer/printer_exception.h"
#include "tests/support/eventually.h"
#include "tests/unit/printer/registry_fixture.h"

using namespace morvik::kel;
using kel_test::eventually;
using kel_test::network;
using kel_test::readPrintersFile;
using kel_test::tarnControl;
using kel_test::writePrintersFile;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

namespace {

// The number with which a call refuses; 0 when it does not.
template <typename Call>
int refusal(Call call)
{
    try {
        call();
        return 0;
    } catch (const PrinterException& exception) {
        return static_cast<int>(exception);
    }
}

class Registry : public kel_test::RegistryFixture
{
};

TEST_F(Registry, CreatingItLoadsTheLibrary)
{
    m_registry.reset();
    forgetLibrary();
    tarnControl().clearCalls();
    create();
    EXPECT_THAT(tarnControl().calls(), ElementsAre("tarn_init", "tarn_setOptions"));
    EXPECT_THAT(registry().getPrinters(), IsEmpty());
}

TEST_F(Registry, DestroyingItUnloadsTheLibrary)
{
    use({"destroying-1"});
    m_registry.reset();
    EXPECT_EQ(tarnControl().calls().back(), "tarn_destroy");
}

class RegistryWithoutLibrary : public kel_test::RegistryFixture
{
protected:
    void SetUp() override
    {
        RegistryFixture::SetUp();
        m_registry.reset();
        forgetLibrary();
        ::setenv("TARN_DIR", "/nowhere", 1);
        create();
        ::setenv("TARN_DIR", kel_test::scriptedTarnDir().c_str(), 1);
        tarnControl().clearCalls();
    }
};

TEST_F(RegistryWithoutLibrary, RefusesWhatNeedsTheLibrary)
{
    EXPECT_EQ(refusal([this] { registry().getPrinters(); }), 1);
    EXPECT_EQ(refusal([this] { registry().getModels(); }), 1);
    EXPECT_EQ(refusal([this] { registry().getPrinter("x"); }), 2);
}

TEST_F(RegistryWithoutLibrary, StartReadsTheListAndKnowsNobody)
{
    writePrintersFile("[{\"printerName\":\"a\"}]");
    registry().start();
    EXPECT_THAT(printers(), IsEmpty());
    EXPECT_THAT(tarnControl().calls(), IsEmpty());
}

TEST_F(RegistryWithoutLibrary, ListCanBeSavedAllTheSame)
{
    registry().savePrinters({network("a")});
    EXPECT_THAT(readPrintersFile(), ::testing::HasSubstr("\"printerName\":\"a\""));
}

TEST_F(RegistryWithoutLibrary, DestroyingItUnloadsNothing)
{
    m_registry.reset();
    EXPECT_THAT(tarnControl().calls(), IsEmpty());
}

TEST_F(Registry, StartSendsTheStoredListAndTakesTheLibrarysList)
{
    writePrintersFile("[{\"printerName\":\"sent-1\",\"ip\":\"10.0.0.1\"}]");
    kel_test::TarnScript script;
    script.extraPrinters = {R"({"printerName":"usb-1","isUsbPrinter":true,"uuid":"u1"})"};
    tarnControl().setScript(script);
    registry().start();
    EXPECT_EQ(tarnControl().lastPrinterList(),
              "[{\"ip\":\"10.0.0.1\",\"manufacturer\":\"\",\"model\":\"\",\"printerName\":\"sent-1\"}]\n");
    const std::vector<PrinterContext> list = registry().getPrinters();
    ASSERT_THAT(list, SizeIs(2));
    EXPECT_EQ(list[0].printerName, "sent-1");
    EXPECT_EQ(list[0].ip, "10.0.0.1");
    EXPECT_EQ(list[1].uuid, "u1");
    EXPECT_TRUE(list[1].isUsbPrinter);
}

TEST_F(Registry, StartCreatesTheMissingFile)
{
    registry().start();
    EXPECT_EQ(readPrintersFile(), "[]");
    EXPECT_EQ(tarnControl().lastPrinterList(), "null\n");
}

TEST_F(Registry, EveryStartReadsTheFileAndAsksTheLibrary)
{
    for (int i = 0; i < 3; ++i) {
        registry().start();
    }
    EXPECT_EQ(tarnControl().count("tarn_setPrinterList"), 3);
    EXPECT_EQ(tarnControl().count("tarn_getPrinterList"), 3);
    EXPECT_EQ(tarnControl().count("tarn_freePrinterList"), 3);
}

TEST_F(Registry, SecondStartWithAnUnchangedListAddsAndDropsNothing)
{
    use({"same-1", "same-2"});
    const auto before = printers();
    registry().start();
    EXPECT_EQ(printers(), before);
}

TEST_F(Registry, VanishedPrintersAreDroppedAndTheOthersKeepTheirOrder)
{
    use({"order-a", "order-b", "order-c", "order-d"});
    const auto before = printers();
    use({"order-d", "order-b", "order-e"});
    EXPECT_EQ(names(), "order-b;order-d;order-e;");
    EXPECT_EQ(printers()[0], before[1]);
    EXPECT_EQ(printers()[1], before[3]);
    EXPECT_EQ(refusal([this] { registry().getPrinter("order-a"); }), 2);
}

TEST_F(Registry, PrinterThatComesBackGoesToTheEnd)
{
    use({"back-a", "back-b"});
    use({"back-b"});
    use({"back-a", "back-b"});
    EXPECT_EQ(names(), "back-b;back-a;");
}

TEST_F(Registry, FailingExchangeDropsEverybody)
{
    use({"gone-1"});
    kel_test::TarnScript script;
    script.setPrinterListResult = 1;
    tarnControl().setScript(script);
    registry().start();
    EXPECT_EQ(names(), "");
}

TEST_F(Registry, OneNameIsOnePrinterAndTheFirstCounts)
{
    registry().savePrinters({network("twice", "first"), network("twice", "second")});
    registry().start();
    EXPECT_THAT(tarnControl().lastPrinterList(), ::testing::HasSubstr("second"));
    ASSERT_EQ(names(), "twice;");
    EXPECT_EQ(registry().getPrinter("twice").model, "first");
}

TEST_F(Registry, EditedModelShowsOnlyUnderANewName)
{
    registry().savePrinters({network("edited", "old")});
    registry().start();
    registry().savePrinters({network("edited", "new")});
    registry().start();
    EXPECT_EQ(registry().getPrinter("edited").model, "old");
    registry().savePrinters({network("edited-2", "new")});
    registry().start();
    EXPECT_EQ(registry().getPrinter("edited-2").model, "new");
}

TEST_F(Registry, NamesAreComparedByteByByte)
{
    use({"Name", "name", "名"});
    EXPECT_EQ(registry().getPrinter("name").printerName, "name");
    EXPECT_EQ(registry().getPrinter("名").printerName, "名");
    EXPECT_EQ(refusal([this] { registry().getPrinter("NAME"); }), 2);
    EXPECT_EQ(refusal([this] { registry().getPrinter(std::string("name\0", 5)); }), 2);
}

TEST_F(Registry, EmptyNameWithNoPrintersIsNotFound)
{
    EXPECT_EQ(refusal([this] { registry().getPrinter(""); }), 2);
}

TEST_F(Registry, PrinterWithAnEmptyNameIsAPrinter)
{
    kel_test::TarnScript script;
    script.echoList = false;
    script.listDocument = "[{}]";
    tarnControl().setScript(script);
    registry().start();
    EXPECT_EQ(names(), ";");
    EXPECT_NO_THROW(registry().getPrinter(""));
}

TEST_F(Registry, SavingWritesTheFileAndChangesNoPrinter)
{
    use({"saved-1"});
    registry().savePrinters({network("saved-2")});
    EXPECT_EQ(names(), "saved-1;");
    EXPECT_EQ(readPrintersFile(), "[{\"ip\":\"192.168.1.20\",\"manufacturer\":\"MORVIK\",\"model\":\"X1\","
                                  "\"printerName\":\"saved-2\"}]\n");
    registry().start();
    EXPECT_EQ(names(), "saved-2;");
}

TEST_F(Registry, SavingOnlyUsbPrintersWritesNullAndLoadsAsNobody)
{
    PrinterContext usb(true);
    usb.printerName = "usb";
    registry().savePrinters({usb});
    EXPECT_EQ(readPrintersFile(), "null\n");
    registry().start();
    EXPECT_EQ(names(), "");
}

TEST_F(Registry, SavedTextsEndAtTheirFirstNul)
{
    std::vector<PrinterContext> list(1);
    list[0].printerName = std::string("front\0back", 10);
    registry().savePrinters(list);
    EXPECT_THAT(readPrintersFile(), ::testing::HasSubstr("\"printerName\":\"front\"}"));
}

TEST_F(Registry, SavingWhereNothingCanBeWrittenThrowsTheFileSystemsException)
{
    boost::filesystem::create_directories(g_printersPath);
    EXPECT_THROW(registry().savePrinters({}), boost::filesystem::filesystem_error);
    EXPECT_NO_THROW(registry().start()); // and the registry's lock was let go
}

TEST_F(Registry, ModelsComeFromTheLibrary)
{
    kel_test::setScriptedModels({"A", "", "B"});
    EXPECT_THAT(registry().getModels(), ElementsAre("A", "", "B"));
}

TEST_F(Registry, FailedPollShowsState2ToReadersWithoutACallback)
{
    std::atomic<int> callbacks{0};
    registry().setCallback([&](PrinterContext) { ++callbacks; });
    kel_test::TarnScript script;
    script.defaultPrinter.reset();
    tarnControl().setScript(script);
    use({"unreachable"});
    registry().refresh("unreachable");
    EXPECT_TRUE(eventually([this] { return registry().getPrinter("unreachable").state == 2; }));
    EXPECT_EQ(registry().getPrinters()[0].state, 2);
    EXPECT_EQ(callbacks, 0);
}

TEST_F(Registry, CallbackReachesOnlyPrintersCreatedAfterwards)
{
    use({"early"});
    std::atomic<int> early{0};
    std::atomic<int> late{0};
    registry().setCallback([&](PrinterContext context) { ++(context.printerName == "late" ? late : early); });
    use({"early", "late"});
    registry().refresh("early");
    ASSERT_TRUE(eventually([this] { return registry().getPrinter("early").state == 3; }));
    registry().refresh("late");
    EXPECT_TRUE(eventually([&] { return late == 1; }));
    EXPECT_EQ(early, 0);
}

// A poll that takes its time holds up no reader; only the list exchange waits for its turn at the library.
TEST_F(Registry, GettersNeverWaitForAPoll)
{
    std::promise<void> release;
    std::shared_future<void> released = release.get_future().share();
    std::atomic<bool> isPolling{false};
    use({"slow"});
    tarnControl().setHook([&, released](const std::string& function, const std::string&) {
        if (function != "tarn_openPrinter") {
            return;
        }
        isPolling = true;
        released.wait();
    });
    registry().refresh("slow");
    ASSERT_TRUE(eventually([&] { return isPolling.load(); }));
    std::future<void> readers = std::async(std::launch::async, [this] {
        EXPECT_EQ(registry().getPrinter("slow").state, 0);
        EXPECT_EQ(registry().getPrinters().size(), 1u);
        registry().savePrinters({network("slow")});
        registry().refresh("slow");
    });
    EXPECT_EQ(readers.wait_for(std::chrono::seconds(30)), std::future_status::ready);
    release.set_value();
}

// getPrinter() and refresh() do without the registry's mutex: an exchange under way does not hold them up.
TEST_F(Registry, LookingOnePrinterUpNeedsNoRegistryLock)
{
    use({"looked-up"});
    const MutexLock lock(PrinterManagerProbe::registryMutex(registry()));
    std::future<void> reader = std::async(std::launch::async, [this] {
        EXPECT_EQ(registry().getPrinter("looked-up").printerName, "looked-up");
        registry().refresh("looked-up");
    });
    EXPECT_EQ(reader.wait_for(std::chrono::seconds(30)), std::future_status::ready);
}

TEST_F(Registry, ThousandPrintersThenNoneThenTheThousandAgain)
{
    std::string document = "[";
    for (int i = 0; i < 1000; ++i) {
        document +=
            (i > 0 ? ",{\"printerName\":\"many-" : "{\"printerName\":\"many-") + std::to_string(i) + "\"}";
    }
    kel_test::TarnScript script;
    script.echoList = false;
    for (const std::string& list : {document + "]", std::string("[]"), document + "]"}) {
        script.listDocument = list;
        tarnControl().setScript(script);
        registry().start();
        EXPECT_EQ(printers().size(), list == "[]" ? 0u : 1000u);
    }
}

TEST(RegistryInstance, IsOneForTheProcess)
{
    PrinterManager& first = PrinterManager::instance();
    PrinterManager* fromAnotherThread = nullptr;
    std::thread([&] { fromAnotherThread = &PrinterManager::instance(); }).join();
    EXPECT_EQ(&first, fromAnotherThread);
}

} // namespace
