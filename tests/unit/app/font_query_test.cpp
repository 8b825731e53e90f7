#include "app/font_query.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>

#include <unistd.h>

extern "C" FcPattern* FcFreeTypeQuery(const FcChar8* file, unsigned id, FcBlanks* blanks, int* count);

namespace {

namespace fs = std::filesystem;

using Pattern = std::unique_ptr<FcPattern, decltype(&FcPatternDestroy)>;

const FcChar8* asFc(const std::string& path)
{
    return reinterpret_cast<const FcChar8*>(path.c_str());
}

Pattern known(const std::string& path, unsigned face, int& faces)
{
    return {knownFontPattern(asFc(path), face, faces), &FcPatternDestroy};
}

// What fontconfig reads from the file itself.
Pattern readFrom(const std::string& path, unsigned face, int& faces)
{
    return {FcFreeTypeQuery(asFc(path), face, nullptr, &faces), &FcPatternDestroy};
}

std::string textOf(const Pattern& pattern, const char* object)
{
    FcChar8* text = nullptr;
    return FcPatternGetString(pattern.get(), object, 0, &text) == FcResultMatch
               ? reinterpret_cast<const char*>(text)
               : "none";
}

int numberOf(const Pattern& pattern, const char* object)
{
    int number = -1;
    FcPatternGetInteger(pattern.get(), object, 0, &number);
    return number;
}

const FcCharSet* characters(const Pattern& pattern)
{
    FcCharSet* set = nullptr;
    FcPatternGetCharSet(pattern.get(), FC_CHARSET, 0, &set);
    return set;
}

class FontQuery : public testing::Test
{
protected:
    void SetUp() override
    {
        fs::create_directories(m_directory);
        fs::remove(m_link);
        fs::create_symlink(KEL_FONT, m_link);
    }
    void TearDown() override { fs::remove_all(m_directory); }

    const fs::path m_directory = fs::temp_directory_path() / ("font_query." + std::to_string(::getpid()));
    const fs::path m_link = m_directory / "linked.ttf";
};

TEST_F(FontQuery, SaysOfALinkedFontWhatTheFileSays)
{
    int expectedFaces = 0;
    const Pattern first = readFrom(m_link, 0, expectedFaces);
    ASSERT_NE(first, nullptr);
    ASSERT_GT(expectedFaces, 1); // a collection
    for (int face = 0; face < expectedFaces; ++face) {
        int faces = 0;
        const Pattern ours = known(m_link, static_cast<unsigned>(face), faces);
        const Pattern theirs = readFrom(m_link, static_cast<unsigned>(face), faces);
        ASSERT_NE(ours, nullptr) << "face " << face;
        EXPECT_EQ(faces, expectedFaces);
        for (const char* object : {FC_FAMILY, FC_STYLE, FC_FILE, FC_FOUNDRY, FC_FONTFORMAT}) {
            EXPECT_EQ(textOf(ours, object), textOf(theirs, object)) << object;
        }
        for (const char* object : {FC_INDEX, FC_SLANT, FC_SPACING, FC_WEIGHT, FC_WIDTH}) {
            EXPECT_EQ(numberOf(ours, object), numberOf(theirs, object)) << object;
        }
        EXPECT_TRUE(FcCharSetEqual(characters(ours), characters(theirs)));
    }
}

TEST_F(FontQuery, KnowsNoFaceBeyondTheLastOne)
{
    int faces = -7;
    EXPECT_EQ(known(m_link, 1000, faces), nullptr);
    EXPECT_EQ(faces, -7);
}

TEST_F(FontQuery, KnowsNothingOfACopy)
{
    const fs::path copy = m_directory / "copied.ttf";
    fs::copy_file(KEL_FONT, copy);
    int faces = -7;
    EXPECT_EQ(known(copy, 0, faces), nullptr);
    EXPECT_EQ(faces, -7);
}

TEST_F(FontQuery, KnowsNothingOfWhatIsNotThere)
{
    int faces = -7;
    EXPECT_EQ(known(m_directory / "missing.ttf", 0, faces), nullptr);
    EXPECT_EQ(faces, -7);
}

} // namespace
