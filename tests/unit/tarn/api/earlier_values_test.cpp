// What the library tells of a printer that is off: what that said in an earlier run.
#include <gtest/gtest.h>

#include "tarn/src/api/handle.h"
#include "tarn/src/api/library.h"
#include "tarn/src/base/json_input.h"
#include "tarn/src/snmp/poll/udp_port.h"
#include "tarn/tarn.h"
#include "tests/support/eventually.h"
#include "tests/unit/tarn/api/loopback_agent.h"
#include "tests/unit/tarn/snmp/poll/fake_session.h"
#include "tests/unit/tarn/support/scratch_directory.h"
#include "tests/unit/tarn/support/stalled_rename.h"

namespace tarn::api {
namespace {

using kel_test::eventually;
using test::LoopbackAgent;

constexpr const char kFile[] = "state/tarn/last-values.jsonl";
constexpr const char kList[] = R"([{"printerName":"a","ip":"127.42.2.1"}])";
constexpr const char kDeadPort[] = R"({"default":{"port":16299}})"; // nobody listens there

class EarlierValues : public testing::Test
{
protected:
    // With identities, as the program has them, where there is a path for them.
    std::unique_ptr<Library> start(const std::string& configuration, const char* options = "{}",
                                   const std::string& cache = "")
    {
        Library::Parts parts{std::make_unique<BootClock>(),
                             std::make_unique<SystemRandom>(),
                             std::make_unique<snmp::UdpPort>(),
                             snmp::test::fakeSessions(),
                             catalog::Config(),
                             cache,
                             scratch.path(kFile),
                             {}};
        catalog::ConfigComplaints complaints(configuration);
        parts.config.parse(configuration, complaints);
        auto library = std::make_unique<Library>(std::move(parts));
        EXPECT_TRUE(library->start());
        EXPECT_EQ(library->setOptions(options), TARN_OK);
        EXPECT_EQ(library->setPrinterList(kList), TARN_OK);
        return library;
    }
    static std::string portOf(const LoopbackAgent& agent)
    {
        return R"({"default":{"port":)" + std::to_string(agent.port()) + "}}";
    }
    static OpenedPrinter opened(Library& library, Library::Status status)
    {
        OpenedPrinter printer;
        EXPECT_EQ(library.open("a", printer, status), TARN_OK);
        return printer;
    }
    static std::string modelOf(const OpenedPrinter& printer)
    {
        return printer.snapshot->status.unpacked().model;
    }
    static bool awaitAnswer(Library& library)
    {
        return eventually([&] { return opened(library, Library::Status::OfThisRun).snapshot->online; });
    }
    static bool awaitEarlier(Library& library)
    {
        return eventually([&] { return opened(library, Library::Status::WithEarlier).isOfEarlierRun; });
    }
    void liveOnceWith(const std::string& model)
    {
        {
            const LoopbackAgent agent("127.42.2.1", model);
            const auto library = start(portOf(agent));
            EXPECT_TRUE(awaitAnswer(*library));
        }
        // On a slow disk the library does not wait for it to be written.
        EXPECT_TRUE(eventually([&] { return file().find("127.42.2.1") != std::string::npos; }));
    }
    std::string file() const { return scratch.read(kFile); }
    void writeFile(const std::string& time, const std::string& model) const
    {
        scratch.write(kFile, "{\"format\":1}\n"
                             R"({"address":"127.42.2.1","time":)" +
                                 time + R"(,"source":"ipp","status":{"model":")" + model + "\"}}\n");
    }

    test::ScratchDirectory scratch;
};

TEST_F(EarlierValues, AreToldOfAPrinterThatIsOffWithTheirAgeToWhomAsksForDetail)
{
    liveOnceWith("laser");
    const auto library = start(kDeadPort);
    ASSERT_TRUE(awaitEarlier(*library));
    const OpenedPrinter printer = opened(*library, Library::Status::WithEarlier);
    EXPECT_EQ(modelOf(printer), "laser");
    EXPECT_GE(printer.ageMs, 0);
    EXPECT_FALSE(printer.snapshot->online);
    EXPECT_EQ(printer.snapshot->state, 2);
    EXPECT_EQ(printer.snapshot->stateMessage, "");
    EXPECT_EQ(printer.snapshot->source, engine::Source::Snmp);
    const Json::Value info = *parseJson(PrinterHandle(printer, true).detailedInfo(), 1u << 20);
    EXPECT_EQ(info["online"], "0");
    EXPECT_EQ(info["remembered"], "1");
    EXPECT_EQ(info["age"], std::to_string(printer.ageMs));
    EXPECT_EQ(info["source"], "sm");
    EXPECT_EQ(info["sources"], "{}");
}

TEST_F(EarlierValues, APlainOpeningTellsOnlyOfThisRun)
{
    writeFile("5", "laser");
    const auto library = start(kDeadPort);
    ASSERT_TRUE(awaitEarlier(*library)); // they are known, and asked for by somebody else
    const OpenedPrinter plain = opened(*library, Library::Status::OfThisRun);
    EXPECT_EQ(modelOf(plain), "");
    EXPECT_EQ(plain.ageMs, -1);
    EXPECT_FALSE(plain.isOfEarlierRun);
    const auto without = start(kDeadPort, R"({"enable_cache":false})");
    const OpenedPrinter before = opened(*without, Library::Status::OfThisRun);
    EXPECT_EQ(plain.snapshot->info, before.snapshot->info);
    EXPECT_EQ(plain.snapshot->serialNumber, before.snapshot->serialNumber);
    EXPECT_EQ(plain.snapshot->source, before.snapshot->source);
    EXPECT_EQ(plain.snapshot->totalPages, before.snapshot->totalPages);
}

TEST_F(EarlierValues, GiveWayToTheFirstAnswer)
{
    scratch.write(kFile, "{\"format\":1}\n"
                         R"({"address":"127.42.2.1","time":5,"source":"sm","status":{"model":"before"}})"
                         "\n"
                         R"({"address":"127.42.2.2","time":5,"source":"sm","status":{"model":"off"}})");
    const LoopbackAgent agent("127.42.2.1", "now");
    const auto library = start(portOf(agent));
    ASSERT_EQ(library->setPrinterList(
                  R"([{"printerName":"a","ip":"127.42.2.1"},{"printerName":"b","ip":"127.42.2.2"}])"),
              TARN_OK);
    ASSERT_TRUE(awaitAnswer(*library));
    OpenedPrinter off;
    ASSERT_TRUE(eventually([&] { // the file has been read
        return library->open("b", off, Library::Status::WithEarlier) == TARN_OK && off.isOfEarlierRun;
    }));
    EXPECT_EQ(modelOf(off), "off");
    const OpenedPrinter printer = opened(*library, Library::Status::WithEarlier);
    EXPECT_FALSE(printer.isOfEarlierRun);
    EXPECT_EQ(modelOf(printer), "now");
}

TEST_F(EarlierValues, AreNeverOlderThanNothingThoughTheClockWasSetBack)
{
    writeFile("99999999999", "laser");
    const auto library = start(kDeadPort);
    ASSERT_TRUE(awaitEarlier(*library));
    const OpenedPrinter printer = opened(*library, Library::Status::WithEarlier);
    EXPECT_GE(printer.ageMs, 0);
    EXPECT_LT(printer.ageMs, 24 * 3600 * 1000); // counts from when the file was read
}

TEST_F(EarlierValues, AreNeitherReadNorWrittenWhereTheCacheIsSwitchedOff)
{
    writeFile("5", "laser");
    const std::string before = file();
    const LoopbackAgent agent("127.42.2.1", "now");
    {
        const auto library = start(kDeadPort, R"({"enable_cache":false})");
        for (int i = 0; i < 20; ++i) {
            EXPECT_FALSE(opened(*library, Library::Status::WithEarlier).isOfEarlierRun);
            std::this_thread::sleep_for(Milliseconds(5));
        }
    }
    {
        const auto library = start(portOf(agent), R"({"enable_cache":false})");
        EXPECT_TRUE(awaitAnswer(*library));
    }
    EXPECT_EQ(file(), before);
}

TEST_F(EarlierValues, AreReadButNotWrittenNorIdentitiesWhereWritingIsSwitchedOff)
{
    writeFile("5", "laser");
    const std::string before = file();
    const std::string identities =
        R"({"format":1,"models":["old"],"printers":{"127.42.2.9":{"model":"old"}}})";
    scratch.write("cache/tarn/identities.json", identities);
    const LoopbackAgent agent("127.42.2.1", "now");
    {
        const auto library =
            start(kDeadPort, R"({"enable_cache_writing":false})", scratch.path("cache/tarn/identities.json"));
        EXPECT_TRUE(awaitEarlier(*library));
        EXPECT_TRUE(
            eventually([&] { return std::string(library->models()).find("old") != std::string::npos; }));
    }
    {
        const auto library = start(portOf(agent), R"({"enable_cache_writing":false})",
                                   scratch.path("cache/tarn/identities.json"));
        EXPECT_TRUE(awaitAnswer(*library));
        EXPECT_EQ(library->housekeeping(BootClock().now() + std::chrono::hours(100)), kNever);
    }
    EXPECT_EQ(file(), before);
    EXPECT_EQ(scratch.read("cache/tarn/identities.json"), identities);
}

TEST_F(EarlierValues, OfAnAddressThatIsNamedNoLongerAreForgotten)
{
    liveOnceWith("laser");
    ASSERT_NE(file().find("127.42.2.1"), std::string::npos);
    {
        const auto library = start(kDeadPort); // is off, and stays in the list
    }
    ASSERT_NE(file().find("127.42.2.1"), std::string::npos);
    {
        const auto library = start(kDeadPort);
        EXPECT_EQ(library->setPrinterList("[]"), TARN_OK);
        EXPECT_EQ(library->setPrinterList(kList), TARN_OK); // a slip
    }
    ASSERT_NE(file().find("127.42.2.1"), std::string::npos);
    {
        const auto library = start(kDeadPort);
        EXPECT_EQ(library->setPrinterList("[]"), TARN_OK);
    }
    EXPECT_TRUE(eventually([&] {
        const std::string left = file();
        return !left.empty() && left.find("127.42.2.1") == std::string::npos;
    }));
}

TEST_F(EarlierValues, AreForgottenOnceAndStayWhenAnotherProgramAddsThemAgain)
{
    writeFile("1700000000", "laser");
    const auto library = start(kDeadPort);
    EXPECT_EQ(library->setPrinterList("[]"), TARN_OK);
    library->housekeeping(BootClock().now() + std::chrono::hours(100));
    ASSERT_TRUE(eventually([&] { return file().find("127.42.2.1") == std::string::npos; }));
    writeFile("1700000000", "laser");
    library->stop();
    EXPECT_NE(file().find("127.42.2.1"), std::string::npos);
}

// Housekeeping is told what time it is; the engine's thread does the same meanwhile, and is far behind.
TEST_F(EarlierValues, AreSavedTenMinutesAfterAChangeAndElseEveryHour)
{
    const TimePoint begin = BootClock().now();
    const LoopbackAgent agent("127.42.2.1", "laser");
    const auto library = start(portOf(agent));
    ASSERT_TRUE(awaitAnswer(*library));
    const TimePoint answered = BootClock().now();
    TimePoint due = kNever;
    ASSERT_TRUE(eventually([&] { // which comes behind the answer
        due = library->housekeeping(answered + std::chrono::minutes(1));
        return due <= answered + Library::kValuesEvery;
    }));
    EXPECT_GE(due, begin + Library::kValuesEvery);
    EXPECT_EQ(library->housekeeping(due - Milliseconds(1)), due);
    EXPECT_EQ(file(), "");
    library->housekeeping(due);
    EXPECT_TRUE(eventually([&] { return file().find("laser") != std::string::npos; }));
    // As soon as it says nothing new any more.
    EXPECT_TRUE(eventually([&] {
        const TimePoint now = due + Library::kDatesEvery;
        due = library->housekeeping(now);
        EXPECT_GE(due, now + Library::kValuesEvery);
        return due == now + Library::kDatesEvery;
    }));
}

TEST_F(EarlierValues, AHomeDirectoryThatStallsHoldsNobodyUp)
{
    const LoopbackAgent agent("127.42.2.1", "laser");
    const auto library = start(portOf(agent));
    ASSERT_TRUE(awaitAnswer(*library));
    test::StalledRename stall;
    library->stop();
    EXPECT_TRUE(stall.hasVictim()); // it did not wait for the end of the stall
    EXPECT_EQ(file(), "");
    stall.release();
    EXPECT_TRUE(eventually([&] { return file().find("laser") != std::string::npos; }));
}

} // namespace
} // namespace tarn::api
