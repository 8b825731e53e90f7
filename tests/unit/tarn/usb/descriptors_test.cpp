#include "tarn/src/usb/descriptors.h"

#include <gtest/gtest.h>

#include <string>

namespace tarn::usb {
namespace {

const std::string kDevice{18, 1, 0, 2, 0, 0, 0, 64, static_cast<char>(0xF0), 3, 0x17, 0x2A, 0, 1, 1, 2, 3, 2};

std::string configuration(char value)
{
    return {9, 2, 0, 0, 1, value, 0, static_cast<char>(0xC0), 1};
}

std::string interface(char number, char alternate, char kind, char subclass, char protocol)
{
    return {9, 4, number, alternate, 2, kind, subclass, protocol, 0};
}

const std::string kEndpoint{7, 5, 1, 2, 64, 0, 0};

TEST(UsbDescriptorsTest, PrinterInterfacesAreFoundAmongOthers)
{
    const std::string octets = kDevice + configuration(1) + interface(0, 0, 8, 6, 80) + kEndpoint +
                               interface(1, 0, 7, 1, 2) + kEndpoint + interface(1, 1, 7, 1, 4) +
                               configuration(2) + interface(0, 0, 7, 1, 1);
    const std::optional<Descriptors> found = readDescriptors(octets);
    ASSERT_TRUE(found);
    EXPECT_EQ(found->vendor, 0x03F0);
    EXPECT_EQ(found->product, 0x2A17);
    ASSERT_EQ(found->printers.size(), 3u);
    EXPECT_EQ(found->printers[0].number, 1);
    EXPECT_EQ(found->printers[0].configuration, 1);
    EXPECT_EQ(found->printers[1].alternate, 1);
    EXPECT_EQ(found->printers[2].configuration, 2);
    EXPECT_EQ(found->printers[2].configurationIndex, 1);
}

TEST(UsbDescriptorsTest, TheActiveConfigurationsOwnLanguageIsAskedFirst)
{
    const std::string octets = kDevice + configuration(1) + interface(0, 0, 7, 1, 4) +
                               interface(1, 0, 7, 1, 1) + interface(1, 1, 7, 1, 2) + configuration(2) +
                               interface(3, 0, 7, 1, 4);
    const std::optional<Descriptors> found = readDescriptors(octets);
    ASSERT_TRUE(found);
    EXPECT_EQ(printerInterface(*found, 1)->protocol, 2);
    EXPECT_EQ(printerInterface(*found, 2)->number, 3);
    EXPECT_EQ(printerInterface(*found, 0)->protocol, 2);
    EXPECT_EQ(printerInterface(*found, 9), nullptr);
}

// Both directions first, then IEEE 1284.4, then one direction, then what nobody knows; whatever stands first.
TEST(UsbDescriptorsTest, LanguagesAreRankedWhereverTheyStand)
{
    const std::string ranked{2, 3, 1, 4};
    for (std::size_t better = 0; better < ranked.size(); ++better) {
        for (std::size_t worse = better + 1; worse < ranked.size(); ++worse) {
            const std::string octets = kDevice + configuration(1) + interface(0, 0, 7, 1, ranked[worse]) +
                                       interface(1, 0, 7, 1, ranked[better]);
            EXPECT_EQ(printerInterface(*readDescriptors(octets), 1)->number, 1) << better << " " << worse;
        }
    }
}

TEST(UsbDescriptorsTest, DescriptorWithoutContentIsPassedOver)
{
    const std::string empty{2, 36};
    EXPECT_EQ(readDescriptors(kDevice + configuration(1) + empty + interface(0, 0, 7, 1, 2))->printers.size(),
              1u);
}

TEST(UsbDescriptorsTest, OtherSubclassesAndClassesAreNoPrinters)
{
    const std::optional<Descriptors> found =
        readDescriptors(kDevice + configuration(1) + interface(0, 0, 7, 2, 2) + interface(1, 0, 8, 1, 2));
    ASSERT_TRUE(found);
    EXPECT_TRUE(found->printers.empty());
    EXPECT_EQ(printerInterface(*found, 1), nullptr);
}

TEST(UsbDescriptorsTest, WhatIsCutOffOrNoDescriptorEndsTheWalk)
{
    const std::string good = kDevice + configuration(1) + interface(0, 0, 7, 1, 2);
    const std::string zero(2, '\0');
    EXPECT_EQ(readDescriptors(good + zero + interface(1, 0, 7, 1, 2))->printers.size(), 1u);
    EXPECT_EQ(readDescriptors(good + std::string{9, 4, 1})->printers.size(), 1u);
    EXPECT_EQ(readDescriptors(good + std::string{5, 4, 1, 0, 7})->printers.size(), 1u);
    EXPECT_EQ(readDescriptors(good + std::string{9})->printers.size(), 1u);
    EXPECT_FALSE(readDescriptors(""));
    EXPECT_FALSE(readDescriptors(kDevice.substr(0, 17)));
    EXPECT_FALSE(readDescriptors(configuration(1) + kDevice));
}

TEST(UsbDescriptorsTest, InterfaceBeforeAnyConfigurationDoesNotCount)
{
    EXPECT_TRUE(readDescriptors(kDevice + interface(0, 0, 7, 1, 2))->printers.empty());
}

TEST(UsbDescriptorsTest, NumberOfInterfacesIsBounded)
{
    std::string octets = kDevice + configuration(1);
    for (int i = 0; i < 500; ++i) {
        octets += interface(static_cast<char>(i), 0, 7, 1, 2);
    }
    EXPECT_EQ(readDescriptors(octets)->printers.size(), kMostInterfaces);
}

} // namespace
} // namespace tarn::usb
