#include "tarn/src/device/utf8.h"

#include <algorithm>
#include <cstdint>

namespace tarn::device {

namespace {

constexpr char32_t kReplacement = U'\uFFFD';

std::size_t lengthOf(std::uint8_t first)
{
    if (first < 0x80) {
        return 1;
    }
    if (first >= 0xC2 && first < 0xE0) {
        return 2;
    }
    if (first >= 0xE0 && first < 0xF0) {
        return 3;
    }
    return first >= 0xF0 && first < 0xF5 ? 4 : 0;
}

char32_t foldOne(char32_t point)
{
    const auto in = [point](char32_t first, char32_t last) { return point >= first && point <= last; };
    if (in(U'A', U'Z') || (in(0xC0, 0xDE) && point != 0xD7) || in(0x391, 0x3A9) || in(0x410, 0x42F)) {
        return point + 0x20;
    }
    if (point == 0x401 || point == 0x451) {
        return 0x435; // Russian texts write the letter with and without its dots
    }
    if (in(0x400, 0x40F)) {
        return point + 0x50;
    }
    if (in(0x139, 0x148) || in(0x179, 0x17E)) { // here the odd ones are the capitals
        return (point & 1) != 0 ? point + 1 : point;
    }
    if (in(0x100, 0x17F)) {
        return (point & 1) == 0 ? point + 1 : point;
    }
    if (in(0xFF21, 0xFF3A)) {
        return point - 0xFF21 + U'a';
    }
    return in(0xFF01, 0xFF5E) ? point - 0xFEE0 : point;
}

// How many octets the character at that place takes, where it is none to be shown: a control character, one
// that turns the direction of the text behind it, or ends its line. Else 0.
std::size_t controlAt(std::string_view text, std::size_t at)
{
    const auto octet = [text](std::size_t i) {
        return i < text.size() ? static_cast<std::uint8_t>(text[i]) : 0u;
    };
    const unsigned second = octet(at + 1);
    const unsigned third = octet(at + 2);
    switch (octet(at)) {
    case 0x7F:
        return 1;
    case 0xC2: // U+0080 to U+00A0: C1 controls and the blank that does not break
        return second >= 0x80 && second <= 0xA0 ? 2 : 0;
    case 0xD8: // U+061C
        return second == 0x9C ? 2 : 0;
    case 0xE2: // U+200E, U+200F, U+2028 to U+202E, U+2066 to U+2069
        return (second == 0x80 && (third == 0x8E || third == 0x8F || (third >= 0xA8 && third <= 0xAE))) ||
                       (second == 0x81 && third >= 0xA6 && third <= 0xA9)
                   ? 3
                   : 0;
    case 0xEF: // byte order mark
        return second == 0xBB && third == 0xBF ? 3 : 0;
    default:
        return octet(at) < 0x20 ? 1 : 0;
    }
}

std::string tidy(std::string_view text)
{
    std::string out;
    bool blank = false;
    for (std::size_t i = 0; i < text.size();) {
        const std::size_t control = controlAt(text, i);
        if (control != 0 || text[i] == ' ') {
            blank = true;
            i += std::max<std::size_t>(control, 1);
            continue;
        }
        if (blank && !out.empty()) {
            out.push_back(' ');
        }
        blank = false;
        out.push_back(text[i++]);
    }
    return out;
}

} // namespace

bool isValidUtf8(std::string_view octets)
{
    for (std::size_t i = 0; i < octets.size();) {
        const auto first = static_cast<std::uint8_t>(octets[i]);
        std::size_t length = 1;
        std::uint32_t point = first;
        std::uint32_t least = 0;
        if (first >= 0xF0 && first <= 0xF4) {
            length = 4;
            point = first & 0x07;
            least = 0x10000;
        } else if (first >= 0xE0 && first < 0xF0) {
            length = 3;
            point = first & 0x0F;
            least = 0x800;
        } else if (first >= 0xC2 && first < 0xE0) {
            length = 2;
            point = first & 0x1F;
            least = 0x80;
        } else if (first >= 0x80) {
            return false;
        }
        if (octets.size() - i < length) {
            return false;
        }
        for (std::size_t k = 1; k < length; ++k) {
            const auto next = static_cast<std::uint8_t>(octets[i + k]);
            if ((next & 0xC0) != 0x80) {
                return false;
            }
            point = (point << 6) | (next & 0x3F);
        }
        if (point < least || point > 0x10FFFF || (point >= 0xD800 && point <= 0xDFFF)) {
            return false;
        }
        i += length;
    }
    return true;
}

std::string fromLatin1(std::string_view octets)
{
    std::string out;
    for (const char octet : octets) {
        const auto value = static_cast<std::uint8_t>(octet);
        if (value < 0x80) {
            out.push_back(octet);
        } else {
            out.push_back(static_cast<char>(0xC0 | (value >> 6)));
            out.push_back(static_cast<char>(0x80 | (value & 0x3F)));
        }
    }
    return out;
}

std::string tidyText(std::string_view octets)
{
    return isValidUtf8(octets) ? tidy(octets) : tidy(fromLatin1(octets));
}

std::u32string toCodePoints(std::string_view utf8)
{
    std::u32string points;
    points.reserve(utf8.size());
    for (std::size_t i = 0; i < utf8.size();) {
        const auto first = static_cast<std::uint8_t>(utf8[i]);
        const std::size_t length = lengthOf(first);
        if (length == 0 || utf8.size() - i < length) {
            points.push_back(kReplacement);
            ++i;
            continue;
        }
        char32_t point = length == 1 ? first : static_cast<char32_t>(first & (0xFF >> (length + 1)));
        for (std::size_t k = 1; k < length; ++k) {
            point = (point << 6) | (static_cast<std::uint8_t>(utf8[i + k]) & 0x3F);
        }
        points.push_back(point);
        i += length;
    }
    return points;
}

std::u32string foldCase(std::u32string text)
{
    for (char32_t& point : text) {
        point = foldOne(point);
    }
    return text;
}

std::string itemText(std::string_view utf8)
{
    std::string out;
    for (std::size_t i = 0; i < utf8.size();) {
        const std::size_t control = controlAt(utf8, i);
        if (control != 0) {
            out.push_back(' ');
        } else if (utf8[i] == '-') {
            out += "\xEF\xBC\x8D"; // U+FF0D
        } else {
            out.push_back(utf8[i]);
        }
        i += std::max<std::size_t>(control, 1);
    }
    return out;
}

} // namespace tarn::device
