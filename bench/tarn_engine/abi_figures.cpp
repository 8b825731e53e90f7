#include "bench/tarn_engine/abi_figures.h"

#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "bench/report.h"
#include "bench/tarn_engine/instruction_hooks.h"
#include "bench/tarn_engine/pollers.h"
#include "bench/tarn_engine/responder.h"
#include "tarn/tarn.h"
#include "tests/hostile/library_session.h"
#include "tests/hostile/own_process.h"

namespace bench {

namespace {

using SteadyClock = std::chrono::steady_clock;

std::string nameOf(std::uint32_t printer)
{
    return "printer " + std::to_string(printer);
}

bool allAnswer()
{
    std::uint32_t answering = 0;
    for (std::uint32_t i = 0; i < kPrinters; ++i) {
        answering += stateOf(nameOf(i)) != 2 ? 1u : 0u;
    }
    return answering == kPrinters;
}

// CPU of one thread for each open, all getters and close.
double openToCloseUs(const std::vector<std::string>& names)
{
    constexpr std::size_t kCalls = 100000;
    const double before = threadCpuUs();
    for (std::size_t i = 0; i < kCalls; ++i) {
        openToClose(names[i * 7919 % names.size()].c_str());
    }
    return (threadCpuUs() - before) / static_cast<double>(kCalls);
}

// One thread and two, in turn.
void measureOpenToClose(const std::vector<std::string>& names, AbiFigures& figures)
{
    std::vector<double> alone;
    std::vector<double> together;
    for (int round = 0; round < 9; ++round) {
        alone.push_back(openToCloseUs(names));
        double other = 0;
        std::thread second([&] { other = openToCloseUs(names); });
        const double own = openToCloseUs(names);
        second.join();
        together.push_back((own + other) / 2);
    }
    figures.openToCloseUs = median(alone);
    figures.openToCloseTwoThreadsUs = median(together);
}

double setAndGetMs(const std::string& list)
{
    std::vector<double> rounds;
    for (int round = 0; round < 21; ++round) {
        const auto begun = SteadyClock::now();
        char* out = nullptr;
        tarn_setPrinterList(list.c_str());
        tarn_getPrinterList(&out);
        tarn_freePrinterList(&out);
        rounds.push_back(std::chrono::duration<double, std::milli>(SteadyClock::now() - begun).count());
    }
    return median(rounds);
}

AbiFigures measured()
{
    AbiFigures figures;
    const hostile::LibrarySession session(kResponderPort);
    const std::int64_t before = hostile::residentBytes();
    tarn_setPrinterList(listDocument().c_str());
    for (int second = 0; !allAnswer(); ++second) {
        if (second == 60) {
            return figures;
        }
        std::this_thread::sleep_for(std::chrono::seconds(1));
    }
    for (int second = 0; second < 10; ++second) { // everything has been asked again
        allAnswer();
        std::this_thread::sleep_for(std::chrono::seconds(1));
    }
    figures.bytesPerPrinter =
        static_cast<double>(hostile::residentBytes() - before) / static_cast<double>(kPrinters);
    std::vector<std::string> names;
    for (std::uint32_t i = 0; i < kPrinters; ++i) {
        names.push_back(nameOf(i));
    }
    measureOpenToClose(names, figures);
    figures.setAndGetMs = setAndGetMs(listDocument());
    figures.complete = true;
    return figures;
}

} // namespace

AbiFigures measureAbi()
{
    int ends[2];
    AbiFigures figures;
    if (::pipe(ends) != 0) {
        return figures;
    }
    const pid_t child = ::fork();
    if (child == 0) {
        const AbiFigures own = measured();
        const ssize_t written = ::write(ends[1], &own, sizeof own);
        ::_exit(written == sizeof own ? 0 : 1);
    }
    ::close(ends[1]);
    if (::read(ends[0], &figures, sizeof figures) != sizeof figures) {
        figures = AbiFigures();
    }
    ::close(ends[0]);
    ::waitpid(child, nullptr, 0);
    return figures;
}

} // namespace bench
