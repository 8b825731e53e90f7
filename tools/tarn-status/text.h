#pragma once

#include <string>

#include <json/value.h>

namespace tarnstatus {

// How many columns of a terminal the UTF-8 text takes; escape sequences take none.
std::size_t displayWidth(const std::string& text);

// The longest beginning that takes at most so many columns, with all of its escape sequences.
std::string cutToWidth(const std::string& text, std::size_t columns);

// A printer's own texts may hold anything: what would steer a terminal, end a line or turn its direction is a
// blank here. Empty for what is no text.
std::string printable(const Json::Value& value);

// A JSON document, laid out in lines or not, that keeps every text and steers no terminal: such characters
// are escaped in it.
std::string escapedInJson(const std::string& document);

} // namespace tarnstatus
