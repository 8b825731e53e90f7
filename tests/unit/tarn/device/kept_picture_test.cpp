#include "tarn/src/device/kept_picture.h"

#include <gtest/gtest.h>

#include <limits>

namespace tarn::device {
namespace {

DeviceStatus fullPicture()
{
    DeviceStatus picture;
    picture.model = "Acme ColorJet 500";
    picture.serialNumber = std::string("with\0nul", 8);
    picture.description = std::string(300, 'd');
    picture.location = "三楼";
    picture.activity = Activity::WarmUp;
    picture.needsAttention = true;
    picture.tonerOut = true;
    picture.totalPages = std::numeric_limits<std::int64_t>::max();
    picture.supplies.push_back({SupplyKind::Waste, SupplyColor::Other, true, "wasteToner", "light cyan",
                                "Box", LevelKind::Percent, 100});
    picture.supplies.emplace_back();
    picture.trays.push_back(
        {"Tray 1", LevelKind::Some, 7, -3, std::numeric_limits<std::int64_t>::min(), "sheets", false, true});
    picture.alerts.push_back({-1, "jam", "卡纸", Severity::Critical, "Tray 1"});
    return picture;
}

TEST(KeptPicture, YieldsThePictureThatItWasMadeOf)
{
    EXPECT_EQ(KeptPicture(fullPicture()).unpacked(), fullPicture());
    EXPECT_EQ(KeptPicture(DeviceStatus()).unpacked(), DeviceStatus());
    EXPECT_EQ(KeptPicture().unpacked(), DeviceStatus());
}

TEST(KeptPicture, TypesOfTheStandardAndAnyOtherComeBack)
{
    for (const char* type :
         {"", "other", "unknown", "toner", "matteInk", "tonerCartridge", "toner-cartridge", "Toner"}) {
        DeviceStatus picture;
        picture.supplies.emplace_back().type = type;
        EXPECT_EQ(KeptPicture(picture).unpacked().supplies.at(0).type, type);
    }
}

TEST(KeptPicture, KeepsUnknownAndZeroApart)
{
    DeviceStatus zero;
    zero.totalPages = 0;
    EXPECT_EQ(KeptPicture(zero).unpacked().totalPages, 0);
    EXPECT_EQ(KeptPicture(DeviceStatus()).unpacked().totalPages, std::nullopt);
    EXPECT_NE(KeptPicture(zero).digest(), KeptPicture(DeviceStatus()).digest());
}

// Every field by itself: it is there again afterwards, and it makes the digest another one.
TEST(KeptPicture, EachFieldIsKeptAndCounts)
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
    const DeviceStatus before = fullPicture();
    int number = 0;
    for (const Change change : changes) {
        DeviceStatus picture = before;
        change(picture);
        SCOPED_TRACE(number++);
        ASSERT_NE(picture, before);
        EXPECT_EQ(KeptPicture(picture).unpacked(), picture);
        EXPECT_NE(KeptPicture(picture).digest(), KeptPicture(before).digest());
    }
    EXPECT_EQ(KeptPicture(before).digest(), KeptPicture(fullPicture()).digest());
}

} // namespace
} // namespace tarn::device
