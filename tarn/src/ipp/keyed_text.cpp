#include "tarn/src/ipp/keyed_text.h"

#include <algorithm>
#include <charconv>
#include <iterator>

#include "tarn/src/device/utf8.h"

namespace tarn::ipp {

namespace {

char lower(char c)
{
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

char upper(char c)
{
    return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
}

bool isBlank(char c)
{
    return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}

// Of the standards' keyed texts (PWG 5100.9, PWG 5100.13), in order.
constexpr std::string_view kStandardKeys[] = {
    "class",       "code",        "colorantindex", "colorantname", "colorantrole", "colorantvalue",
    "description", "dimunit",     "group",         "groupindex",   "index",        "level",
    "location",    "markerindex", "maxcapacity",   "mediacolor",   "mediafeed",    "medianame",
    "mediatype",   "mediaweight", "mediaxfeed",    "name",         "severity",     "status",
    "time",        "training",    "type",          "unit",
};

// "Max-Capacity" as "maxcapacity".
std::string keyOf(std::string_view text)
{
    std::string key;
    for (const char c : device::tidyText(text)) {
        if (c != '-' && c != '_' && c != ' ') {
            key.push_back(lower(c));
        }
    }
    return key;
}

std::string_view withoutBlanks(std::string_view text)
{
    while (!text.empty() && isBlank(text.front())) {
        text.remove_prefix(1);
    }
    while (!text.empty() && isBlank(text.back())) {
        text.remove_suffix(1);
    }
    return text;
}

bool isSeparator(char c)
{
    return c == ';' || c == ',';
}

// Whether a key of the standard's and its equals sign begin the text: there a semicolon is missing.
bool beginsWithKey(std::string_view text)
{
    constexpr std::size_t kLongestKey = 24;
    const std::size_t equals = text.substr(0, kLongestKey).find('=');
    return equals != std::string_view::npos &&
           std::binary_search(std::begin(kStandardKeys), std::end(kStandardKeys),
                              keyOf(text.substr(0, equals)));
}

// The value that begins the text, which is cut to what follows. In quotes that are closed before the next
// separator, everything counts.
std::optional<std::string> quotedValue(std::string_view& text)
{
    const std::string_view begin = withoutBlanks(text);
    if (begin.empty() || (begin.front() != '"' && begin.front() != '\'')) {
        return std::nullopt;
    }
    const std::size_t close = begin.find(begin.front(), 1);
    const std::string_view rest = close == std::string_view::npos ? begin : begin.substr(close + 1);
    const std::size_t next = rest.find_first_not_of(" \t\r\n");
    const bool closed = close != std::string_view::npos &&
                        (next == std::string_view::npos || isSeparator(rest[next]) || beginsWithKey(rest));
    if (!closed) {
        return std::nullopt;
    }
    text = rest;
    return std::string(begin.substr(1, close - 1));
}

std::string plainValue(std::string_view& text)
{
    std::string value;
    std::size_t at = 0;
    for (; at < text.size() && text[at] != ';'; ++at) {
        const bool escape = text[at] == '\\' && at + 1 < text.size();
        const bool gap = text[at] == ' ' || text[at] == ',';
        if (gap && beginsWithKey(text.substr(at + 1))) {
            break;
        }
        at += escape ? 1 : 0;
        value.push_back(text[at]);
    }
    text.remove_prefix(at);
    return value;
}

} // namespace

KeyedText::KeyedText(std::string_view text)
{
    if (text.find('=') == std::string_view::npos) {
        m_word = device::tidyText(text.substr(0, text.find(';')));
        return;
    }
    while (!text.empty() && m_entries.size() < kMostKeys) {
        const std::size_t end = text.find_first_of("=;");
        if (end == std::string_view::npos) {
            break;
        }
        std::string_view name = text.substr(0, end);
        const bool keyed = text[end] == '=';
        text.remove_prefix(end + 1);
        if (!keyed) {
            continue;
        }
        while (!name.empty() && (isBlank(name.front()) || isSeparator(name.front()))) {
            name.remove_prefix(1);
        }
        const std::optional<std::string> quoted = quotedValue(text);
        m_entries.emplace_back(keyOf(name), device::tidyText(quoted ? *quoted : plainValue(text)));
    }
}

std::string KeyedText::text(std::string_view key) const
{
    for (const auto& [name, value] : m_entries) {
        if (name == key) {
            return value;
        }
    }
    return std::string();
}

std::optional<std::int64_t> KeyedText::number(std::string_view key) const
{
    const std::string value = text(key);
    const char* begin = value.data();
    const char* const last = begin + value.size();
    begin += begin != last && *begin == '+' ? 1 : 0;
    std::int64_t number = 0;
    const std::from_chars_result end = std::from_chars(begin, last, number);
    std::string_view rest(end.ptr, static_cast<std::size_t>(last - end.ptr));
    if (!rest.empty() && rest.front() == '.') {
        rest.remove_prefix(std::min(rest.find_first_not_of("0123456789", 1), rest.size()));
    }
    rest = withoutBlanks(rest);
    return end.ec == std::errc() && (rest.empty() || rest == "%") ? std::optional(number) : std::nullopt;
}

bool KeyedText::isPercentage(std::string_view key) const
{
    const std::string value = text(key);
    return !value.empty() && value.back() == '%' && number(key);
}

std::string_view withoutOwnName(std::string_view name, std::string_view text)
{
    const std::string_view begin = withoutBlanks(text);
    const bool same =
        begin.size() > name.size() && std::equal(name.begin(), name.end(), begin.begin(),
                                                 [](char a, char b) { return lower(a) == lower(b); });
    if (!same) {
        return text;
    }
    std::string_view rest = withoutBlanks(begin.substr(name.size()));
    if (!rest.empty() && rest.front() == '[') {
        rest.remove_prefix(std::min(rest.find_first_not_of("0123456789", 1), rest.size()));
        if (rest.empty() || rest.front() != ']') {
            return text;
        }
        rest = withoutBlanks(rest.substr(1));
    }
    if (rest.empty() || rest.front() != '=') {
        return text;
    }
    rest = withoutBlanks(rest.substr(1));
    const bool quoted =
        rest.size() >= 2 && rest.front() == rest.back() && (rest.front() == '"' || rest.front() == '\'');
    return quoted ? rest.substr(1, rest.size() - 2) : rest;
}

std::string camelCase(std::string_view keyword)
{
    std::string out;
    bool up = false;
    for (const char c : keyword) {
        if (c == '-' || c == '_' || c == ' ') {
            up = !out.empty();
            continue;
        }
        out.push_back(up ? upper(c) : c);
        up = false;
    }
    return out;
}

} // namespace tarn::ipp
