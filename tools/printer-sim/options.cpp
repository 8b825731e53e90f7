#include "tools/printer-sim/options.h"

#include <charconv>
#include <functional>
#include <map>
#include <stdexcept>

namespace printersim {

namespace {

constexpr std::uint32_t kMostPrinters = 100000;
constexpr std::uint32_t kMostMessage = 65507;

[[noreturn]] void fail(const std::string& what)
{
    throw std::invalid_argument(what);
}

std::uint32_t numberOf(const std::string& name, const std::string& text, std::uint32_t least,
                       std::uint32_t most)
{
    std::uint32_t number = 0;
    const auto result = std::from_chars(text.data(), text.data() + text.size(), number);
    if (text.empty() || result.ec != std::errc() || result.ptr != text.data() + text.size() ||
        number < least || number > most)
        fail(name + " must be a number from " + std::to_string(least) + " to " + std::to_string(most) +
             ", not \"" + text + "\"");
    return number;
}

std::uint32_t addressOf(const std::string& text)
{
    const auto address = parseAddress(text);
    if (!address || (*address >> 24) != 127)
        fail("\"" + text + "\" is no address of 127.0.0.0/8");
    return *address;
}

SourceArgument parseSource(const std::string& text)
{
    SourceArgument source;
    std::string rest = text;
    if (const std::size_t star = rest.rfind('*'); star != std::string::npos) {
        source.count = numberOf("the count behind *", rest.substr(star + 1), 1, kMostPrinters);
        rest.resize(star);
    }
    if (const std::size_t at = rest.rfind('@'); at != std::string::npos) {
        source.address = addressOf(rest.substr(at + 1));
        rest.resize(at);
    }
    if (rest.empty())
        fail("no file in \"" + text + "\"");
    source.file = rest;
    return source;
}

using Setter = std::function<void(Options&, const std::string&)>;

const std::map<std::string, Setter>& valueOptions()
{
    static const std::map<std::string, Setter> kOptions = {
        {"--port",
         [](Options& o, const std::string& v) {
             o.port = static_cast<std::uint16_t>(numberOf("--port", v, 1, 65535));
         }},
        {"--web-port",
         [](Options& o, const std::string& v) {
             o.webPort = static_cast<std::uint16_t>(numberOf("--web-port", v, 0, 65535));
         }},
        {"--address", [](Options& o, const std::string& v) { o.firstAddress = addressOf(v); }},
        {"--seed", [](Options& o, const std::string& v) { o.seed = numberOf("--seed", v, 0, 0xFFFFFFFF); }},
        {"--max-size",
         [](Options& o, const std::string& v) {
             o.agent.maxMessageSize = numberOf("--max-size", v, 64, kMostMessage);
         }},
        {"--community", [](Options& o, const std::string& v) { o.agent.readCommunity = v; }},
        {"--write-community", [](Options& o, const std::string& v) { o.agent.writeCommunity = v; }},
        {"--faults",
         [](Options& o, const std::string& v) {
             if (const std::string wrong = parseFaults(v, o.faults); !wrong.empty())
                 fail("unknown fault \"" + wrong + "\"");
         }},
    };
    return kOptions;
}

bool takeFlag(const std::string& argument, Options& options)
{
    if (argument == "--one-socket")
        options.oneSocket = true;
    else if (argument == "--control")
        options.control = true;
    else if (argument == "--v1-only")
        options.agent.v1Only = true;
    else
        return false;
    return true;
}

} // namespace

Options parseOptions(const std::vector<std::string>& arguments)
{
    Options options;
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        const std::string& argument = arguments[i];
        if (argument.rfind("--", 0) != 0) {
            options.sources.push_back(parseSource(argument));
            continue;
        }
        if (takeFlag(argument, options))
            continue;
        const std::size_t sign = argument.find('=');
        const std::string name = argument.substr(0, sign);
        const auto known = valueOptions().find(name);
        if (known == valueOptions().end())
            fail("unknown option " + name);
        if (sign == std::string::npos && i + 1 == arguments.size())
            fail(name + " needs a value");
        known->second(options, sign != std::string::npos ? argument.substr(sign + 1) : arguments[++i]);
    }
    if (options.sources.empty())
        fail("no scenario and no recording named");
    return options;
}

const char* helpText()
{
    return R"(printer-sim: network printers for trying and testing

usage: printer-sim [OPTIONS] FILE[@ADDRESS][*COUNT] ...

FILE is a scenario (.json) or a recording of lines OID|TAG|VALUE (any other name). Each printer gets an address of
its own: the one named, else the one behind the last printer's. *COUNT makes that many printers of the file.

  --port N             UDP port of the agents (161)
  --web-port N         TCP port of the embedded pages (80); 0: none. Where it cannot be had, there are no pages
  --address A          address of the first printer (127.0.0.2)
  --community TEXT     community that reads (public)
  --write-community T  community that reads and sets (private)
  --v1-only            the agents know SNMP v1 only
  --max-size N         longest answer in octets, 64 to 65507 (1472)
  --faults LIST        what goes wrong, in percent of the answers, for all printers:
                       loss=P,duplicate=P,garbage=P,truncate=P,wrong-id=P,wrong-port=P,wrong-address=P
                       and a delay in milliseconds: delay=MS or delay=FROM..TO
  --seed N             the same seed gives the same faults (1)
  --one-socket         one socket for all printers, as there is from 65 printers on
  --control            reads commands from standard input, one a line, each answered with "ok" or "error: reason":
                       set ADDRESS OID|TAG|VALUE    unset ADDRESS OID    on ADDRESS    off ADDRESS
                       faults ADDRESS LIST or none  count ADDRESS
                       (ADDRESS may be "all", but for count)
  --help, --version

Prints "ready: N printers at FIRST to LAST, port N" when it listens, and runs until SIGTERM or SIGINT.
Exit status: 0 ended by a signal, 1 a file or a port could not be used, 2 wrong command line.
)";
}

} // namespace printersim
