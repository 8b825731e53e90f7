#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "tools/printer-sim/input_error.h"
#include "tools/printer-sim/mib.h"

namespace printersim {

// One line "OID|TAG|VALUE" as snmpsim writes them. TAG is the BER tag in decimal (2 INTEGER, 4 OCTET STRING,
// 5 NULL, 6 OBJECT IDENTIFIER, 64 IpAddress, 65 Counter32, 66 Gauge32, 67 TimeTicks, 68 Opaque, 70
// Counter64), with an "x" behind it when VALUE is in hexadecimal, an "e" when it has the escapes of a Python
// text. Of snmpsim's modules "2:writecache" (value=) is known, since every value can be set here. Throws
// InputError, with the line number given.
Row parseRecordingLine(std::string_view line, std::size_t lineNumber);

// A whole recording. Empty lines and lines that begin with "#" say nothing. Throws InputError.
std::vector<Row> parseRecording(std::string_view text);

} // namespace printersim
