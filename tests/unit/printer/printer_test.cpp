#include "printer/printer.h"

#include <boost/make_shared.hpp>
#include <gmock/gmock.h>

#include <atomic>
#include <future>
#include <stdexcept>
#include <thread>

#include "printer/printer_exception.h"
#include "tests/support/eventually.h"
#include "tests/unit/printer/tarn_fixture.h"

using namespace morvik::kel;
using kel_test::eventually;
using kel_test::ScriptedPrinter;
using kel_test::tarnControl;

namespace {

PrinterContext named(const std::string& name)
{
    PrinterContext context;
    context.printerName = name;
    return context;
}

class CountingTask : public twheel::TaskHandle
{
public:
    explicit CountingTask(int& cancelled) : m_cancelled(cancelled) {}
    void cancel() override { ++m_cancelled; }

private:
    int& m_cancelled;
};

class PrinterTest : public kel_test::LoadedTarnFixture
{
protected:
    void TearDown() override
    {
        release();
        LoadedTarnFixture::TearDown();
    }
    // From now on a poll waits in tarn_openPrinter until release().
    void holdPolls()
    {
        tarnControl().setHook([this, released = m_released](const std::string& called, const std::string&) {
            if (called != "tarn_openPrinter") {
                return;
            }
            ++m_waiting;
            released.wait();
        });
    }
    void release()
    {
        if (!m_isReleased) {
            m_release.set_value();
        }
        m_isReleased = true;
    }

    std::atomic<int> m_waiting{0};
    std::promise<void> m_release;
    std::shared_future<void> m_released = m_release.get_future().share();
    bool m_isReleased = false;
};

TEST_F(PrinterTest, PollHandsTheFreshContextToTheCallback)
{
    const auto printer = boost::make_shared<Printer>(named("office"));
    std::vector<PrinterContext> seen;
    printer->setCallback([&](PrinterContext context) { seen.push_back(context); });
    printer->run();
    ASSERT_EQ(seen.size(), 1u);
    EXPECT_EQ(seen[0].printerName, "office");
    EXPECT_EQ(seen[0].state, 3);
    EXPECT_EQ(seen[0].stateMessage, "就绪");
    EXPECT_EQ(printer->snapshot()->state, 3);
}

TEST_F(PrinterTest, CallbackMayChangeItsCopyAsItLikes)
{
    const auto printer = boost::make_shared<Printer>(named("office"));
    printer->setCallback([](PrinterContext context) { context.stateMessage = "changed"; });
    printer->run();
    EXPECT_EQ(printer->snapshot()->stateMessage, "就绪");
}

TEST_F(PrinterTest, FailedOpenCallsNobodyAndLeavesState2)
{
    ScriptedPrinter answers;
    answers.openResult = 5;
    setPrinter("office", answers);
    const auto printer = boost::make_shared<Printer>(named("office"));
    printer->setCallback([](PrinterContext) { FAIL() << "a failed poll reports nothing"; });
    printer->run();
    EXPECT_EQ(printer->snapshot()->state, 2);
}

TEST_F(PrinterTest, WithoutACallbackItPollsAllTheSame)
{
    const auto printer = boost::make_shared<Printer>(named("office"));
    printer->run();
    EXPECT_EQ(printer->snapshot()->state, 3);
    EXPECT_EQ(opens("office"), 1);
}

TEST_F(PrinterTest, WithoutALibraryNothingChanges)
{
    forgetLibrary();
    const auto printer = boost::make_shared<Printer>(named("office"));
    printer->setCallback([](PrinterContext) { FAIL(); });
    printer->run();
    EXPECT_EQ(printer->snapshot()->state, 0);
}

TEST_F(PrinterTest, OverlappingTickReturnsAtOnce)
{
    holdPolls();
    const auto printer = boost::make_shared<Printer>(named("office"));
    std::atomic<int> callbacks{0};
    printer->setCallback([&](PrinterContext) { ++callbacks; });
    std::thread first([&] { printer->run(); });
    ASSERT_TRUE(eventually([&] { return m_waiting == 1; }));
    printer->run(); // would wait for ever if it queued up
    EXPECT_EQ(opens("office"), 1);
    EXPECT_EQ(callbacks, 0);
    release();
    first.join();
    EXPECT_EQ(callbacks, 1);
    EXPECT_EQ(opens("office"), 1);
    printer->run(); // the mutex was let go
    EXPECT_EQ(callbacks, 2);
}

TEST_F(PrinterTest, TickDuringTheCallbackReturnsAtOnceToo)
{
    const auto printer = boost::make_shared<Printer>(named("office"));
    int callbacks = 0;
    printer->setCallback([&](PrinterContext) {
        ++callbacks;
        std::thread([&] { printer->run(); }).join();
    });
    printer->run();
    EXPECT_EQ(callbacks, 1);
    EXPECT_EQ(opens("office"), 1);
}

TEST_F(PrinterTest, SnapshotNeverWaitsForAPoll)
{
    holdPolls();
    const auto printer = boost::make_shared<Printer>(named("office"));
    std::thread poll([&] { printer->run(); });
    ASSERT_TRUE(eventually([&] { return m_waiting == 1; }));
    EXPECT_EQ(printer->snapshot()->state, 0);
    release();
    poll.join();
    EXPECT_EQ(printer->snapshot()->state, 3);
}

TEST_F(PrinterTest, PrinterExceptionOfTheCallbackEndsThePollQuietly)
{
    const auto printer = boost::make_shared<Printer>(named("office"));
    int callbacks = 0;
    printer->setCallback([&](PrinterContext) {
        ++callbacks;
        throw LibraryNotReady;
    });
    EXPECT_NO_THROW(printer->run());
    EXPECT_NO_THROW(printer->run());
    EXPECT_EQ(callbacks, 2);
}

TEST_F(PrinterTest, OtherExceptionsPassAndNothingStaysLocked)
{
    const auto printer = boost::make_shared<Printer>(named("office"));
    printer->setCallback([](PrinterContext) { throw std::runtime_error("other"); });
    EXPECT_THROW(printer->run(), std::runtime_error);
    EXPECT_THROW(printer->run(), std::runtime_error);
    EXPECT_EQ(opens("office"), 2);
    pollGate().close(); // nobody is left inside
}

TEST_F(PrinterTest, NewCallbackReplacesTheOldOne)
{
    const auto printer = boost::make_shared<Printer>(named("office"));
    const auto owned = std::make_shared<int>(0);
    printer->setCallback([owned](PrinterContext) { FAIL(); });
    int callbacks = 0;
    printer->setCallback([&](PrinterContext) { ++callbacks; });
    EXPECT_EQ(owned.use_count(), 1); // the old one is gone
    printer->run();
    EXPECT_EQ(callbacks, 1);
}

TEST_F(PrinterTest, CancelCancelsTheTaskOnce)
{
    int cancelled = 0;
    const auto printer = boost::make_shared<Printer>(named("office"));
    printer->cancel(); // no task: nothing
    const boost::shared_ptr<twheel::TaskHandle> task = boost::make_shared<CountingTask>(cancelled);
    printer->setTask(task);
    EXPECT_EQ(task.use_count(), 2);
    printer->cancel();
    EXPECT_EQ(cancelled, 1);
    EXPECT_EQ(task.use_count(), 1);
    printer->cancel();
    EXPECT_EQ(cancelled, 1);
}

TEST_F(PrinterTest, NewTaskReleasesTheOldOneWithoutCancellingIt)
{
    int cancelled = 0;
    const auto printer = boost::make_shared<Printer>(named("office"));
    const boost::shared_ptr<twheel::TaskHandle> old = boost::make_shared<CountingTask>(cancelled);
    printer->setTask(old);
    printer->setTask(boost::make_shared<CountingTask>(cancelled));
    EXPECT_EQ(old.use_count(), 1);
    EXPECT_EQ(cancelled, 0);
}

TEST_F(PrinterTest, DestructorCancelsTheTask)
{
    int cancelled = 0;
    {
        const auto printer = boost::make_shared<Printer>(named("office"));
        printer->setTask(boost::make_shared<CountingTask>(cancelled));
    }
    EXPECT_EQ(cancelled, 1);
}

TEST_F(PrinterTest, ClosedGateTurnsPollsAway)
{
    const auto printer = boost::make_shared<Printer>(named("office"));
    pollGate().close();
    printer->run();
    EXPECT_EQ(opens("office"), 0);
    pollGate().open();
    printer->run();
    EXPECT_EQ(opens("office"), 1);
}

// Closing takes the one poll that is in the library, not those that wait for it.
TEST_F(PrinterTest, ClosingTheGateWaitsForTheRunningPollAndSendsTheWaitingOnesHome)
{
    holdPolls();
    std::atomic<int> callbacks{0};
    std::vector<boost::shared_ptr<Printer>> printers;
    std::vector<std::thread> polls;
    for (int i = 0; i < 10; ++i) {
        printers.push_back(boost::make_shared<Printer>(named("p" + std::to_string(i))));
        printers.back()->setCallback([&](PrinterContext) { ++callbacks; });
    }
    for (const auto& printer : printers) {
        polls.emplace_back([printer] { printer->run(); });
    }
    ASSERT_TRUE(eventually([&] { return m_waiting == 1 && pollGate().inside() == 10; }));
    std::future<void> closed = std::async(std::launch::async, [] { pollGate().close(); });
    ASSERT_TRUE(eventually([] { return pollGate().isClosing(); }));
    EXPECT_EQ(closed.wait_for(std::chrono::milliseconds(50)), std::future_status::timeout);
    EXPECT_EQ(callbacks, 0);
    release();
    closed.get();
    EXPECT_EQ(callbacks, 1); // and it was over before close() returned
    EXPECT_EQ(m_waiting, 1);
    for (std::thread& poll : polls) {
        poll.join();
    }
    EXPECT_EQ(callbacks, 1);
}

} // namespace
