#pragma once

#include <optional>
#include <string>

#include "tarn/src/snmp/wire/codec.h"
#include "tools/printer-sim/printer.h"

namespace printersim {

// How an agent answers; the same for all printers unless their kind says otherwise.
struct AgentSettings
{
    std::string readCommunity = "public";
    std::string writeCommunity = "private"; // reads as well
    std::size_t maxMessageSize = 1472;      // octets of an answer
    bool v1Only = false;
};

// The answer of a printer's agent to a datagram, or nothing where an agent keeps silent: no SNMP message,
// another version, an unknown community, an answer that does not fit even as an error. GETBULK is cut to the
// size allowed, other answers become tooBig (RFC 3416 4.2). SET changes what the printer says from then on,
// for the write community, where the row is there and the type its own.
std::optional<std::string> answer(tarn::snmp::ByteView datagram, Printer& printer, double seconds,
                                  const AgentSettings& settings);

} // namespace printersim
