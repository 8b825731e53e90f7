#include "tarn/src/usb/printer_names.h"

#include <gtest/gtest.h>

#include "tarn/src/device/utf8.h"

namespace tarn::usb {
namespace {

UsbDevice withStrings()
{
    UsbDevice device;
    device.vendor = 0x03f0;
    device.product = 0x2b17;
    device.manufacturerText = "Acme Inc.";
    device.productText = "Jet 5 series";
    device.serialText = "S9";
    return device;
}

PrinterIdentity printer(const std::string& serialNumber)
{
    return {"Acme", "Jet", "", serialNumber, ""};
}

TEST(UsbPrinterIdentityTest, DeviceIdIsBelievedBeforeTheStrings)
{
    const PrinterIdentity who =
        identityOf(withStrings(), device::parseDeviceId("MFG:Acme;MDL:Jet 5;DES:A jet;SN:A1;UUID:u-1;"));
    EXPECT_EQ(who, (PrinterIdentity{"Acme", "Jet 5", "A jet", "A1", "u-1"}));
}

TEST(UsbPrinterIdentityTest, StringsFillWhatTheDeviceIdLeavesOut)
{
    EXPECT_EQ(identityOf(withStrings(), device::parseDeviceId("MDL:Jet 5;")),
              (PrinterIdentity{"Acme Inc.", "Jet 5", "Acme Inc. Jet 5", "S9", ""}));
    EXPECT_EQ(identityOf(withStrings(), device::DeviceId()),
              (PrinterIdentity{"Acme Inc.", "Jet 5 series", "Acme Inc. Jet 5 series", "S9", ""}));
}

TEST(UsbPrinterIdentityTest, SerialNumberOfTheStringsIsDecodedToo)
{
    UsbDevice device = withStrings();
    device.serialText = "4C593331302D373712";
    EXPECT_EQ(identityOf(device, device::DeviceId()).serialNumber, "LY310-77");
}

TEST(UsbPrinterIdentityTest, WhoSaysNothingIsCalledByItsNumbers)
{
    UsbDevice device;
    device.vendor = 0x03f0;
    device.product = 0x00a7;
    EXPECT_EQ(identityOf(device, device::DeviceId()).model, "USB 03f0:00a7");
    EXPECT_EQ(identityOf(device, device::parseDeviceId("DES:Some printer;")).model, "Some printer");
}

TEST(UsbPrinterNamesTest, MakerThatTheModelNamesStandsOnce)
{
    PrinterNames names;
    EXPECT_EQ(names.add({"Acme Printing Inc.", "ACME Jet 5", "", "A1", ""}, "1-1"), "ACME Jet 5 A1");
}

TEST(UsbPrinterNamesTest, NameIsMakeModelAndSerialNumber)
{
    PrinterNames names;
    EXPECT_EQ(names.add(printer("A1"), "1-1"), "Acme Jet A1");
    EXPECT_EQ(names.add(printer("A2"), "1-2"), "Acme Jet A2");
    EXPECT_EQ(names.add(printer(""), "1-3"), "Acme Jet");
}

TEST(UsbPrinterNamesTest, TwinsAreCounted)
{
    for (const char* serial : {"", "same"}) {
        PrinterNames names;
        const std::string first = names.add(printer(serial), "1-1");
        EXPECT_EQ(names.add(printer(serial), "1-2"), first + " #2");
        EXPECT_EQ(names.add(printer(serial), "1-3"), first + " #3");
    }
}

TEST(UsbPrinterNamesTest, NameIsTheSameWhenPluggedInAgainAnywhere)
{
    PrinterNames names;
    const std::string name = names.add(printer("A1"), "1-1");
    names.remove(name);
    EXPECT_EQ(names.add(printer("A1"), "1-1"), name);
    names.remove(name);
    EXPECT_EQ(names.add(printer("A1"), "2-4.1"), name);
}

TEST(UsbPrinterNamesTest, TwinsKeepTheirNamesInWhateverOrderTheyComeBack)
{
    PrinterNames names;
    const std::string first = names.add(printer(""), "1-1");
    const std::string second = names.add(printer(""), "1-2");
    names.remove(first);
    names.remove(second);
    EXPECT_EQ(names.add(printer(""), "1-2"), second);
    EXPECT_EQ(names.add(printer(""), "1-1"), first);
}

TEST(UsbPrinterNamesTest, NamesOfFourThousandSocketsAreRememberedAndNoMore)
{
    const auto nameAfter = [](int others) {
        PrinterNames names;
        const std::string first = names.add(printer(""), "1-1");
        const std::string second = names.add(printer(""), "1-2");
        names.remove(first);
        names.remove(second);
        for (int i = 0; i < others; ++i) {
            names.remove(names.add(printer("S" + std::to_string(i)), "2-1"));
        }
        return names.add(printer(""), "1-2") == second;
    };
    EXPECT_TRUE(nameAfter(4093));
    EXPECT_FALSE(nameAfter(4094)); // 4096 with the twins
}

TEST(UsbPrinterNamesTest, NameStaysWithWhoHasIt)
{
    PrinterNames names;
    const std::string first = names.add(printer(""), "1-1");
    names.remove(first);
    EXPECT_EQ(names.add(printer(""), "1-2"), first); // moved; its old socket is free
    EXPECT_EQ(names.add(printer(""), "1-1"), first + " #2");
}

TEST(UsbPrinterNamesTest, NameOfAnyLengthIsCutBetweenCharacters)
{
    PrinterNames names;
    std::string model = "x";
    for (int i = 0; i < 300; ++i) {
        model += "机";
    }
    const std::string name = names.add({"", model, "", "", ""}, "1-1");
    EXPECT_LE(name.size(), 240u);
    EXPECT_GE(name.size(), 238u);
    EXPECT_TRUE(device::isValidUtf8(name));
}

} // namespace
} // namespace tarn::usb
