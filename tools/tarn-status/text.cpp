#include "tools/tarn-status/text.h"

#include <algorithm>

namespace tarnstatus {

namespace {

// The piece at begin: a character of UTF-8, or an escape sequence up to its letter.
std::size_t pieceEnd(const std::string& text, std::size_t begin)
{
    std::size_t end = begin + 1;
    if (text[begin] == '\033') {
        while (end < text.size() && (text[end] < '@' || text[end] == '[')) {
            ++end;
        }
        return std::min(end + 1, text.size());
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
    std::string text = value.isString() ? value.asString() : std::string();
    std::replace_if(
        text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7f; },
        ' ');
    // C1 controls, two bytes in UTF-8.
    for (std::size_t i = 0; i + 1 < text.size(); ++i) {
        if (text[i] == '\xc2' && static_cast<unsigned char>(text[i + 1]) < 0xa0) {
            text.replace(i, 2, 1, ' ');
        }
    }
    return text;
}

} // namespace tarnstatus
