#include "tools/tarn-status/screen.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <sstream>
#include <vector>

#include "tools/tarn-status/text.h"

namespace tarnstatus {

namespace {

constexpr char kHome[] = "\033[H";
constexpr char kClearLine[] = "\033[K";
constexpr char kClearBelow[] = "\033[J";

bool isSet(const char* variable)
{
    const char* const value = std::getenv(variable);
    return value != nullptr && *value != '\0';
}

} // namespace

Terminal terminalOfOutput()
{
    Terminal terminal;
    terminal.isTerminal = isatty(STDOUT_FILENO) != 0;
    const char* const kind = std::getenv("TERM");
    terminal.isClever =
        terminal.isTerminal && kind != nullptr && *kind != '\0' && std::strcmp(kind, "dumb") != 0;
    terminal.colour = terminal.isClever && !isSet("NO_COLOR");
    return terminal;
}

ScreenSize sizeOfOutput()
{
    winsize size{};
    if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_row == 0 || size.ws_col == 0) {
        return {};
    }
    return {size.ws_row, size.ws_col};
}

std::string frameOf(const std::string& text, ScreenSize size, const char* more)
{
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(std::move(line));
    }
    if (lines.size() > size.rows) {
        const std::size_t left = lines.size() - (size.rows - 1);
        lines.resize(size.rows - 1);
        lines.push_back("+ " + std::to_string(left) + ' ' + more);
    }
    std::string frame = kHome;
    for (std::size_t i = 0; i < lines.size(); ++i) {
        // A line as wide as the screen leaves the cursor in its last column: what clears the rest goes first.
        frame += (i == 0 ? "" : "\r\n") + std::string(kClearLine) + cutToWidth(lines[i], size.columns);
    }
    // The last row has no end of line, which would scroll; what is below it is cleared from its own end on.
    if (lines.size() < size.rows) {
        frame += (lines.empty() ? "" : "\r\n") + std::string(kClearBelow);
    }
    return frame;
}

} // namespace tarnstatus
