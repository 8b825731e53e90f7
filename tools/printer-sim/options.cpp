#include "tools/printer-sim/options.h"

#include <charconv>

#include "tools/common/option_table.h"

namespace printersim {

using tools::Option;
using tools::OptionTable;
using tools::UsageError;

namespace {

constexpr std::uint32_t kMostPrinters = 100000;
constexpr std::uint32_t kMostMessage = 65507;

std::uint32_t numberOf(const std::string& text, std::uint32_t least, std::uint32_t most)
{
    std::uint32_t number = 0;
    const auto result = std::from_chars(text.data(), text.data() + text.size(), number);
    if (text.empty() || result.ec != std::errc() || result.ptr != text.data() + text.size() ||
        number < least || number > most) {
        throw UsageError("not a number from " + std::to_string(least) + " to " + std::to_string(most));
    }
    return number;
}

std::uint32_t addressOf(const std::string& text)
{
    const auto address = parseAddress(text);
    if (!address || (*address >> 24) != 127) {
        throw UsageError("no address of 127.0.0.0/8");
    }
    return *address;
}

SourceArgument parseSource(const std::string& text)
{
    SourceArgument source;
    std::string rest = text;
    try {
        if (const std::size_t star = rest.rfind('*'); star != std::string::npos) {
            source.count = numberOf(rest.substr(star + 1), 1, kMostPrinters);
            rest.resize(star);
        }
        if (const std::size_t at = rest.rfind('@'); at != std::string::npos) {
            source.address = addressOf(rest.substr(at + 1));
            rest.resize(at);
        }
    } catch (const UsageError& wrong) {
        throw UsageError('"' + text + "\": " + wrong.what());
    }
    if (rest.empty()) {
        throw UsageError('"' + text + "\": no file");
    }
    source.file = rest;
    return source;
}

std::vector<Option> agentOptions(Options& o)
{
    using Kind = Option::Argument;
    return {
        {0, "port", Kind::Needed, "N", "UDP port of the agents (161)",
         [&o](const std::string& v) { o.port = static_cast<std::uint16_t>(numberOf(v, 1, 65535)); }},
        {0, "web-port", Kind::Needed, "N",
         "TCP port of the embedded pages (80); 0: none. Where it cannot be had, there\nare no pages",
         [&o](const std::string& v) { o.webPort = static_cast<std::uint16_t>(numberOf(v, 0, 65535)); }},
        {0, "address", Kind::Needed, "A", "address of the first printer (127.0.0.2)",
         [&o](const std::string& v) { o.firstAddress = addressOf(v); }},
        {0, "community", Kind::Needed, "TEXT", "community that reads (public)",
         [&o](const std::string& v) { o.agent.readCommunity = v; }},
        {0, "write-community", Kind::Needed, "TEXT", "community that reads and sets (private)",
         [&o](const std::string& v) { o.agent.writeCommunity = v; }},
        {0, "v1-only", Kind::None, "", "the agents know SNMP v1 only",
         [&o](const std::string&) { o.agent.v1Only = true; }},
        {0, "max-size", Kind::Needed, "N", "longest answer in octets, 64 to 65507 (1472)",
         [&o](const std::string& v) { o.agent.maxMessageSize = numberOf(v, 64, kMostMessage); }},
    };
}

constexpr char kFaultsHelp[] = "what goes wrong, in percent of the answers, for all printers:\n"
                               "loss=P,duplicate=P,garbage=P,truncate=P,wrong-id=P,wrong-port=P,\n"
                               "wrong-address=P and a delay in milliseconds: delay=MS or delay=FROM..TO";

constexpr char kControlHelp[] =
    "reads commands from standard input, one a line, each answered with \"ok\" or\n"
    "\"error: reason\":\n"
    "set ADDRESS OID|TAG|VALUE    unset ADDRESS OID    on ADDRESS    off ADDRESS\n"
    "faults ADDRESS LIST or none  count ADDRESS\n"
    "(ADDRESS may be \"all\", but for count)";

std::vector<Option> programOptions(Options& o)
{
    using Kind = Option::Argument;
    return {
        {0, "faults", Kind::Needed, "LIST", kFaultsHelp,
         [&o](const std::string& v) {
             if (const std::string wrong = parseFaults(v, o.faults); !wrong.empty()) {
                 throw UsageError("unknown fault \"" + wrong + "\"");
             }
         }},
        {0, "seed", Kind::Needed, "N", "the same seed gives the same faults (1)",
         [&o](const std::string& v) { o.seed = numberOf(v, 0, 0xFFFFFFFF); }},
        {0, "one-socket", Kind::None, "", "one socket for all printers, as there is from 65 printers on",
         [&o](const std::string&) { o.oneSocket = true; }},
        {0, "control", Kind::None, "", kControlHelp, [&o](const std::string&) { o.control = true; }},
        {'h', "help", Kind::None, "", "this text",
         [&o](const std::string&) { o.action = Options::Action::Help; }, nullptr, true},
        {'V', "version", Kind::None, "", "the version",
         [&o](const std::string&) { o.action = Options::Action::Version; }, nullptr, true},
    };
}

OptionTable tableFor(Options& options)
{
    std::vector<Option> rows = agentOptions(options);
    const std::vector<Option> others = programOptions(options);
    rows.insert(rows.end(), others.begin(), others.end());
    return OptionTable(std::move(rows));
}

constexpr char kUsage[] = R"(printer-sim: network printers for trying and testing

usage: printer-sim [OPTIONS] FILE[@ADDRESS][*COUNT] ...

FILE is a scenario (.json) or a recording of lines OID|TAG|VALUE (any other name). Each printer gets an address of
its own: the one named, else the one behind the last printer's. *COUNT makes that many printers of the file.

)";

constexpr char kExitStatus[] = R"(
Prints "ready: N printers at FIRST to LAST, port N" when it listens, and runs until SIGTERM or SIGINT.
Exit status: 0 ended by a signal, 1 a port could not be used, 64 wrong command line, 66 a file that cannot be used,
74 standard output that cannot be written.
)";

} // namespace

Options parseOptions(const std::vector<std::string>& arguments)
{
    Options options;
    for (const std::string& source : tableFor(options).parse(arguments)) {
        options.sources.push_back(parseSource(source));
    }
    if (options.sources.empty() && options.action == Options::Action::Run) {
        throw UsageError("no scenario and no recording named");
    }
    return options;
}

std::string helpText()
{
    Options unused;
    return kUsage + tableFor(unused).help() + kExitStatus;
}

} // namespace printersim
