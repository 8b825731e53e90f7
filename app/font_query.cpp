#include "app/font_query.h"

#include <array>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <memory>

namespace {

using CString = std::unique_ptr<char, decltype(&std::free)>;

// The pattern in the desktop's set; owned by the set.
FcPattern* findFace(const char* path, unsigned face)
{
    const FcFontSet* fonts = FcConfigGetFonts(nullptr, FcSetSystem);
    for (int i = 0; fonts != nullptr && i < fonts->nfont; ++i) {
        FcPattern* const pattern = fonts->fonts[i];
        FcChar8* file = nullptr;
        int index = -1;
        if (FcPatternGetInteger(pattern, FC_INDEX, 0, &index) == FcResultMatch &&
            static_cast<unsigned>(index) == face &&
            FcPatternGetString(pattern, FC_FILE, 0, &file) == FcResultMatch &&
            std::strcmp(reinterpret_cast<const char*>(file), path) == 0)
            return pattern;
    }
    return nullptr;
}

// As the file says: a collection names its number of faces, after "ttcf" and a version of four octets.
int countFaces(const char* path)
{
    std::array<char, 12> head{};
    std::ifstream in(path, std::ios::binary);
    if (!in.read(head.data(), head.size()))
        return 0;
    if (std::memcmp(head.data(), "ttcf", 4) != 0)
        return 1;
    int count = 0;
    for (std::size_t i = 8; i < head.size(); ++i)
        count = (count & 0x7fffff) << 8 | static_cast<std::uint8_t>(head[i]);
    return count;
}

} // namespace

FcPattern* knownFontPattern(const FcChar8* file, unsigned face, int& faceCount)
{
    const CString path(realpath(reinterpret_cast<const char*>(file), nullptr), &std::free);
    const FcPattern* known = path ? findFace(path.get(), face) : nullptr;
    const int faces = known != nullptr ? countFaces(path.get()) : 0;
    if (faces == 0)
        return nullptr;
    FcPattern* const pattern = FcPatternDuplicate(known);
    if (pattern == nullptr)
        return nullptr;
    // Qt opens the font by the name that it asked for.
    FcPatternDel(pattern, FC_FILE);
    FcPatternAddString(pattern, FC_FILE, file);
    faceCount = faces;
    return pattern;
}
