#include "tarn/src/device/serial_number.h"

#include <algorithm>
#include <iterator>
#include <optional>

#include "tarn/src/device/utf8.h"

namespace tarn::device {

namespace {

// What stands where a serial number should, letters and digits of it.
const char* const kNoSerials[] = {"unknown",      "none",          "na",           "null",
                                  "notavailable", "notapplicable", "notset",       "notsupported",
                                  "undefined",    "unspecified",   "serialnumber", "serialno"};

bool isDigit(char c)
{
    return c >= '0' && c <= '9';
}

char lower(char c)
{
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

std::optional<int> hexDigit(char c)
{
    if (isDigit(c)) {
        return c - '0';
    }
    const char letter = lower(c);
    return letter >= 'a' && letter <= 'f' ? std::optional<int>(letter - 'a' + 10) : std::nullopt;
}

// The text that hex digits spell; nothing where they spell no serial number.
std::optional<std::string> spelled(const std::string& hex)
{
    constexpr std::size_t kFewestOctets = 8; // fewer may be so by chance
    if (hex.size() % 2 != 0) {
        return std::nullopt;
    }
    std::string text;
    bool ended = false;
    for (std::size_t i = 0; i < hex.size(); i += 2) {
        const std::optional<int> high = hexDigit(hex[i]);
        const std::optional<int> low = hexDigit(hex[i + 1]);
        if (!high || !low) {
            return std::nullopt;
        }
        const char octet = static_cast<char>(*high * 16 + *low);
        const bool control = *high < 2;
        const bool plain = isDigit(octet) || (octet >= 'A' && octet <= 'Z') || octet == '-';
        if ((!plain && !control) || (ended && !control)) {
            return std::nullopt;
        }
        ended = control;
        if (plain) {
            text.push_back(octet);
        }
    }
    return text.size() >= kFewestOctets ? std::optional(text) : std::nullopt;
}

} // namespace

std::string serialNumberFrom(const std::string& said)
{
    const std::string tidied = tidyText(said);
    if (namesNoSerial(tidied)) {
        return std::string();
    }
    const std::optional<std::string> text = spelled(tidied);
    return !text ? tidied : namesNoSerial(*text) ? std::string() : *text;
}

bool namesNoSerial(const std::string& text)
{
    std::string plain;
    for (const char c : text) {
        const char letter = lower(c);
        if (isDigit(c) || (letter >= 'a' && letter <= 'z') || static_cast<unsigned char>(c) >= 0x80) {
            plain.push_back(letter);
        }
    }
    const bool placeholder = std::any_of(std::begin(kNoSerials), std::end(kNoSerials),
                                         [&](const char* word) { return plain == word; });
    const bool oneSign = std::all_of(plain.begin(), plain.end(), [&](char c) { return c == plain.front(); });
    // 11 may be the eleventh of a series; 0 or 1111 is nobody's number.
    const bool shortNumber =
        !plain.empty() && isDigit(plain.front()) && (plain.size() == 2 || plain.size() == 3);
    return placeholder || (oneSign && !shortNumber);
}

} // namespace tarn::device
