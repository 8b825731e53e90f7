#include "tools/tarn-status/session.h"

#include <signal.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <thread>

#include "tools/common/standard_output.h"
#include "tools/tarn-status/addresses.h"
#include "tools/tarn-status/judgement.h"
#include "tools/tarn-status/options.h"
#include "tools/tarn-status/printer_access.h"
#include "tools/tarn-status/screen.h"

namespace tarnstatus {

namespace {

using SteadyClock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds kLook{50};
constexpr std::chrono::milliseconds kDiscovery{1000}; // until what is attached has been found
constexpr std::size_t kFindAtOnce = 16;               // addresses that --find adds at a time
constexpr char kClear[] = "\033[2J";

volatile sig_atomic_t g_interrupted = 0;
volatile sig_atomic_t g_resized = 0;

void interrupt(int)
{
    g_interrupted = 1;
}

void resize(int)
{
    g_resized = 1;
}

void catchSignals()
{
    struct sigaction action
    {
    };
    action.sa_handler = interrupt;
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
    action.sa_handler = resize;
    sigaction(SIGWINCH, &action, nullptr);
}

// Sleeps in small pieces, so that an interrupt ends the program soon, and another size is soon kept to.
void sleepUntil(SteadyClock::time_point until)
{
    while (g_interrupted == 0 && g_resized == 0 && SteadyClock::now() < until) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(until - SteadyClock::now());
        std::this_thread::sleep_for(std::clamp(left, std::chrono::milliseconds(1), kLook));
    }
}

// The readings, as soon as every printer has answered or the time is up.
std::vector<Reading> readWhenAnswered(const PrinterAccess& access, std::chrono::milliseconds timeout)
{
    const auto begin = SteadyClock::now();
    const auto end = begin + timeout;
    for (;;) {
        std::vector<Reading> readings = access.readAll();
        const bool looked = !access.discovers() || SteadyClock::now() - begin >= kDiscovery;
        const bool all = looked && std::all_of(readings.begin(), readings.end(),
                                               [](const Reading& reading) { return reading.online; });
        if (all || g_interrupted != 0 || SteadyClock::now() >= end) {
            return readings;
        }
        g_resized = 0;
        sleepUntil(std::min(end, SteadyClock::now() + kLook));
    }
}

void complain(const std::string& what)
{
    std::fprintf(stderr, "tarn-status: %s\n", what.c_str());
}

// Asks the hosts a few at a time, as a guest would, and keeps those that turn out to be printers.
std::vector<NamedPrinter> find(PrinterAccess& access, const Options& options)
{
    const std::vector<std::string> hosts = hostsOf(options.network);
    std::vector<NamedPrinter> asked;
    for (std::size_t i = 0; i < hosts.size() && g_interrupted == 0; ++i) {
        asked.push_back({hosts[i], hosts[i]});
        if (asked.size() % kFindAtOnce == 0 || i + 1 == hosts.size()) {
            access.setPrinters(asked); // waits a moment for the new ones
        }
    }
    std::vector<NamedPrinter> found;
    for (const Reading& reading : readWhenAnswered(access, options.timeout)) {
        if (looksLikePrinter(reading)) {
            found.push_back(reading.printer);
        }
    }
    return found; // the others are not asked any more
}

// A name that cannot be looked up stays in the list, without an address: it cannot be reached.
std::vector<NamedPrinter> namedOnes(const std::vector<std::string>& addresses)
{
    std::vector<NamedPrinter> printers;
    for (const std::string& address : addresses) {
        std::string ip = address;
        if (kindOfAddress(address) == AddressKind::HostName) {
            std::string why;
            ip = lookUp(address, why);
            if (ip.empty()) {
                complain(address + ": " + why);
            }
        }
        printers.push_back({address, ip});
    }
    return printers;
}

std::vector<NamedPrinter> printersToShow(PrinterAccess& access, const Options& options)
{
    if (!options.network.empty()) {
        return find(access, options);
    }
    return options.listFile.empty() ? namedOnes(options.addresses) : printersOf(options.listFile);
}

// What was looked for, and is not there.
void tellWhatIsMissing(const std::vector<Reading>& readings, const Options& options)
{
    const auto isAny = [&readings](NamedPrinter::Origin origin) {
        return std::any_of(readings.begin(), readings.end(),
                           [origin](const Reading& reading) { return reading.printer.origin == origin; });
    };
    if (!options.network.empty() && !isAny(NamedPrinter::Origin::Named)) {
        complain("no printer found in " + options.network);
    }
    if (!options.listFile.empty() && !isAny(NamedPrinter::Origin::Named)) {
        complain("no printers in " + options.listFile);
    }
    if (options.usb && !isAny(NamedPrinter::Origin::Usb)) {
        complain("no USB printer found");
    }
    if (options.cups && !isAny(NamedPrinter::Origin::Cups)) {
        complain("no queue of CUPS found");
    }
}

// Writes looks: one below the other, or on a terminal that is watched one in the place of the other.
class Printout final
{
public:
    explicit Printout(const Options& options)
        : m_terminal(terminalOfOutput()), m_language(languageOfEnvironment()),
          m_isInPlace(options.watch && options.format->isForPeople && m_terminal.isClever)
    {
        FormatSettings settings;
        settings.colour = m_terminal.colour;
        settings.watching = options.watch;
        settings.language = m_language;
        settings.warning = options.warning;
        settings.critical = options.critical;
        m_format = options.format->make(settings);
    }

    void print(Look look)
    {
        m_last = std::move(look);
        const std::string text = m_format->render(m_last);
        if (!m_isInPlace) {
            tools::writeOut(text);
            return;
        }
        const char* const more = say(m_language, "more lines", "行未显示");
        tools::writeOut((m_isFirst ? kClear : "") + frameOf(text, sizeOfOutput(), more));
        m_isFirst = false;
    }

    int exitStatus() const { return m_format->exitStatus(m_last); }

private:
    const Terminal m_terminal;
    const Language m_language;
    const bool m_isInPlace;
    std::unique_ptr<Format> m_format;
    Look m_last;
    bool m_isFirst = true;
};

Look lookOf(std::vector<Reading> readings)
{
    return {std::chrono::system_clock::now(), std::move(readings)};
}

} // namespace

int show(const Options& options)
{
    catchSignals();
    PrinterAccess access({options.usb, options.cups}, options.network.empty());
    access.setPrinters(printersToShow(access, options));
    Printout printout(options);
    std::vector<Reading> readings = readWhenAnswered(access, options.timeout);
    tellWhatIsMissing(readings, options);
    printout.print(lookOf(std::move(readings)));
    for (auto next = SteadyClock::now(); options.watch && g_interrupted == 0;) {
        next = std::max(next + options.interval, SteadyClock::now());
        g_resized = 0;
        sleepUntil(next);
        if (g_interrupted == 0) {
            next = g_resized != 0 ? SteadyClock::now() : next;
            printout.print(lookOf(access.readAll()));
        }
    }
    return printout.exitStatus();
}

} // namespace tarnstatus
