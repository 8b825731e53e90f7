#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

namespace tarnstatus {

// What the command line asks for.
struct Options
{
    enum class Action
    {
        Show,
        Help,
        Version,
        Usage, // the command line is wrong; complaint says how
    };

    Action action = Action::Show;
    std::string complaint;
    std::vector<std::string> addresses;
    std::string listFile;
    std::string network; // of --find
    bool usb = false;
    bool cups = false;
    bool json = false;
    bool watch = false;
    std::chrono::milliseconds interval{2000};
    std::chrono::milliseconds timeout{6000};
};

Options parseOptions(int argc, char** argv);

// The hosts of a network written as address/bits, bits from 24 to 32, without its own and its broadcast
// address; of a plain address the 254 hosts around it. Empty when the text is no such network.
std::vector<std::string> hostsOf(const std::string& network);

extern const char kHelp[];

} // namespace tarnstatus
