// When printers are polled, to the millisecond: on a scheduler whose clock the test moves.
#include <boost/weak_ptr.hpp>
#include <gmock/gmock.h>

#include <algorithm>
#include <map>
#include <memory>
#include <mutex>

#include "tests/support/simulated_scheduler.h"
#include "tests/unit/printer/registry_fixture.h"

using namespace morvik::kel;
namespace simulated = kel_test::simulated;
using kel_test::tarnControl;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;

namespace {

// Notes when the callback is called, by printer, in milliseconds since the test began.
class Recorder
{
public:
    void operator()(const PrinterContext& context)
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_times[context.printerName].push_back(simulated::now() - m_begun);
    }
    std::vector<long> times(const std::string& name)
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return m_times[name];
    }

private:
    const long m_begun = simulated::now();
    std::mutex m_mutex;
    std::map<std::string, std::vector<long>> m_times;
};

class PollingSchedule : public kel_test::RegistryFixture
{
protected:
    void SetUp() override
    {
        simulated::reset();
        RegistryFixture::SetUp();
        registry().setCallback([recorder = m_recorder](PrinterContext context) { (*recorder)(context); });
    }
    void TearDown() override
    {
        simulated::reset();
        RegistryFixture::TearDown();
    }
    // Makes every answer take so long.
    static void answerAfter(long milliseconds)
    {
        tarnControl().setHook([milliseconds](const std::string& function, const std::string&) {
            if (function == "tarn_openPrinter") {
                simulated::sleep(milliseconds);
            }
        });
    }
    // When a printer reported.
    std::vector<long> times(const std::string& name) { return m_recorder->times(name); }

    const std::shared_ptr<Recorder> m_recorder = std::make_shared<Recorder>();
};

TEST_F(PollingSchedule, NoPrintersNothingRuns)
{
    registry().start();
    EXPECT_EQ(simulated::scheduled(), 0u);
    tarnControl().clearCalls();
    const std::size_t before = simulated::runs();
    simulated::advance(10000);
    EXPECT_EQ(simulated::runs(), before);
    EXPECT_THAT(tarnControl().calls(), IsEmpty());
}

TEST_F(PollingSchedule, PrintersAreGoneBeforeTheLibraryIsStopped)
{
    use({"first", "second"});
    std::vector<boost::weak_ptr<Printer>> watched;
    for (const boost::shared_ptr<Printer>& printer : printers()) {
        watched.emplace_back(printer);
    }
    ASSERT_THAT(watched, SizeIs(2));
    std::vector<bool> areGone;
    tarnControl().setHook([&](const std::string& function, const std::string&) {
        if (function == "tarn_destroy") {
            areGone = {watched[0].expired(), watched[1].expired()};
        }
    });
    m_registry.reset();
    tarnControl().setHook(nullptr);
    EXPECT_THAT(areGone, ElementsAre(true, true));
}

TEST_F(PollingSchedule, FirstPollComesAfterTwoSecondsAndThenOneEverySecond)
{
    use({"regular"});
    simulated::advance(1999);
    EXPECT_EQ(opens("regular"), 0);
    simulated::advance(4000);
    EXPECT_THAT(times("regular"), ElementsAre(2000, 3000, 4000, 5000));
}

TEST_F(PollingSchedule, SlowPrinterReportsOncePerThreeSecondsAndNeverTwiceAtOnce)
{
    answerAfter(2500);
    use({"slow"});
    // Polls start at 2, 5 and 8 s: the ticks in between find the poll under way and are not made up for.
    simulated::advance(4500);
    EXPECT_EQ(opens("slow"), 1);
    simulated::advance(499);
    EXPECT_EQ(opens("slow"), 1);
    simulated::advance(1);
    EXPECT_EQ(opens("slow"), 2);
    simulated::advance(6000);
    EXPECT_THAT(times("slow"), ElementsAre(4500, 7500, 10500));
}

TEST_F(PollingSchedule, RefreshDuringAPollMakesNoSecondReport)
{
    answerAfter(1500);
    use({"twice"});
    simulated::advance(2500);
    const std::size_t before = simulated::runs();
    registry().refresh("twice");
    simulated::advance(0);
    EXPECT_EQ(simulated::runs(), before + 1); // the extra run comes and goes
    simulated::advance(2000);
    EXPECT_EQ(opens("twice"), 2); // the second is the regular one of 4 s
    EXPECT_THAT(times("twice"), ElementsAre(3500));
}

TEST_F(PollingSchedule, RefreshGivesTheFirstStatusBeforeTheFirstRegularPoll)
{
    use({"refreshed", "other"});
    simulated::advance(700);
    registry().refresh("refreshed");
    EXPECT_EQ(registry().getPrinter("refreshed").state, 0);
    simulated::advance(0);
    EXPECT_THAT(times("refreshed"), ElementsAre(700));
    EXPECT_THAT(times("other"), IsEmpty());
    EXPECT_EQ(registry().getPrinter("refreshed").state, 3);
    // It is one poll more, and the regular ones stay where they were.
    simulated::advance(2300);
    EXPECT_THAT(times("refreshed"), ElementsAre(700, 2000, 3000));
}

TEST_F(PollingSchedule, RefreshOfAnUnknownNameDoesNothing)
{
    use({"known"});
    const std::size_t before = simulated::scheduled();
    tarnControl().clearCalls();
    EXPECT_NO_THROW(registry().refresh("nobody"));
    EXPECT_EQ(simulated::scheduled(), before);
    simulated::advance(1999);
    EXPECT_THAT(tarnControl().calls(), IsEmpty());
}

TEST_F(PollingSchedule, DroppedPrinterIsPolledOn)
{
    use({"dropped"});
    simulated::advance(2000);
    use({});
    EXPECT_EQ(names(), "");
    simulated::advance(2000);
    EXPECT_THAT(times("dropped"), ElementsAre(2000, 3000, 4000));
}

TEST_F(PollingSchedule, ADestroyedRegistryHasItsPrintersCancelled)
{
    use({"cancelled-1", "cancelled-2"});
    EXPECT_EQ(simulated::scheduled(), 2u);
    m_registry.reset();
    EXPECT_EQ(simulated::scheduled(), 0u);
}

} // namespace
