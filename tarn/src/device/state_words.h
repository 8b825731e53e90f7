#pragma once

#include <string_view>

namespace tarn::device {

// A text of a device that is a state rather than an alert: devices list their state among the alerts.
enum class StateText
{
    None, // it is something else
    Ready,
    Sleep,
    WarmUp,
};

// What the whole text says, in several languages; case, final dots and the way words are joined
// ("inPowerSave", "in-power-save") do not count.
StateText stateTextOf(std::string_view text);

} // namespace tarn::device
