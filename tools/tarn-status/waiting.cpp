#include "tools/tarn-status/waiting.h"

#include <signal.h>

#include <algorithm>
#include <cstdio>
#include <thread>

namespace tarnstatus {

namespace {

using SteadyClock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds kLook{50};
constexpr std::chrono::milliseconds kDiscovery{1000}; // until what is attached has been found

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

} // namespace

void catchSignals()
{
    struct sigaction action
    {
    };
    action.sa_handler = interrupt;
    action.sa_flags = static_cast<int>(SA_RESETHAND);
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
    action.sa_handler = resize;
    action.sa_flags = 0;
    sigaction(SIGWINCH, &action, nullptr);
}

bool isInterrupted()
{
    return g_interrupted != 0;
}

// In small pieces, so that an interrupt ends the program soon, and another size is soon kept to.
bool sleepUntil(SteadyClock::time_point until)
{
    while (g_interrupted == 0 && g_resized == 0 && SteadyClock::now() < until) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(until - SteadyClock::now());
        std::this_thread::sleep_for(std::clamp(left, std::chrono::milliseconds(1), kLook));
    }
    return g_resized != 0;
}

void forgetResize()
{
    g_resized = 0;
}

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
        std::this_thread::sleep_until(std::min(end, SteadyClock::now() + kLook)); // whatever the size
    }
}

void complain(const std::string& what)
{
    std::fprintf(stderr, "tarn-status: %s\n", what.c_str());
}

} // namespace tarnstatus
