#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tarn::ipp {

// KeyedText is a value like "type=tonerCartridge;level=80;" (PWG 5100.13, printer-supply and its like): keys
// in any order and any case, joined by hyphens or not, blanks around them. Values may stand in quotes, and a
// backslash before a character takes it literally. Semicolons may be missing: the last one, and any before a
// key of the standard's behind a blank or a comma.
class KeyedText final
{
public:
    explicit KeyedText(std::string_view text);

    // Tidied; empty for a key that is missing. The first of equal keys counts. key in lower case, not joined.
    std::string text(std::string_view key) const;
    // Nothing where the value is no number; of a fraction the integer, of a percentage the number.
    std::optional<std::int64_t> number(std::string_view key) const;
    // Whether the value is a number with a per-cent sign.
    bool isPercentage(std::string_view key) const;
    // The whole text, tidied, where it has no keys: "none".
    const std::string& word() const { return m_word; }

private:
    static constexpr std::size_t kMostKeys = 32;

    std::vector<std::pair<std::string, std::string>> m_entries;
    std::string m_word;
};

// The text without the attribute's own name, which some devices write into the value:
// "printer-alert[0] = code=jam" is "code=jam"; quotes around what is left go, too.
std::string_view withoutOwnName(std::string_view name, std::string_view text);

// "waste-toner" as "wasteToner": the standard's labels in the spelling of the MIB.
std::string camelCase(std::string_view keyword);

} // namespace tarn::ipp
