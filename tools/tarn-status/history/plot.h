#pragma once

#include <string>

#include "tools/tarn-status/history/history.h"
#include "tools/tarn-status/words.h"

namespace tarnstatus {

enum class PlotKind
{
    Svg,
    Png,
};

// By the end of the name; false where it is neither.
bool plotKindOf(const std::string& file, PlotKind& kind);

// The levels above, the pages of each day below, as the content of a file. Throws std::runtime_error where it
// cannot be drawn, for want of memory for example.
std::string plotOf(const History& history, PlotKind kind, Language language);

// The file is replaced whole or not at all; what is no regular file is written to. Throws tools::WriteError.
void writeFile(const std::string& file, const std::string& content);

} // namespace tarnstatus
