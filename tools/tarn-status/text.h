#pragma once

#include <string>

#include <json/value.h>

namespace tarnstatus {

// How many columns of a terminal the UTF-8 text takes; escape sequences take none.
std::size_t displayWidth(const std::string& text);

// The longest beginning that takes at most so many columns, with all of its escape sequences.
std::string cutToWidth(const std::string& text, std::size_t columns);

// A printer's own texts may hold anything: what would steer a terminal or end a line is a blank here. Empty
// for what is no text.
std::string printable(const Json::Value& value);

} // namespace tarnstatus
