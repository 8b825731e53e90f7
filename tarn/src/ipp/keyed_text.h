#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tarn::ipp {

// KeyedText is a value like "type=tonerCartridge;level=80;" (PWG 5100.13, printer-supply and its like): keys
// in any order and any case, blanks around them, the last semicolon perhaps missing.
class KeyedText final
{
public:
    explicit KeyedText(std::string_view text);

    // Tidied; empty for a key that is missing. The first of equal keys counts. key in lower case.
    std::string text(std::string_view key) const;
    // Nothing where the value is no integer.
    std::optional<std::int64_t> number(std::string_view key) const;

private:
    static constexpr std::size_t kMostKeys = 32;

    std::vector<std::pair<std::string, std::string>> m_entries;
};

// "waste-toner" as "wasteToner": the standard's labels in the spelling of the MIB.
std::string camelCase(std::string_view keyword);

} // namespace tarn::ipp
