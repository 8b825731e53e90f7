#pragma once

#include <string_view>

namespace kel::testing {

// Whether a text is one JSON value (RFC 8259) and nothing else, without making anything of it: for checks that are run
// millions of times. Says nothing of the encoding.
bool isJson(std::string_view text);

} // namespace kel::testing
