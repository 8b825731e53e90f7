// How long the callers of libtarn.so wait, while it reads ten good printers beside a dead, a slow, a flapping
// and a lying one: every function of the ABI, called by two threads at once. Beside it what a call that does
// nothing takes in the same threads: the machine's own noise.
#include <array>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <functional>
#include <thread>

#include "bench/report.h"
#include "tarn/tarn.h"
#include "tests/hostile/neighbourhood.h"

namespace {

using SteadyClock = std::chrono::steady_clock;
using std::chrono::milliseconds;
using std::chrono::seconds;

constexpr std::uint16_t kPort = 16440;
constexpr double kBoundUs = 5000;
// Of tarn_init and tarn_destroy: enough that the 99.9th percentile is not simply the slowest. Some 12 s.
constexpr int kCycles = 1500;

enum Call
{
    Nothing,
    Init,
    Destroy,
    SetOptions,
    SetSameList,
    SetOtherList,
    GetPrinterList,
    FreePrinterList,
    GetModels,
    GetVersion,
    OpenPrinter,
    GetState,
    GetStateMessage,
    GetTotalPages,
    GetSerialNumber,
    GetInfo,
    FreeStr,
    ClosePrinter,
    kCalls
};

constexpr std::array<const char*, kCalls> kNames = {"nothing",
                                                    "tarn_init",
                                                    "tarn_destroy",
                                                    "tarn_setOptions",
                                                    "tarn_setPrinterList (same)",
                                                    "tarn_setPrinterList (other)",
                                                    "tarn_getPrinterList",
                                                    "tarn_freePrinterList",
                                                    "tarn_getModels",
                                                    "tarn_getVersion",
                                                    "tarn_openPrinter",
                                                    "tarn_getState",
                                                    "tarn_getStateMessage",
                                                    "tarn_getTotalPages",
                                                    "tarn_getSerialNumber",
                                                    "tarn_getInfo",
                                                    "tarn_freeStr",
                                                    "tarn_closePrinter"};

using Samples = std::array<std::vector<double>, kCalls>; // microseconds

template <typename Function>
void timed(Samples& samples, Call call, Function function)
{
    const auto begun = SteadyClock::now();
    function();
    samples[call].push_back(std::chrono::duration<double, std::micro>(SteadyClock::now() - begun).count());
}

void readPrinter(Samples& samples, const std::string& name)
{
    void* handle = nullptr;
    char* text = nullptr;
    int number = 0;
    timed(samples, Nothing, [] {});
    timed(samples, OpenPrinter, [&] { tarn_openPrinter(name.c_str(), &handle, TARN_OPEN_DETAIL, 0); });
    timed(samples, GetState, [&] { tarn_getState(handle, &number); });
    timed(samples, GetTotalPages, [&] { tarn_getTotalPages(handle, &number); });
    timed(samples, GetSerialNumber, [&] { tarn_getSerialNumber(handle, &text); });
    timed(samples, FreeStr, [&] { tarn_freeStr(&text); });
    timed(samples, GetStateMessage, [&] { tarn_getStateMessage(handle, &text); });
    timed(samples, FreeStr, [&] { tarn_freeStr(&text); });
    timed(samples, GetInfo, [&] { tarn_getInfo(handle, &text); });
    timed(samples, FreeStr, [&] { tarn_freeStr(&text); });
    timed(samples, ClosePrinter, [&] { tarn_closePrinter(&handle); });
}

// One round of a caller: all printers, the list, and what else there is.
void callEverything(Samples& samples, const std::vector<hostile::NamedPrinter>& printers, bool alsoLists)
{
    for (const hostile::NamedPrinter& printer : printers) {
        readPrinter(samples, printer.name);
    }
    char* text = nullptr;
    timed(samples, GetVersion, [&] { tarn_getVersion(&text); });
    timed(samples, FreeStr, [&] { tarn_freeStr(&text); });
    timed(samples, GetModels, [&] { tarn_getModels(&text); });
    text = nullptr;
    timed(samples, GetPrinterList, [&] { tarn_getPrinterList(&text); });
    timed(samples, FreePrinterList, [&] { tarn_freePrinterList(&text); });
    if (!alsoLists) {
        return;
    }
    const std::vector<hostile::NamedPrinter> reversed(printers.rbegin(), printers.rend());
    const std::string one = hostile::listDocument(printers);
    const std::string other = hostile::listDocument(reversed);
    timed(samples, SetOtherList, [&] { tarn_setPrinterList(other.c_str()); });
    timed(samples, SetSameList, [&] { tarn_setPrinterList(other.c_str()); });
    timed(samples, SetOtherList, [&] { tarn_setPrinterList(one.c_str()); });
    timed(samples, SetSameList, [&] { tarn_setPrinterList(one.c_str()); });
    timed(samples, SetOptions, [] { tarn_setOptions(R"({"enable_cache": false})"); });
}

std::int64_t oldestGood(const hostile::LibrarySession& library, const hostile::Neighbourhood& neighbours)
{
    std::int64_t oldest = 0;
    for (const hostile::NamedPrinter& printer : neighbours.good()) {
        oldest = std::max(oldest, library.see(printer.name).ageMs);
    }
    return oldest;
}

// Returns the greatest age of a good printer, in milliseconds.
std::int64_t measureCalls(hostile::Neighbourhood& neighbours, std::array<Samples, 2>& samples, seconds time)
{
    hostile::LibrarySession library(kPort);
    library.name(neighbours.all()); // the first exchange, which may wait for the printers
    std::this_thread::sleep_for(seconds(1));
    std::atomic<bool> stopping{false};
    std::array<std::thread, 2> callers;
    for (std::size_t i = 0; i < callers.size(); ++i) {
        callers[i] = std::thread([&, i] {
            while (!stopping) {
                callEverything(samples[i], neighbours.all(), i == 0);
                std::this_thread::sleep_for(milliseconds(2));
            }
        });
    }
    std::int64_t oldest = 0;
    bool on = true;
    for (int tick = 0; tick < time.count() * 10; ++tick) {
        if (tick % 60 == 30) {
            on = !on;
            neighbours.flap(on);
        }
        oldest = std::max(oldest, oldestGood(library, neighbours));
        std::this_thread::sleep_for(milliseconds(100));
    }
    stopping = true;
    for (std::thread& caller : callers) {
        caller.join();
    }
    return oldest;
}

// The library begins and ends, with its requests under way.
void measureLife(const hostile::Neighbourhood& neighbours, Samples& samples)
{
    const std::string list = hostile::listDocument(neighbours.good());
    const std::string none = "null";
    for (int i = 0; i < kCycles; ++i) {
        timed(samples, Init, [] { tarn_init(); });
        tarn_setOptions(R"({"enable_cache": false})");
        tarn_setPrinterList(list.c_str());
        timed(samples, Destroy, [] { tarn_destroy(); });
    }
}

void report(bench::Report& figures, std::array<Samples, 2>& samples)
{
    std::vector<double> nothing(samples[0][Nothing]);
    nothing.insert(nothing.end(), samples[1][Nothing].begin(), samples[1][Nothing].end());
    const double parts[] = {0.5, 0.99, 0.999, 1};
    const char* const names[] = {"p50", "p99", "p99.9", "max"};
    for (std::size_t call = Init; call < kCalls; ++call) {
        std::vector<double> all(samples[0][call]);
        all.insert(all.end(), samples[1][call].begin(), samples[1][call].end());
        for (int i = 0; i < 4; ++i) {
            bench::Figure figure;
            figure.name = std::string("tarn_abi ") + kNames[call] + " " + names[i];
            figure.value = bench::quantile(all, parts[i]);
            figure.unit = "us";
            figure.peer = "no call";
            figure.peerValue = bench::quantile(nothing, parts[i]);
            if (i == 2) {
                figure.bound = kBoundUs;
            }
            figures.add(figure);
        }
        std::printf("  of %zu calls\n", all.size());
    }
}

} // namespace

int main(int argc, char** argv)
{
    const auto options = bench::benchOptions(argc, argv, 20);
    if (!options) {
        return 2;
    }
    std::array<Samples, 2> samples;
    bench::Report figures;
    hostile::Neighbourhood neighbours(KEL_PRINTER_SIM, KEL_TEST_DATA "/colour.json", "127.44.8", kPort);
    const std::int64_t oldest = measureCalls(neighbours, samples, seconds(options->seconds));
    {
        const tarn::test::ScratchDirectory scratch;
        scratch.write("tarn.json", R"({"default": {"port": )" + std::to_string(kPort) + "}}");
        const tarn::test::ScopedVariable cache("XDG_CACHE_HOME", scratch.path("cache"));
        const tarn::test::ScopedVariable state("XDG_STATE_HOME", scratch.path("state"));
        const tarn::test::ScopedVariable config("TARN_CONFIG", scratch.path("tarn.json"));
        measureLife(neighbours, samples[0]);
    }
    report(figures, samples);
    figures.add({"tarn_abi oldest picture of a good printer",
                 static_cast<double>(oldest),
                 "ms",
                 static_cast<double>(hostile::Neighbourhood::kMostAgeMs),
                 {},
                 0,
                 {}});
    if (!options->json.empty() && !figures.write(options->json)) {
        std::fprintf(stderr, "%s cannot be written\n", options->json.c_str());
        return 1;
    }
    return figures.isGood() ? 0 : 3; // measured, a bound was missed
}
