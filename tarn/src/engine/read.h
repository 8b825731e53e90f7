#pragma once

#include <cstdint>

namespace tarn::engine {

// What is read of a printer at a time.
enum class ReadKind : std::uint8_t
{
    Identity, // who it is; also everything of Full: the first status of a printer
    Full,     // everything that the status needs
    Fast,     // one small request: the state, and what moves often
};

// What a read that has ended says about the status.
enum class ReadOutcome : std::uint8_t
{
    Unchanged, // same status
    Changed,   // there is a new one
    NeedsFull, // something moved that Fast does not read: read Full now
    Restarted, // the printer started anew: read Identity now
    Unusable,  // answered, but says nothing of a printer (no status yet)
};

} // namespace tarn::engine
