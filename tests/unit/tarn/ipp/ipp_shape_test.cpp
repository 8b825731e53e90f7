#include "tarn/src/ipp/ipp_shape.h"

#include <gtest/gtest.h>

#include <initializer_list>

#include "tarn/src/ipp/cups_library.h"
#include "tarn/src/ipp/ipp_attributes.h"
#include "tests/unit/tarn/ipp/scripted_server.h"

namespace tarn::ipp {
namespace {

using test::IppOctets;

constexpr unsigned kInteger = 0x21;
constexpr unsigned kBegCollection = 0x34;
constexpr unsigned kEndCollection = 0x37;
constexpr unsigned kKeyword = 0x44;
constexpr unsigned kMemberName = 0x4A;
const std::string kNumber(4, '\0');

// One value of "media-col-database" as printers send them: a collection in a collection, nine members.
void addMedia(IppOctets& octets, bool first)
{
    octets.value(kBegCollection, first ? "media-col-database" : "", "");
    octets.value(kMemberName, "", "media-size").value(kBegCollection, "", "");
    for (const char* const side : {"x-dimension", "y-dimension"}) {
        octets.value(kMemberName, "", side).value(kInteger, "", kNumber);
    }
    octets.value(kEndCollection, "", "");
    for (const char* const margin : {"media-bottom-margin", "media-left-margin", "media-right-margin",
                                     "media-top-margin", "media-source", "media-type"}) {
        octets.value(kMemberName, "", margin).value(kKeyword, "", "stationery-letterhead");
    }
    octets.value(kEndCollection, "", "");
}

std::string withMedia(int count)
{
    IppOctets octets;
    octets.printer();
    for (int i = 0; i < count; ++i) {
        addMedia(octets, i == 0);
    }
    octets.text("printer-info", "Lyra behind them all");
    return octets.whole();
}

std::string nested(int depth)
{
    IppOctets octets;
    octets.printer().value(kBegCollection, "media-col", "");
    for (int i = 1; i < depth; ++i) {
        octets.value(kMemberName, "", "m").value(kBegCollection, "", "");
    }
    for (int i = 0; i < depth; ++i) {
        octets.value(kEndCollection, "", "");
    }
    return octets.whole();
}

// Values of one attribute, or of one member of a collection.
std::string withValues(int count, bool inCollection)
{
    IppOctets octets;
    octets.printer();
    if (inCollection) {
        octets.value(kBegCollection, "media-col", "").value(kMemberName, "", "m");
    }
    for (int i = 0; i < count; ++i) {
        octets.value(kInteger, i == 0 && !inCollection ? "copies" : "", kNumber);
    }
    if (inCollection) {
        octets.value(kEndCollection, "", "");
    }
    return octets.whole();
}

TEST(IppShapeTest, MembersOfCollectionsAreNoValuesOfTheAttribute)
{
    const std::string answer = withMedia(400);
    EXPECT_GT(answer.size(), 100000u);
    EXPECT_TRUE(isReadableIpp(answer));
    const CupsLibrary* const cups = CupsLibrary::system();
    ASSERT_NE(cups, nullptr);
    const std::optional<IppReply> reply = decodeIpp(*cups, answer);
    ASSERT_TRUE(reply && reply->printers.size() == 1);
    EXPECT_EQ(reply->printers[0].text("printer-info"), "Lyra behind them all");
}

TEST(IppShapeTest, ValuesOfOneAttributeAreBounded)
{
    const int most = static_cast<int>(IppBounds::kMostValues);
    for (const bool inCollection : {false, true}) {
        EXPECT_TRUE(isReadableIpp(withValues(most, inCollection))) << inCollection;
        EXPECT_FALSE(isReadableIpp(withValues(most + 1, inCollection))) << inCollection;
    }
    EXPECT_TRUE(isReadableIpp(withMedia(most)));
    EXPECT_FALSE(isReadableIpp(withMedia(most + 1))) << "each collection is a value";
}

TEST(IppShapeTest, NameOfAMemberOutsideOfACollectionDoesNotBeginTheCountAnew)
{
    IppOctets octets;
    octets.printer().keyword("media", "a");
    for (std::size_t i = 0; i < IppBounds::kMostValues; ++i) {
        octets.value(kMemberName, "", "m");
    }
    EXPECT_FALSE(isReadableIpp(octets.whole()));
}

TEST(IppShapeTest, NestingIsBounded)
{
    const int deepest = static_cast<int>(IppBounds::kDeepestNesting);
    EXPECT_TRUE(isReadableIpp(nested(deepest)));
    EXPECT_FALSE(isReadableIpp(nested(deepest + 1)));
}

TEST(IppShapeTest, AttributesAreBoundedAndMembersCount)
{
    const auto withMembers = [](std::size_t count) {
        IppOctets octets;
        octets.printer().value(kBegCollection, "media-col", "");
        for (std::size_t i = 0; i < count; ++i) {
            octets.value(kMemberName, "", "m");
        }
        octets.value(kEndCollection, "", "");
        return octets.whole();
    };
    const std::size_t most = IppBounds::kMostAttributes - 5; // two groups, two attributes, the collection
    EXPECT_TRUE(isReadableIpp(withMembers(most)));
    EXPECT_FALSE(isReadableIpp(withMembers(most + 1)));
}

TEST(IppShapeTest, GroupsCountAsAttributes)
{
    const std::string begin = IppOctets().printer().whole();
    const std::string groups(IppBounds::kMostAttributes, '\x04');
    EXPECT_TRUE(isReadableIpp(begin.substr(0, 8) + groups + '\x03'));
    EXPECT_FALSE(isReadableIpp(begin.substr(0, 8) + '\x04' + groups + '\x03'));
}

// What libcups would read otherwise than it was counted here is not given to it.
TEST(IppShapeTest, EndInsideOfACollectionIsRefused)
{
    IppOctets octets;
    octets.printer().value(kBegCollection, "media-col", "");
    const std::string opened = octets.whole();
    EXPECT_FALSE(isReadableIpp(opened));
    octets.value(kEndCollection, "", "");
    EXPECT_TRUE(isReadableIpp(octets.whole()));
}

TEST(IppShapeTest, ExtensionTagsAreRefused)
{
    IppOctets octets;
    octets.printer().keyword("media", "a");
    EXPECT_TRUE(isReadableIpp(octets.whole()));
    EXPECT_FALSE(isReadableIpp(octets.value(0x7F, "", "abcd").whole()));
}

TEST(IppShapeTest, EndOfACollectionHasNoName)
{
    IppOctets octets;
    octets.printer().value(kBegCollection, "media-col", "").value(kEndCollection, "name", "");
    EXPECT_FALSE(isReadableIpp(octets.whole()));
}

TEST(IppShapeTest, WhatIsCutOffIsReadableAsFarAsItGoes)
{
    const std::string answer = withMedia(2);
    for (std::size_t length = 8; length <= answer.size(); ++length) {
        ASSERT_TRUE(isReadableIpp(std::string_view(answer).substr(0, length))) << length;
    }
    EXPECT_FALSE(isReadableIpp("\x02"));
    EXPECT_FALSE(isReadableIpp(""));
}

// What printer-supply and its like are: octets of any kind.
class IppOctetStringsTest : public testing::Test
{
protected:
    static std::vector<IppValue> read(std::initializer_list<std::string> values)
    {
        IppOctets octets;
        octets.printer();
        bool first = true;
        for (const std::string& value : values) {
            octets.value(kOctetString, first ? "printer-supply" : "", value);
            first = false;
        }
        const std::optional<IppReply> reply = decodeIpp(*CupsLibrary::system(), octets.whole());
        return reply && reply->printers.size() == 1 ? reply->printers[0].values("printer-supply")
                                                    : std::vector<IppValue>();
    }
    static std::string readOne(const std::string& value)
    {
        const std::vector<IppValue> values = read({value});
        return values.size() == 1 ? values[0].text : "not one value";
    }

    static constexpr unsigned kOctetString = 0x30;
    static constexpr std::size_t kLongest = IppAttributes::kLongestText;
};

TEST_F(IppOctetStringsTest, AreTextsWithoutNumbers)
{
    const std::vector<IppValue> values = read({"type=toner;level=5;", "type=opc;"});
    ASSERT_EQ(values.size(), 2u);
    EXPECT_EQ(values[0].text, "type=toner;level=5;");
    EXPECT_EQ(values[1].text, "type=opc;");
    EXPECT_FALSE(values[0].number.has_value());
}

TEST_F(IppOctetStringsTest, MayBeEmptyOrHoldAnything)
{
    EXPECT_EQ(readOne(""), "");
    EXPECT_EQ(readOne("x"), "x");
    const std::string odd("a\0b\xFF", 4);
    EXPECT_EQ(readOne(odd), odd);
    const std::vector<IppValue> values = read({"one", "", "three"});
    ASSERT_EQ(values.size(), 3u) << "an empty one keeps its place";
    EXPECT_EQ(values[1].text, "");
    EXPECT_EQ(values[2].text, "three");
}

TEST_F(IppOctetStringsTest, AreCutAtTheLongestButNotInACharacter)
{
    EXPECT_EQ(readOne(std::string(kLongest, 'x')).size(), kLongest);
    EXPECT_EQ(readOne(std::string(kLongest + 1, 'x')).size(), kLongest);
    const std::string character = "\xE9\xBB\x91"; // 黑
    EXPECT_EQ(readOne(std::string(kLongest - 3, 'x') + character),
              std::string(kLongest - 3, 'x') + character);
    for (std::size_t before : {kLongest - 2, kLongest - 1}) {
        EXPECT_EQ(readOne(std::string(before, 'x') + character), std::string(before, 'x'));
    }
    EXPECT_EQ(readOne(std::string(kLongest, 'x') + character), std::string(kLongest, 'x'));
    EXPECT_EQ(readOne(std::string(kLongest + 9, '\x80')), "") << "the middle of no character";
}

} // namespace
} // namespace tarn::ipp
