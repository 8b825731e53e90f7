// What becomes of the queues that a scheduler says it has.
#include "tarn/src/ipp/cups_queues.h"

#include <gtest/gtest.h>

#include <regex>
#include <tuple>

#include "tests/unit/tarn/ipp/attributes_text.h"
#include "tests/unit/tarn/support/simulated_time.h"

namespace tarn::ipp {
namespace {

using engine::DiscoveredPrinter;
using engine::Discovery;
using engine::Source;
using test::attributesFrom;

const std::string kUsbQueue = R"(printer-name = office
    printer-info = Lyra by the window
    printer-make-and-model = Lyra C310, driverless, cups-filters 1.28.17
    printer-device-id = MFG:Lyra;MDL:C310;
    printer-uuid = urn:uuid:0b1
    device-uri = usb://Lyra/C310?serial=1
    printer-state = 3
    printer-state-reasons = none)";
const std::string kNetworkQueue = R"(printer-name = hall
    device-uri = ipp://me@10.1.2.3:631/ipp/print
    printer-state = 4)";

class CupsQueuesTest : public testing::Test, public engine::BackendListener
{
protected:
    class ScriptedQueue final : public RequestQueue
    {
    public:
        bool send(Ticket ticket, IppRequest request) override
        {
            EXPECT_EQ(request.operation, IppOperation::Queues);
            if (!full) {
                tickets.push_back(ticket);
            }
            return !full;
        }
        void cancel(Ticket /*ticket*/) override {}
        std::vector<FinishedRequest> takeFinished() override
        {
            std::vector<FinishedRequest> out;
            out.swap(finished);
            return out;
        }
        int descriptor() const override { return -1; }

        std::vector<Ticket> tickets;
        std::vector<FinishedRequest> finished;
        bool full = false; // no request is taken
    };

    CupsQueuesTest()
    {
        auto owned = std::make_unique<ScriptedQueue>();
        requests = owned.get();
        queues = std::make_unique<CupsQueues>(clock, *this, std::move(owned));
    }
    void targetChanged(engine::Target&) override {}
    void rosterChanged(Discovery discovery, std::vector<DiscoveredPrinter> changed) override
    {
        EXPECT_EQ(discovery, Discovery::Cups);
        roster = std::move(changed);
        ++changes;
    }
    // The next question and its answer.
    void answer(const std::vector<std::string>& printers, IppOutcome outcome = IppOutcome::Answered)
    {
        const std::size_t before = requests->tickets.size();
        clock.set(clock.now() + CupsQueues::kInterval);
        queues->run();
        ASSERT_EQ(requests->tickets.size(), before + 1);
        FinishedRequest finished{requests->tickets.back(), {}};
        finished.answer.outcome = outcome;
        for (const std::string& printer : printers) {
            finished.answer.printers.push_back(attributesFrom(printer));
        }
        requests->finished.push_back(std::move(finished));
        queues->run();
    }

    tarn::test::SimulatedClock clock;
    std::unique_ptr<CupsQueues> queues;
    ScriptedQueue* requests = nullptr;
    std::vector<DiscoveredPrinter> roster;
    int changes = 0;
};

TEST_F(CupsQueuesTest, NobodyIsAskedUntilSomebodyWantsToKnow)
{
    queues->run();
    EXPECT_TRUE(requests->tickets.empty());
    EXPECT_EQ(queues->nextDeadline(), kNever);
    queues->discover(Discovery::Usb, true);
    queues->run();
    EXPECT_TRUE(requests->tickets.empty());
}

TEST_F(CupsQueuesTest, QueuesBecomePrinters)
{
    queues->discover(Discovery::Cups, true);
    answer({kUsbQueue, kNetworkQueue});
    ASSERT_EQ(roster.size(), 2u);
    EXPECT_EQ(roster[0].name, "office");
    EXPECT_EQ(roster[0].manufacturer, "Lyra");
    EXPECT_EQ(roster[0].model, "Lyra C310");
    EXPECT_EQ(roster[0].description, "Lyra by the window");
    EXPECT_EQ(roster[0].uuid, "0b1");
    EXPECT_EQ(roster[0].ip, "");
    EXPECT_TRUE(roster[0].isUsb);
    EXPECT_EQ(roster[1].ip, "10.1.2.3");
    EXPECT_FALSE(roster[1].isUsb);
    EXPECT_EQ(roster[1].target->snapshot()->state, 4);
    EXPECT_EQ(roster[1].target->snapshot()->source, Source::Cups);
    EXPECT_TRUE(roster[0].target->isMet());
}

TEST_F(CupsQueuesTest, QueueThatStaysKeepsItsTargetAndFollowsTheScheduler)
{
    queues->discover(Discovery::Cups, true);
    answer({kUsbQueue, kNetworkQueue});
    const auto hall = roster[1].target;
    const auto asked = hall->lastAnswer();
    answer(
        {kUsbQueue, "printer-name = hall\ndevice-uri = ipp://me@10.1.2.3:631/ipp/print\nprinter-state = 3"});
    EXPECT_EQ(changes, 1) << "the list is the same";
    EXPECT_EQ(hall->snapshot()->state, 3);
    EXPECT_GT(hall->lastAnswer(), asked);
    answer({kUsbQueue});
    EXPECT_EQ(changes, 2);
    EXPECT_EQ(roster.size(), 1u);
}

TEST_F(CupsQueuesTest, ListIsToldAnewWhateverInItChanges)
{
    queues->discover(Discovery::Cups, true);
    for (const auto& [queue, was, is] : {std::tuple{kUsbQueue, "office", "lobby"},
                                         {kUsbQueue, "Lyra", "Vela"},
                                         {kUsbQueue, "C310", "C320"},
                                         {kUsbQueue, "window", "door"},
                                         {kUsbQueue, "0b1", "0b2"},
                                         {kUsbQueue, "usb:", "file:"},
                                         {kNetworkQueue, "10.1.2.3", "10.1.2.4"}}) {
        answer({queue});
        const int before = changes;
        answer({queue});
        EXPECT_EQ(changes, before) << is;
        answer({std::regex_replace(queue, std::regex(was), is)});
        EXPECT_EQ(changes, before + 1) << is;
    }
}

TEST_F(CupsQueuesTest, PrinterThatTheSchedulerDoesNotReachIsUnreachable)
{
    queues->discover(Discovery::Cups, true);
    answer({kUsbQueue});
    EXPECT_TRUE(roster[0].target->snapshot()->online);
    std::string offline = kUsbQueue;
    offline.replace(offline.find("none"), 4, "offline-report");
    answer({offline});
    EXPECT_FALSE(roster[0].target->snapshot()->online);
    answer({kUsbQueue});
    EXPECT_TRUE(roster[0].target->snapshot()->online);
}

TEST_F(CupsQueuesTest, SchedulerThatIsGoneHasNoQueuesAndOneMissIsNoEnd)
{
    queues->discover(Discovery::Cups, true);
    answer({kUsbQueue});
    answer({}, IppOutcome::Refused);
    EXPECT_EQ(roster.size(), 1u);
    answer({}, IppOutcome::Refused);
    EXPECT_TRUE(roster.empty());
    answer({kUsbQueue});
    EXPECT_EQ(roster.size(), 1u);
}

TEST_F(CupsQueuesTest, SwitchedOffTheListIsEmptyAndLateAnswersCountForNothing)
{
    queues->discover(Discovery::Cups, true);
    answer({kUsbQueue});
    clock.set(clock.now() + CupsQueues::kInterval);
    queues->run();
    FinishedRequest late{requests->tickets.back(), {}};
    late.answer.outcome = IppOutcome::Answered;
    late.answer.printers.push_back(attributesFrom(kUsbQueue));
    queues->discover(Discovery::Cups, false);
    EXPECT_TRUE(roster.empty());
    requests->finished.push_back(late);
    queues->run();
    EXPECT_TRUE(roster.empty());
    EXPECT_EQ(queues->nextDeadline(), kNever);
}

TEST_F(CupsQueuesTest, QueuesWithoutANameOrWithTheSameAreOne)
{
    queues->discover(Discovery::Cups, true);
    answer({kUsbQueue, kUsbQueue, "printer-state = 3"});
    EXPECT_EQ(roster.size(), 1u);
}

// It is this machine's fault: the scheduler did not fail.
TEST_F(CupsQueuesTest, WhatCouldNotBeSentIsSentLaterAndIsNoFailure)
{
    queues->discover(Discovery::Cups, true);
    answer({kUsbQueue});
    ASSERT_EQ(roster.size(), 1u);
    for (int i = 0; i < 5; ++i) {
        answer({}, i % 2 == 0 ? IppOutcome::NotSent : IppOutcome::NoLibrary);
    }
    requests->full = true;
    for (int i = 0; i < 5; ++i) {
        clock.set(clock.now() + CupsQueues::kInterval);
        queues->run();
        EXPECT_EQ(queues->nextDeadline(), clock.now() + CupsQueues::kInterval);
    }
    EXPECT_EQ(roster.size(), 1u);
    requests->full = false;
    answer({kUsbQueue, kNetworkQueue});
    EXPECT_EQ(roster.size(), 2u);
}

} // namespace
} // namespace tarn::ipp
