// A printer that calls itself something else whenever it is asked, for a whole day of the engine's time.
#include <gtest/gtest.h>

#include <malloc.h>

#include <set>

#include "tarn/src/api/library.h"
#include "tarn/src/base/json_input.h"
#include "tarn/src/snmp/poll/udp_port.h"
#include "tarn/tarn.h"
#include "tests/unit/tarn/snmp/poll/fake_session.h"
#include "tests/unit/tarn/support/scratch_directory.h"
#include "tests/unit/tarn/support/simulated_time.h"

namespace tarn::api {
namespace {

constexpr int kPrinters = 3;
constexpr Milliseconds kPause{2000};

// The library without its thread: the test is the engine, and says what the printers said.
class PoisonedModels : public testing::Test
{
protected:
    PoisonedModels()
    {
        Library::Parts parts{std::make_unique<tarn::test::BorrowedClock>(clock),
                             std::make_unique<SystemRandom>(),
                             std::make_unique<snmp::UdpPort>(),
                             snmp::test::fakeSessions(),
                             catalog::Config(),
                             scratch.path("cache/tarn/identities.json"),
                             {}};
        library = std::make_unique<Library>(std::move(parts));
        EXPECT_EQ(library->setOptions(R"({"enable_backends":""})"), TARN_OK); // nobody is waited for
        EXPECT_EQ(library->setPrinterList("[]"), TARN_OK);
        for (std::uint32_t i = 0; i < kPrinters; ++i) {
            targets.push_back(std::make_shared<engine::Target>(
                engine::PrinterAddress{{0x0A000001u + i, 161},
                                       engine::VersionChoice::Auto,
                                       std::make_shared<const std::string>()},
                engine::unmetSnapshot({}), clock.now()));
        }
    }

    // Each printer answers under a new name, then the program asks for the models.
    void round()
    {
        clock.set(clock.now() + kPause);
        for (const auto& target : targets) {
            device::DeviceStatus status;
            status.model = "Evil " + std::to_string(++names) + std::string(100, 'x');
            status.activity = device::Activity::Idle;
            target->report(engine::Source::Snmp, status);
            library->targetChanged(*target);
        }
        const TimePoint due = library->housekeeping(clock.now());
        saves += due != kNever ? 1 : 0;
        texts.insert(library->models());
    }

    test::ScratchDirectory scratch;
    tarn::test::SimulatedClock clock;
    std::unique_ptr<Library> library;
    std::vector<std::shared_ptr<engine::Target>> targets;
    std::set<const char*> texts; // that were handed out
    std::uint64_t names = 0;
    int saves = 0; // rounds after which one was due
};

TEST_F(PoisonedModels, CostABoundedNumberOfTextsSavesAndOctetsOverADay)
{
    constexpr int kHour = 3600 / 2;
    for (int i = 0; i < kHour; ++i) {
        round();
    }
    const std::size_t textsThen = texts.size();
    const int savesThen = saves;
    const std::size_t octetsThen = ::mallinfo2().uordblks;
    for (int i = kHour; i < 24 * kHour; ++i) {
        round();
    }
    EXPECT_EQ(names, 24U * kHour * kPrinters);
    EXPECT_EQ(parseJson(library->models(), 1u << 20)->size(), 1U + kPrinters); // with the one of detection
    EXPECT_LE(textsThen, 2U + catalog::IdentityCache::kMostChanges);
    EXPECT_EQ(texts.size(), textsThen);
    EXPECT_EQ(saves, savesThen);
    EXPECT_LT(::mallinfo2().uordblks, octetsThen + 20000);
    library->stop();
    EXPECT_LT(scratch.read("cache/tarn/identities.json").size(), 3000U);
}

TEST(ModelTextsTest, TextsOfThePastAreBounded)
{
    ModelTexts texts;
    std::set<const char*> handedOut;
    std::vector<std::string> models{std::string(1u << 20, 'x')};
    for (std::uint64_t revision = 1; revision < 100; ++revision) {
        models[0][0] = static_cast<char>('0' + revision % 10);
        handedOut.insert(texts.document(models, revision));
        handedOut.insert(texts.document(models, revision)); // the same again
    }
    EXPECT_GE(handedOut.size(), 15U);
    EXPECT_LE(handedOut.size(), 18U);
    for (const char* text : handedOut) {
        EXPECT_EQ(std::string_view(text).size(), std::string_view(*handedOut.begin()).size()); // none is gone
    }
}

} // namespace
} // namespace tarn::api
