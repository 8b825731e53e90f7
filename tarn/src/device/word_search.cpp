#include "tarn/src/device/word_search.h"

namespace tarn::device {

bool isLetter(char32_t point)
{
    return (point >= U'a' && point <= U'z') || (point >= 0xDF && point <= 0x24F) ||
           (point >= 0x370 && point <= 0x52F);
}

std::size_t findWord(const std::u32string& text, const char32_t* word, Match match)
{
    const std::size_t length = std::char_traits<char32_t>::length(word);
    for (std::size_t at = text.find(word); at != std::u32string::npos; at = text.find(word, at + 1)) {
        const std::size_t end = at + length;
        const bool startsWord = at == 0 || !isLetter(text[at - 1]);
        const bool endsWord = end == text.size() || !isLetter(text[end]);
        if (match == Match::Anywhere || (startsWord && (match == Match::Start || endsWord))) {
            return at;
        }
    }
    return std::u32string::npos;
}

} // namespace tarn::device
