// How often a printer that answers is asked, and what.
#include <gtest/gtest.h>

#include "tarn/src/engine/cadence.h"
#include "tests/unit/tarn/support/simulated_time.h"

namespace tarn::engine {
namespace {

using std::chrono::seconds;
using test::ConstantRandom;

constexpr TimePoint kBegin{Milliseconds(1'000'000)};

ConstantRandom least(0);
ConstantRandom most(0xFFFFFFFF);

// Met at kBegin, in so many requests.
Cadence met(unsigned requests = 1)
{
    Cadence cadence;
    EXPECT_FALSE(cadence.finished(ReadKind::Identity, ReadOutcome::Changed, requests, kBegin));
    return cadence;
}

Milliseconds calmInterval(const Cadence& cadence, TimePoint now)
{
    return cadence.interval(Liveliness::Calm, now, least);
}

TEST(Cadence, APrinterIsAskedWhoItIsUntilItHasSaidSo)
{
    Cadence cadence;
    EXPECT_EQ(cadence.nextKind(kBegin, false), ReadKind::Identity);
    EXPECT_EQ(cadence.nextKind(kBegin, true), ReadKind::Identity);
    cadence.finished(ReadKind::Full, ReadOutcome::Changed, 1, kBegin);
    EXPECT_EQ(cadence.nextKind(kBegin, true), ReadKind::Identity);
    cadence.finished(ReadKind::Identity, ReadOutcome::Changed, 1, kBegin);
    EXPECT_EQ(cadence.nextKind(kBegin, true), ReadKind::Fast);
    EXPECT_EQ(cadence.nextKind(kBegin, false), ReadKind::Identity); // what it said was of no use
}

TEST(Cadence, TablesAreReadOnceAMinute)
{
    Cadence cadence = met();
    for (TimePoint read = kBegin; read < kBegin + seconds(180); read += seconds(60)) {
        EXPECT_EQ(cadence.nextKind(read + Milliseconds(59'999), true), ReadKind::Fast);
        cadence.finished(ReadKind::Fast, ReadOutcome::Unchanged, 1, read + Milliseconds(59'999));
        EXPECT_EQ(cadence.nextKind(read + seconds(60), true), ReadKind::Full);
        cadence.finished(ReadKind::Full, ReadOutcome::Unchanged, 1, read + seconds(60));
    }
}

TEST(Cadence, TablesOfManyRequestsAreReadAsMuchLessOften)
{
    const struct
    {
        unsigned requests;
        seconds until;
    } cases[] = {{0, seconds(60)}, {7, seconds(60)}, {8, seconds(70)}, {31, seconds(300)}};
    for (const auto& each : cases) {
        const Cadence cadence = met(each.requests);
        EXPECT_EQ(cadence.nextKind(kBegin + each.until - Milliseconds(1), true), ReadKind::Fast)
            << each.requests;
        EXPECT_EQ(cadence.nextKind(kBegin + each.until, true), ReadKind::Full) << each.requests;
    }
}

TEST(Cadence, PrintersThatWereMetAtOnceReadTheirSecondTablesApart)
{
    for (ConstantRandom* const random : {&least, &most}) {
        const Milliseconds first(random == &least ? 0 : 60'000);
        Cadence cadence;
        cadence.disperse(*random);
        cadence.finished(ReadKind::Identity, ReadOutcome::Changed, 1, kBegin);
        EXPECT_EQ(cadence.nextKind(kBegin + first, true), ReadKind::Full);
        if (random == &most) {
            EXPECT_EQ(cadence.nextKind(kBegin + first - Milliseconds(1), true), ReadKind::Fast);
        }
        const TimePoint second = kBegin + first;
        cadence.finished(ReadKind::Full, ReadOutcome::Unchanged, 1, second);
        EXPECT_EQ(cadence.nextKind(second + Milliseconds(59'999), true), ReadKind::Fast); // then regularly
        EXPECT_EQ(cadence.nextKind(second + seconds(60), true), ReadKind::Full);
    }
}

TEST(Cadence, ACounterThatMovesLeadsToTheTablesAtOnceAndEverLaterWhereTheySayNothingNew)
{
    Cadence cadence = met();
    TimePoint last = kBegin;
    for (const int gap : {2, 4, 8, 16, 32, 60, 60}) {
        const TimePoint early = last + seconds(gap) - Milliseconds(1);
        EXPECT_FALSE(cadence.finished(ReadKind::Fast, ReadOutcome::NeedsFull, 1, early)) << gap;
        EXPECT_EQ(cadence.nextKind(early, true), ReadKind::Fast) << gap;
        last += seconds(gap);
        EXPECT_TRUE(cadence.finished(ReadKind::Fast, ReadOutcome::NeedsFull, 1, last)) << gap;
        EXPECT_EQ(cadence.nextKind(last, true), ReadKind::Full) << gap;
        EXPECT_FALSE(cadence.finished(ReadKind::Full, ReadOutcome::Unchanged, 1, last)) << gap;
        EXPECT_EQ(cadence.nextKind(last, true), ReadKind::Fast) << gap;
    }
    last += seconds(60);
    cadence.finished(ReadKind::Fast, ReadOutcome::NeedsFull, 1, last);
    cadence.finished(ReadKind::Full, ReadOutcome::Changed, 1, last); // now it means something
    EXPECT_TRUE(cadence.finished(ReadKind::Fast, ReadOutcome::NeedsFull, 1, last + seconds(2)));
}

TEST(Cadence, TablesThatNoCounterAskedForChangeNoGap)
{
    Cadence cadence = met();
    cadence.finished(ReadKind::Full, ReadOutcome::Unchanged, 1, kBegin + seconds(60));
    EXPECT_TRUE(cadence.finished(ReadKind::Fast, ReadOutcome::NeedsFull, 1, kBegin + seconds(62)));
    // A read of the tables that wants them again is not led on.
    EXPECT_FALSE(cadence.finished(ReadKind::Full, ReadOutcome::NeedsFull, 1, kBegin + seconds(120)));
}

TEST(Cadence, AfterAChangeAPrinterIsAskedOftenForAWhile)
{
    Cadence cadence = met();
    EXPECT_EQ(calmInterval(cadence, kBegin), Cadence::kIdleInterval); // the first status is no change
    cadence.finished(ReadKind::Fast, ReadOutcome::Unchanged, 1, kBegin + seconds(1));
    EXPECT_EQ(calmInterval(cadence, kBegin + seconds(1)), Cadence::kIdleInterval);
    const TimePoint change = kBegin + seconds(30);
    cadence.finished(ReadKind::Fast, ReadOutcome::Changed, 1, change);
    EXPECT_EQ(calmInterval(cadence, change), Cadence::kBusyInterval);
    EXPECT_EQ(calmInterval(cadence, change + Milliseconds(19'999)), Cadence::kBusyInterval);
    EXPECT_EQ(calmInterval(cadence, change + seconds(20)), Cadence::kIdleInterval);
    EXPECT_EQ(cadence.interval(Liveliness::Busy, change + seconds(20), least), Cadence::kBusyInterval);
}

TEST(Cadence, IntervalsAreUpToSixPercentLess)
{
    const Cadence cadence = met();
    EXPECT_EQ(cadence.interval(Liveliness::Calm, kBegin, most), Milliseconds(3'666));
    EXPECT_EQ(cadence.interval(Liveliness::Busy, kBegin, most), Milliseconds(1'880));
    EXPECT_EQ(cadence.interval(Liveliness::NoStatus, kBegin, most), Milliseconds(3'666));
}

TEST(Cadence, WhoRestartsOverAndOverIsAskedEverMoreSlowly)
{
    Cadence cadence = met();
    TimePoint now = kBegin;
    const struct
    {
        bool atOnce;
        int interval;
    } restarts[] = {{true, 3'900},   {true, 3'900},   {false, 15'600},
                    {false, 31'200}, {false, 60'000}, {false, 60'000}};
    for (const auto& each : restarts) {
        now += Milliseconds(179'999);
        EXPECT_EQ(cadence.finished(ReadKind::Fast, ReadOutcome::Restarted, 1, now), each.atOnce);
        EXPECT_EQ(cadence.nextKind(now, true), ReadKind::Identity);
        EXPECT_EQ(calmInterval(cadence, now), Milliseconds(each.interval));
        EXPECT_EQ(calmInterval(cadence, now + Milliseconds(179'999)), Milliseconds(each.interval));
        EXPECT_EQ(calmInterval(cadence, now + seconds(180)), Cadence::kIdleInterval);
        cadence.finished(ReadKind::Identity, ReadOutcome::Unchanged, 1, now);
    }
    EXPECT_TRUE(
        cadence.finished(ReadKind::Fast, ReadOutcome::Restarted, 1, now + seconds(180))); // long after
    // Who restarts while he is asked who he is, is not asked again at once.
    EXPECT_FALSE(cadence.finished(ReadKind::Identity, ReadOutcome::Restarted, 1, now + seconds(400)));
    EXPECT_EQ(cadence.nextKind(now + seconds(400), true), ReadKind::Identity);
}

TEST(Cadence, WhoSaysNothingOfAPrinterIsAskedEverMoreSlowly)
{
    Cadence cadence;
    const auto interval = [&] { return cadence.interval(Liveliness::NoStatus, kBegin, least).count(); };
    EXPECT_EQ(interval(), 3'900);
    for (const int expected : {7'800, 15'600, 31'200, 60'000, 60'000}) {
        EXPECT_FALSE(cadence.finished(ReadKind::Identity, ReadOutcome::Unusable, 1, kBegin));
        EXPECT_EQ(interval(), expected);
    }
    cadence.finished(ReadKind::Identity, ReadOutcome::Changed, 1, kBegin);
    EXPECT_EQ(interval(), 3'900);
}

TEST(Cadence, ARoutineReadIsOneBeforeWhichNothingHappened)
{
    Cadence cadence = met();
    EXPECT_TRUE(cadence.isRoutine(ReadKind::Fast, Liveliness::Calm, kBegin));
    EXPECT_TRUE(cadence.isRoutine(ReadKind::Full, Liveliness::Calm, kBegin));
    EXPECT_FALSE(cadence.isRoutine(ReadKind::Identity, Liveliness::Calm, kBegin));
    EXPECT_FALSE(cadence.isRoutine(ReadKind::Fast, Liveliness::Busy, kBegin));
    EXPECT_FALSE(cadence.isRoutine(ReadKind::Fast, Liveliness::NoStatus, kBegin));
    const TimePoint moved = kBegin + seconds(2);
    cadence.finished(ReadKind::Fast, ReadOutcome::NeedsFull, 1, moved);
    EXPECT_FALSE(cadence.isRoutine(ReadKind::Full, Liveliness::Calm, moved));
    cadence.finished(ReadKind::Full, ReadOutcome::Unchanged, 1, moved);
    cadence.finished(ReadKind::Fast, ReadOutcome::NeedsFull, 1, moved + seconds(4));
    EXPECT_TRUE(
        cadence.isRoutine(ReadKind::Full, Liveliness::Calm, moved + seconds(4))); // it moves for nothing
    cadence.finished(ReadKind::Full, ReadOutcome::Changed, 1, moved + seconds(4));
    EXPECT_FALSE(cadence.isRoutine(ReadKind::Fast, Liveliness::Calm, moved + seconds(4)));
}

TEST(Cadence, APrinterIsBusyWhilePrintingWarmingUpOrWithAlerts)
{
    EXPECT_EQ(livelinessOf(nullptr), Liveliness::NoStatus);
    device::DeviceStatus status;
    EXPECT_EQ(livelinessOf(&status), Liveliness::Calm);
    for (const auto& [activity, expected] : {std::pair(device::Activity::Idle, Liveliness::Calm),
                                             std::pair(device::Activity::Printing, Liveliness::Busy),
                                             std::pair(device::Activity::WarmUp, Liveliness::Busy)}) {
        status.activity = activity;
        EXPECT_EQ(livelinessOf(&status), expected);
    }
    status.activity = device::Activity::Idle;
    status.alerts.emplace_back();
    EXPECT_EQ(livelinessOf(&status), Liveliness::Busy);
}

} // namespace
} // namespace tarn::engine
