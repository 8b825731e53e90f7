#include "tarn/src/engine/endpoint.h"

namespace tarn::engine {

namespace {

// Takes one octet off the front; three digits at most.
std::optional<std::uint32_t> takeOctet(std::string_view& text)
{
    std::uint32_t value = 0;
    std::size_t digits = 0;
    while (digits < text.size() && digits < 4 && text[digits] >= '0' && text[digits] <= '9') {
        value = value * 10 + static_cast<std::uint32_t>(text[digits] - '0');
        ++digits;
    }
    if (digits == 0 || digits > 3 || value > 255) {
        return std::nullopt;
    }
    text.remove_prefix(digits);
    return value;
}

} // namespace

std::optional<std::uint32_t> parseIpv4(std::string_view text)
{
    std::uint32_t address = 0;
    for (int i = 0; i < 4; ++i) {
        if (i > 0) {
            if (text.empty() || text.front() != '.') {
                return std::nullopt;
            }
            text.remove_prefix(1);
        }
        const std::optional<std::uint32_t> octet = takeOctet(text);
        if (!octet) {
            return std::nullopt;
        }
        address = address << 8 | *octet;
    }
    if (!text.empty()) {
        return std::nullopt;
    }
    return address;
}

bool isUnicast(std::uint32_t address)
{
    const std::uint32_t first = address >> 24;
    return first != 0 && first < 224;
}

std::string formatIpv4(std::uint32_t address)
{
    std::string text;
    for (int shift = 24; shift >= 0; shift -= 8) {
        text += std::to_string(address >> shift & 255u);
        if (shift > 0) {
            text += '.';
        }
    }
    return text;
}

} // namespace tarn::engine
