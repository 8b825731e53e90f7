#include "tarn/src/device/device_id.h"

#include <gtest/gtest.h>

#include <random>

#include "tarn/src/device/utf8.h"

namespace tarn::device {
namespace {

const std::string kPlain = "MFG:Acme;MDL:Jet 5;SN:A1;";

std::string withLength(std::size_t length, const std::string& text, bool leastFirst = false)
{
    const std::string octets{static_cast<char>(length >> 8), static_cast<char>(length & 0xFF)};
    return (leastFirst ? std::string(octets.rbegin(), octets.rend()) : octets) + text;
}

void expectPlain(const std::string& octets)
{
    const DeviceId id = parseDeviceId(octets);
    EXPECT_EQ(id.manufacturer, "Acme") << octets;
    EXPECT_EQ(id.model, "Jet 5");
    EXPECT_EQ(id.serialNumber, "A1");
    EXPECT_EQ(id.fields.size(), 3u);
}

TEST(DeviceIdTest, LengthMayStandBeforeTheTextInEitherOrderOrNotAtAll)
{
    const std::size_t size = kPlain.size() + 2;
    expectPlain(kPlain);
    expectPlain(withLength(size, kPlain));
    expectPlain(withLength(size, kPlain, true));
}

TEST(DeviceIdTest, WrongLengthLosesNothing)
{
    for (const std::size_t length : {0u, 1u, 5u, 25u, 26u, 28u, 200u, 1023u}) {
        expectPlain(withLength(length, kPlain));
        expectPlain(withLength(length, kPlain, true));
    }
}

TEST(DeviceIdTest, WhatFollowsTheLengthIsLeftOverFromEarlier)
{
    expectPlain(withLength(kPlain.size() + 2, kPlain + "OLD:stale;"));
    expectPlain(withLength(kPlain.size() + 2, kPlain + "OLD:stale;", true));
    expectPlain(withLength(kPlain.size() + 2, kPlain + "A:b;C:d;")); // not a field of it is read
    expectPlain(withLength(0, kPlain + std::string(1, '\0') + "OLD:stale;"));
}

TEST(DeviceIdTest, TextOfALongIdIsCountedInTwoOctets)
{
    const std::string text = "MFG:Acme;MDL:" + std::string(300, 'x') + ";";
    EXPECT_EQ(parseDeviceId(withLength(text.size() + 2, text)).model, std::string(300, 'x'));
    EXPECT_EQ(parseDeviceId(withLength(text.size() + 2, text, true)).model, std::string(300, 'x'));
}

TEST(DeviceIdTest, LengthWhoseOctetsCouldBeTextIsOneWhereItIsTheLength)
{
    const std::size_t length = '\n' * 256 + 'A';
    const std::string text = "MFG:Acme;MDL:" + std::string(length - 2 - 14, 'x') + ";";
    ASSERT_EQ(text.size() + 2, length);
    EXPECT_EQ(parseDeviceId(withLength(length, text)).manufacturer, "Acme");
    EXPECT_EQ(parseDeviceId(withLength(length, text, true)).manufacturer, "Acme");
}

TEST(DeviceIdTest, LineBreakBeforeTheFirstKeyIsNoLength)
{
    EXPECT_EQ(parseDeviceId("\nMFG:Acme;").manufacturer, "Acme");
    EXPECT_EQ(parseDeviceId("\r\nMFG:Acme;").manufacturer, "Acme");
}

TEST(DeviceIdTest, KeysHaveLongNamesAndAnyCase)
{
    EXPECT_EQ(parseDeviceId("MANUFACTURE:Acme;MODEL:Jet;").manufacturer, "Acme");
    const DeviceId id = parseDeviceId("MANUFACTURER: Acme ;Model:Jet;command  set:PCL,PS;Description:A jet;"
                                      "CLASS:PRINTER;SerialNumber:78;UUID:1-2;");
    EXPECT_EQ(id.manufacturer, "Acme");
    EXPECT_EQ(id.model, "Jet");
    EXPECT_EQ(id.commandSet, "PCL,PS");
    EXPECT_EQ(id.description, "A jet");
    EXPECT_EQ(id.deviceClass, "PRINTER");
    EXPECT_EQ(id.serialNumber, "78");
    EXPECT_EQ(id.uuid, "1-2");
}

TEST(DeviceIdTest, SerialNumberHasManyKeys)
{
    for (const char* key : {"SN", "SERN", "SERIALNUMBER", "SERIAL", "SER", "Serial Number", "SERIALNO"}) {
        EXPECT_EQ(parseDeviceId("MFG:A;" + std::string(key) + ":X9;").serialNumber, "X9") << key;
    }
}

TEST(DeviceIdTest, KeyWithAnotherLetterOrDigitIsAnother)
{
    for (const char* key : {"SN9", "SN0", "9SN", "SNZ", "ASN"}) {
        EXPECT_EQ(parseDeviceId("MFG:A;" + std::string(key) + ":X9;").serialNumber, "") << key;
    }
}

TEST(DeviceIdTest, KeysMayBeJoinedAnyWay)
{
    const DeviceId id = parseDeviceId(" Mfg : Acme;MODEL_NAME:Jet;S/N:A1;Command-Set:PCL;");
    EXPECT_EQ(id.manufacturer, "Acme");
    EXPECT_EQ(id.model, "Jet");
    EXPECT_EQ(id.serialNumber, "A1");
    EXPECT_EQ(id.commandSet, "PCL");
    EXPECT_EQ(parseDeviceId("MFG=Acme;MDL=Jet").model, "Jet");
    EXPECT_EQ(parseDeviceId("MDL:Jet=5;").model, "Jet=5");
}

TEST(DeviceIdTest, FrameAndLineBreaksEndFields)
{
    expectPlain("@PJL INFO ID\r\n\"MFG:Acme;MDL:Jet 5;SN:A1;\"\r\n\f");
    expectPlain("MFG:Acme\r\nMDL:Jet 5\r\nSN:A1\r\n");
}

TEST(DeviceIdTest, SerialNumberIsDecodedAndPlaceholdersAreNone)
{
    EXPECT_EQ(parseDeviceId("MFG:A;SN:4C593331302D373712;").serialNumber, "LY310-77");
    EXPECT_EQ(parseDeviceId("MFG:A;SN:4C593331302D373712;").value("SN"), "4C593331302D373712");
    EXPECT_EQ(parseDeviceId("MFG:A;SN:unknown;").serialNumber, "");
}

TEST(DeviceIdTest, ValueMayHoldColons)
{
    EXPECT_EQ(parseDeviceId("MFG:A;URL:http://a:80/;").value("URL"), "http://a:80/");
}

TEST(DeviceIdTest, FirstValueOfAKeyCountsAndAnEmptyOneIsNone)
{
    const DeviceId id = parseDeviceId("MFG:;MFG:Acme;MFG:Other;MDL: ;MODEL:Jet;");
    EXPECT_EQ(id.manufacturer, "Acme");
    EXPECT_EQ(id.model, "Jet");
    EXPECT_EQ(id.fields.size(), 2u);
}

TEST(DeviceIdTest, LastFieldNeedsNoSemicolon)
{
    EXPECT_EQ(parseDeviceId("MFG:Acme;MDL:Jet").model, "Jet");
}

TEST(DeviceIdTest, WhatIsNoFieldIsLeftOut)
{
    const DeviceId id = parseDeviceId(";;garbage;:no key;MFG:Acme;");
    EXPECT_EQ(id.fields.size(), 1u);
    EXPECT_TRUE(id.namesDevice());
    EXPECT_FALSE(parseDeviceId("").namesDevice());
    EXPECT_FALSE(parseDeviceId("\xFF").namesDevice());
    EXPECT_FALSE(parseDeviceId("CLS:PRINTER;SN:1;").namesDevice());
}

TEST(DeviceIdTest, OctetsThatAreNoUtf8AreLatin1)
{
    EXPECT_EQ(parseDeviceId("MFG:B\xFCro;MDL:B\xC3\xBCro\x01 2;").manufacturer, "Büro");
    EXPECT_EQ(parseDeviceId("MFG:B\xFCro;MDL:B\xC3\xBCro\x01 2;").model, "Büro 2");
}

TEST(DeviceIdTest, StatusKeysAreKept)
{
    EXPECT_EQ(parseDeviceId("MFG:HP;MDL:D;VSTATUS:$HB0$NC0,ff,DN,IDLE,CUT;").value("VSTATUS"),
              "$HB0$NC0,ff,DN,IDLE,CUT");
}

TEST(DeviceIdTest, NumberOfFieldsAndOctetsIsBounded)
{
    std::string many;
    for (int i = 0; i < 200; ++i) {
        many += "K" + std::to_string(i) + ":v;";
    }
    EXPECT_EQ(parseDeviceId(many).fields.size(), DeviceId::kMostFields);
    EXPECT_LE(parseDeviceId("MFG:" + std::string(100000, 'x') + ";").manufacturer.size(), DeviceId::kLargest);
}

TEST(DeviceIdTest, AnyOctetsGiveValidTexts)
{
    const unsigned seed = std::random_device()();
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    for (int round = 0; round < 2000; ++round) {
        std::string octets = kPlain;
        for (int i = 0; i < 6; ++i) {
            octets.insert(octets.begin() + static_cast<long>(random() % (octets.size() + 1)),
                          static_cast<char>(random()));
        }
        for (const auto& [key, value] : parseDeviceId(octets).fields) {
            ASSERT_TRUE(isValidUtf8(key) && isValidUtf8(value));
            ASSERT_FALSE(key.empty() || value.empty());
        }
    }
}

} // namespace
} // namespace tarn::device
