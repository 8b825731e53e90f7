#include "tarn/src/usb/printer_status.h"

#include <gtest/gtest.h>

namespace tarn::usb {
namespace {

using device::Activity;
using device::DeviceStatus;

const PrinterIdentity kWho{"Acme", "Jet", "A jet", "A1", ""};

DeviceStatus withPort(std::uint8_t status)
{
    return statusOf(kWho, {}, status);
}

DeviceStatus withKeys(const std::string& value, std::optional<std::uint8_t> port = std::nullopt)
{
    return statusOf(kWho, device::parseDeviceId("MFG:A;MDL:B;VSTATUS:" + value + ";"), port);
}

std::vector<std::string> alerts(const DeviceStatus& status)
{
    std::vector<std::string> keywords;
    for (const device::Alert& alert : status.alerts) {
        keywords.push_back(alert.keyword);
    }
    return keywords;
}

using Words = std::vector<std::string>;

TEST(UsbPrinterStatusTest, WithoutAnyStatusNothingIsSaidOfTheState)
{
    const DeviceStatus status = statusOf(kWho, {}, std::nullopt);
    EXPECT_EQ(status.activity, Activity::Unknown);
    EXPECT_TRUE(status.alerts.empty());
    EXPECT_EQ(status.model, "Acme Jet");
    EXPECT_EQ(status.serialNumber, "A1");
    EXPECT_EQ(status.description, "A jet");
}

TEST(UsbPrinterStatusTest, SelectedWithoutErrorIsIdle)
{
    const DeviceStatus status = withPort(0x18);
    EXPECT_EQ(status.activity, Activity::Idle);
    EXPECT_TRUE(status.alerts.empty());
    EXPECT_FALSE(status.needsAttention);
    EXPECT_EQ(withPort(0x18 | 0xC7).activity, Activity::Idle); // adapters put other lines beside them
}

TEST(UsbPrinterStatusTest, MissingPaperIsOneAlert)
{
    for (const char port : {'\x30', '\x38'}) { // with and without the error line
        const DeviceStatus status = withPort(static_cast<std::uint8_t>(port));
        EXPECT_EQ(alerts(status), Words{"inputMediaSupplyEmpty"});
        EXPECT_TRUE(status.paperOut);
        EXPECT_TRUE(status.needsAttention);
        EXPECT_EQ(status.activity, Activity::Other);
    }
}

TEST(UsbPrinterStatusTest, NotSelectedIsOfflineAndAnErrorIsAnError)
{
    EXPECT_EQ(alerts(withPort(0x08)), Words{"offline"});
    EXPECT_EQ(alerts(withPort(0x00)), Words{"offline"});
    EXPECT_EQ(alerts(withPort(0x10)), Words{"portError"});
    EXPECT_FALSE(withPort(0x10).paperOut);
}

TEST(UsbPrinterStatusTest, StatusKeysTellTheActivity)
{
    EXPECT_EQ(withKeys("$HB0$NC0,ff,DN,IDLE,CUT,K0,C0").activity, Activity::Idle);
    EXPECT_EQ(withKeys("$HB0$NC0,ff,DN,PRNT,CUT").activity, Activity::Printing);
    EXPECT_EQ(withKeys("$HB0$NC0,ff,DN,PRNT,CUT", 0x18).activity, Activity::Printing);
    EXPECT_EQ(withKeys("$HB0$NC0,ff,DN,XXXX").activity, Activity::Unknown);
    EXPECT_EQ(withKeys("IDLED,MIDLE").activity, Activity::Unknown);
}

TEST(UsbPrinterStatusTest, StatusKeysAreMoreExactThanThePort)
{
    EXPECT_EQ(alerts(withKeys("a,OOPA", 0x30)), Words{"inputMediaSupplyEmpty"});
    EXPECT_TRUE(withKeys("a,OOPA").paperOut);
    EXPECT_EQ(alerts(withKeys("a,PAJM", 0x10)), Words{"jam"});
    EXPECT_TRUE(withKeys("a,PAJM").needsAttention);
}

TEST(UsbPrinterStatusTest, StatusKeysTellLevels)
{
    const DeviceStatus status = withKeys("a,IDLE,KP085,CP7");
    ASSERT_EQ(status.supplies.size(), 2u);
    EXPECT_EQ(status.supplies[0].color, device::SupplyColor::Black);
    EXPECT_EQ(status.supplies[0].levelKind, device::LevelKind::Percent);
    EXPECT_EQ(status.supplies[0].percent, 85);
    EXPECT_EQ(status.supplies[1].color, device::SupplyColor::TriColor);
    EXPECT_EQ(status.supplies[1].percent, 7);
}

TEST(UsbPrinterStatusTest, LevelsAreFromNothingToFull)
{
    EXPECT_EQ(withKeys("KP0").supplies.at(0).percent, 0);
    EXPECT_EQ(withKeys("KP100").supplies.at(0).percent, 100);
}

TEST(UsbPrinterStatusTest, LevelsThatAreNoneAreLeftOut)
{
    for (const char* value : {"KP", "KP101", "KP-1", "KP1234", "KPx", "kp50", "K085"}) {
        EXPECT_TRUE(withKeys(value).supplies.empty()) << value;
    }
    EXPECT_LE(withKeys("KP1,KP2,KP3,KP4,CP5").supplies.size(), 2u);
}

TEST(UsbPrinterStatusTest, OnlyIdsWithStatusKeysAreWorthAskingForAgain)
{
    EXPECT_TRUE(tellsStatus(device::parseDeviceId("MFG:A;VSTATUS:x;")));
    EXPECT_FALSE(tellsStatus(device::parseDeviceId("MFG:A;MDL:B;")));
}

} // namespace
} // namespace tarn::usb
