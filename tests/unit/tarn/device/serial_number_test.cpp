#include "tarn/src/device/serial_number.h"

#include <gtest/gtest.h>

namespace tarn::device {
namespace {

TEST(SerialNumberTest, HexTextOfASerialNumberIsDecoded)
{
    EXPECT_EQ(serialNumberFrom("4C593331302D3737"), "LY310-77");
    EXPECT_EQ(serialNumberFrom("4c593331302d373712"), "LY310-77") << "a control octet at the end";
    EXPECT_EQ(serialNumberFrom("4C593331302D37370000"), "LY310-77");
    EXPECT_EQ(serialNumberFrom("4A4B4C4D4E4F3031"), "JKLMNO01") << "every digit";
    EXPECT_EQ(serialNumberFrom("4a4b4c4d4e4f3031"), "JKLMNO01");
}

TEST(SerialNumberTest, WhatIsNoHexTextOfOneStays)
{
    for (const char* serial : {"LY310-77",
                               "4C5933",             // too short to tell
                               "4C593331302D373",    // odd
                               "4C593331302D3777",   // a small letter
                               "4C59120031302D3737", // a control octet in the middle
                               "0123456789ABCDEF", "9876543210987654", "4C593331302D37GG"}) {
        EXPECT_EQ(serialNumberFrom(serial), serial);
    }
    EXPECT_EQ(serialNumberFrom(" A 1 "), "A 1");
}

TEST(SerialNumberTest, APlaceholderWithAnyLetterOrDigitMoreIsOne)
{
    for (const char* text : {"N/AZ", "zN/A", "N/A 0", "9N/A", "unknown a", "N/A\xC3\xA9"}) {
        EXPECT_EQ(serialNumberFrom(text), text);
    }
}

TEST(SerialNumberTest, PlaceholdersAreNone)
{
    for (const char* text : {"", "unknown", "N/A", "serial_number", "00000000", "XXXXXXXX", "(null)", "?",
                             "30303030303030303030"}) {
        EXPECT_EQ(serialNumberFrom(text), "") << text;
    }
}

} // namespace
} // namespace tarn::device
