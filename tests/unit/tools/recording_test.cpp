#include "tools/printer-sim/recording.h"

#include <gtest/gtest.h>

#include "tarn/src/base/files.h"

namespace printersim {
namespace {

Value valueOf(const std::string& line)
{
    return *parseRecordingLine(line, 1).source({});
}

// The line number and the reason that a text is refused with.
std::string refusal(const std::string& text)
{
    try {
        parseRecording(text);
    } catch (const InputError& error) {
        return std::to_string(error.line()) + ": " + error.what();
    }
    return "accepted";
}

TEST(Recording, KnowsEveryTag)
{
    EXPECT_EQ(valueOf("1.3|2|-3").number, -3);
    EXPECT_EQ(valueOf("1.3|2|-3").type, ValueType::Integer);
    EXPECT_EQ(valueOf("1.3|4|ab|c").bytes, "ab|c");
    EXPECT_EQ(valueOf("1.3|5|").type, ValueType::Null);
    EXPECT_EQ(valueOf("1.3|6|1.3.6.1").oid, (Oid{1, 3, 6, 1}));
    EXPECT_EQ(valueOf("1.3|64|127.0.0.9").bytes, std::string("\x7f\0\0\x09", 4));
    EXPECT_EQ(valueOf("1.3|65|4294967295").number, 4294967295);
    EXPECT_EQ(valueOf("1.3|65|1").type, ValueType::Counter32);
    EXPECT_EQ(valueOf("1.3|66|1").type, ValueType::Gauge32);
    EXPECT_EQ(valueOf("1.3|67|1").type, ValueType::TimeTicks);
    EXPECT_EQ(valueOf("1.3|68x|0102").bytes, "\x01\x02");
    EXPECT_EQ(valueOf("1.3|70|18446744073709551615").number, -1);
    EXPECT_EQ(valueOf("1.3|70|1").type, ValueType::Counter64);
}

TEST(Recording, ReadsHexadecimalValues)
{
    EXPECT_EQ(valueOf("1.3|4x|00FFa0").bytes, std::string("\x00\xff\xa0", 3));
    EXPECT_EQ(valueOf("1.3|4x|").bytes, "");
    EXPECT_EQ(valueOf("1.3|64x|7f000009").bytes, std::string("\x7f\0\0\x09", 4));
}

TEST(Recording, ReadsEscapedValues)
{
    EXPECT_EQ(valueOf("1.3|4e|a\\x00b\\n\\\\").bytes, std::string("a\0b\n\\", 5));
}

TEST(Recording, ReadsTheValueOfAWritableRow)
{
    EXPECT_EQ(valueOf("1.3|2:writecache|value=80").number, 80);
}

TEST(Recording, SkipsCommentsAndEmptyLinesAndBlanksAround)
{
    const auto rows = parseRecording("# head\n\n  1.3.1|2|1 \r\n\t\n1.3.2|4|a b");
    ASSERT_EQ(rows.size(), 2U);
    EXPECT_EQ(rows[0].source({})->number, 1);
    EXPECT_EQ(rows[1].source({})->bytes, "a b");
}

TEST(Recording, SaysWhichLineIsWrongAndWhy)
{
    EXPECT_EQ(refusal("1.3|2|1\n\nnonsense\n"), "3: not OID|TAG|VALUE: \"nonsense\"");
    EXPECT_EQ(refusal("1.3|2"), "1: not OID|TAG|VALUE: \"1.3|2\"");
    EXPECT_EQ(refusal("x|2|1"), "1: no object identifier: \"x\"");
    EXPECT_EQ(refusal("1.3|99|1"), "1: unknown tag \"99\"");
    EXPECT_EQ(refusal("1.3||1"), "1: unknown tag \"\"");
    EXPECT_EQ(refusal("1.3|2|many"), "1: no number: \"many\"");
    EXPECT_EQ(refusal("1.3|2|"), "1: no number: \"\"");
    EXPECT_EQ(refusal("1.3|2|2147483648"), "1: number out of range: \"2147483648\"");
    EXPECT_EQ(refusal("1.3|65|4294967296"), "1: number out of range: \"4294967296\"");
    EXPECT_EQ(refusal("1.3|66|-1"), "1: no number: \"-1\"");
    EXPECT_EQ(refusal("1.3|6|1.x"), "1: no object identifier: \"1.x\"");
    EXPECT_EQ(refusal("1.3|64|127.0.1"), "1: no IPv4 address: \"127.0.1\"");
    EXPECT_EQ(refusal("1.3|64x|7f"), "1: an IPv4 address has four octets");
    EXPECT_EQ(refusal("1.3|4x|0"), "1: odd number of hexadecimal digits");
    EXPECT_EQ(refusal("1.3|4x|zz"), "1: no hexadecimal digits: \"zz\"");
    EXPECT_EQ(refusal("1.3|4e|\\"), "1: a lone backslash at the end");
    EXPECT_EQ(refusal("1.3|4e|\\q"), "1: unknown escape \"\\q\"");
    EXPECT_EQ(refusal("1.3|4e|\\x4"), "1: odd number of hexadecimal digits");
    EXPECT_EQ(refusal("1.3|2:delay|value=1,wait=9"), "1: unknown module \"delay\"");
    EXPECT_EQ(refusal("1.3|2:writecache|1"), "1: writecache without value=");
}

TEST(Recording, ShowsOnlyTheBeginningOfALongLine)
{
    EXPECT_EQ(refusal(std::string(5000, 'x')), "1: not OID|TAG|VALUE: \"" + std::string(40, 'x') + "...\"");
}

TEST(Recording, TheExampleLoads)
{
    const auto file = tarn::readFile(KEL_TEST_DATA "/plain.snmprec", 1 << 20);
    ASSERT_EQ(file.error, tarn::ReadError::None);
    const Mib mib(parseRecording(file.text));
    EXPECT_EQ(mib.rows().size(), 18U);
    const Row* serial = mib.find({1, 3, 6, 1, 2, 1, 43, 5, 1, 1, 17, 1});
    ASSERT_NE(serial, nullptr);
    EXPECT_EQ(serial->source({})->bytes, "ORM1200001");
}

} // namespace
} // namespace printersim
