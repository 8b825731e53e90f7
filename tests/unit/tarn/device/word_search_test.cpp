#include "tarn/src/device/word_search.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <iterator>
#include <string>
#include <vector>

#include "tarn/src/device/color_words.h"
#include "tarn/src/device/part_word_tables.h"
#include "tarn/src/device/utf8.h"

namespace tarn::device {
namespace {

struct Row
{
    const char32_t* word;
};

constexpr Row kRows[] = {{U"black"}, {U"青"}, {U"cyan"}, {U"blau"}, {U"cyaan"}, {U"tri color"}};
constexpr WordIndex index(kRows);

std::vector<std::size_t> rowsIn(const std::u32string& text)
{
    RowSet set = index.rowsIn(text);
    std::vector<std::size_t> found;
    for (std::size_t row = set.takeFirst(); row < std::size(kRows); row = set.takeFirst()) {
        found.push_back(row);
    }
    return found;
}

using Rows = std::vector<std::size_t>;

TEST(WordIndex, FindsRowsByTheirFirstTwoCharacters)
{
    EXPECT_EQ(rowsIn(U"black"), (Rows{0, 3}));
    EXPECT_EQ(rowsIn(U"xcy"), (Rows{2, 4}));
    EXPECT_EQ(rowsIn(U"a tri"), (Rows{5}));
    EXPECT_EQ(rowsIn(U"b lack"), Rows{});
    EXPECT_EQ(rowsIn(U"c"), Rows{});
    EXPECT_EQ(rowsIn(U""), Rows{});
}

TEST(WordIndex, FindsAWordOfOneCharacterAnywhere)
{
    EXPECT_EQ(rowsIn(U"青"), (Rows{1}));
    EXPECT_EQ(rowsIn(U"x青色"), (Rows{1}));
}

TEST(WordIndex, TakesCharactersForNoOthersOfTheirList)
{
    static_assert((U'b' + 0x4E00) % 128 == U'b' % 128); // found in the same list
    EXPECT_EQ(rowsIn({U'b' + 0x4E00, U'l'}), Rows{});
    EXPECT_EQ(rowsIn({U'b', U'l' + 0x100}), Rows{});
}

TEST(WordIndex, HandsRowsInTheTablesOrder)
{
    EXPECT_EQ(rowsIn(U"tri cyan 青 black"), (Rows{0, 1, 2, 3, 4, 5}));
}

template <typename Table, std::size_t N>
void expectEachFound(const Table (&table)[N])
{
    static const WordIndex<N> wordIndex(table);
    for (std::size_t row = 0; row < N; ++row) {
        SCOPED_TRACE(row);
        const std::u32string text = U"x1 " + std::u32string(table[row].word) + U" 1x";
        EXPECT_EQ(findWord(text, table[row].word, Match::Word), 3u);
        RowSet<N> set = wordIndex.rowsIn(text);
        std::size_t found = set.takeFirst();
        while (found < row) {
            found = set.takeFirst();
        }
        EXPECT_EQ(found, row);
    }
}

TEST(WordIndex, FindsEachRowOfAllTables)
{
    expectEachFound(kColorWords);
    expectEachFound(kPartWords);
    expectEachFound(kTonerWords);
    expectEachFound(kOtherMaterialWords);
}

// Blanks take the place of the colours that were found, while the rows that can follow are known before.
template <typename Table, std::size_t N>
void expectNoEarlyBlank(const Table (&table)[N])
{
    for (const Table& row : table) {
        EXPECT_NE(row.word[0], U' ');
        EXPECT_NE(row.word[1], U' ');
    }
}

TEST(WordTables, HoldNoWordThatABlankPutIntoATextCouldBegin)
{
    expectNoEarlyBlank(kColorWords);
}

TEST(RowSet, HoldsRowsBeyondItsFirstWord)
{
    RowSet<130> set;
    EXPECT_EQ(set.takeFirst(), 130u);
    for (const std::size_t row : {129u, 63u, 64u, 0u}) {
        set.add(row);
    }
    for (const std::size_t row : {0u, 63u, 64u, 129u, 130u}) {
        EXPECT_EQ(set.takeFirst(), row);
    }
}

TEST(FindWord, LooksAtWhatStandsBesideAWord)
{
    const std::u32string text = U"blackish black";
    EXPECT_EQ(findWord(text, U"black", Match::Word), 9u);
    EXPECT_EQ(findWord(text, U"black", Match::Start), 0u);
    EXPECT_EQ(findWord(text, U"lack", Match::Start), std::u32string::npos);
    EXPECT_EQ(findWord(text, U"lack", Match::Anywhere), 1u);
}

TEST(WordSearch, LettersEndWhereTheirBlocksDo)
{
    for (const char32_t letter :
         {U'a', U'z', char32_t{0xDF}, char32_t{0x24F}, char32_t{0x370}, char32_t{0x52F}}) {
        EXPECT_TRUE(isLetter(letter)) << static_cast<std::uint32_t>(letter);
    }
    for (const char32_t other :
         {U'`', U'{', char32_t{0xDE}, char32_t{0x250}, char32_t{0x36F}, char32_t{0x530}}) {
        EXPECT_FALSE(isLetter(other)) << static_cast<std::uint32_t>(other);
    }
}

// In that many octets, which may be more than the code point needs.
std::string octetsOf(std::uint32_t point, std::size_t length)
{
    if (length == 1) {
        return std::string(1, static_cast<char>(point));
    }
    constexpr std::uint32_t kFirst[] = {0, 0, 0xC0, 0xE0, 0xF0};
    std::string octets(length, '\0');
    for (std::size_t i = length - 1; i > 0; --i, point >>= 6) {
        octets[i] = static_cast<char>(0x80 | (point & 0x3F));
    }
    octets[0] = static_cast<char>(kFirst[length] | point);
    return octets;
}

TEST(Utf8, EveryCodePointIsReadInItsShortestFormOnly)
{
    for (std::uint32_t point = 0; point < 0x200000; ++point) {
        const std::size_t length = point < 0x80 ? 1 : point < 0x800 ? 2 : point < 0x10000 ? 3 : 4;
        const std::string octets = octetsOf(point, length);
        const bool exists = point <= 0x10FFFF && (point < 0xD800 || point > 0xDFFF);
        ASSERT_EQ(isValidUtf8(octets), exists) << point;
        if (exists) {
            ASSERT_EQ(toCodePoints(octets), std::u32string(1, point)) << point;
        }
        if (length < 4) {
            ASSERT_FALSE(isValidUtf8(octetsOf(point, length + 1))) << point;
        }
        if (length > 1) {
            ASSERT_FALSE(isValidUtf8(octets.substr(0, length - 1))) << point;
        }
    }
}

TEST(Utf8, CyrillicCapitalsFoldToTheirSmallLetters)
{
    EXPECT_EQ(foldCase(U"\u0400\u0402\u040F\u0410\u042F"), U"\u0450\u0452\u045F\u0430\u044F");
}

} // namespace
} // namespace tarn::device
