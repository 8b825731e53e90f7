#include "tarn/src/device/supply_words.h"

#include <algorithm>
#include <iterator>
#include <vector>

#include "tarn/src/device/color_words.h"
#include "tarn/src/device/part_word_tables.h"
#include "tarn/src/device/utf8.h"
#include "tarn/src/device/word_search.h"

namespace tarn::device {

namespace {

constexpr WordIndex kColorIndex(kColorWords);
constexpr WordIndex kPartIndex(kPartWords);
constexpr WordIndex kTonerIndex(kTonerWords);
constexpr WordIndex kOtherMaterialIndex(kOtherMaterialWords);

std::size_t lengthOf(const char32_t* word)
{
    return std::char_traits<char32_t>::length(word);
}

bool isFiller(char32_t point)
{
    return point == U' ' || point == U'-' || point == U'_' || point == U'色';
}

// The word that touches a colour standing at [begin, end), blanks aside.
const char* modifierBeside(const std::u32string& text, std::size_t begin, std::size_t end)
{
    while (begin > 0 && isFiller(text[begin - 1])) {
        --begin;
    }
    while (end < text.size() && isFiller(text[end])) {
        ++end;
    }
    for (const Modifier& modifier : kModifiers) {
        const std::size_t length = lengthOf(modifier.word);
        if (begin >= length && text.compare(begin - length, length, modifier.word) == 0 &&
            (begin == length || !isLetter(text[begin - length - 1]))) {
            return modifier.text;
        }
        if (text.compare(end, length, modifier.word) == 0 &&
            (end + length == text.size() || !isLetter(text[end + length]))) {
            return modifier.text;
        }
    }
    return nullptr;
}

ColorSaid named(SupplyColor color)
{
    return ColorSaid{color, colorKeyword(color)};
}

// The colours that a text names together.
class Together final
{
public:
    void add(SupplyColor color)
    {
        m_cyan = m_cyan || color == SupplyColor::Cyan || color == SupplyColor::TriColor;
        m_magenta = m_magenta || color == SupplyColor::Magenta || color == SupplyColor::TriColor;
        m_yellow = m_yellow || color == SupplyColor::Yellow || color == SupplyColor::TriColor;
        m_others = m_others || color == SupplyColor::Black || color == SupplyColor::Red ||
                   color == SupplyColor::Other;
    }
    bool areThree() const { return m_cyan && m_magenta && m_yellow && !m_others; }

private:
    bool m_cyan = false;
    bool m_magenta = false;
    bool m_yellow = false;
    bool m_others = false;
};

ColorSaid fromWords(std::u32string text)
{
    ColorSaid said;
    Together together;
    RowSet rows = kColorIndex.rowsIn(text); // no word begins with the blanks put below
    for (std::size_t i = rows.takeFirst(); i < std::size(kColorWords); i = rows.takeFirst()) {
        const ColorWord& row = kColorWords[i];
        const std::size_t at = findWord(text, row.word, row.match);
        if (at == std::u32string::npos) {
            continue;
        }
        const std::size_t length = lengthOf(row.word);
        const char* base = row.text != nullptr ? row.text : colorKeyword(row.color);
        const char* modifier = modifierBeside(text, at, at + length);
        ColorSaid found{row.color, base};
        if (modifier != nullptr) {
            const bool thinned = modifier == std::string_view("light");
            const bool black = row.color == SupplyColor::Black && !thinned;
            found = ColorSaid{black ? SupplyColor::Black : SupplyColor::Other,
                              std::string(modifier) + " " + base};
        }
        text.replace(at, length, length, U' ');
        together.add(found.color);
        if (said.color == SupplyColor::None) {
            said = found;
        } else if (said.text != found.text) {
            said = ColorSaid{SupplyColor::Other, said.text + "+" + found.text};
        }
    }
    return together.areThree() ? named(SupplyColor::TriColor) : said;
}

// "Color cartridge", beside a black one.
ColorSaid fromFirstWord(const std::u32string& text)
{
    const bool colorful =
        std::any_of(std::begin(kColorfulWords), std::end(kColorfulWords),
                    [&](const auto& row) { return findWord(text, row.word, row.match) == 0; });
    return colorful ? named(SupplyColor::TriColor) : ColorSaid{};
}

ColorSaid ofTag(std::u32string_view tag)
{
    for (const ColorTag& row : kColorTags) {
        if (tag == row.tag) {
            return row.text == nullptr ? named(row.color) : ColorSaid{row.color, row.text};
        }
    }
    return ColorSaid{};
}

// "[K]", "(BK)", "<C>". In round brackets R is a trade mark or a position, not red.
ColorSaid fromTag(const std::u32string& text)
{
    const std::u32string openers = U"[(<（【";
    const std::u32string closers = U"])>）】";
    for (std::size_t i = 0; i < text.size(); ++i) {
        const std::size_t kind = openers.find(text[i]);
        if (kind == std::u32string::npos) {
            continue;
        }
        const std::size_t end = text.find(closers[kind], i + 1);
        if (end == std::u32string::npos || end - i > 4) {
            continue;
        }
        const std::u32string tag = text.substr(i + 1, end - i - 1);
        ColorSaid said = ofTag(tag);
        if (said.color != SupplyColor::None && !(tag == U"r" && text[i] != U'[')) {
            return said;
        }
    }
    return ColorSaid{};
}

bool isDigit(char32_t point)
{
    return point >= U'0' && point <= U'9';
}

// The letters that end a part number: "tk-8527c", "tn243bk", "sjic35p-bk", "lc3219xlc"; and the one before
// the digits of "clt-k404s". The token must hold letters, then digits, before them.
ColorSaid fromPartNumber(const std::u32string& token)
{
    const auto firstDigit = std::find_if(token.begin(), token.end(), isDigit);
    if (firstDigit == token.end() || !isLetter(token[0])) {
        return ColorSaid{};
    }
    const std::size_t dash = token.rfind(U'-');
    if (dash != std::u32string::npos && isLetter(token[dash + 1]) && isDigit(token[dash + 2])) {
        return ofTag(std::u32string_view(token).substr(dash + 1, 1)); // one letter, then the number
    }
    std::size_t end = token.size();
    while (end > 0 && isLetter(token[end - 1])) {
        --end;
    }
    std::u32string_view tail = std::u32string_view(token).substr(end);
    for (const std::u32string_view yield : {U"xxl", U"xl"}) {
        if (tail.size() > yield.size() && tail.substr(0, yield.size()) == yield) {
            tail = tail.substr(yield.size());
        }
    }
    const bool plain = tail == U"k" || tail == U"bk" || tail == U"c" || tail == U"m" || tail == U"y";
    return plain ? ofTag(tail) : ColorSaid{};
}

std::vector<std::u32string> tokensOf(const std::u32string& text)
{
    std::vector<std::u32string> tokens;
    std::u32string token;
    for (const char32_t point : text + U' ') {
        if (isLetter(point) || isDigit(point) || point == U'-') {
            token.push_back(point);
        } else if (!token.empty()) {
            tokens.push_back(token);
            token.clear();
        }
    }
    return tokens;
}

// The first row of a table whose word the text has; nullptr when none is.
template <typename Row, std::size_t N>
const Row* firstIn(const std::u32string& text, const Row (&table)[N], const WordIndex<N>& index)
{
    RowSet<N> rows = index.rowsIn(text);
    for (std::size_t i = rows.takeFirst(); i < N; i = rows.takeFirst()) {
        if (findWord(text, table[i].word, table[i].match) != std::u32string::npos) {
            return &table[i];
        }
    }
    return nullptr;
}

bool namesToner(const std::u32string& text)
{
    return firstIn(text, kTonerWords, kTonerIndex) != nullptr;
}

bool namesMaterial(const std::u32string& text)
{
    return namesToner(text) || firstIn(text, kOtherMaterialWords, kOtherMaterialIndex) != nullptr;
}

// A letter alone at the end ("Toner K") or before the material ("K Toner"), then part numbers.
ColorSaid fromTokens(const std::u32string& text)
{
    const std::vector<std::u32string> tokens = tokensOf(text);
    for (std::size_t i = 0; tokens.size() > 1 && i < tokens.size(); ++i) {
        const bool beside = i + 1 == tokens.size() || namesMaterial(tokens[i + 1]);
        const bool ambiguous = tokens[i] == U"r" || tokens[i] == U"w"; // a trade mark, a width
        ColorSaid said = beside && !ambiguous ? ofTag(tokens[i]) : ColorSaid{};
        if (said.color != SupplyColor::None) {
            return said;
        }
    }
    for (const std::u32string& token : tokens) {
        ColorSaid said = fromPartNumber(token);
        if (said.color != SupplyColor::None) {
            return said;
        }
    }
    return ColorSaid{};
}

ColorSaid fromTagOrTokens(const std::u32string& text)
{
    const ColorSaid said = fromTag(text);
    return said.color == SupplyColor::None ? fromTokens(text) : said;
}

bool namesRibbon(const std::u32string& text)
{
    const std::u32string_view words[] = {U"ribbon", U"farbband", U"ruban", U"色带", U"リボン"};
    return std::any_of(std::begin(words), std::end(words),
                       [&](std::u32string_view word) { return text.find(word) != std::u32string::npos; });
}

std::optional<SupplyKind> partOf(const std::u32string& text)
{
    const PartWord* const part = firstIn(text, kPartWords, kPartIndex);
    if (part == nullptr) {
        return std::nullopt;
    }
    // A drum that is sold with its toner ("Drum/Toner Cartridge") shows the toner's level.
    const bool soldWithToner = part->kind == SupplyKind::Drum || part->kind == SupplyKind::Other;
    // A ribbon for thermal transfer marks the paper.
    const bool isRibbon = part->kind == SupplyKind::Transfer && namesRibbon(text);
    return (soldWithToner && namesToner(text)) || isRibbon ? std::nullopt : std::optional(part->kind);
}

} // namespace

ColorSaid colorFromDescription(const std::string& description)
{
    const std::u32string text = folded(description);
    ColorSaid said = fromWords(text);
    if (said.color == SupplyColor::TriColor) {
        return said; // the names of three may be joined by commas
    }
    const std::size_t headEnd = text.find_first_of(U",;，；");
    const std::u32string head = text.substr(0, headEnd);
    if (headEnd != std::u32string::npos) {
        said = fromWords(head);
    }
    if (said.color == SupplyColor::None) {
        said = fromTagOrTokens(head);
    }
    if (said.color == SupplyColor::None && headEnd != std::u32string::npos) {
        const std::size_t tailEnd = text.find_first_of(U";；", headEnd + 1);
        said = fromWords(
            text.substr(headEnd + 1, tailEnd == std::u32string::npos ? tailEnd : tailEnd - headEnd - 1));
    }
    return said.color == SupplyColor::None ? fromFirstWord(text) : said;
}

ColorSaid colorFromColorant(const std::string& value)
{
    std::string spaced; // "lightCyan" as two words
    for (const char c : value) {
        if (c >= 'A' && c <= 'Z' && !spaced.empty() && spaced.back() >= 'a' && spaced.back() <= 'z') {
            spaced.push_back(' ');
        }
        spaced.push_back(c);
    }
    const std::u32string text = folded(spaced);
    ColorSaid said = fromWords(text);
    if (said.color == SupplyColor::None) {
        said = ofTag(text);
    }
    return said;
}

std::optional<SupplyKind> partFromDescription(const std::string& description)
{
    const std::u32string text = folded(description);
    return partOf(text.substr(0, text.find_first_of(U";；")));
}

bool namesMarkingMaterial(const std::string& description)
{
    return namesMaterial(folded(description));
}

const char* colorKeyword(SupplyColor color)
{
    switch (color) {
    case SupplyColor::None:
        return "none";
    case SupplyColor::Black:
        return "black";
    case SupplyColor::Cyan:
        return "cyan";
    case SupplyColor::Magenta:
        return "magenta";
    case SupplyColor::Yellow:
        return "yellow";
    case SupplyColor::Red:
        return "red";
    case SupplyColor::TriColor:
        return "tri-color";
    case SupplyColor::Other:
        return "other";
    }
    return "none";
}

const char* colorText(SupplyColor color)
{
    switch (color) {
    case SupplyColor::Black:
        return "黑色";
    case SupplyColor::Cyan:
        return "青色";
    case SupplyColor::Magenta:
        return "品红";
    case SupplyColor::Yellow:
        return "黄色";
    case SupplyColor::Red:
        return "红色";
    case SupplyColor::TriColor:
        return "彩色";
    case SupplyColor::None:
    case SupplyColor::Other:
        break;
    }
    return "";
}

const char* kindKeyword(SupplyKind kind)
{
    switch (kind) {
    case SupplyKind::Toner:
        return "toner";
    case SupplyKind::Drum:
        return "drum";
    case SupplyKind::Developer:
        return "developer";
    case SupplyKind::Fuser:
        return "fuser";
    case SupplyKind::Transfer:
        return "transfer";
    case SupplyKind::Cleaner:
        return "cleaner";
    case SupplyKind::Waste:
        return "waste";
    case SupplyKind::Staples:
        return "staples";
    case SupplyKind::Other:
        return "other";
    }
    return "other";
}

} // namespace tarn::device
