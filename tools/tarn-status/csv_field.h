#pragma once

#include <string>

namespace tarnstatus {

// A field of a row as RFC 4180 has it: in quotes where a comma or a quote is in it. The text is one line.
std::string csvField(const std::string& text);

} // namespace tarnstatus
