#pragma once

#include <set>
#include <string>
#include <string_view>

namespace matrix {

// A recorded answer to Get-Printer-Attributes, one whole message (RFC 8010), and what a printer does with it.

// The octets of a file; throws std::runtime_error when it cannot be read or is too short to be a message.
std::string readIppRecording(const std::string& path);

// The keywords of "requested-attributes" in a request; empty when it names none.
std::set<std::string> requestedAttributes(std::string_view request);

// The recording as the answer to the request: with its number, and, where the printer honours what is asked
// for, of the attributes of printers only those that are wanted.
std::string answerTo(std::string_view request, std::string_view recording, bool honours);

} // namespace matrix
