// One printer that several back-ends reach.
#include <gtest/gtest.h>

#include <new>

#include "tarn/src/engine/target.h"
#include "tests/unit/tarn/support/short_memory.h"

namespace tarn::engine {
namespace {

using device::Activity;
using device::DeviceStatus;
using device::LevelKind;
using device::StatusField;

Source wayOf(const Snapshot& snapshot, StatusField field)
{
    return snapshot.fieldSources[static_cast<std::size_t>(field)];
}

DeviceStatus status(const std::string& model, Activity activity)
{
    DeviceStatus status;
    status.model = model;
    status.activity = activity;
    return status;
}

device::Supply supply(LevelKind kind, int percent)
{
    device::Supply out;
    out.kind = device::SupplyKind::Toner;
    out.color = device::SupplyColor::Black;
    out.levelKind = kind;
    out.percent = percent;
    return out;
}

class TargetTest : public testing::Test
{
protected:
    static DeviceStatus remembered()
    {
        DeviceStatus status;
        status.model = "remembered";
        return status;
    }

    Target target{{{0x7F000001, 161}, VersionChoice::Auto, std::make_shared<const std::string>("public")},
                  unmetSnapshot(remembered()),
                  TimePoint()};
};

TEST_F(TargetTest, OneWayAloneIsTheWholeStatusAndEachFieldSaysSo)
{
    DeviceStatus said = status("M", Activity::Idle);
    said.totalPages = 0;
    target.report(Source::Snmp, said);
    const auto snapshot = target.snapshot();
    EXPECT_TRUE(snapshot->online);
    EXPECT_EQ(snapshot->source, Source::Snmp);
    EXPECT_EQ(wayOf(*snapshot, StatusField::Model), Source::Snmp);
    EXPECT_EQ(wayOf(*snapshot, StatusField::Counters), Source::Snmp); // zero is said, too
    EXPECT_EQ(wayOf(*snapshot, StatusField::Trays), Source::None);
    EXPECT_TRUE(target.answers(Source::Snmp));
    EXPECT_FALSE(target.answers(Source::Ipp));
}

TEST_F(TargetTest, WhatTheFirstWayLacksComesFromTheOtherAndStateAndAlertsNever)
{
    target.report(Source::Snmp, status("by snmp", Activity::Idle));
    DeviceStatus ipp = status("by ipp", Activity::Printing);
    ipp.serialNumber = "S1";
    ipp.supplies = {supply(LevelKind::Percent, 40)};
    ipp.alerts.push_back({8, "jam", "卡纸", device::Severity::Critical, ""});
    ipp.paperOut = true;
    target.report(Source::Ipp, ipp);
    const auto snapshot = target.snapshot();
    const DeviceStatus merged = snapshot->status.unpacked();
    EXPECT_EQ(merged.model, "by snmp");
    EXPECT_EQ(merged.serialNumber, "S1");
    EXPECT_EQ(merged.supplies.size(), 1U);
    EXPECT_EQ(merged.activity, Activity::Idle);
    EXPECT_TRUE(merged.alerts.empty());
    EXPECT_FALSE(merged.paperOut);
    EXPECT_EQ(snapshot->source, Source::Snmp);
    EXPECT_EQ(wayOf(*snapshot, StatusField::Model), Source::Snmp);
    EXPECT_EQ(wayOf(*snapshot, StatusField::SerialNumber), Source::Ipp);
    EXPECT_EQ(wayOf(*snapshot, StatusField::Supplies), Source::Ipp);
    EXPECT_EQ(wayOf(*snapshot, StatusField::State), Source::Snmp);
    EXPECT_EQ(snapshot->serialNumber, "S1");
}

TEST_F(TargetTest, SuppliesWithoutAnyLevelGiveWayToSuppliesWithOne)
{
    DeviceStatus snmp = status("M", Activity::Idle);
    snmp.supplies = {supply(LevelKind::Unknown, 0)};
    DeviceStatus ipp = status("M", Activity::Idle);
    ipp.supplies = {supply(LevelKind::Percent, 7)};
    target.report(Source::Ipp, ipp);
    target.report(Source::Snmp, snmp);
    EXPECT_EQ(target.snapshot()->status.unpacked().supplies.at(0).percent, 7);
    snmp.supplies = {supply(LevelKind::Percent, 9)};
    target.report(Source::Snmp, snmp);
    EXPECT_EQ(target.snapshot()->status.unpacked().supplies.at(0).percent, 9);
}

TEST_F(TargetTest, TheOtherWayTakesOverWhenTheFirstFallsSilentAndGivesBack)
{
    target.report(Source::Snmp, status("by snmp", Activity::Idle));
    target.report(Source::Ipp, status("by ipp", Activity::Printing));
    target.reportOffline(Source::Snmp);
    EXPECT_TRUE(target.snapshot()->online);
    EXPECT_EQ(target.snapshot()->source, Source::Ipp);
    EXPECT_EQ(target.snapshot()->state, 4);
    EXPECT_FALSE(target.answers(Source::Snmp));
    target.reportOffline(Source::Ipp);
    EXPECT_FALSE(target.snapshot()->online);
    EXPECT_EQ(target.snapshot()->status.unpacked().model, "by ipp"); // the last good one
    target.report(Source::Snmp, target.statusBy(Source::Snmp));
    EXPECT_TRUE(target.snapshot()->online);
    EXPECT_EQ(target.snapshot()->status.unpacked().model, "by snmp");
}

TEST_F(TargetTest, OneWayAloneThatFallsSilentIsOfflineWithWhatItSaidLast)
{
    DeviceStatus said = status("by snmp", Activity::Printing);
    said.totalPages = 0;
    target.report(Source::Snmp, said);
    EXPECT_EQ(target.snapshot()->totalPages, 0);
    EXPECT_EQ(target.snapshot()->state, 4);
    EXPECT_NE(target.snapshot()->stateMessage, "");
    target.reportOffline(Source::Snmp);
    EXPECT_FALSE(target.snapshot()->online);
    EXPECT_EQ(target.snapshot()->state, 2);
    EXPECT_EQ(target.snapshot()->stateMessage, "");
    EXPECT_EQ(target.snapshot()->status.unpacked().model, "by snmp");
    said.totalPages = -1;
    target.report(Source::Snmp, said);
    EXPECT_EQ(target.snapshot()->totalPages, -1);
    said.totalPages.reset();
    target.report(Source::Snmp, said);
    EXPECT_EQ(target.snapshot()->totalPages, -1);
}

TEST_F(TargetTest, WithoutMemoryAReportLeavesEverythingAsItWas)
{
    target.report(Source::Snmp, status("by snmp", Activity::Idle));
    target.report(Source::Ipp, status("by ipp", Activity::Idle));
    int refused = 0;
    for (std::uint32_t seed = 0; seed < 300; ++seed) {
        const std::string before = target.statusBy(Source::Ipp).model;
        const std::shared_ptr<const Snapshot> snapshot = target.snapshot();
        const DeviceStatus next =
            status("by ipp, for the " + std::to_string(seed) + "th time", Activity::Idle);
        bool isTaken = true;
        {
            const tarn::test::ShortMemory memory(seed, 10);
            try {
                target.report(Source::Ipp, next);
            } catch (const std::bad_alloc&) {
                isTaken = false;
            }
        }
        EXPECT_EQ(target.statusBy(Source::Ipp).model, isTaken ? next.model : before);
        EXPECT_EQ(target.snapshot() == snapshot, !isTaken);
        refused += isTaken ? 0 : 1;
    }
    EXPECT_GT(refused, 0);
    EXPECT_LT(refused, 300);
}

TEST_F(TargetTest, SilenceOfOneWayIsNoneOfAnother)
{
    target.reportOffline(Source::Snmp);
    EXPECT_FALSE(target.snapshot()->online);
    EXPECT_EQ(target.snapshot()->status.unpacked().model, "remembered");
    target.report(Source::Ipp, status("by ipp", Activity::Idle));
    target.reportOffline(Source::Snmp);
    EXPECT_TRUE(target.snapshot()->online);
    EXPECT_EQ(target.statusBy(Source::Snmp).model, "");
    EXPECT_EQ(target.statusBy(Source::Ipp).model, "by ipp");
}

TEST(SnapshotIdentity, TellsModelSerialNumberAndDescriptionApartAndNothingElse)
{
    DeviceStatus one;
    one.model = "ab";
    one.serialNumber = "c";
    DeviceStatus busy = one;
    busy.activity = Activity::Printing;
    busy.supplies = {supply(LevelKind::Percent, 5)};
    EXPECT_EQ(onlineSnapshot(one, Source::Snmp)->identity, onlineSnapshot(busy, Source::Snmp)->identity);
    EXPECT_EQ(offlineSnapshot(*onlineSnapshot(one, Source::Snmp))->identity, unmetSnapshot(one)->identity);
    DeviceStatus shifted;
    shifted.model = "a";
    shifted.serialNumber = "bc";
    DeviceStatus described = one;
    described.description = "d";
    EXPECT_NE(unmetSnapshot(one)->identity, unmetSnapshot(shifted)->identity);
    EXPECT_NE(unmetSnapshot(one)->identity, unmetSnapshot(described)->identity);
    EXPECT_NE(unmetSnapshot(DeviceStatus())->identity, 0U);
}

TEST_F(TargetTest, EachBackEndPutsAsideForItselfAndOneOpeningTellsThemAll)
{
    const TimePoint late{Milliseconds(100000)};
    EXPECT_TRUE(target.suspend(Source::Snmp, late));
    EXPECT_TRUE(target.suspend(Source::Ipp, late));
    EXPECT_TRUE(target.markOpened(late));
    EXPECT_FALSE(target.markOpened(late));
    EXPECT_FALSE(target.suspend(Source::Ipp, late));
    EXPECT_FALSE(target.markOpened(late)); // nobody is suspended
}

} // namespace
} // namespace tarn::engine
