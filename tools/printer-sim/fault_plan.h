#pragma once

#include <cstdint>
#include <string>

namespace printersim {

// What goes wrong on a printer's way, in percent of its answers.
struct FaultPlan
{
    std::uint32_t loss = 0;         // the request is lost
    std::uint32_t duplicate = 0;    // the answer comes twice
    std::uint32_t garbage = 0;      // random octets come instead
    std::uint32_t truncate = 0;     // the answer is cut at a random octet
    std::uint32_t wrongId = 0;      // another request id
    std::uint32_t wrongPort = 0;    // from another port of the printer's address
    std::uint32_t wrongAddress = 0; // from another address
    std::uint32_t delayLeastMs = 0;
    std::uint32_t delayMostMs = 0;

    bool any() const
    {
        return loss + duplicate + garbage + truncate + wrongId + wrongPort + wrongAddress + delayMostMs > 0;
    }
};

// "loss=10,delay=20..50,wrong-id=5": replaces the named ones in the plan. The text that is wrong comes back,
// empty where all was understood.
std::string parseFaults(const std::string& text, FaultPlan& plan);

} // namespace printersim
