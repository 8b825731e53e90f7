#include "tarn/src/ipp/keyed_text.h"

#include <charconv>

#include "tarn/src/device/text.h"

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

} // namespace

KeyedText::KeyedText(std::string_view text)
{
    while (!text.empty() && m_entries.size() < kMostKeys) {
        const std::string_view entry = text.substr(0, text.find(';'));
        text.remove_prefix(entry.size() == text.size() ? text.size() : entry.size() + 1);
        const std::size_t equals = entry.find('=');
        if (equals == std::string_view::npos) {
            continue;
        }
        std::string key = device::tidyText(entry.substr(0, equals));
        for (char& c : key) {
            c = lower(c);
        }
        m_entries.emplace_back(std::move(key), device::tidyText(entry.substr(equals + 1)));
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
    std::int64_t number = 0;
    const std::from_chars_result end = std::from_chars(value.data(), value.data() + value.size(), number);
    return end.ec == std::errc() && end.ptr == value.data() + value.size() ? std::optional(number)
                                                                           : std::nullopt;
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
