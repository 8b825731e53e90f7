#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace tarn::snmp {

// UTF-8 text of octets that a device sent. charset is what prtLocalizationCharacterSet says (IANA MIBenum),
// if anything. In this order: ASCII as it is; the charset the device names; UTF-8 where the octets are valid
// as such; Latin-1, which takes everything. Where the named charset has one octet a character, so that any
// octets pass, and they are valid UTF-8 beyond ASCII, they are UTF-8: devices name a charset and send
// another. Afterwards: NUL ends the text, control characters become blanks, blanks at both ends go, several
// become one. Never fails, never yields invalid UTF-8.
std::string decodeText(const std::string& octets, std::optional<std::int64_t> charset);

} // namespace tarn::snmp
