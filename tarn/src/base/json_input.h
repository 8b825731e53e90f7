#pragma once

#include <optional>
#include <string>
#include <string_view>

#include <json/value.h>

namespace tarn {

// The parsed document, or nothing when it is larger than maxBytes, deeper than 32 levels or no JSON. Comments
// are accepted, as people write them into configuration files. In why, where it is given, stands the first
// error then, "line 3, column 7: ..." in one line. Never throws but for want of memory.
std::optional<Json::Value> parseJson(std::string_view text, std::size_t maxBytes, std::string* why = nullptr);

// The member's text; empty unless value is an object that has it as a JSON string.
std::string textMember(const Json::Value& value, const char* key);

} // namespace tarn
