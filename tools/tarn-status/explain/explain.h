#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

namespace tarnstatus {

enum class SnmpVersion
{
    V1,
    V2c,
    V3,
};

// What --explain is to explain, and what to try with instead of what the configuration file says.
struct ExplainOptions
{
    std::string address;
    std::optional<std::string> community;
    std::optional<std::uint16_t> port;
    std::optional<SnmpVersion> snmp;
    std::optional<std::string> user; // one of the configuration file's

    bool triesOtherwise() const { return community || port || snmp || user; }
};

// Tries each way to a printer and says what came of it, why, and what to do. Returns the exit status.
// Throws tools::WriteError.
int explain(const ExplainOptions& options, std::chrono::milliseconds patience);

} // namespace tarnstatus
