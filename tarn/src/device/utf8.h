#pragma once

#include <string>
#include <string_view>

namespace tarn::device {

// Code points of valid UTF-8; octets that are none become U+FFFD.
std::u32string toCodePoints(std::string_view utf8);

// Lower case for Latin, Greek and Cyrillic, full-width letters as ASCII: for comparing words, not for
// showing.
std::u32string foldCase(std::u32string text);

inline std::u32string folded(std::string_view utf8)
{
    return foldCase(toCodePoints(utf8));
}

// Whether the octets are well-formed UTF-8 (RFC 3629: no overlong forms, no surrogates, at most U+10FFFF).
bool isValidUtf8(std::string_view octets);

// Every octet is a character.
std::string fromLatin1(std::string_view octets);

// A text of a device, fit to be shown: octets that are no valid UTF-8 are read as Latin-1; control
// characters, ends of lines and what turns the direction of a text (U+202E and its like) become blanks,
// blanks at both ends go, several become one.
std::string tidyText(std::string_view octets);

// Fit for one item of the state message: what tidyText() makes blanks becomes blanks, and the hyphen, which
// separates the items there, becomes its full-width twin.
std::string itemText(std::string_view utf8);

} // namespace tarn::device
