#include "tools/printer-sim/recording.h"

#include <charconv>
#include <cstring>
#include <map>

namespace printersim {

namespace {

struct Tag
{
    ValueType type;
    char encoding; // 0, 'x' or 'e'
};

[[noreturn]] void fail(std::size_t line, const std::string& what)
{
    throw InputError(line, what);
}

std::string quoted(std::string_view text)
{
    constexpr std::size_t kShown = 40;
    return "\"" + std::string(text.substr(0, kShown)) + (text.size() > kShown ? "...\"" : "\"");
}

ValueType typeOfTag(std::string_view digits, std::size_t line)
{
    static const std::map<std::string_view, ValueType> kTypes = {
        {"2", ValueType::Integer},    {"4", ValueType::OctetString}, {"5", ValueType::Null},
        {"6", ValueType::ObjectId},   {"64", ValueType::IpAddress},  {"65", ValueType::Counter32},
        {"66", ValueType::Gauge32},   {"67", ValueType::TimeTicks},  {"68", ValueType::Opaque},
        {"70", ValueType::Counter64},
    };
    const auto known = kTypes.find(digits);
    if (known == kTypes.end()) {
        fail(line, "unknown tag " + quoted(digits));
    }
    return known->second;
}

Tag parseTag(std::string_view text, std::size_t line)
{
    char encoding = 0;
    std::string_view digits = text;
    if (!digits.empty() && (digits.back() == 'x' || digits.back() == 'e')) {
        encoding = digits.back();
        digits.remove_suffix(1);
    }
    return {typeOfTag(digits, line), encoding};
}

int hexDigit(char c)
{
    if (c >= '0' && c <= '9') {
        return c - '0';
    }
    if (c >= 'a' && c <= 'f') {
        return c - 'a' + 10;
    }
    return c >= 'A' && c <= 'F' ? c - 'A' + 10 : -1;
}

std::string fromHex(std::string_view text, std::size_t line)
{
    if (text.size() % 2 != 0) {
        fail(line, "odd number of hexadecimal digits");
    }
    std::string bytes;
    for (std::size_t i = 0; i < text.size(); i += 2) {
        const int high = hexDigit(text[i]);
        const int low = hexDigit(text[i + 1]);
        if (high < 0 || low < 0) {
            fail(line, "no hexadecimal digits: " + quoted(text.substr(i, 2)));
        }
        bytes += static_cast<char>(high * 16 + low);
    }
    return bytes;
}

std::string fromEscapes(std::string_view text, std::size_t line)
{
    static const char kLetters[] = "\\'\"abfnrtv";
    static const char kMeanings[] = "\\'\"\a\b\f\n\r\t\v";
    std::string bytes;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '\\') {
            bytes += text[i];
            continue;
        }
        if (++i == text.size()) {
            fail(line, "a lone backslash at the end");
        }
        if (text[i] == 'x') {
            bytes += fromHex(text.substr(i + 1, 2).size() == 2 ? text.substr(i + 1, 2) : "?", line);
            i += 2;
            continue;
        }
        const char* known = std::strchr(kLetters, text[i]);
        if (text[i] == '\0' || known == nullptr) {
            fail(line, "unknown escape " + quoted(text.substr(i - 1, 2)));
        }
        bytes += kMeanings[known - kLetters];
    }
    return bytes;
}

template <typename Number>
Number parseNumber(std::string_view text, std::size_t line)
{
    Number number = 0;
    const auto result = std::from_chars(text.data(), text.data() + text.size(), number);
    if (result.ec == std::errc::result_out_of_range) {
        fail(line, "number out of range: " + quoted(text));
    }
    if (result.ec != std::errc() || result.ptr != text.data() + text.size()) {
        fail(line, "no number: " + quoted(text));
    }
    return number;
}

std::int64_t parseScalar(ValueType type, std::string_view text, std::size_t line)
{
    if (type == ValueType::Integer) {
        return parseNumber<std::int32_t>(text, line);
    }
    if (type == ValueType::Counter64) {
        return static_cast<std::int64_t>(parseNumber<std::uint64_t>(text, line));
    }
    return parseNumber<std::uint32_t>(text, line);
}

Value parseAddressValue(const std::string& text, bool isHex, std::size_t line)
{
    Value value;
    value.type = ValueType::IpAddress;
    value.bytes = text;
    if (!isHex) {
        const auto address = parseAddress(text);
        if (!address) {
            fail(line, "no IPv4 address: " + quoted(text));
        }
        value.bytes.clear();
        for (int shift = 24; shift >= 0; shift -= 8) {
            value.bytes += static_cast<char>((*address >> shift) & 0xFF);
        }
    }
    if (value.bytes.size() != 4) {
        fail(line, "an IPv4 address has four octets");
    }
    return value;
}

Value parseValue(Tag tag, std::string_view raw, std::size_t line)
{
    std::string text(raw);
    if (tag.encoding == 'x') {
        text = fromHex(raw, line);
    } else if (tag.encoding == 'e') {
        text = fromEscapes(raw, line);
    }
    Value value;
    value.type = tag.type;
    switch (tag.type) {
    case ValueType::OctetString:
    case ValueType::Opaque:
        value.bytes = text;
        return value;
    case ValueType::Null:
        return value;
    case ValueType::IpAddress:
        return parseAddressValue(text, tag.encoding == 'x', line);
    case ValueType::ObjectId:
        if (const auto oid = parseOid(text)) {
            return objectId(*oid);
        }
        fail(line, "no object identifier: " + quoted(text));
    default:
        value.number = parseScalar(tag.type, text, line);
        return value;
    }
}

// The VALUE of "TAG:writecache|value=..."; other modules of snmpsim would need its programs.
std::string_view valueOfModule(std::string_view module, std::string_view arguments, std::size_t line)
{
    constexpr std::string_view kKey = "value=";
    if (module != "writecache") {
        fail(line, "unknown module " + quoted(module));
    }
    if (arguments.substr(0, kKey.size()) != kKey) {
        fail(line, "writecache without value=");
    }
    return arguments.substr(kKey.size());
}

// Blanks at a line's ends are no part of it; a text that ends in one is written in hexadecimal.
std::string_view trimmed(std::string_view line)
{
    constexpr const char* kBlanks = " \t\r\v\f";
    const std::size_t first = line.find_first_not_of(kBlanks);
    if (first == std::string_view::npos) {
        return {};
    }
    return line.substr(first, line.find_last_not_of(kBlanks) - first + 1);
}

} // namespace

Row parseRecordingLine(std::string_view line, std::size_t lineNumber)
{
    const std::size_t first = line.find('|');
    const std::size_t second = first == std::string_view::npos ? first : line.find('|', first + 1);
    if (second == std::string_view::npos) {
        fail(lineNumber, "not OID|TAG|VALUE: " + quoted(line));
    }
    const auto oid = parseOid(line.substr(0, first));
    if (!oid) {
        fail(lineNumber, "no object identifier: " + quoted(line.substr(0, first)));
    }
    std::string_view tag = line.substr(first + 1, second - first - 1);
    std::string_view value = line.substr(second + 1);
    if (const std::size_t colon = tag.find(':'); colon != std::string_view::npos) {
        value = valueOfModule(tag.substr(colon + 1), value, lineNumber);
        tag = tag.substr(0, colon);
    }
    return {*oid, always(parseValue(parseTag(tag, lineNumber), value, lineNumber))};
}

std::vector<Row> parseRecording(std::string_view text)
{
    std::vector<Row> rows;
    std::size_t lineNumber = 0;
    while (!text.empty()) {
        ++lineNumber;
        const std::size_t end = text.find('\n');
        std::string_view line = text.substr(0, end);
        text = end == std::string_view::npos ? std::string_view() : text.substr(end + 1);
        line = trimmed(line);
        if (!line.empty() && line.front() != '#') {
            rows.push_back(parseRecordingLine(line, lineNumber));
        }
    }
    return rows;
}

} // namespace printersim
