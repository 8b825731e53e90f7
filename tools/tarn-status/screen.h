#pragma once

#include <string>

namespace tarnstatus {

struct ScreenSize
{
    std::size_t rows = 24;
    std::size_t columns = 80;
};

// What standard output is.
struct Terminal
{
    bool isTerminal = false;
    bool isClever = false; // a terminal that understands escape sequences
    bool colour = false;   // these may be used for colours, too
};

// By isatty(), TERM and NO_COLOR.
Terminal terminalOfOutput();
ScreenSize sizeOfOutput();

// What makes a clever terminal show that text in the place of the last frame: from its upper left corner on,
// lines cut to its width; where they are too many, the last row says how many more there are. Never scrolls.
std::string frameOf(const std::string& text, ScreenSize size, const char* more);

} // namespace tarnstatus
