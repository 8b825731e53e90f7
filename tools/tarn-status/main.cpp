// tarn-status: what printers say of themselves, on a terminal or as JSON.
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <iostream>
#include <thread>

#include <json/writer.h>

#include "tools/tarn-status/options.h"
#include "tools/tarn-status/printer_access.h"
#include "tools/tarn-status/report.h"

namespace {

using namespace tarnstatus;
using SteadyClock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds kLook{50};
constexpr std::chrono::milliseconds kDiscovery{1000}; // until what is attached has been found
constexpr std::size_t kFindAtOnce = 16;               // addresses that --find adds at a time

volatile sig_atomic_t g_interrupted = 0;

void interrupt(int)
{
    g_interrupted = 1;
}

// Sleeps in small pieces, so that an interrupt ends the program soon.
void sleepUntil(SteadyClock::time_point until)
{
    while (g_interrupted == 0 && SteadyClock::now() < until) {
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
        sleepUntil(std::min(end, SteadyClock::now() + kLook));
    }
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
    access.setPrinters(found); // the others are not asked any more
    return found;
}

void print(const std::vector<Reading>& readings, const Options& options, bool terminal)
{
    std::string text;
    if (options.json) {
        Json::StreamWriterBuilder builder;
        builder["emitUTF8"] = true;
        builder["indentation"] = options.watch ? "" : "  "; // one document a line while watching
        text = Json::writeString(builder, jsonReport(readings)) + "\n";
    } else {
        text = (options.watch && terminal ? "\033[H\033[J" : "") + tableReport(readings, terminal);
    }
    std::cout << text << std::flush;
}

int show(const Options& options)
{
    PrinterAccess access({options.usb, options.cups}, options.network.empty());
    std::vector<NamedPrinter> printers;
    if (!options.network.empty()) {
        printers = find(access, options);
    } else if (!options.listFile.empty()) {
        printers = printersOf(options.listFile);
    } else {
        for (const std::string& address : options.addresses) {
            printers.push_back({address, address});
        }
    }
    access.setPrinters(printers);
    const bool terminal = isatty(STDOUT_FILENO) != 0;
    std::vector<Reading> readings = readWhenAnswered(access, options.timeout);
    print(readings, options, terminal);
    for (auto next = SteadyClock::now(); options.watch && g_interrupted == 0 && std::cout;) {
        next = std::max(next + options.interval, SteadyClock::now());
        sleepUntil(next);
        if (g_interrupted == 0) {
            readings = access.readAll();
            print(readings, options, terminal);
        }
    }
    return static_cast<int>(exitCodeOf(readings));
}

int fail(const std::string& complaint)
{
    std::fprintf(stderr, "tarn-status: %s\n", complaint.c_str());
    return static_cast<int>(ExitCode::Usage);
}

} // namespace

int main(int argc, char** argv)
{
    const Options options = parseOptions(argc, argv);
    try {
        switch (options.action) {
        case Options::Action::Usage:
            return fail(options.complaint + "; see tarn-status --help");
        case Options::Action::Help:
            std::cout << kHelp;
            return 0;
        case Options::Action::Version:
            std::cout << "tarn-status " << PrinterAccess::version() << "\n";
            return 0;
        case Options::Action::Show:
            break;
        }
        struct sigaction action
        {
        };
        action.sa_handler = interrupt;
        sigaction(SIGINT, &action, nullptr);
        sigaction(SIGTERM, &action, nullptr);
        return show(options);
    } catch (const std::exception& error) {
        return fail(error.what());
    }
}
