#pragma once

#include <optional>
#include <string>

#include "tarn/src/device/device_status.h"

namespace tarn::device {

// What the words of a supply's description say. Devices describe supplies in the language of their panel, and
// say "toner" of drums and waste boxes in the column that should tell them apart.

struct ColorSaid
{
    SupplyColor color = SupplyColor::None;
    std::string text; // the standard's keyword for the five, else what is said, e.g. "light cyan"
};

// The colour named by words in several languages, then by a tag ("[K]", "(BK)"), then by the last letter of a
// part number ("TK-8527C"). The head of the description, before a comma or semicolon, is asked first: part
// and serial numbers stand behind it. Cyan, magenta and yellow together are TriColor, as is what begins with
// "Color"; other sets of colours are Other; so is what is
// lighter than one of the five, but matte and photo black are black. None when nothing says one.
ColorSaid colorFromDescription(const std::string& description);

// The colour that a colorant table names; None for "other", "unknown", "none" and the empty text.
ColorSaid colorFromColorant(const std::string& value);

// Which part other than toner or ink the words name; nothing when they name none.
std::optional<SupplyKind> partFromDescription(const std::string& description);

// Whether the words name toner, ink, wax or ribbon, or a cartridge of it.
bool namesMarkingMaterial(const std::string& description);

const char* colorKeyword(SupplyColor color); // "black" ... "red", "other", "none"
const char* colorText(SupplyColor color);    // Chinese; "" for none and other
const char* kindKeyword(SupplyKind kind);    // "toner", "drum", ...

} // namespace tarn::device
