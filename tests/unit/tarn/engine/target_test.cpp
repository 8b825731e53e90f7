// One printer that several back-ends reach.
#include <gtest/gtest.h>

#include "tarn/src/engine/target.h"

namespace tarn::engine {
namespace {

using device::Activity;
using device::DeviceStatus;
using device::LevelKind;
using device::PictureField;

Way wayOf(const Snapshot& snapshot, PictureField field)
{
    return snapshot.fieldWays[static_cast<std::size_t>(field)];
}

DeviceStatus picture(const std::string& model, Activity activity)
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

TEST_F(TargetTest, OneWayAloneIsTheWholePictureAndEachFieldSaysSo)
{
    DeviceStatus status = picture("M", Activity::Idle);
    status.totalPages = 0;
    target.report(Way::Snmp, status);
    const auto snapshot = target.snapshot();
    EXPECT_TRUE(snapshot->online);
    EXPECT_EQ(snapshot->way, Way::Snmp);
    EXPECT_EQ(wayOf(*snapshot, PictureField::Model), Way::Snmp);
    EXPECT_EQ(wayOf(*snapshot, PictureField::Counters), Way::Snmp); // zero is said, too
    EXPECT_EQ(wayOf(*snapshot, PictureField::Trays), Way::None);
    EXPECT_TRUE(target.answers(Way::Snmp));
    EXPECT_FALSE(target.answers(Way::Ipp));
}

TEST_F(TargetTest, WhatTheFirstWayLacksComesFromTheOtherAndStateAndAlertsNever)
{
    target.report(Way::Snmp, picture("by snmp", Activity::Idle));
    DeviceStatus ipp = picture("by ipp", Activity::Printing);
    ipp.serialNumber = "S1";
    ipp.supplies = {supply(LevelKind::Percent, 40)};
    ipp.alerts.push_back({8, "jam", "卡纸", device::Severity::Critical, ""});
    ipp.paperOut = true;
    target.report(Way::Ipp, ipp);
    const auto snapshot = target.snapshot();
    const DeviceStatus merged = snapshot->picture.unpacked();
    EXPECT_EQ(merged.model, "by snmp");
    EXPECT_EQ(merged.serialNumber, "S1");
    EXPECT_EQ(merged.supplies.size(), 1U);
    EXPECT_EQ(merged.activity, Activity::Idle);
    EXPECT_TRUE(merged.alerts.empty());
    EXPECT_FALSE(merged.paperOut);
    EXPECT_EQ(snapshot->way, Way::Snmp);
    EXPECT_EQ(wayOf(*snapshot, PictureField::Model), Way::Snmp);
    EXPECT_EQ(wayOf(*snapshot, PictureField::SerialNumber), Way::Ipp);
    EXPECT_EQ(wayOf(*snapshot, PictureField::Supplies), Way::Ipp);
    EXPECT_EQ(wayOf(*snapshot, PictureField::State), Way::Snmp);
    EXPECT_EQ(snapshot->serialNumber, "S1");
}

TEST_F(TargetTest, SuppliesWithoutAnyLevelGiveWayToSuppliesWithOne)
{
    DeviceStatus snmp = picture("M", Activity::Idle);
    snmp.supplies = {supply(LevelKind::Unknown, 0)};
    DeviceStatus ipp = picture("M", Activity::Idle);
    ipp.supplies = {supply(LevelKind::Percent, 7)};
    target.report(Way::Ipp, ipp);
    target.report(Way::Snmp, snmp);
    EXPECT_EQ(target.snapshot()->picture.unpacked().supplies.at(0).percent, 7);
    snmp.supplies = {supply(LevelKind::Percent, 9)};
    target.report(Way::Snmp, snmp);
    EXPECT_EQ(target.snapshot()->picture.unpacked().supplies.at(0).percent, 9);
}

TEST_F(TargetTest, TheOtherWayTakesOverWhenTheFirstFallsSilentAndGivesBack)
{
    target.report(Way::Snmp, picture("by snmp", Activity::Idle));
    target.report(Way::Ipp, picture("by ipp", Activity::Printing));
    target.reportSilent(Way::Snmp);
    EXPECT_TRUE(target.snapshot()->online);
    EXPECT_EQ(target.snapshot()->way, Way::Ipp);
    EXPECT_EQ(target.snapshot()->state, 4);
    EXPECT_FALSE(target.answers(Way::Snmp));
    target.reportSilent(Way::Ipp);
    EXPECT_FALSE(target.snapshot()->online);
    EXPECT_EQ(target.snapshot()->picture.unpacked().model, "by ipp"); // the last good one
    target.report(Way::Snmp, target.pictureBy(Way::Snmp));
    EXPECT_TRUE(target.snapshot()->online);
    EXPECT_EQ(target.snapshot()->picture.unpacked().model, "by snmp");
}

TEST_F(TargetTest, SilenceOfOneWayIsNoneOfAnother)
{
    target.reportSilent(Way::Snmp);
    EXPECT_FALSE(target.snapshot()->online);
    EXPECT_EQ(target.snapshot()->picture.unpacked().model, "remembered");
    target.report(Way::Ipp, picture("by ipp", Activity::Idle));
    target.reportSilent(Way::Snmp);
    EXPECT_TRUE(target.snapshot()->online);
    EXPECT_EQ(target.pictureBy(Way::Snmp).model, "");
    EXPECT_EQ(target.pictureBy(Way::Ipp).model, "by ipp");
}

TEST(SnapshotIdentity, TellsModelSerialNumberAndDescriptionApartAndNothingElse)
{
    DeviceStatus one;
    one.model = "ab";
    one.serialNumber = "c";
    DeviceStatus busy = one;
    busy.activity = Activity::Printing;
    busy.supplies = {supply(LevelKind::Percent, 5)};
    EXPECT_EQ(onlineSnapshot(one, Way::Snmp)->identity, onlineSnapshot(busy, Way::Snmp)->identity);
    EXPECT_EQ(offlineSnapshot(*onlineSnapshot(one, Way::Snmp))->identity, unmetSnapshot(one)->identity);
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
    EXPECT_TRUE(target.putAside(Way::Snmp, late));
    EXPECT_TRUE(target.putAside(Way::Ipp, late));
    EXPECT_TRUE(target.markOpened(late));
    EXPECT_FALSE(target.markOpened(late));
    EXPECT_FALSE(target.putAside(Way::Ipp, late));
    EXPECT_FALSE(target.markOpened(late)); // nobody is aside
}

} // namespace
} // namespace tarn::engine
