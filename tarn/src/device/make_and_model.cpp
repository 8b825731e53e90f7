#include "tarn/src/device/make_and_model.h"

#include <algorithm>
#include <iterator>
#include <vector>

#include "tarn/src/device/device_id.h"
#include "tarn/src/device/utf8.h"

namespace tarn::device {

namespace {

// What makers have in common: no name by themselves.
constexpr const char32_t* kLegalForms[] = {
    U"ag",   U"bv",      U"co",           U"company",    U"corp",          U"corporation",
    U"gmbh", U"inc",     U"incorporated", U"industries", U"international", U"kg",
    U"kk",   U"limited", U"llc",          U"ltd",        U"plc",           U"sa",
    U"spa",  U"srl",     U"technologies"};

struct Word
{
    std::u32string text;   // folded
    std::size_t begin = 0; // in code points
};

bool isPunctuation(char32_t point)
{
    const bool ascii = point < 0x80;
    const bool plain = (point >= U'0' && point <= U'9') || (point >= U'a' && point <= U'z');
    return ascii && !plain;
}

std::vector<Word> wordsOf(const std::u32string& text)
{
    std::vector<Word> words;
    bool within = false;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (isPunctuation(text[i])) {
            within = false;
            continue;
        }
        if (!within) {
            words.push_back({std::u32string(), i});
        }
        within = true;
        words.back().text.push_back(text[i]);
    }
    return words;
}

bool isLegalForm(const Word& word)
{
    return std::any_of(std::begin(kLegalForms), std::end(kLegalForms),
                       [&](const char32_t* form) { return word.text == form; });
}

using Range = std::pair<const Word*, const Word*>;

bool startsWith(const Range& words, const std::vector<Word>& with)
{
    const auto count = static_cast<std::size_t>(words.second - words.first);
    return !with.empty() && with.size() <= count &&
           std::equal(with.begin(), with.end(), words.first,
                      [](const Word& a, const Word& b) { return a.text == b.text; });
}

std::u32string initialsOf(const std::vector<Word>& words)
{
    std::u32string initials;
    for (const Word& word : words) {
        initials.push_back(word.text.front());
    }
    return initials;
}

bool isNumber(const std::vector<Word>& words)
{
    return words.size() == 1 && words[0].text.find_first_not_of(U"0123456789") == std::u32string::npos;
}

std::vector<Word> withoutLegalForms(const Range& words)
{
    std::vector<Word> names;
    std::remove_copy_if(words.first, words.second, std::back_inserter(names), isLegalForm);
    return names;
}

bool isInitialsOf(const std::u32string& word, const std::vector<Word>& maker)
{
    return maker.size() > 1 && word == initialsOf(maker);
}

Range all(const std::vector<Word>& words)
{
    return {words.data(), words.data() + words.size()};
}

bool namesMaker(const std::u32string& maker, const std::u32string& model)
{
    const std::vector<Word> modelWords = wordsOf(model);
    const std::vector<Word> makerWords = wordsOf(maker);
    const std::vector<Word> names = withoutLegalForms(all(makerWords));
    if (modelWords.empty()) {
        return false;
    }
    const std::u32string& first = modelWords.front().text;
    const bool oneOfThem =
        std::any_of(names.begin(), names.end(), [&](const Word& name) { return name.text == first; });
    return oneOfThem || isInitialsOf(first, names) || startsWith(all(modelWords), names) ||
           model.compare(0, maker.size(), maker) == 0;
}

// Octets of that many code points of valid UTF-8.
std::size_t octetsOf(const std::string& utf8, std::size_t points)
{
    std::size_t at = 0;
    while (at < utf8.size() && points > 0) {
        ++at;
        while (at < utf8.size() && (static_cast<unsigned char>(utf8[at]) & 0xC0) == 0x80) {
            ++at;
        }
        --points;
    }
    return at;
}

} // namespace

std::string withMakerOnce(const std::string& text)
{
    constexpr std::size_t kMostWordsOfAMaker = 6;
    const std::u32string whole = folded(text);
    const std::vector<Word> words = wordsOf(whole);
    for (std::size_t head = 1; head < words.size() && head <= kMostWordsOfAMaker; ++head) {
        const Word* const middle = words.data() + head;
        const std::vector<Word> maker = withoutLegalForms({words.data(), middle});
        const bool oneToken = whole.find(U' ', words[0].begin) + 1 == middle->begin; // "North-Western"
        const bool named = startsWith({middle, words.data() + words.size()}, maker) ||
                           (oneToken && isInitialsOf(middle->text, maker));
        if (named && !isNumber(maker)) {
            return text.substr(octetsOf(text, middle->begin));
        }
    }
    return text;
}

std::string makeAndModel(const std::string& manufacturer, const std::string& model)
{
    std::string once = withMakerOnce(model);
    if (once.empty() || manufacturer.empty() || namesMaker(folded(manufacturer), folded(once))) {
        return once;
    }
    return manufacturer + ' ' + once;
}

std::string makeAndModel(const DeviceId& id)
{
    return makeAndModel(id.manufacturer, id.model.empty() ? id.description : id.model);
}

} // namespace tarn::device
