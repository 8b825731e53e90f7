#pragma once

#include <cstdint>
#include <optional>

namespace tarn::snmp {

// Whether a printer has started anew between two readings of sysUpTime, in order: its time went back. The
// counter's own wrap after 497 days looks the same: then the whole reading is done once more, which costs
// nothing. A reading that does not tell it says nothing.
constexpr bool isRestart(std::optional<std::int64_t> before, std::optional<std::int64_t> now)
{
    return before && now && *now < *before;
}

} // namespace tarn::snmp
