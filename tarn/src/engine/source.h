#pragma once

#include <array>
#include <cstdint>

#include "tarn/src/device/status_field.h"

namespace tarn::engine {

// Where a status, or a field of one, came from. Of several that answer, the first in this order tells the
// state.
enum class Source : std::uint8_t
{
    None, // nobody said it
    Snmp,
    Ipp,
    Usb,
    Cups, // the queue that CUPS has for the printer
};
constexpr std::size_t kSourceCount = 5;

// As the ABI spells it; "" for None.
constexpr const char* sourceName(Source source)
{
    switch (source) {
    case Source::Snmp:
        return "sm";
    case Source::Ipp:
        return "ipp";
    case Source::Usb:
        return "smusb";
    case Source::Cups:
        return "cups";
    case Source::None:
        break;
    }
    return "";
}

// Where each field of a status came from.
using FieldSources = std::array<Source, device::kStatusFieldCount>;

} // namespace tarn::engine
