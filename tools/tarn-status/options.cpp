#include "tools/tarn-status/options.h"

#include <cmath>
#include <cstdlib>

#include "tools/tarn-status/addresses.h"

namespace tarnstatus {

using tools::Option;
using tools::OptionTable;
using tools::UsageError;

namespace {

constexpr double kLongestSeconds = 86400;
constexpr std::chrono::milliseconds kShortestInterval{100};

constexpr char kUsage[] = R"(Usage: tarn-status [OPTION]... ADDRESS...
       tarn-status [OPTION]... --list FILE
       tarn-status [OPTION]... --find[=NETWORK/24] [--save FILE]
       tarn-status [OPTION]... --usb | --cups
       tarn-status --check-config[=FILE]
Show what printers say of themselves: state, alerts, supplies, trays, page counter.
ADDRESS is an IPv4 address or the name of a host.

)";

constexpr char kExitStatus[] = R"(
Exit status: 0 all printers are fine, 1 one needs attention, 2 one cannot be reached (or none was found);
64 wrong usage, 66 a file that cannot be used, 74 standard output that cannot be written.
)";

// Digits with at most one dot between them: no address looks like that.
bool isNumber(const std::string& text)
{
    return text.find_first_not_of("0123456789.") == std::string::npos &&
           text.find_first_of("0123456789") != std::string::npos && text.find('.') == text.rfind('.');
}

std::chrono::milliseconds secondsOf(const std::string& text)
{
    char* end = nullptr;
    const double seconds = std::strtod(text.c_str(), &end);
    if (text.empty() || *end != '\0' || !std::isfinite(seconds) || seconds < 0 || seconds > kLongestSeconds) {
        throw UsageError("not a number of seconds");
    }
    return std::chrono::milliseconds(static_cast<std::int64_t>(seconds * 1000));
}

std::string filled(const std::string& argument)
{
    if (argument.empty()) {
        throw UsageError("not the name of a file");
    }
    return argument;
}

void takeInterval(const std::string& argument, Options& options)
{
    options.watch = true;
    if (!argument.empty()) {
        options.interval = secondsOf(argument);
        if (options.interval < kShortestInterval) {
            throw UsageError("not 0.1 seconds at least");
        }
    }
}

bool isNoOption(const std::string& text)
{
    return text.empty() || text.front() != '-';
}

void takeNetwork(const std::string& argument, Options& options)
{
    options.find = true;
    if (argument.empty()) {
        return;
    }
    if (hostsOf(argument).empty()) {
        throw UsageError("no IPv4 network of 24 to 32 bits, such as 192.168.1.0/24");
    }
    options.network = argument;
}

void takeFormat(const std::string& argument, Options& options)
{
    options.format = findFormat(argument);
    if (options.format == nullptr) {
        throw UsageError("not one of " + formatNames(", "));
    }
}

std::vector<Option> printerOptions(Options& o)
{
    using Kind = Option::Argument;
    return {
        {'l', "list", Kind::Needed, "FILE", "the printers of FILE, a printers.json",
         [&o](const std::string& value) { o.listFile = filled(value); }},
        {'f', "find", Kind::Optional, "NETWORK",
         "the printers that announce themselves (DNS-SD), and those\namong the hosts of a network of at most "
         "254 hosts (SNMP)",
         [&o](const std::string& value) { takeNetwork(value, o); }, isNoOption},
        {0, "save", Kind::Needed, "FILE", "add what --find has found to FILE, a printers.json",
         [&o](const std::string& value) { o.saveFile = filled(value); }},
        {'u', "usb", Kind::None, "", "the printers attached by USB, alone or beside the others",
         [&o](const std::string&) { o.usb = true; }},
        {'c', "cups", Kind::None, "", "the queues that CUPS has, alone or beside the others",
         [&o](const std::string&) { o.cups = true; }},
    };
}

std::vector<Option> outputOptions(Options& o)
{
    using Kind = Option::Argument;
    return {
        {'F', "format", Kind::Needed, "FORMAT", formatHelp(),
         [&o](const std::string& value) { takeFormat(value, o); }},
        {'j', "json", Kind::None, "", "the same as --format json",
         [&o](const std::string&) { takeFormat("json", o); }},
        {'w', "watch", Kind::Optional, "SECONDS",
         "again and again, every 2 seconds by default, until interrupted",
         [&o](const std::string& value) { takeInterval(value, o); }, isNumber},
        {'t', "timeout", Kind::Needed, "SECONDS",
         "how long to wait for printers that do not answer (default 6)",
         [&o](const std::string& value) { o.timeout = secondsOf(value); }},
        {'W', "warning", Kind::Needed, "LIST", "for nagios: what is a warning (toner=20,state=attention)",
         [&o](const std::string& value) { o.warning.take(value); }},
        {'C', "critical", Kind::Needed, "LIST", "for nagios: what is critical (toner=5,state=offline)",
         [&o](const std::string& value) { o.critical.take(value); }},
    };
}

std::vector<Option> otherOptions(Options& o)
{
    using Kind = Option::Argument;
    return {
        {0, "check-config", Kind::Optional, "FILE",
         "say what is wrong in the configuration file that the library\nreads, or in FILE, one line each",
         [&o](const std::string& value) {
             o.action = Options::Action::CheckConfig;
             o.configFile = value;
         }},
        {'h', "help", Kind::None, "", "this text",
         [&o](const std::string&) { o.action = Options::Action::Help; }, nullptr, true},
        {'V', "version", Kind::None, "", "the version",
         [&o](const std::string&) { o.action = Options::Action::Version; }, nullptr, true},
    };
}

OptionTable tableFor(Options& options)
{
    std::vector<Option> rows = printerOptions(options);
    for (const auto& group : {outputOptions(options), otherOptions(options)}) {
        rows.insert(rows.end(), group.begin(), group.end());
    }
    return OptionTable(std::move(rows));
}

void checkAddresses(const std::vector<std::string>& addresses)
{
    for (const std::string& address : addresses) {
        switch (kindOfAddress(address)) {
        case AddressKind::Ipv4:
        case AddressKind::HostName:
            break;
        case AddressKind::Digits:
            throw UsageError("no IPv4 address: " + address);
        case AddressKind::Ipv6:
            throw UsageError("IPv6 is not spoken: " + address);
        case AddressKind::Other:
            throw UsageError("neither an IPv4 address nor the name of a host: " + address);
        }
    }
}

void check(const Options& options)
{
    if (options.action != Options::Action::Show) {
        return;
    }
    const int ways =
        (options.addresses.empty() ? 0 : 1) + (options.listFile.empty() ? 0 : 1) + (options.find ? 1 : 0);
    if (ways == 0 && !options.usb && !options.cups) {
        throw UsageError("no printer named");
    }
    if (ways > 1) {
        throw UsageError("addresses, --list and --find exclude each other");
    }
    if (!options.saveFile.empty() && !options.find) {
        throw UsageError("--save goes with --find");
    }
    if (options.watch && !options.format->isForWatching) {
        throw UsageError(std::string("--watch and --format ") + options.format->name + " exclude each other");
    }
    checkAddresses(options.addresses);
}

} // namespace

Options parseOptions(const std::vector<std::string>& arguments)
{
    Options options;
    options.format = findFormat("table");
    options.warning = {20, std::nullopt, Thresholds::State::Attention};
    options.critical = {5, std::nullopt, Thresholds::State::Offline};
    options.addresses = tableFor(options).parse(arguments);
    check(options);
    return options;
}

std::string helpText()
{
    Options unused;
    return kUsage + tableFor(unused).help() + kExitStatus;
}

} // namespace tarnstatus
