#include "tarn/src/snmp/mib/charset.h"

#include <gtest/gtest.h>

#include <malloc.h>

#include <random>

#include "tarn/src/device/utf8.h"

namespace tarn::snmp {
namespace {

TEST(Charset, LeavesAsciiAsItIs)
{
    EXPECT_EQ(decodeText("Black Toner", std::nullopt), "Black Toner");
    EXPECT_EQ(decodeText("Black Toner", 17), "Black Toner");
    EXPECT_EQ(decodeText("", 106), "");
}

TEST(Charset, DecodesByTheCharsetThatTheDeviceNames)
{
    EXPECT_EQ(decodeText("Stat. Kopie\xCD\x6E", 2004), "Stat. Kopieën"); // Roman-8
    EXPECT_EQ(decodeText("URZ\xA1\x44ZENIE", 5), "URZĄDZENIE");
    EXPECT_EQ(decodeText("\xC1\xDF\xEF\xE9\xD8\xD9", 8), "Спящий");
    EXPECT_EQ(decodeText("T\xFCrk\xE7\x65 \xFD", 12), "Türkçe ı");
    EXPECT_EQ(decodeText("\xBA\xDA\xC9\xAB", 2025), "黑色");
    EXPECT_EQ(decodeText("\xBA\xDA\xC9\xAB", 113), "黑色");
    EXPECT_EQ(decodeText("\x83\x67\x83\x69\x81\x5B", 17), "トナー");
    EXPECT_EQ(decodeText(std::string("\x9E\xD1\x82\x72", 4), 1015), "黑色");
    EXPECT_EQ(decodeText(std::string("\0B\0K", 4), 1000), "BK");
    EXPECT_EQ(decodeText(std::string("\xFF\xFE"
                                     "B\0K\0",
                                     6),
                         1015),
              "BK");
}

TEST(Charset, MarkOfTheByteOrderOverrulesThatOfTheCharset)
{
    for (const std::int64_t charset : {1000, 1013, 1014, 1015}) {
        EXPECT_EQ(decodeText(std::string("\xFE\xFF\0B\0K", 6), charset), "BK") << charset;
        EXPECT_EQ(decodeText(std::string("\xFF\xFE"
                                         "B\0K\0",
                                         6),
                             charset),
                  "BK")
            << charset;
    }
    EXPECT_EQ(decodeText(std::string("B\0K\0", 4), 1014), "BK");
}

// A network has printers of several charsets.
TEST(Charset, ConvertersAreGivenBack)
{
    const auto convertBoth = [] {
        EXPECT_EQ(decodeText("\xA1", 5), "Ą");
        EXPECT_EQ(decodeText("\xC1", 8), "С");
    };
    convertBoth();
    const std::size_t before = ::mallinfo2().uordblks;
    for (int i = 0; i < 1000; ++i) {
        convertBoth();
    }
    EXPECT_LT(::mallinfo2().uordblks, before + 50000);
}

TEST(Charset, TakesValidUtf8WhereTheNamedCharsetCannotContradict)
{
    EXPECT_EQ(decodeText("återstående", 2004), "återstående");
    EXPECT_EQ(decodeText("återstående", std::nullopt), "återstående");
    EXPECT_EQ(decodeText("请等待", 106), "请等待");
}

TEST(Charset, FallsBackToLatin1)
{
    EXPECT_EQ(decodeText("T\xF3ner", 106), "Tóner");
    EXPECT_EQ(decodeText("T\xF3ner", std::nullopt), "Tóner");
    EXPECT_EQ(decodeText("T\xF3ner", 999999), "Tóner");
    EXPECT_EQ(decodeText("\x83\xFF", 17).empty(), false); // no Shift-JIS
}

TEST(Charset, EndsAtANulAndTidiesBlanks)
{
    EXPECT_EQ(decodeText(std::string("Toner\0\0junk", 11), std::nullopt), "Toner");
    EXPECT_EQ(decodeText("  Toner \r\n\t Black  ", 106), "Toner Black");
    EXPECT_EQ(decodeText("\xC2\xA0Toner\xC2\x85", 106), "Toner");
    EXPECT_EQ(decodeText("\xEF\xBB\xBFToner", 106), "Toner");
    EXPECT_EQ(decodeText("\x01\x02", 106), "");
}

TEST(Charset, KnowsMalformedUtf8)
{
    EXPECT_TRUE(device::isValidUtf8("ą 黑 \xF0\x9F\x96\xA8"));
    for (const char* bad : {"\xC0\xAF", "\xE0\x80\xAF", "\xED\xA0\x80", "\xF4\x90\x80\x80", "\x80", "\xC3",
                            "\xE9\xBB", "\xF5\x80\x80\x80", "\xC3\x28"}) {
        EXPECT_FALSE(device::isValidUtf8(bad)) << bad;
    }
}

TEST(Charset, AlwaysYieldsValidUtf8)
{
    const unsigned seed = 97531;
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    const std::int64_t charsets[] = {-1, 3,   4,   5,   8,    17,   18,   38,   39,
                                     57, 106, 113, 114, 1000, 1015, 2004, 2026, 2084};
    for (int round = 0; round < 300; ++round) {
        std::string octets;
        for (auto length = random() % 40; length > 0; --length) {
            octets.push_back(static_cast<char>(random() & 0xFF));
        }
        for (const std::int64_t charset : charsets) {
            const std::string text = decodeText(octets, charset);
            ASSERT_TRUE(device::isValidUtf8(text)) << charset;
            ASSERT_EQ(text.find('\0'), std::string::npos);
            ASSERT_EQ(text.find('\n'), std::string::npos);
        }
    }
}

} // namespace
} // namespace tarn::snmp
