// When printers are asked over IPP, and what comes of the answers: a simulated clock and a scripted queue.
#include "tarn/src/ipp/ipp_poller.h"

#include <gtest/gtest.h>

#include "tarn/src/device/status_field.h"
#include "tests/unit/tarn/ipp/attributes_text.h"
#include "tests/unit/tarn/support/short_memory.h"
#include "tests/unit/tarn/support/simulated_time.h"

namespace tarn::ipp {
namespace {

using engine::IppChoice;
using engine::IppSettings;
using engine::Source;
using engine::Target;
using test::attributesFrom;

constexpr const char kIdle[] =
    "printer-state = 3\nprinter-make-and-model = Lyra\nprinter-state-reasons = none";
constexpr const char kPrinting[] =
    "printer-state = 4\nprinter-make-and-model = Lyra\nprinter-state-reasons = none";

// How one printer answers over TCP.
struct Behaviour
{
    IppOutcome outcome = IppOutcome::Answered;
    std::string says = kIdle;
    Milliseconds takes{20};
    std::size_t answersEvery = 1; // request; the others end after ten seconds
    std::vector<TimePoint> asked;
    IppRequest last;
};

// Answers each request after its time.
class ScriptedQueue final : public RequestQueue
{
public:
    explicit ScriptedQueue(const tarn::test::SimulatedClock& clock) : m_clock(clock) {}

    bool send(Ticket ticket, IppRequest request) override
    {
        if (full) {
            return false;
        }
        if (noMemory) {
            throw std::bad_alloc();
        }
        Behaviour& printer = printers[request.address];
        printer.asked.push_back(m_clock.now());
        printer.last = request;
        FinishedRequest finished{ticket, {}};
        const bool late = printer.asked.size() % printer.answersEvery != 1 % printer.answersEvery;
        finished.answer.outcome = late ? IppOutcome::NoIpp : printer.outcome;
        if (finished.answer.outcome == IppOutcome::Answered) {
            finished.answer.route = {true, true, false, 1};
            finished.answer.printers.push_back(attributesFrom(printer.says));
        }
        underWay.emplace(m_clock.now() + (late ? Milliseconds(10000) : printer.takes), std::move(finished));
        most = std::max(most, underWay.size());
        return true;
    }
    void cancel(Ticket ticket) override
    {
        for (auto at = underWay.begin(); at != underWay.end(); ++at) {
            if (at->second.ticket == ticket) {
                underWay.erase(at);
                ++cancelled;
                return;
            }
        }
    }
    std::vector<FinishedRequest> takeFinished() override
    {
        std::vector<FinishedRequest> out;
        out.reserve(underWay.size()); // all or nothing, where memory is short
        while (!underWay.empty() && underWay.begin()->first <= m_clock.now()) {
            out.push_back(std::move(underWay.begin()->second));
            underWay.erase(underWay.begin());
        }
        return out;
    }
    int descriptor() const override { return -1; }

    std::map<std::uint32_t, Behaviour> printers;
    std::multimap<TimePoint, FinishedRequest> underWay;
    std::size_t most = 0; // under way at once
    int cancelled = 0;
    bool full = false;     // no request is taken
    bool noMemory = false; // to take one

private:
    const tarn::test::SimulatedClock& m_clock;
};

class IppPollerTest : public testing::Test, public engine::BackendListener
{
protected:
    IppPollerTest() { open(IppPoller::kMostInFlight); }

    void open(std::size_t mostInFlight)
    {
        auto owned = std::make_unique<ScriptedQueue>(clock);
        requests = owned.get();
        poller = std::make_unique<IppPoller>(clock, random, *this, std::move(owned), mostInFlight);
    }

    void targetChanged(Target& target) override
    {
        ++changes;
        poller->targetReported(target); // as the engine does, to everybody
    }
    void rosterChanged(engine::Discovery, std::vector<engine::DiscoveredPrinter>) override { ADD_FAILURE(); }

    std::shared_ptr<Target> watch(std::uint32_t address,
                                  std::shared_ptr<const IppSettings> settings = nullptr)
    {
        auto target = std::make_shared<Target>(
            engine::PrinterAddress{
                {address, 161}, {}, std::make_shared<const std::string>("public"), std::move(settings)},
            engine::unmetSnapshot({}), clock.now());
        poller->watch(target);
        watched.push_back(target);
        return target;
    }
    std::shared_ptr<Target> watchSilent(std::uint32_t address)
    {
        std::shared_ptr<Target> target = watch(address);
        snmpIsSilent(*target);
        return target;
    }
    void snmpIsSilent(Target& target)
    {
        target.reportOffline(Source::Snmp);
        target.markMet();
        poller->targetReported(target);
    }
    void snmpSays(Target& target, const device::DeviceStatus& status)
    {
        target.report(Source::Snmp, status);
        target.markMet();
        poller->targetReported(target);
    }

    // Somebody opens every printer all the time, unless told otherwise.
    void pass(Milliseconds time, bool opened = true)
    {
        const TimePoint end = clock.now() + time;
        while (clock.now() < end) {
            const TimePoint finished =
                requests->underWay.empty() ? kNever : requests->underWay.begin()->first;
            TimePoint next =
                std::min({end, poller->nextDeadline(), finished, clock.now() + Milliseconds(10000)});
            next = std::max(next, clock.now() + Milliseconds(1));
            clock.set(next);
            for (const auto& target : watched) {
                if (opened && target->markOpened(clock.now())) {
                    poller->wake(*target);
                }
            }
            run();
        }
    }
    void run()
    {
        if (failsOneIn == 0) {
            poller->run();
            return;
        }
        const tarn::test::ShortMemory little(++seed, failsOneIn);
        try {
            poller->run();
        } catch (const std::bad_alloc&) { // as the engine does
        }
    }

    static device::DeviceStatus wholeStatus()
    {
        device::DeviceStatus status;
        status.model = "Orion";
        status.serialNumber = "S";
        status.activity = device::Activity::Idle;
        status.totalPages = 1;
        status.trays.emplace_back();
        status.supplies.emplace_back();
        status.supplies.back().levelKind = device::LevelKind::Percent;
        return status;
    }
    static std::string modelOf(const Target& target) { return target.snapshot()->status.unpacked().model; }
    std::vector<TimePoint>& asked(std::uint32_t address) { return requests->printers[address].asked; }

    tarn::test::SimulatedClock clock;
    tarn::test::SeededRandom random{1};
    std::vector<std::shared_ptr<Target>> watched;
    std::unique_ptr<IppPoller> poller;
    ScriptedQueue* requests = nullptr;
    int changes = 0;
    unsigned failsOneIn = 0; // of the poller's allocations; 0: none
    std::uint32_t seed = 0;
};

TEST_F(IppPollerTest, NobodyIsAskedBeforeSnmpIsKnownToBeSilent)
{
    const auto target = watch(1);
    pass(Milliseconds(60000));
    EXPECT_TRUE(asked(1).empty());
    EXPECT_EQ(poller->peers(), 0u);
    snmpIsSilent(*target);
    pass(Milliseconds(1000));
    EXPECT_EQ(asked(1).size(), 1u);
    EXPECT_TRUE(target->snapshot()->online);
    EXPECT_EQ(target->snapshot()->source, Source::Ipp);
    EXPECT_EQ(modelOf(*target), "Lyra");
    EXPECT_EQ(target->lastAnswer(), asked(1)[0] + Milliseconds(20));
}

TEST_F(IppPollerTest, IdlePrinterEveryFourSecondsBusyOneEveryTwo)
{
    watchSilent(1);
    pass(Milliseconds(60000)); // the first status is no change
    const std::size_t before = asked(1).size();
    pass(Milliseconds(60000));
    EXPECT_GE(asked(1).size() - before, 15u);
    EXPECT_LE(asked(1).size() - before, 17u);
    requests->printers[1].says = kPrinting;
    pass(Milliseconds(10000));
    const std::size_t busy = asked(1).size();
    pass(Milliseconds(60000));
    EXPECT_GE(asked(1).size() - busy, 30u);
    EXPECT_LE(asked(1).size() - busy, 33u);
}

TEST_F(IppPollerTest, StatusIsNeverOlderThanFiveSecondsAndOnlyChangesAreTold)
{
    const auto target = watchSilent(1);
    pass(Milliseconds(10000));
    const int told = changes;
    for (int i = 0; i < 300; ++i) {
        pass(Milliseconds(100));
        EXPECT_LE(clock.now() - *target->lastAnswer(), Milliseconds(5000));
    }
    EXPECT_EQ(changes, told);
    requests->printers[1].says = kPrinting;
    pass(Milliseconds(5000));
    EXPECT_EQ(changes, told + 1);
    EXPECT_EQ(target->snapshot()->state, 4);
}

TEST_F(IppPollerTest, OfflineAfterThreeMissesAndFiveSecondsAndBackSoon)
{
    const auto target = watchSilent(1);
    pass(Milliseconds(10000));
    requests->printers[1].outcome = IppOutcome::Refused;
    const std::size_t before = asked(1).size();
    const TimePoint gone = clock.now();
    while (target->snapshot()->online && clock.now() - gone < Milliseconds(60000)) {
        pass(Milliseconds(100));
    }
    EXPECT_GE(asked(1).size() - before, 3u);
    EXPECT_GE(clock.now() - asked(1)[before], Milliseconds(5000));
    EXPECT_LE(clock.now() - gone, Milliseconds(15000));
    EXPECT_EQ(target->snapshot()->state, 2);
    EXPECT_EQ(modelOf(*target), "Lyra") << "what was known is kept";
    requests->printers[1].outcome = IppOutcome::Answered;
    pass(Milliseconds(15000));
    EXPECT_TRUE(target->snapshot()->online);
}

TEST_F(IppPollerTest, OneMissIsNotSeen)
{
    const auto target = watchSilent(1);
    pass(Milliseconds(10000));
    requests->printers[1].outcome = IppOutcome::NoIpp;
    const std::size_t before = asked(1).size();
    while (asked(1).size() < before + 2) {
        pass(Milliseconds(100));
    }
    requests->printers[1].outcome = IppOutcome::Answered;
    const int told = changes;
    pass(Milliseconds(20000));
    EXPECT_TRUE(target->snapshot()->online);
    EXPECT_EQ(changes, told);
}

// The gaps between the questions to a stranger.
TEST_F(IppPollerTest, StrangersAreAskedEverMoreSeldom)
{
    watchSilent(1);
    watchSilent(2);
    requests->printers[1].outcome = IppOutcome::Silent;
    requests->printers[2].outcome = IppOutcome::Refused;
    pass(Milliseconds(3600000));
    const auto gap = [this](std::uint32_t who, std::size_t i) {
        return (asked(who)[i + 1] - asked(who)[i]).count();
    };
    EXPECT_GE(gap(1, 0), 25000);
    EXPECT_LE(gap(1, 0), 31000);
    EXPECT_GE(gap(1, 1), 50000);
    EXPECT_GE(gap(2, 0), 50000);
    EXPECT_LE(gap(2, 0), 61000);
    EXPECT_LE(asked(1).size(), 20u);
    EXPECT_GE(asked(1).size(), 12u);
    EXPECT_LE(asked(2).size(), 12u);
    EXPECT_GE(asked(2).size(), 7u);
    for (std::size_t i = 0; i + 1 < asked(2).size(); ++i) {
        EXPECT_LE(gap(2, i), 601000);
    }
}

TEST_F(IppPollerTest, PrinterThatTellsAllOverSnmpIsNeverConnectedTo)
{
    const auto target = watch(1);
    snmpSays(*target, wholeStatus());
    pass(Milliseconds(4 * 3600000));
    EXPECT_TRUE(asked(1).empty());
    EXPECT_EQ(poller->peers(), 0u);
}

TEST_F(IppPollerTest, PrinterThatAnswersSnmpIsConnectedToOnceAnHourForWhatItLacks)
{
    const auto target = watch(1);
    device::DeviceStatus status = wholeStatus();
    status.serialNumber.clear();
    status.activity = device::Activity::Printing;
    requests->printers[1].says += "\nprinter-serial-number = LY-7";
    snmpSays(*target, status);
    pass(Milliseconds(60000));
    EXPECT_EQ(target->snapshot()->serialNumber, "LY-7");
    const int told = changes;
    pass(Milliseconds(3 * 3600000));
    EXPECT_EQ(changes, told) << "it says the same";
    ASSERT_EQ(asked(1).size(), 4u);
    for (std::size_t i = 1; i < asked(1).size(); ++i) {
        EXPECT_GE(asked(1)[i] - asked(1)[i - 1], Milliseconds(3600000));
    }
    EXPECT_EQ(target->snapshot()->serialNumber, "LY-7");
    EXPECT_EQ(target->snapshot()->state, 4) << "the state stays that of SNMP";
    EXPECT_EQ(target->snapshot()->source, Source::Snmp);
    EXPECT_EQ(target->snapshot()->fieldSources[static_cast<std::size_t>(device::StatusField::SerialNumber)],
              Source::Ipp);
}

TEST_F(IppPollerTest, PrinterThatStopsAnsweringSnmpIsNotKeptAliveByAnOldAnswerNorWoken)
{
    const auto target = watch(1);
    device::DeviceStatus status = wholeStatus();
    status.serialNumber.clear();
    snmpSays(*target, status);
    pass(Milliseconds(10000));
    ASSERT_EQ(asked(1).size(), 1u);
    snmpIsSilent(*target);
    EXPECT_FALSE(target->snapshot()->online);
    pass(Milliseconds(5 * 3600000));
    EXPECT_EQ(asked(1).size(), 1u);
    EXPECT_FALSE(target->snapshot()->online);
    snmpSays(*target, status);
    pass(Milliseconds(3600000 + 10000));
    EXPECT_EQ(asked(1).size(), 2u) << "asked again once it is there";
}

TEST_F(IppPollerTest, PrinterThatBeginsToAnswerSnmpIsLeftAlone)
{
    const auto target = watchSilent(1);
    pass(Milliseconds(10000));
    EXPECT_EQ(target->snapshot()->source, Source::Ipp);
    snmpSays(*target, wholeStatus());
    const std::size_t before = asked(1).size();
    pass(Milliseconds(2 * 3600000));
    EXPECT_LE(asked(1).size(), before + 1);
    EXPECT_EQ(target->snapshot()->source, Source::Snmp);
    snmpIsSilent(*target);
    EXPECT_FALSE(target->snapshot()->online) << "its answer of long ago does not count";
}

TEST_F(IppPollerTest, WhoeverIsNotOpenedIsNotAskedUntilHeIs)
{
    const auto target = watchSilent(1);
    pass(Milliseconds(10000));
    pass(Milliseconds(70000), false);
    const std::size_t before = asked(1).size();
    pass(Milliseconds(3600000), false);
    EXPECT_EQ(asked(1).size(), before);
    pass(Milliseconds(3000), true);
    EXPECT_GT(asked(1).size(), before);
}

TEST_F(IppPollerTest, OpeningAgainDoesNotShortenTheHour)
{
    const auto target = watch(1);
    device::DeviceStatus status = wholeStatus();
    status.totalPages.reset();
    snmpSays(*target, status);
    for (int i = 0; i < 20; ++i) {
        pass(Milliseconds(90000), false);
        pass(Milliseconds(5000), true);
    }
    EXPECT_EQ(asked(1).size(), 1u);
}

TEST_F(IppPollerTest, SettingsAndTheRouteThatWorkedAreHandedOn)
{
    const auto off = watch(2, std::make_shared<IppSettings>(IppSettings{IppChoice::Off, 631, ""}));
    snmpIsSilent(*off);
    const auto target = watch(1, std::make_shared<IppSettings>(IppSettings{IppChoice::Tls, 443, "/x"}));
    snmpIsSilent(*target);
    pass(Milliseconds(1000));
    EXPECT_EQ(requests->printers[1].last.settings.port, 443);
    EXPECT_EQ(requests->printers[1].last.settings.path, "/x");
    EXPECT_FALSE(requests->printers[1].last.route.known);
    pass(Milliseconds(10000));
    EXPECT_TRUE(requests->printers[1].last.route.known);
    EXPECT_EQ(requests->printers[1].last.route.path, 1);
    EXPECT_TRUE(asked(2).empty());
}

TEST_F(IppPollerTest, ThoseThatDoNotAnswerLeaveRoomForThoseThatDo)
{
    const auto good = watchSilent(1);
    pass(Milliseconds(5000));
    for (std::uint32_t address = 100; address < 900; ++address) {
        requests->printers[address].outcome = IppOutcome::Silent;
        requests->printers[address].takes = Milliseconds(10000);
        watchSilent(address);
    }
    for (int i = 0; i < 600; ++i) {
        pass(Milliseconds(100));
        ASSERT_LE(clock.now() - *good->lastAnswer(), Milliseconds(6000));
    }
    EXPECT_LE(requests->most, IppPoller::kMostInFlight / 2 + 1);
    EXPECT_GE(requests->most, IppPoller::kMostInFlight / 2);
}

TEST_F(IppPollerTest, ThoseThatAnswerNowAndThenHoldNobodyUp)
{
    const auto good = watchSilent(1);
    for (std::uint32_t address = 100; address < 600; ++address) {
        requests->printers[address].answersEvery = 3;
        watchSilent(address);
    }
    pass(Milliseconds(5000));
    for (int i = 0; i < 1200; ++i) {
        pass(Milliseconds(100));
        ASSERT_LE(clock.now() - *good->lastAnswer(), Milliseconds(6000));
    }
    EXPECT_GT(requests->most, 100u);
}

TEST_F(IppPollerTest, GoodPrintersAreMetSoonBesideManyAddressesWhereNobodyIs)
{
    for (std::uint32_t address = 100; address < 250; ++address) {
        requests->printers[address].outcome = IppOutcome::Silent;
        requests->printers[address].takes = Milliseconds(4000);
        watchSilent(address);
    }
    std::vector<std::shared_ptr<Target>> good;
    for (std::uint32_t address = 1; address <= 5; ++address) {
        good.push_back(watchSilent(address));
    }
    pass(Milliseconds(6000));
    for (const auto& target : good) {
        EXPECT_TRUE(target->snapshot()->online);
    }
}

// Neither a full queue nor a request that could not be sent says anything of the printer.
TEST_F(IppPollerTest, WhatThisMachineLacksIsNotThePrintersSilence)
{
    const auto target = watchSilent(1);
    pass(Milliseconds(1000));
    ASSERT_TRUE(target->snapshot()->online);
    requests->full = true;
    pass(Milliseconds(60000));
    EXPECT_TRUE(target->snapshot()->online);
    requests->full = false;
    for (const IppOutcome outcome : {IppOutcome::NotSent, IppOutcome::NoLibrary}) {
        requests->printers[1].outcome = outcome;
        pass(Milliseconds(60000));
        EXPECT_TRUE(target->snapshot()->online);
    }
    const std::size_t before = asked(1).size();
    EXPECT_GE(before, 4u);
    EXPECT_LE(before, 20u) << "ever more seldom";
    requests->printers[1].outcome = IppOutcome::Answered;
    pass(IppPoller::kLongestNotSent);
    EXPECT_LE(clock.now() - *target->lastAnswer(), Milliseconds(6000)) << "asked as ever";
}

TEST_F(IppPollerTest, WhoIsWatchedNoMoreIsForgottenInTheMidstOfIt)
{
    open(2); // one for strangers
    const auto target = watchSilent(1);
    pass(Milliseconds(1));
    ASSERT_EQ(requests->underWay.size(), 1u);
    poller->unwatch(*target);
    watched.clear();
    EXPECT_EQ(target.use_count(), 1) << "nobody keeps it";
    EXPECT_EQ(requests->cancelled, 1);
    pass(Milliseconds(60000));
    EXPECT_EQ(asked(1).size(), 1u);
    EXPECT_EQ(poller->peers(), 0u);
    const auto again = watchSilent(1);
    pass(Milliseconds(1000));
    EXPECT_TRUE(again->snapshot()->online) << "its place among those in flight is free again";
    poller->unwatch(*again);
    EXPECT_EQ(poller->nextDeadline(), kNever);
}

TEST_F(IppPollerTest, WhoIsWatchedNoMoreWhileHeWaitsForHisTurnIsNotAsked)
{
    open(2); // of which the silent, as strangers are, take one
    requests->printers[1].takes = Milliseconds(8000);
    watchSilent(1);
    const auto waiting = watchSilent(2);
    pass(Milliseconds(5000));
    ASSERT_EQ(asked(1).size(), 1u);
    ASSERT_TRUE(asked(2).empty());
    poller->unwatch(*waiting);
    watched.pop_back();
    const std::size_t places = requests->printers.size();
    pass(Milliseconds(60000));
    EXPECT_TRUE(asked(2).empty());
    EXPECT_EQ(requests->printers.size(), places) << "nobody in his stead";
}

TEST_F(IppPollerTest, RequestThatThereIsNoMemoryForTakesNoPlaceOfTheOthers)
{
    open(2);
    requests->noMemory = true;
    const auto target = watchSilent(1);
    pass(Milliseconds(20000));
    EXPECT_TRUE(asked(1).empty());
    requests->noMemory = false;
    pass(Milliseconds(5000));
    EXPECT_TRUE(target->snapshot()->online);
}

TEST_F(IppPollerTest, ChangedNetworkEndsTheBackOff)
{
    requests->printers[1].outcome = IppOutcome::Silent;
    watchSilent(1);
    pass(Milliseconds(1200000));
    requests->printers[1].outcome = IppOutcome::Answered;
    const std::size_t before = asked(1).size();
    poller->networkChanged();
    pass(Milliseconds(3000));
    EXPECT_EQ(asked(1).size(), before + 1);
    EXPECT_TRUE(watched[0]->snapshot()->online);
}

TEST_F(IppPollerTest, ChangedNetworkDoesNotConcernStrangersQuestionsUnderWayAndThoseThatAnswerSnmp)
{
    watch(1);
    const auto beside = watch(2);
    device::DeviceStatus status = wholeStatus();
    status.serialNumber.clear();
    snmpSays(*beside, status);
    requests->printers[3].takes = Milliseconds(8000);
    watchSilent(3);
    pass(Milliseconds(5000));
    ASSERT_EQ(asked(2).size(), 1u);
    ASSERT_EQ(asked(3).size(), 1u);
    poller->networkChanged();
    pass(Milliseconds(2900));
    EXPECT_TRUE(asked(1).empty());
    EXPECT_EQ(asked(2).size(), 1u);
    EXPECT_EQ(asked(3).size(), 1u);
}

// The machine may be elsewhere when it wakes up.
TEST_F(IppPollerTest, SleepEndsTheBackOff)
{
    requests->printers[1].outcome = IppOutcome::Silent;
    watchSilent(1);
    for (const bool slept : {false, true}) {
        pass(Milliseconds(1200000));
        const std::size_t before = asked(1).size();
        clock.set(poller->nextDeadline() + IppPoller::kSleep + Milliseconds(slept ? 1 : -1));
        pass(Milliseconds(3000));
        EXPECT_EQ(asked(1).size(), before + 1);
        pass(Milliseconds(31000));
        EXPECT_EQ(asked(1).size(), before + (slept ? 2 : 1));
    }
}

TEST_F(IppPollerTest, TenThousandSnmpPrintersHaveNoPeers)
{
    for (std::uint32_t address = 1; address <= 10000; ++address) {
        snmpSays(*watch(address), wholeStatus());
    }
    EXPECT_EQ(poller->peers(), 0u);
    EXPECT_EQ(poller->nextDeadline(), kNever);
}

TEST_F(IppPollerTest, NobodyIsLostWhereMemoryIsShortForAWhile)
{
    constexpr std::uint32_t kPrinters = 60;
    for (std::uint32_t address = 1; address <= kPrinters; ++address) {
        watchSilent(address);
    }
    pass(Milliseconds(20000));
    for (auto& printer : requests->printers) {
        printer.second.says = "printer-state = 3\nprinter-make-and-model = Orion";
    }
    const std::uint64_t before = tarn::test::ShortMemory::failures();
    failsOneIn = 20;
    pass(Milliseconds(20000));
    EXPECT_GT(tarn::test::ShortMemory::failures(), before);
    failsOneIn = 0;
    pass(Milliseconds(10000));
    for (const auto& target : watched) {
        EXPECT_TRUE(target->snapshot()->online);
        EXPECT_EQ(modelOf(*target), "Orion");
        EXPECT_LE(clock.now() - *target->lastAnswer(), Milliseconds(6000));
    }
}

} // namespace
} // namespace tarn::ipp
