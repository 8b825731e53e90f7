#include "tools/tarn-status/options.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cmath>
#include <cstdlib>
#include <sstream>

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
       tarn-status [OPTION]... --explain ADDRESS
       tarn-status --record [OPTION]... ADDRESS... | --list FILE | ...
       tarn-status --history PRINTER [OPTION]... | --forecast
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

bool isProgram(const std::string& file)
{
    struct stat data = {};
    return ::stat(file.c_str(), &data) == 0 && S_ISREG(data.st_mode) && ::access(file.c_str(), X_OK) == 0;
}

// Looked for as a shell does, to which an element of nothing is the directory that we are in.
std::string programOf(const std::string& name)
{
    const char* const path = std::getenv("PATH");
    std::istringstream directories(
        name.find('/') == std::string::npos && path != nullptr ? std::string(path) + ':' : "");
    std::string file = name;
    for (std::string directory; file.find('/') == std::string::npos || !isProgram(file);) {
        if (name.empty() || !std::getline(directories, directory, ':')) {
            throw UsageError("no program that can be run");
        }
        file = (directory.empty() ? "." : directory) + "/" + name;
    }
    return file;
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

void takePort(const std::string& argument, Options& options)
{
    const bool isPort = !argument.empty() && argument.size() <= 5 &&
                        argument.find_first_not_of("0123456789") == std::string::npos;
    const int port = isPort ? std::stoi(argument) : 0;
    if (port < 1 || port > 65535) {
        throw UsageError("not a number from 1 to 65535");
    }
    options.explain.port = static_cast<std::uint16_t>(port);
}

void takeVersion(const std::string& argument, Options& options)
{
    if (argument != "1" && argument != "2c" && argument != "3") {
        throw UsageError("not one of 1, 2c, 3");
    }
    options.explain.snmp = argument == "1"    ? SnmpVersion::V1
                           : argument == "2c" ? SnmpVersion::V2c
                                              : SnmpVersion::V3;
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
        {0, "on-change", Kind::Needed, "COMMAND",
         "with --watch: run a program where a printer goes offline, is back, has\nlittle toner left or no "
         "paper",
         [&o](const std::string& value) { o.changeCommand = programOf(value); }},
        {'t', "timeout", Kind::Needed, "SECONDS",
         "how long to wait for printers that do not answer (default 6)",
         [&o](const std::string& value) { o.timeout = secondsOf(value); }},
        {'W', "warning", Kind::Needed, "LIST", "for nagios: what is a warning (toner=20,state=attention)",
         [&o](const std::string& value) { o.warning.take(value); }},
        {'C', "critical", Kind::Needed, "LIST", "for nagios: what is critical (toner=5,state=offline)",
         [&o](const std::string& value) { o.critical.take(value); }},
    };
}

std::vector<Option> explainOptions(Options& o)
{
    using Kind = Option::Argument;
    return {
        {'e', "explain", Kind::Needed, "ADDRESS",
         "try each way to a printer, and say why it is not read and\nwhat to do about it",
         [&o](const std::string& value) {
             o.action = Options::Action::Explain;
             o.explain.address = value;
         }},
        {0, "community", Kind::Needed, "TEXT", "explain: ask with this community",
         [&o](const std::string& value) { o.explain.community = value; }},
        {0, "port", Kind::Needed, "PORT", "explain: ask at this UDP port",
         [&o](const std::string& value) { takePort(value, o); }},
        {0, "snmp", Kind::Needed, "VERSION", "explain: ask in this version of SNMP: 1, 2c or 3",
         [&o](const std::string& value) { takeVersion(value, o); }},
        {0, "user", Kind::Needed, "NAME", "explain: ask in version 3 as this user of the configuration file",
         [&o](const std::string& value) { o.explain.user = filled(value); }},
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
    for (const auto& group : {outputOptions(options), explainOptions(options),
                              historyOptions(options.history), otherOptions(options)}) {
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

void checkExplain(const Options& options)
{
    const bool isElse = !options.addresses.empty() || !options.listFile.empty() || options.find ||
                        !options.saveFile.empty() || options.usb || options.cups || options.watch ||
                        !options.changeCommand.empty() || options.history.isUsed() ||
                        !options.format->isForPeople;
    if (isElse) {
        throw UsageError("--explain takes one address, and no other printers, formats or --watch");
    }
    if (options.explain.user && options.explain.snmp && *options.explain.snmp != SnmpVersion::V3) {
        throw UsageError("--user is for version 3");
    }
    checkAddresses({options.explain.address});
}

// Of the past there is a table and a list.
void checkLookingBack(const Options& options, bool hasPrinters)
{
    const std::string format = options.format->name;
    if (hasPrinters || options.watch || !options.saveFile.empty() || !options.changeCommand.empty()) {
        throw UsageError(
            "--history and --forecast ask no printers, and take no --watch, --on-change or --save");
    }
    if (format != "table" && format != "csv") {
        throw UsageError("--history and --forecast have the formats table and csv");
    }
}

void check(const Options& options)
{
    if (options.action == Options::Action::Explain) {
        checkExplain(options);
    } else if (options.action == Options::Action::Show && options.explain.triesOtherwise()) {
        throw UsageError("--community, --port, --snmp and --user go with --explain");
    }
    if (options.action != Options::Action::Show) {
        return;
    }
    const int ways =
        (options.addresses.empty() ? 0 : 1) + (options.listFile.empty() ? 0 : 1) + (options.find ? 1 : 0);
    const bool hasPrinters = ways != 0 || options.usb || options.cups;
    checkHistoryOptions(options.history);
    if (options.history.isLookingBack()) {
        checkLookingBack(options, hasPrinters);
        return;
    }
    if (!hasPrinters) {
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
    if (!options.changeCommand.empty() && !options.watch) {
        throw UsageError("--on-change goes with --watch");
    }
    if (options.history.record && (options.watch || !options.saveFile.empty())) {
        throw UsageError("--record excludes --watch and --save");
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
