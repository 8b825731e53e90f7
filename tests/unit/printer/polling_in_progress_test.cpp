// Polls beside each other and at the end, on the program's own scheduler and at its own periods.
#include <gmock/gmock.h>

#include <atomic>
#include <chrono>
#include <map>
#include <memory>
#include <mutex>
#include <thread>

#include "printer/poll_gate.h"
#include "tests/support/eventually.h"
#include "tests/unit/printer/registry_fixture.h"

using namespace morvik::kel;
using kel_test::eventually;
using kel_test::tarnControl;
using kel_test::TarnScript;

namespace {

// Counts the reports, by printer.
class Recorder
{
public:
    void operator()(const PrinterContext& context)
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        ++m_reports[context.printerName];
    }
    std::size_t reports(const std::string& name)
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return m_reports[name];
    }

private:
    std::mutex m_mutex;
    std::map<std::string, std::size_t> m_reports;
};

class PollingInProgress : public kel_test::RegistryFixture
{
protected:
    void SetUp() override
    {
        RegistryFixture::SetUp();
        // Shared: printers that a test drops report on while the next one runs.
        registry().setCallback([recorder = m_recorder](PrinterContext context) { (*recorder)(context); });
    }
    // How often a printer reported.
    std::size_t reports(const std::string& name) { return m_recorder->reports(name); }

    const std::shared_ptr<Recorder> m_recorder = std::make_shared<Recorder>();
};

TEST_F(PollingInProgress, SlowPrinterHoldsUpNobodysScheduleForLongerThanItsPoll)
{
    TarnScript script;
    script.printers["lame"].delayMs = 300;
    tarnControl().setScript(script);
    use({"lame", "brisk-1", "brisk-2"});
    ASSERT_TRUE(eventually([this] { return reports("lame") >= 4; }));
    EXPECT_GE(reports("brisk-1"), 3u);
    EXPECT_GE(reports("brisk-2"), 3u);
}

TEST_F(PollingInProgress, NoReportComesOnceStopPollingHasReturned)
{
    TarnScript script;
    script.defaultPrinter->delayMs = 30;
    tarnControl().setScript(script);
    std::vector<std::string> all;
    for (int i = 0; i < 12; ++i) {
        all.push_back("stopped-" + std::to_string(i));
    }
    use(all);
    all.resize(3);
    use(all); // the others are dropped and stay scheduled
    ASSERT_TRUE(eventually([this] { return reports("stopped-0") + reports("stopped-9") >= 1; }));
    std::atomic<bool> isWindowGone{false};
    std::atomic<int> late{0};
    tarnControl().setHook([&](const std::string&, const std::string&) { late += isWindowGone ? 1 : 0; });
    registry().stopPolling();
    isWindowGone = true;
    std::size_t before = 0;
    for (int i = 0; i < 12; ++i) {
        before += reports("stopped-" + std::to_string(i));
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(2200)); // two more ticks of each
    std::size_t after = 0;
    for (int i = 0; i < 12; ++i) {
        after += reports("stopped-" + std::to_string(i));
    }
    EXPECT_EQ(after, before);
    EXPECT_EQ(late, 0);
}

// With the gate open again on purpose, the unloaded library's own guard is all that is left.
TEST_F(PollingInProgress, NoPollReachesAnUnloadedLibrary)
{
    use({"unloaded-1", "unloaded-2"});
    use({"unloaded-1"});
    m_registry.reset();
    pollGate().open();
    tarnControl().clearCalls();
    const std::size_t before = reports("unloaded-2");
    std::this_thread::sleep_for(std::chrono::milliseconds(3200)); // the dropped one's ticks come all the same
    EXPECT_THAT(tarnControl().calls(), ::testing::IsEmpty());
    EXPECT_EQ(reports("unloaded-2"), before);
}

// exit() with a poll under way: the registry's destructor waits for it, its callback included, before it
// unloads the library.
TEST_F(PollingInProgress, DestroyingTheRegistryWaitsForPollsInProgress)
{
    struct Progress
    {
        std::atomic<bool> isInside{false};
        std::atomic<bool> isOver{false};
    };
    const auto progress = std::make_shared<Progress>();
    registry().setCallback([progress](PrinterContext) {
        progress->isInside = true;
        std::this_thread::sleep_for(std::chrono::milliseconds(300));
        progress->isOver = true;
    });
    use({"inside"});
    registry().refresh("inside");
    ASSERT_TRUE(eventually([&] { return progress->isInside.load(); }));
    m_registry.reset();
    EXPECT_TRUE(progress->isOver);
    const std::vector<std::string> calls = tarnControl().calls();
    EXPECT_EQ(calls.back(), "tarn_destroy");
    EXPECT_EQ(calls[calls.size() - 2], "tarn_closePrinter");
}

} // namespace
