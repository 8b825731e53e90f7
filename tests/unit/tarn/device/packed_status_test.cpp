#include "tarn/src/device/packed_status.h"

#include <gtest/gtest.h>

#include <limits>

#include "tarn/src/device/status_field.h"

namespace tarn::device {
namespace {

DeviceStatus fullStatus()
{
    DeviceStatus status;
    status.model = "Acme ColorJet 500";
    status.serialNumber = std::string("with\0nul", 8);
    status.description = std::string(300, 'd');
    status.location = "三楼";
    status.activity = Activity::WarmUp;
    status.needsAttention = true;
    status.tonerOut = true;
    status.totalPages = std::numeric_limits<std::int64_t>::max();
    status.supplies.push_back({SupplyKind::Waste, SupplyColor::Other, true, "wasteToner", "light cyan", "Box",
                               LevelKind::Percent, 100});
    status.supplies.emplace_back();
    status.trays.push_back(
        {"Tray 1", LevelKind::Some, 7, -3, std::numeric_limits<std::int64_t>::min(), "sheets", false, true});
    status.alerts.push_back({-1, "jam", "卡纸", Severity::Critical, "Tray 1"});
    return status;
}

TEST(PackedStatus, YieldsTheStatusThatItWasMadeOf)
{
    EXPECT_EQ(PackedStatus(fullStatus()).unpacked(), fullStatus());
    EXPECT_EQ(PackedStatus(DeviceStatus()).unpacked(), DeviceStatus());
    EXPECT_EQ(PackedStatus().unpacked(), DeviceStatus());
}

TEST(PackedStatus, TypesOfTheStandardAndAnyOtherComeBack)
{
    for (const char* type :
         {"", "other", "unknown", "toner", "matteInk", "tonerCartridge", "toner-cartridge", "Toner"}) {
        DeviceStatus status;
        status.supplies.emplace_back().type = type;
        EXPECT_EQ(PackedStatus(status).unpacked().supplies.at(0).type, type);
    }
}

TEST(PackedStatus, KeepsUnknownAndZeroApart)
{
    DeviceStatus zero;
    zero.totalPages = 0;
    EXPECT_EQ(PackedStatus(zero).unpacked().totalPages, 0);
    EXPECT_EQ(PackedStatus(DeviceStatus()).unpacked().totalPages, std::nullopt);
    EXPECT_NE(PackedStatus(zero).digest(), PackedStatus(DeviceStatus()).digest());
}

// Every field by itself: it is there again afterwards, and it makes the digest another one.
TEST(PackedStatus, EachFieldIsKeptAndCounts)
{
    using Change = void (*)(DeviceStatus&);
    const Change changes[] = {
        [](DeviceStatus& d) { d.model += "x"; },
        [](DeviceStatus& d) { d.serialNumber += "x"; },
        [](DeviceStatus& d) { d.description += "x"; },
        [](DeviceStatus& d) { d.location += "x"; },
        [](DeviceStatus& d) { d.activity = Activity::Printing; },
        [](DeviceStatus& d) { d.powerSave = !d.powerSave; },
        [](DeviceStatus& d) { d.needsAttention = !d.needsAttention; },
        [](DeviceStatus& d) { d.paperLow = !d.paperLow; },
        [](DeviceStatus& d) { d.paperOut = !d.paperOut; },
        [](DeviceStatus& d) { d.tonerLow = !d.tonerLow; },
        [](DeviceStatus& d) { d.tonerOut = !d.tonerOut; },
        [](DeviceStatus& d) { d.totalPages = -5; },
        [](DeviceStatus& d) { d.supplies[0].kind = SupplyKind::Drum; },
        [](DeviceStatus& d) { d.supplies[0].color = SupplyColor::Red; },
        [](DeviceStatus& d) { d.supplies[0].receptacle = false; },
        [](DeviceStatus& d) { d.supplies[0].type += "x"; },
        [](DeviceStatus& d) { d.supplies[0].colorText += "x"; },
        [](DeviceStatus& d) { d.supplies[0].description += "x"; },
        [](DeviceStatus& d) { d.supplies[0].levelKind = LevelKind::Some; },
        [](DeviceStatus& d) { d.supplies[0].percent = 5; },
        [](DeviceStatus& d) { d.supplies.pop_back(); },
        [](DeviceStatus& d) { d.trays[0].name += "x"; },
        [](DeviceStatus& d) { d.trays[0].levelKind = LevelKind::Unlimited; },
        [](DeviceStatus& d) { d.trays[0].percent = 8; },
        [](DeviceStatus& d) { d.trays[0].level = 500; },
        [](DeviceStatus& d) { d.trays[0].capacity = -2; },
        [](DeviceStatus& d) { d.trays[0].unit += "x"; },
        [](DeviceStatus& d) { d.trays[0].available = true; },
        [](DeviceStatus& d) { d.trays[0].empty = false; },
        [](DeviceStatus& d) { d.alerts[0].code = 8; },
        [](DeviceStatus& d) { d.alerts[0].keyword += "x"; },
        [](DeviceStatus& d) { d.alerts[0].text += "x"; },
        [](DeviceStatus& d) { d.alerts[0].severity = Severity::Warning; },
        [](DeviceStatus& d) { d.alerts[0].place += "x"; },
        [](DeviceStatus& d) { d.alerts.emplace_back(); },
    };
    const DeviceStatus before = fullStatus();
    int number = 0;
    for (const Change change : changes) {
        DeviceStatus status = before;
        change(status);
        SCOPED_TRACE(number++);
        ASSERT_NE(status, before);
        EXPECT_EQ(PackedStatus(status).unpacked(), status);
        EXPECT_NE(PackedStatus(status).digest(), PackedStatus(before).digest());
    }
    EXPECT_EQ(PackedStatus(before).digest(), PackedStatus(fullStatus()).digest());
}

TEST(StatusField, StateIsToldByAnActivityOrByAnAlert)
{
    for (const StatusField field : {StatusField::State, StatusField::Alerts}) {
        DeviceStatus status;
        EXPECT_FALSE(tells(status, field));
        status.activity = Activity::WarmUp;
        EXPECT_TRUE(tells(status, field));
        status.activity = Activity::Unknown;
        status.alerts.emplace_back();
        EXPECT_TRUE(tells(status, field));
    }
}

TEST(StatusField, SuppliesAreTakenFromWhoeverTellsMoreOfThem)
{
    DeviceStatus statuses[3]; // none, one that exists, one of a known level
    statuses[1].supplies.emplace_back();
    statuses[2].supplies.push_back({SupplyKind::Waste, SupplyColor::Other, true, "wasteToner", "light cyan",
                                    "Box", LevelKind::Percent, 100});
    for (std::size_t own = 0; own < 3; ++own) {
        for (std::size_t other = 0; other < 3; ++other) {
            DeviceStatus status = statuses[own];
            EXPECT_EQ(takeMissing(status, statuses[other], StatusField::Supplies), other > own)
                << own << other;
        }
    }
}

TEST(StatusField, ACountIsTakenWhereThereIsNone)
{
    DeviceStatus without;
    DeviceStatus with;
    with.totalPages = 7;
    EXPECT_FALSE(takeMissing(without, without, StatusField::Counters));
    EXPECT_FALSE(takeMissing(with, without, StatusField::Counters));
    EXPECT_TRUE(takeMissing(without, with, StatusField::Counters));
    EXPECT_EQ(without.totalPages, 7);
    with.totalPages = 8;
    EXPECT_FALSE(takeMissing(without, with, StatusField::Counters));
    EXPECT_EQ(without.totalPages, 7);
}

} // namespace
} // namespace tarn::device
