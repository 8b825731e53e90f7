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

// Fit for one item of the state message: control characters become blanks, and the hyphen, which separates
// the items there, becomes its full-width twin.
std::string itemText(std::string_view utf8);

} // namespace tarn::device
