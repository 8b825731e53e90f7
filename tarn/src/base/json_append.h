#pragma once

#include <string>
#include <string_view>

namespace tarn {

// Appends text as a JSON string, quotes included. Bytes from 0x80 on go through as they are, so that a name
// comes back byte for byte even where it is no valid UTF-8; only what JSON forbids is escaped.
void appendJsonString(std::string& out, std::string_view text);

// Appends ,"key":"value" (without the comma after an opening brace).
void appendJsonMember(std::string& out, std::string_view key, std::string_view value);

} // namespace tarn
