// Printers on the scheduler, at the program's own periods.
#include <gmock/gmock.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <future>
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
using Clock = std::chrono::steady_clock;

namespace {

// Notes when the callback is called, by printer.
class Recorder
{
public:
    void operator()(const PrinterContext& context)
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_times[context.printerName].push_back(Clock::now());
    }
    std::vector<Clock::time_point> times(const std::string& name)
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return m_times[name];
    }

private:
    std::mutex m_mutex;
    std::map<std::string, std::vector<Clock::time_point>> m_times;
};

class PollingSchedule : public kel_test::RegistryFixture
{
protected:
    void SetUp() override
    {
        RegistryFixture::SetUp();
        // Shared: printers that a test drops report on while the next one runs.
        registry().setCallback([recorder = m_recorder](PrinterContext context) { (*recorder)(context); });
    }
    // How often a printer reported.
    std::size_t reports(const std::string& name) { return m_recorder->times(name).size(); }

    const std::shared_ptr<Recorder> m_recorder = std::make_shared<Recorder>();
};

TEST_F(PollingSchedule, NoPrintersNothingRuns)
{
    registry().start();
    tarnControl().clearCalls();
    std::this_thread::sleep_for(std::chrono::milliseconds(2500));
    EXPECT_THAT(tarnControl().calls(), ::testing::IsEmpty());
}

TEST_F(PollingSchedule, FirstPollComesAfterTwoSecondsAndThenOneEverySecond)
{
    const Clock::time_point start = Clock::now();
    use({"regular"});
    ASSERT_TRUE(eventually([this] { return reports("regular") >= 4; }));
    const std::vector<Clock::time_point> times = m_recorder->times("regular");
    // Never early; how late depends on the machine.
    EXPECT_GE(times[0] - start, std::chrono::milliseconds(2000));
    EXPECT_GE(times[3] - start, std::chrono::milliseconds(5000));
    EXPECT_LT(times[0] - start, std::chrono::milliseconds(3500));
    EXPECT_LT(times[3] - start, std::chrono::milliseconds(7500));
}

TEST_F(PollingSchedule, SlowPrinterReportsOncePerThreeSecondsAndNeverTwiceAtOnce)
{
    TarnScript script;
    script.printers["slow"].delayMs = 2500;
    tarnControl().setScript(script);
    const Clock::time_point start = Clock::now();
    use({"slow"});
    ASSERT_TRUE(eventually([this] { return reports("slow") >= 3; }));
    const std::vector<Clock::time_point> times = m_recorder->times("slow");
    // Polls start at 2, 5 and 8 s: the ticks in between find the poll under way and are not made up for.
    EXPECT_GE(times[1] - start, std::chrono::milliseconds(7500));
    EXPECT_GE(times[2] - start, std::chrono::milliseconds(10500));
    EXPECT_LT(times[2] - start, std::chrono::milliseconds(14500));
    EXPECT_EQ(tarnControl().mostCallsAtOnce(), 1);
}

TEST_F(PollingSchedule, RefreshDuringAPollMakesNoSecondReport)
{
    std::promise<void> release;
    std::shared_future<void> released = release.get_future().share();
    std::atomic<int> polling{0};
    const Clock::time_point start = Clock::now();
    use({"twice"});
    tarnControl().setHook([&, released](const std::string& function, const std::string&) {
        if (function == "tarn_openPrinter") {
            ++polling;
            released.wait();
        }
    });
    ASSERT_TRUE(eventually([&] { return polling == 1; }));
    registry().refresh("twice");
    std::this_thread::sleep_for(std::chrono::milliseconds(100)); // the extra run comes and goes
    release.set_value();
    ASSERT_TRUE(eventually([this] { return reports("twice") >= 2; }));
    EXPECT_GE(m_recorder->times("twice")[1] - start,
              std::chrono::milliseconds(3000)); // the next regular poll
}

TEST_F(PollingSchedule, SlowPrinterHoldsUpNobodysScheduleForLongerThanItsPoll)
{
    TarnScript script;
    script.printers["lame"].delayMs = 300;
    tarnControl().setScript(script);
    use({"lame", "brisk-1", "brisk-2"});
    ASSERT_TRUE(eventually([this] { return reports("lame") >= 4; }));
    EXPECT_GE(reports("brisk-1"), 3u);
    EXPECT_GE(reports("brisk-2"), 3u);
}

TEST_F(PollingSchedule, DroppedPrinterIsPolledOn)
{
    use({"dropped"});
    ASSERT_TRUE(eventually([this] { return reports("dropped") >= 1; }));
    use({});
    EXPECT_EQ(names(), "");
    const std::size_t before = reports("dropped");
    EXPECT_TRUE(eventually([&] { return reports("dropped") >= before + 2; }));
}

TEST_F(PollingSchedule, NoReportComesOnceStopPollingHasReturned)
{
    TarnScript script;
    script.defaultPrinter->delayMs = 30;
    tarnControl().setScript(script);
    std::vector<std::string> all;
    for (int i = 0; i < 12; ++i)
        all.push_back("stopped-" + std::to_string(i));
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
    for (int i = 0; i < 12; ++i)
        before += reports("stopped-" + std::to_string(i));
    std::this_thread::sleep_for(std::chrono::milliseconds(2200)); // two more ticks of each
    std::size_t after = 0;
    for (int i = 0; i < 12; ++i)
        after += reports("stopped-" + std::to_string(i));
    EXPECT_EQ(after, before);
    EXPECT_EQ(late, 0);
}

// With the gate open again on purpose, the unloaded library's own guard is all that is left.
TEST_F(PollingSchedule, NoPollReachesAnUnloadedLibrary)
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
TEST_F(PollingSchedule, DestroyingTheRegistryWaitsForPollsInProgress)
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
