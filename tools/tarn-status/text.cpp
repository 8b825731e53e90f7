#include "tools/tarn-status/text.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>

namespace tarnstatus {

namespace {

// The piece at begin: a character of UTF-8, or an escape sequence up to its letter.
std::size_t pieceEnd(const std::string& text, std::size_t begin)
{
    std::size_t end = begin + 1;
    if (text[begin] == '\033') {
        // What is not ASCII ends a sequence that was never finished, and is no part of it.
        while (end < text.size() && ((text[end] >= ' ' && text[end] <= '?') || text[end] == '[')) {
            ++end;
        }
        const bool isFinished = end < text.size() && text[end] >= '@' && text[end] <= '~';
        return isFinished ? end + 1 : end;
    }
    while (end < text.size() && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80) {
        ++end;
    }
    return end;
}

std::size_t pieceWidth(const std::string& text, std::size_t begin)
{
    const auto byte = static_cast<unsigned char>(text[begin]);
    if (byte == 0x1B) {
        return 0;
    }
    // East Asian scripts from U+2E00 on, and what lies beyond the basic plane, take two columns; the bars and
    // dashes before them one.
    const bool wide = byte >= 0xE3 || (byte == 0xE2 && begin + 1 < text.size() &&
                                       static_cast<unsigned char>(text[begin + 1]) >= 0xB8);
    return wide ? 2 : 1;
}

bool steersTerminal(std::uint32_t point)
{
    const auto in = [point](std::uint32_t first, std::uint32_t last) {
        return point >= first && point <= last;
    };
    return point < 0x20 || in(0x7F, 0x9F) || point == 0x61C || in(0x200E, 0x200F) || in(0x2028, 0x202E) ||
           in(0x2066, 0x2069) || point == 0xFEFF;
}

// The text with replacement(code point) for each character that would steer a terminal.
template <typename Replacement>
std::string replacedSteering(const std::string& text, Replacement replacement)
{
    std::string out;
    for (std::size_t begin = 0; begin < text.size();) {
        std::size_t end = begin + 1;
        while (end < text.size() && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80) {
            ++end;
        }
        // The bits of a character of so many octets; longer ones steer nothing.
        const std::size_t length = end - begin;
        std::uint32_t point =
            static_cast<unsigned char>(text[begin]) & (length == 1 ? 0xFFu : 0xFFu >> (length + 1));
        for (std::size_t i = begin + 1; i < end; ++i) {
            point = point << 6 | (static_cast<unsigned char>(text[i]) & 0x3Fu);
        }
        if (length <= 3 && steersTerminal(point)) {
            out += replacement(point);
        } else {
            out.append(text, begin, length);
        }
        begin = end;
    }
    return out;
}

} // namespace

std::size_t displayWidth(const std::string& text)
{
    std::size_t width = 0;
    for (std::size_t i = 0; i < text.size(); i = pieceEnd(text, i)) {
        width += pieceWidth(text, i);
    }
    return width;
}

std::string cutToWidth(const std::string& text, std::size_t columns)
{
    std::string cut;
    std::size_t width = 0;
    bool isFull = false;
    for (std::size_t i = 0; i < text.size();) {
        const std::size_t end = pieceEnd(text, i);
        const std::size_t own = pieceWidth(text, i);
        isFull = isFull || width + own > columns;
        if (!isFull || own == 0) { // a colour that was begun is ended
            cut.append(text, i, end - i);
            width += own;
        }
        i = end;
    }
    return cut;
}

std::string printable(const Json::Value& value)
{
    return replacedSteering(value.isString() ? value.asString() : std::string(),
                            [](std::uint32_t) { return " "; });
}

std::string escapedInJson(const std::string& document)
{
    const auto isLayout = [](std::uint32_t point) { return point == '\n' || point == '\t'; };
    return replacedSteering(document, [&](std::uint32_t point) {
        char escape[8];
        std::snprintf(escape, sizeof escape, isLayout(point) ? "%c" : "\\u%04x", point);
        return std::string(escape);
    });
}

} // namespace tarnstatus
