#pragma once

// A text as a device could send it to steer whatever shows it, and how to find what is left of it.

#include <json/value.h>

#include <cstdint>
#include <cstdio>
#include <functional>
#include <string>
#include <vector>

namespace tarn::test {

inline std::string utf8Of(std::uint32_t point)
{
    std::string out;
    if (point < 0x80) {
        out += static_cast<char>(point);
    } else if (point < 0x800) {
        out += static_cast<char>(0xC0 | point >> 6);
        out += static_cast<char>(0x80 | (point & 0x3F));
    } else {
        out += static_cast<char>(0xE0 | point >> 12);
        out += static_cast<char>(0x80 | (point >> 6 & 0x3F));
        out += static_cast<char>(0x80 | (point & 0x3F));
    }
    return out;
}

// Control characters but NUL, which ends a text; ends of lines; what turns the direction of a text.
inline std::vector<std::uint32_t> steeringPoints()
{
    std::vector<std::uint32_t> points{0x7F, 0x061C, 0xFEFF};
    const auto add = [&points](std::uint32_t first, std::uint32_t last) {
        for (std::uint32_t point = first; point <= last; ++point) {
            points.push_back(point);
        }
    };
    add(0x01, 0x1F);
    add(0x80, 0x9F);
    add(0x200E, 0x200F);
    add(0x2028, 0x202E);
    add(0x2066, 0x2069);
    return points;
}

constexpr const char* kHostileWord = "Mallory";

// All of them, and what a shell, a format or a reader of rich text would take for its own, around a word.
inline std::string hostileText()
{
    std::string out = std::string("$(touch x)`touch x`%n%s<b>") + kHostileWord;
    for (const std::uint32_t point : steeringPoints()) {
        out += utf8Of(point) + "x";
    }
    return out + kHostileWord;
}

// "U+202E" and so on for the first of them that the text holds, but for those that are allowed; else empty.
inline std::string steeringIn(const std::string& text, const std::string& allowed = {})
{
    for (const std::uint32_t point : steeringPoints()) {
        const std::string octets = utf8Of(point);
        if (text.find(octets) != std::string::npos && allowed.find(octets) == std::string::npos) {
            char name[16];
            std::snprintf(name, sizeof name, "U+%04X", point);
            return name;
        }
    }
    return {};
}

// Calls use("supplies.description", text) for each text in the value.
inline void forEachText(const Json::Value& value,
                        const std::function<void(const std::string&, const std::string&)>& use,
                        const std::string& path = {})
{
    if (value.isString()) {
        use(path, value.asString());
    } else if (value.isArray()) {
        for (const Json::Value& item : value) {
            forEachText(item, use, path);
        }
    } else if (value.isObject()) {
        for (const std::string& member : value.getMemberNames()) {
            forEachText(value[member], use, path.empty() ? member : path + "." + member);
        }
    }
}

} // namespace tarn::test
