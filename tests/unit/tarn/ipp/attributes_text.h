#pragma once

// Attributes as a test writes them: one line each, "name = value | value | ...". A value that is an integer
// is a number, unless it stands in quotes.

#include <charconv>
#include <sstream>
#include <string>

#include "tarn/src/ipp/ipp_attributes.h"
#include "tarn/src/ipp/ipp_status.h"

namespace tarn::ipp::test {

inline IppValue valueFrom(std::string text)
{
    const std::size_t first = text.find_first_not_of(' ');
    text = first == std::string::npos ? std::string()
                                      : text.substr(first, text.find_last_not_of(' ') - first + 1);
    IppValue value;
    std::int64_t number = 0;
    const auto end = std::from_chars(text.data(), text.data() + text.size(), number);
    if (!text.empty() && end.ptr == text.data() + text.size()) {
        value.number = number;
    } else if (text.size() >= 2 && text.front() == '"' && text.back() == '"') {
        value.text = text.substr(1, text.size() - 2);
    } else {
        value.text = text;
    }
    return value;
}

inline IppAttributes attributesFrom(const std::string& lines)
{
    IppAttributes attributes;
    std::istringstream in(lines);
    for (std::string line; std::getline(in, line);) {
        const std::size_t equals = line.find(" = ");
        if (equals == std::string::npos) {
            continue;
        }
        const std::string name =
            line.substr(line.find_first_not_of(' '), equals - line.find_first_not_of(' '));
        std::istringstream values(line.substr(equals + 3));
        for (std::string value; std::getline(values, value, '|');) {
            attributes.add(name, valueFrom(value));
        }
    }
    return attributes;
}

inline device::DeviceStatus statusOf(const std::string& lines)
{
    return buildStatus(attributesFrom(lines));
}

} // namespace tarn::ipp::test
