#pragma once

#include <array>
#include <cstdint>

#include "tarn/src/device/picture_field.h"

namespace tarn::engine {

// How a picture, or a field of one, came. Of several that answer, the first in this order tells the state.
enum class Way : std::uint8_t
{
    None, // nobody said it
    Snmp,
    Ipp,
    Usb,
    Cups, // the queue that CUPS has for the printer
};
constexpr std::size_t kWayCount = 5;

// As the ABI spells it; "" for None.
constexpr const char* wayName(Way way)
{
    switch (way) {
    case Way::Snmp:
        return "sm";
    case Way::Ipp:
        return "ipp";
    case Way::Usb:
        return "smusb";
    case Way::Cups:
        return "cups";
    case Way::None:
        break;
    }
    return "";
}

// The way that each field of a picture came.
using FieldWays = std::array<Way, device::kPictureFieldCount>;

} // namespace tarn::engine
