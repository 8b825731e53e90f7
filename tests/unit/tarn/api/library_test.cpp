// The library behind its sixteen functions, with a real engine thread and real sockets, and sessions made
// for tests.
#include <gtest/gtest.h>

#include <malloc.h>

#include <thread>

#include "tarn/src/api/abi_string.h"
#include "tarn/src/api/library.h"
#include "tarn/src/api/model_texts.h"
#include "tarn/src/base/json_input.h"
#include "tarn/src/snmp/poll/udp_port.h"
#include "tarn/tarn.h"
#include "tests/unit/tarn/api/loopback_agent.h"
#include "tests/unit/tarn/snmp/poll/fake_session.h"
#include "tests/unit/tarn/support/scratch_directory.h"
#include "tests/unit/tarn/support/stalled_rename.h"

namespace tarn::api {
namespace {

using test::LoopbackAgent;

constexpr const char kDeadPort[] = R"({"default":{"port":16299}})"; // nobody listens there

// Waits for a condition as long as a loaded machine may need; the tests assert what it returns.
template <typename Condition>
bool eventually(Condition condition)
{
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return true;
}

class LibraryTest : public testing::Test
{
protected:
    std::unique_ptr<Library> start(const std::string& configuration = "{}")
    {
        Library::Parts parts{std::make_unique<BootClock>(),
                             std::make_unique<SystemRandom>(),
                             std::make_unique<snmp::UdpPort>(),
                             snmp::test::fakeSessions(),
                             catalog::Config(),
                             scratch.path("cache/tarn/identities.json"),
                             scratch.path("state/tarn/last-values.jsonl"),
                             backends};
        catalog::ConfigComplaints complaints(configuration);
        parts.config.parse(configuration, complaints);
        EXPECT_TRUE(complaints.isEmpty()) << complaints.lines().front();
        auto library = std::make_unique<Library>(std::move(parts));
        EXPECT_TRUE(library->start());
        return library;
    }

    static std::string portOf(const std::string& ip, const LoopbackAgent& agent)
    {
        return R"({"addresses":{")" + ip + R"(":{"port":)" + std::to_string(agent.port()) + "}}}";
    }
    static std::string portsOf(const std::string& one, const LoopbackAgent& a, const std::string& two,
                               const LoopbackAgent& b)
    {
        return R"({"addresses":{")" + one + R"(":{"port":)" + std::to_string(a.port()) + R"(},")" + two +
               R"(":{"port":)" + std::to_string(b.port()) + "}}}";
    }
    static Json::Value listOf(Library& library) { return *parseJson(library.printerList(), 1u << 24); }
    static std::string modelIn(Library& library, unsigned index)
    {
        return listOf(library)[index]["model"].asString();
    }

    // How long the exchange of a list of one silent printer took.
    static std::chrono::nanoseconds timedExchange(Library& library, const std::string& name)
    {
        const auto before = std::chrono::steady_clock::now();
        library.setPrinterList(R"([{"ip":"127.42.1.2","printerName":")" + name + "\"}]");
        return std::chrono::steady_clock::now() - before;
    }

    test::ScratchDirectory scratch;
    std::vector<Library::BackendMaker> backends;
};

// Finds two printers on the bus as soon as it is told to look.
class FakeBus final : public engine::Backend
{
public:
    FakeBus(const Clock& clock, engine::BackendListener& listener) : m_clock(clock), m_listener(listener) {}
    const char* name() const override { return "smusb"; }
    void watch(std::shared_ptr<engine::Target>) override {}
    void unwatch(const engine::Target&) override {}
    void wake(const engine::Target&) override {}
    void networkChanged() override {}
    void run() override {}
    TimePoint nextDeadline() const override { return kNever; }
    int descriptor() const override { return -1; }
    void discover(engine::Discovery discovery, bool on) override
    {
        if (discovery == engine::Discovery::Usb) {
            m_listener.rosterChanged(discovery, on ? roster() : std::vector<engine::DiscoveredPrinter>());
        }
    }

private:
    std::vector<engine::DiscoveredPrinter> roster() const
    {
        std::vector<engine::DiscoveredPrinter> out;
        for (const char* name : {"Maker One S1", "named"}) {
            device::DeviceStatus status;
            status.model = "One";
            status.activity = device::Activity::Idle;
            auto target = std::make_shared<engine::Target>(
                engine::PrinterAddress{
                    {0, 0}, engine::VersionChoice::Auto, std::make_shared<const std::string>()},
                engine::unmetSnapshot(status), m_clock.now());
            target->report(engine::Source::Usb, status);
            out.push_back({name, "Maker", "One", "a printer", "u-1", "", true, target});
        }
        return out;
    }

    const Clock& m_clock;
    engine::BackendListener& m_listener;
};

TEST_F(LibraryTest, DiscoveredPrintersFollowTheNamedOnesAndGoWhenDiscoveryEnds)
{
    backends.emplace_back([](const Clock& clock, Random&, engine::BackendListener& listener) {
        return std::make_unique<FakeBus>(clock, listener);
    });
    const auto library = start(kDeadPort);
    ASSERT_EQ(library->setPrinterList(R"([{"printerName":"named","ip":"127.42.1.2"}])"), TARN_OK);
    ASSERT_TRUE(eventually([&] { return listOf(*library).size() == 3; }));
    const Json::Value found = listOf(*library)[1];
    EXPECT_EQ(found["printerName"], "Maker One S1");
    EXPECT_EQ(found["isUsbPrinter"], true);
    EXPECT_EQ(found["manufacturer"], "Maker");
    EXPECT_EQ(found["model"], "One");
    EXPECT_EQ(found["uuid"], "u-1");
    EXPECT_EQ(listOf(*library)[0]["isUsbPrinter"], false);
    OpenedPrinter opened;
    ASSERT_EQ(library->open("Maker One S1", opened), TARN_OK);
    EXPECT_EQ(opened.snapshot->source, engine::Source::Usb);
    ASSERT_EQ(library->open("named", opened), TARN_OK);
    EXPECT_EQ(opened.snapshot->source, engine::Source::None); // the one that was named has the name
    // Another list leaves them alone.
    ASSERT_EQ(library->setPrinterList("[]"), TARN_OK);
    EXPECT_EQ(listOf(*library).size(), 2U);
    ASSERT_EQ(library->setOptions(R"({"enable_usb_printer_discovery":false})"), TARN_OK);
    ASSERT_TRUE(eventually([&] { return listOf(*library).empty(); }));
    EXPECT_EQ(library->open("Maker One S1", opened), TARN_E_UNKNOWN);
    ASSERT_EQ(library->setOptions(R"({"enable_usb_printer_discovery":true})"), TARN_OK);
    EXPECT_TRUE(eventually([&] { return listOf(*library).size() == 2; }));
}

TEST_F(LibraryTest, NothingIsDiscoveredThatTheOptionsSwitchOffBeforeTheFirstList)
{
    backends.emplace_back([](const Clock& clock, Random&, engine::BackendListener& listener) {
        return std::make_unique<FakeBus>(clock, listener);
    });
    for (const char* options : {R"({"enable_backends":"sm"})", R"({"enable_usb_printer_discovery":false})"}) {
        const auto library = start(kDeadPort);
        ASSERT_EQ(library->setOptions(options), TARN_OK);
        ASSERT_EQ(library->setPrinterList(R"([{"printerName":"a","ip":"127.42.1.2"}])"), TARN_OK); // 250 ms
        EXPECT_EQ(listOf(*library).size(), 1U) << options;
    }
}

TEST_F(LibraryTest, AnsweringPrinterIsInTheListWithItsModelAndOpensOnline)
{
    const LoopbackAgent agent("127.42.1.1", "model of the agent");
    const auto library = start(portOf("127.42.1.1", agent));
    ASSERT_EQ(library->setPrinterList(R"([{"printerName":"a","ip":"127.42.1.1","model":"sent"}])"), TARN_OK);
    ASSERT_TRUE(eventually([&] { return modelIn(*library, 0) == "model of the agent"; }));
    OpenedPrinter opened;
    ASSERT_EQ(library->open("a", opened), TARN_OK);
    EXPECT_TRUE(opened.snapshot->online);
    EXPECT_GE(opened.ageMs, 0);
    EXPECT_EQ(opened.snapshot->source, engine::Source::Snmp);
}

TEST_F(LibraryTest, FirstListReturnsBeforeItsTimeWithTheModelWhenEverybodyHasAnswered)
{
    const LoopbackAgent agent("127.42.1.1", "quick");
    for (int attempt = 0; attempt < 10; ++attempt) {
        std::filesystem::remove_all(scratch.path("cache"));
        const auto library = start(portOf("127.42.1.1", agent));
        const auto before = std::chrono::steady_clock::now();
        library->setPrinterList(R"([{"printerName":"a","ip":"127.42.1.1"}])");
        if (std::chrono::steady_clock::now() - before < std::chrono::milliseconds(200)) {
            EXPECT_EQ(modelIn(*library, 0), "quick");
            return;
        }
    }
    FAIL() << "ten times the whole time was waited out";
}

TEST_F(LibraryTest, SilentAddressIsWaitedForOnceAndNeverAgain)
{
    {
        const auto library = start(kDeadPort);
        EXPECT_GE(timedExchange(*library, "first"), Library::kFirstMeeting);
        std::chrono::nanoseconds best = timedExchange(*library, "second");
        for (int i = 0; i < 10; ++i) {
            best = std::min(best, timedExchange(*library, "again " + std::to_string(i)));
        }
        EXPECT_LT(best, Library::kFirstMeeting / 2);
    }
    std::chrono::nanoseconds best = std::chrono::hours(1);
    for (int i = 0; i < 10; ++i) {
        best = std::min(best, timedExchange(*start(kDeadPort), "first")); // the program's next start
    }
    EXPECT_LT(best, Library::kFirstMeeting / 2);
}

TEST_F(LibraryTest, IdentityIsRememberedForTheNextStart)
{
    {
        const LoopbackAgent agent("127.42.1.3", "remembered");
        const auto library = start(portOf("127.42.1.3", agent));
        library->setPrinterList(R"([{"printerName":"a","ip":"127.42.1.3"}])");
        ASSERT_TRUE(eventually([&] { return modelIn(*library, 0) == "remembered"; }));
    }
    const auto library = start(kDeadPort); // the printer is off now
    library->setPrinterList(R"([{"printerName":"a","ip":"127.42.1.3","model":"x"}])");
    EXPECT_EQ(modelIn(*library, 0), "remembered");
    EXPECT_NE(std::string(library->models()).find("remembered"), std::string::npos);
    OpenedPrinter opened;
    ASSERT_EQ(library->open("a", opened), TARN_OK);
    EXPECT_EQ(opened.snapshot->state, 2);
    EXPECT_EQ(opened.ageMs, -1);
}

TEST_F(LibraryTest, AnotherPrinterAtTheAddressIsListedAsSuch)
{
    LoopbackAgent agent("127.42.1.5", "first");
    const auto library = start(portOf("127.42.1.5", agent));
    library->setPrinterList(R"([{"printerName":"a","ip":"127.42.1.5"}])");
    ASSERT_TRUE(eventually([&] { return modelIn(*library, 0) == "first"; }));
    agent.say("second");
    EXPECT_TRUE(eventually([&] { return modelIn(*library, 0) == "second"; }));
    EXPECT_NE(std::string(library->models()).find("second"), std::string::npos);
}

TEST_F(LibraryTest, CacheThatIsSwitchedOffIsNeitherReadNorWritten)
{
    scratch.write("cache/tarn/identities.json",
                  R"({"format":1,"models":["old"],"printers":{"127.42.1.4":{"model":"old"}}})");
    const std::string before = scratch.read("cache/tarn/identities.json");
    {
        const LoopbackAgent agent("127.42.1.4", "new");
        const auto library = start(portOf("127.42.1.4", agent));
        ASSERT_EQ(library->setOptions(R"({"enable_cache":false})"), TARN_OK);
        library->setPrinterList(R"([{"printerName":"a","ip":"127.42.1.4"}])");
        EXPECT_EQ(std::string(library->models()).find("old"), std::string::npos);
        ASSERT_TRUE(eventually([&] { return modelIn(*library, 0) == "new"; }));
    }
    EXPECT_EQ(scratch.read("cache/tarn/identities.json"), before);
}

TEST_F(LibraryTest, PrintersAreAskedWhileTheHomeDirectoryStallsAndStopDoesNotWaitForIt)
{
    LoopbackAgent agent("127.42.1.12", "before");
    const auto library = start(portOf("127.42.1.12", agent));
    test::StalledRename stall;
    library->setPrinterList(R"([{"printerName":"a","ip":"127.42.1.12"}])");
    ASSERT_TRUE(stall.awaitVictim()); // the identity is being saved
    agent.say("after");
    EXPECT_TRUE(eventually([&] { return modelIn(*library, 0) == "after"; }));
    library->stop();
    EXPECT_TRUE(stall.hasVictim());
    EXPECT_EQ(scratch.read("cache/tarn/identities.json"), "");
    stall.release();
    EXPECT_TRUE(eventually(
        [&] { return scratch.read("cache/tarn/identities.json").find("after") != std::string::npos; }));
}

TEST_F(LibraryTest, CacheThatCannotBeReadNowIsReadLaterAndNotReplacedBefore)
{
    const std::string cache = scratch.path("cache/tarn/identities.json");
    const LoopbackAgent agent("127.42.1.14", "met now");
    std::filesystem::create_directories(cache); // no file as yet
    const auto library = start(portOf("127.42.1.14", agent));
    library->setPrinterList(R"([{"printerName":"a","ip":"127.42.1.14"}])");
    scratch.write("whole", R"({"format":1,"models":["old"],"printers":{"127.42.1.15":{"model":"old"}}})");
    std::filesystem::remove(cache);
    std::filesystem::rename(scratch.path("whole"), cache);
    const auto saved = [&] { return scratch.read("cache/tarn/identities.json"); };
    ASSERT_TRUE(eventually([&] { return saved().find("met now") != std::string::npos; }));
    EXPECT_NE(saved().find("127.42.1.15"), std::string::npos);
}

TEST_F(LibraryTest, BrokenCacheIsNoCache)
{
    scratch.write("cache/tarn/identities.json", "{\"format\":1,");
    const auto library = start();
    EXPECT_EQ(library->setPrinterList(R"([{"printerName":"a","ip":"none"}])"), TARN_OK);
    EXPECT_EQ(listOf(*library).size(), 1u);
}

TEST_F(LibraryTest, ListComesBackInItsOrderWithDuplicatesAndInvalidAddresses)
{
    const auto library = start();
    ASSERT_EQ(library->setPrinterList(R"([{"printerName":"b","ip":"x"},{"printerName":"a","ip":"1.2.3.999"},)"
                                      R"({"printerName":"b","manufacturer":"m"},{}])"),
              TARN_OK);
    const Json::Value list = listOf(*library);
    ASSERT_EQ(list.size(), 4u);
    EXPECT_EQ(list[0]["printerName"], "b");
    EXPECT_EQ(list[0]["ip"], "x");
    EXPECT_EQ(list[1]["ip"], "1.2.3.999");
    EXPECT_EQ(list[2]["manufacturer"], "m");
    EXPECT_EQ(list[3]["printerName"], "");
    for (const char* name : {"a", "b", ""}) {
        OpenedPrinter opened;
        ASSERT_EQ(library->open(name, opened), TARN_OK) << name;
        EXPECT_EQ(opened.snapshot->state, 2);
        EXPECT_EQ(opened.snapshot->stateMessage, "");
    }
}

TEST_F(LibraryTest, FirstOfEqualNamesCountsForTheStatus)
{
    const LoopbackAgent first("127.42.1.5", "the first");
    const LoopbackAgent second("127.42.1.6", "the second");
    const auto library = start(portsOf("127.42.1.5", first, "127.42.1.6", second));
    library->setPrinterList(
        R"([{"printerName":"a","ip":"127.42.1.5"},{"printerName":"a","ip":"127.42.1.6"}])");
    ASSERT_TRUE(eventually(
        [&] { return modelIn(*library, 0) == "the first" && modelIn(*library, 1) == "the second"; }));
    OpenedPrinter opened;
    ASSERT_EQ(library->open("a", opened), TARN_OK);
    EXPECT_EQ(opened.snapshot->status.unpacked().model, "the first");
}

TEST_F(LibraryTest, RemovedPrinterCanNoLongerBeOpenedAndItsSnapshotLivesOn)
{
    const auto library = start();
    library->setPrinterList(R"([{"printerName":"a","ip":"x"}])");
    OpenedPrinter opened;
    ASSERT_EQ(library->open("a", opened), TARN_OK);
    EXPECT_EQ(library->setPrinterList("null\n"), TARN_OK);
    EXPECT_EQ(listOf(*library).size(), 0u);
    OpenedPrinter again;
    EXPECT_EQ(library->open("a", again), TARN_E_UNKNOWN);
    EXPECT_EQ(opened.snapshot->state, 2);
}

TEST_F(LibraryTest, BrokenListChangesNothing)
{
    const auto library = start();
    library->setPrinterList(R"([{"printerName":"a","ip":"x"}])");
    EXPECT_EQ(library->setPrinterList("[{]"), TARN_E_DOCUMENT);
    EXPECT_EQ(library->setPrinterList("{}"), TARN_E_DOCUMENT);
    EXPECT_EQ(listOf(*library).size(), 1u);
}

TEST_F(LibraryTest, OptionsAreHonouredAndOddOnesIgnored)
{
    const auto library = start();
    EXPECT_EQ(library->setOptions("[]"), TARN_E_DOCUMENT);
    EXPECT_EQ(library->setOptions("{"), TARN_E_DOCUMENT);
    EXPECT_EQ(library->setOptions(R"({"future":{},"enable_set_printer_list":"no","enable_backends":7})"),
              TARN_OK);
    EXPECT_EQ(library->setPrinterList("[]"), TARN_OK);
    EXPECT_EQ(library->setOptions(R"({"enable_set_printer_list":false})"), TARN_OK);
    EXPECT_EQ(library->setPrinterList("[{}]"), TARN_E_DISABLED);
}

TEST_F(LibraryTest, PrintersAreNotAskedWhenSnmpIsNotAmongTheBackends)
{
    const LoopbackAgent agent("127.42.1.7", "never asked");
    const LoopbackAgent witness("127.42.1.8", "asked");
    const auto library = start(portsOf("127.42.1.7", agent, "127.42.1.8", witness));
    ASSERT_EQ(library->setOptions(R"({"enable_backends":"smusb|smx"})"), TARN_OK);
    library->setPrinterList(R"([{"printerName":"a","ip":"127.42.1.7"}])");
    ASSERT_EQ(library->setOptions(R"({"enable_backends":"smusb|sm"})"), TARN_OK);
    library->setPrinterList(
        R"([{"printerName":"a","ip":"127.42.1.7"},{"printerName":"b","ip":"127.42.1.8"}])");
    ASSERT_TRUE(eventually([&] { return modelIn(*library, 1) == "asked"; }));
    EXPECT_EQ(agent.requests(), 0u);
}

TEST_F(LibraryTest, ModelsBeginWithDetectionAndGrowWithoutMovingEarlierTexts)
{
    const LoopbackAgent agent("127.42.1.9", "met");
    const auto library = start(portOf("127.42.1.9", agent));
    char* const before = library->models();
    EXPECT_STREQ(before, R"([{"model":"自动识别"}])");
    EXPECT_EQ(library->models(), before);
    library->setPrinterList(R"([{"printerName":"a","ip":"127.42.1.9"}])");
    ASSERT_TRUE(eventually([&] { return library->models() != before; }));
    EXPECT_STREQ(library->models(), R"([{"model":"自动识别"},{"model":"met"}])");
    EXPECT_STREQ(before, R"([{"model":"自动识别"}])");
}

TEST_F(LibraryTest, ChangeOnThePrinterReachesTheNextOpening)
{
    LoopbackAgent agent("127.42.1.10", "alert 1"); // asked every two seconds
    const auto library = start(portOf("127.42.1.10", agent));
    library->setPrinterList(R"([{"printerName":"a","ip":"127.42.1.10"}])");
    const auto model = [&] {
        OpenedPrinter opened;
        return library->open("a", opened) == TARN_OK ? opened.snapshot->status.unpacked().model
                                                     : std::string();
    };
    ASSERT_TRUE(eventually([&] { return model() == "alert 1"; }));
    agent.say("alert 2");
    EXPECT_TRUE(eventually([&] { return model() == "alert 2"; }));
}

TEST_F(LibraryTest, StopReleasesAWaitingListExchange)
{
    const auto library = start(kDeadPort);
    std::thread waiting([&] { library->setPrinterList(R"([{"printerName":"a","ip":"127.42.1.11"}])"); });
    library->stop();
    waiting.join();
    EXPECT_EQ(library->setPrinterList("[{}]"), TARN_E_NOT_READY);
}

TEST(Texts, GivenBackTheyTakeNoMemory)
{
    const std::string words(500, 'x');
    const auto takeAndGiveBack = [&] {
        char* text = newText(words);
        giveBack(&text);
        EXPECT_EQ(text, nullptr);
    };
    takeAndGiveBack();
    const std::size_t before = ::mallinfo2().uordblks;
    for (int i = 0; i < 1000; ++i) {
        takeAndGiveBack();
    }
    EXPECT_LT(::mallinfo2().uordblks, before + 200000);
}

TEST(Texts, ListsOfModelsGoWithWhomTheyBelongTo)
{
    const std::vector<std::string> models(1, std::string(500, 'x'));
    const auto makeOne = [&] {
        ModelTexts texts;
        EXPECT_NE(texts.document(models, 1), nullptr);
    };
    makeOne();
    const std::size_t before = ::mallinfo2().uordblks;
    for (int i = 0; i < 1000; ++i) {
        makeOne();
    }
    EXPECT_LT(::mallinfo2().uordblks, before + 200000);
}

TEST(Texts, LibrarysOwnTextSurvivesBeingHandedBack)
{
    char* const own = newInternedText("mine");
    char* copy = own;
    giveBack(&copy);
    EXPECT_EQ(copy, nullptr);
    EXPECT_STREQ(own, "mine");
    deleteInterned(own);
}

} // namespace
} // namespace tarn::api
