#include "tools/tarn-status/options.h"

#include <arpa/inet.h>
#include <getopt.h>

#include <cmath>
#include <cstdlib>

namespace tarnstatus {

const char kHelp[] =
    R"(Usage: tarn-status [OPTION]... ADDRESS...
       tarn-status [OPTION]... --list FILE
       tarn-status [OPTION]... --find NETWORK/24
       tarn-status [OPTION]... --usb | --cups
Show what printers say of themselves: state, alerts, supplies, trays, page counter.

  -l, --list FILE       the printers of FILE, a printers.json
  -f, --find NETWORK    the printers among the hosts of a network of at most 254 hosts (SNMP only)
  -u, --usb             the printers attached by USB, alone or beside the others
  -c, --cups            the queues that CUPS has, alone or beside the others
  -j, --json            a JSON document instead of a table
  -w, --watch[=SECONDS] again and again, every 2 seconds by default, until interrupted
  -t, --timeout SECONDS how long to wait for printers that do not answer (default 6)
  -h, --help            this text
  -V, --version         the version

Exit status: 0 all printers are fine, 1 one needs attention, 2 one cannot be reached (or none was found),
3 wrong usage or a file that cannot be used.
)";

namespace {

constexpr double kLongestSeconds = 86400;

Options usage(const std::string& complaint)
{
    Options options;
    options.action = Options::Action::Usage;
    options.complaint = complaint;
    return options;
}

bool parseSeconds(const char* text, std::chrono::milliseconds& out)
{
    char* end = nullptr;
    const double seconds = std::strtod(text, &end);
    if (end == text || *end != '\0' || !std::isfinite(seconds) || seconds < 0 || seconds > kLongestSeconds) {
        return false;
    }
    out = std::chrono::milliseconds(static_cast<std::int64_t>(seconds * 1000));
    return true;
}

// Applies one option; false when its argument is wrong.
bool apply(int option, const char* argument, Options& options)
{
    switch (option) {
    case 'l':
        options.listFile = argument;
        return *argument != '\0';
    case 'f':
        options.network = argument;
        return !hostsOf(argument).empty();
    case 'u':
        options.usb = true;
        return true;
    case 'c':
        options.cups = true;
        return true;
    case 'j':
        options.json = true;
        return true;
    case 'w':
        options.watch = true;
        return argument == nullptr ||
               (parseSeconds(argument, options.interval) && options.interval.count() >= 100);
    case 't':
        return parseSeconds(argument, options.timeout);
    case 'h':
        options.action = Options::Action::Help;
        return true;
    case 'V':
        options.action = Options::Action::Version;
        return true;
    default:
        return false;
    }
}

} // namespace

Options parseOptions(int argc, char** argv)
{
    static const option known[] = {
        {"list", required_argument, nullptr, 'l'},    {"find", required_argument, nullptr, 'f'},
        {"usb", no_argument, nullptr, 'u'},           {"cups", no_argument, nullptr, 'c'},
        {"json", no_argument, nullptr, 'j'},          {"watch", optional_argument, nullptr, 'w'},
        {"timeout", required_argument, nullptr, 't'}, {"help", no_argument, nullptr, 'h'},
        {"version", no_argument, nullptr, 'V'},       {nullptr, 0, nullptr, 0}};
    Options options;
    optind = 0; // tests parse more than once
    opterr = 0;
    for (int found = 0; (found = getopt_long(argc, argv, ":l:f:ucjw::t:hV", known, nullptr)) != -1;) {
        if (found == '?') {
            return usage(std::string("unknown option: ") + argv[optind - 1]);
        }
        if (found == ':') {
            return usage(std::string("argument missing: ") + argv[optind - 1]);
        }
        if (!apply(found, optarg, options)) {
            return usage(std::string("wrong argument of -") + static_cast<char>(found) + ": " + optarg);
        }
        if (options.action != Options::Action::Show) {
            return options;
        }
    }
    options.addresses.assign(argv + optind, argv + argc);
    const int ways = (options.addresses.empty() ? 0 : 1) + (options.listFile.empty() ? 0 : 1) +
                     (options.network.empty() ? 0 : 1);
    if (ways > 1 || (ways == 0 && !options.usb && !options.cups)) {
        return usage(ways == 0 ? "no printer named" : "addresses, --list and --find exclude each other");
    }
    for (const std::string& address : options.addresses) {
        if (address.find_first_not_of("0123456789.") != std::string::npos) {
            return usage("no IPv4 address: " + address);
        }
    }
    return options;
}

std::vector<std::string> hostsOf(const std::string& network)
{
    const std::size_t slash = network.find('/');
    in_addr parsed{};
    if (inet_pton(AF_INET, network.substr(0, slash).c_str(), &parsed) != 1) {
        return {};
    }
    unsigned bits = 24;
    if (slash != std::string::npos) {
        const std::string text = network.substr(slash + 1);
        if (text.size() != 2 || text.find_first_not_of("0123456789") != std::string::npos) {
            return {};
        }
        bits = static_cast<unsigned>(std::atoi(text.c_str()));
    }
    if (bits < 24 || bits > 32) {
        return {};
    }
    const std::uint32_t size = 1u << (32 - bits);
    const std::uint32_t first = ntohl(parsed.s_addr) & ~(size - 1);
    const std::uint32_t edge = size > 2 ? 1 : 0; // the network's own and its broadcast address
    std::vector<std::string> hosts;
    for (std::uint32_t i = edge; i < size - edge; ++i) {
        const in_addr host{htonl(first + i)};
        char text[INET_ADDRSTRLEN];
        hosts.emplace_back(inet_ntop(AF_INET, &host, text, sizeof text));
    }
    return hosts;
}

} // namespace tarnstatus
