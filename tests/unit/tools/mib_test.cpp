#include "tools/printer-sim/mib.h"

#include <gtest/gtest.h>

namespace printersim {
namespace {

Row row(Oid name, std::int64_t value)
{
    return {std::move(name), always(integer(value))};
}

TEST(Mib, RowsAreOrderedByNumberNotByText)
{
    const Mib mib({row({1, 3, 10}, 1), row({1, 3, 9}, 2), row({1, 3}, 3), row({1, 3, 9, 0}, 4)});
    ASSERT_EQ(mib.rows().size(), 4U);
    EXPECT_EQ(mib.rows()[0].name, (Oid{1, 3}));
    EXPECT_EQ(mib.rows()[1].name, (Oid{1, 3, 9}));
    EXPECT_EQ(mib.rows()[2].name, (Oid{1, 3, 9, 0}));
    EXPECT_EQ(mib.rows()[3].name, (Oid{1, 3, 10}));
}

TEST(Mib, OfTwoRowsOfOneNameTheLastCounts)
{
    const Mib mib({row({1, 3, 1}, 1), row({1, 3, 1}, 2)});
    ASSERT_EQ(mib.rows().size(), 1U);
    EXPECT_EQ(mib.rows()[0].source({})->number, 2);
}

TEST(Mib, FindsTheRowAndOnlyTheRow)
{
    const Mib mib({row({1, 3, 1}, 1), row({1, 3, 3}, 3)});
    ASSERT_NE(mib.find({1, 3, 3}), nullptr);
    EXPECT_EQ(mib.find({1, 3, 2}), nullptr);
    EXPECT_EQ(mib.find({1, 3, 3, 0}), nullptr);
    EXPECT_EQ(mib.find({1, 3, 4}), nullptr);
}

TEST(Mib, TheRowBehindANameIsStrictlyBehindIt)
{
    const Mib mib({row({1, 3, 1}, 1), row({1, 3, 3}, 3)});
    EXPECT_EQ(mib.firstAfter({1, 3}), 0U);
    EXPECT_EQ(mib.firstAfter({1, 3, 1}), 1U);
    EXPECT_EQ(mib.firstAfter({1, 3, 2}), 1U);
    EXPECT_EQ(mib.firstAfter({1, 3, 3}), 2U);
}

TEST(Oid, ReadsBothSpellings)
{
    EXPECT_EQ(parseOid("1.3.6"), (Oid{1, 3, 6}));
    EXPECT_EQ(parseOid(".1.3.6"), (Oid{1, 3, 6}));
    EXPECT_EQ(parseOid("2.4294967295"), (Oid{2, 4294967295U}));
}

TEST(Oid, RefusesWhatIsNone)
{
    for (const char* text :
         {"", ".", "1", "1.", "1..3", "1.x", "1.3.4294967296", "3.1", "1.40", "0.40", "1.3 ", "-1.3"}) {
        EXPECT_FALSE(parseOid(text)) << text;
    }
    std::string arcs128 = "1.3";
    for (int i = 2; i < 128; ++i) {
        arcs128 += ".1";
    }
    EXPECT_TRUE(parseOid(arcs128));
    EXPECT_FALSE(parseOid(arcs128 + ".1"));
}

TEST(Oid, APrefixCoversItselfAndWhatIsBelow)
{
    EXPECT_TRUE(startsWith({1, 3, 6}, {1, 3, 6}));
    EXPECT_TRUE(startsWith({1, 3, 6, 1}, {1, 3, 6}));
    EXPECT_FALSE(startsWith({1, 3}, {1, 3, 6}));
    EXPECT_FALSE(startsWith({1, 3, 7, 1}, {1, 3, 6}));
}

TEST(Address, IsTheDottedFormOnly)
{
    EXPECT_EQ(parseAddress("127.43.0.1"), 0x7F2B0001U);
    EXPECT_EQ(addressText(0x7F2B0001), "127.43.0.1");
    EXPECT_FALSE(parseAddress("127.1"));
    EXPECT_FALSE(parseAddress("127.0.0.1 "));
    EXPECT_FALSE(parseAddress("localhost"));
}

TEST(FillIn, PutsThePrintersNumberAndAddress)
{
    const Moment moment{0, 0, 42, 0x7F000005};
    EXPECT_EQ(fillIn("A{n}-{n:5}-{address}", moment), "A42-00042-127.0.0.5");
    EXPECT_EQ(fillIn("{n:1}", moment), "42");
}

TEST(FillIn, LeavesOtherBracesAlone)
{
    for (const char* text : {"{", "}", "{x}", "{n:}", "{n:x}", "{n:999}", "a{n", "{}"}) {
        EXPECT_EQ(fillIn(text, {}), text);
    }
}

} // namespace
} // namespace printersim
