// Ten good printers beside a dead, a slow, a flapping and a lying one, through libtarn.so.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <thread>

#include "tests/hostile/neighbourhood.h"
#include "tests/support/eventually.h"

namespace hostile {
namespace {

using kel_test::eventually;
using std::chrono::milliseconds;
using std::chrono::seconds;
using SteadyClock = std::chrono::steady_clock;

constexpr std::uint16_t kPort = 16410;

// What was seen of a printer while its answers were watched.
struct Watched
{
    bool everOnline = false;
    bool everOffline = false;
    bool everAnswered = false;
    bool everRead = false; // to the end: not before that is there a status
};

void look(const LibrarySession& library, const NamedPrinter& printer, Watched& watched)
{
    const Sight sight = library.see(printer.name);
    watched.everOnline = watched.everOnline || sight.online;
    watched.everOffline = watched.everOffline || !sight.online;
    watched.everAnswered = watched.everAnswered || sight.ageMs >= 0;
    watched.everRead = watched.everRead || !sight.model.empty();
    if (watched.everOnline && !sight.online) { // it went: the last good status stays, and its age tells
        EXPECT_EQ(sight.state, 2) << printer.ip;
        EXPECT_EQ(sight.model, watched.everRead ? "Orion C4000" : "") << printer.ip;
        EXPECT_GE(sight.ageMs, 5000) << printer.ip;
    }
    // Whatever it does, what is believed of it is true.
    EXPECT_TRUE(sight.model.empty() || sight.model == "Orion C4000") << printer.ip << sight.model;
    EXPECT_TRUE(sight.serial.empty() || sight.serial.rfind("ORC4", 0) == 0) << printer.ip << sight.serial;
}

// Seconds that each run lasts: KEL_HOSTILE_SECONDS, 16 by default.
seconds duration()
{
    const char* text = std::getenv("KEL_HOSTILE_SECONDS");
    return seconds(text != nullptr ? std::stoi(text) : 16);
}

TEST(BadNeighbours, DoNotAgeTheGoodOnes)
{
    Neighbourhood neighbours(KEL_PRINTER_SIM, KEL_TEST_DATA "/colour.json", "127.44.2", kPort);
    LibrarySession library(kPort);
    library.name(neighbours.all());
    for (const NamedPrinter& printer : neighbours.good()) {
        ASSERT_TRUE(eventually([&] { return library.see(printer.name).online; }, seconds(5)));
    }
    Watched dead, slow, flapping, lying;
    std::int64_t oldest = 0;
    bool on = true;
    const auto begun = SteadyClock::now();
    auto flapAt = begun + seconds(1);
    while (SteadyClock::now() - begun < duration()) {
        for (const NamedPrinter& printer : neighbours.good()) {
            const Sight sight = library.see(printer.name);
            ASSERT_TRUE(sight.online) << printer.ip;
            ASSERT_LE(sight.ageMs, Neighbourhood::kMostAgeMs) << printer.ip;
            oldest = std::max(oldest, sight.ageMs);
        }
        look(library, neighbours.dead(), dead);
        look(library, neighbours.slow(), slow);
        look(library, neighbours.flapping(), flapping);
        look(library, neighbours.lying(), lying);
        if (SteadyClock::now() >= flapAt) {
            on = !on;
            neighbours.flap(on);
            flapAt = SteadyClock::now() + (on ? seconds(4) : seconds(9));
        }
        std::this_thread::sleep_for(milliseconds(50));
    }
    RecordProperty("oldest_ms", static_cast<int>(oldest));
    // The neighbours were what they are meant to be.
    EXPECT_FALSE(dead.everOnline);
    EXPECT_EQ(library.see(neighbours.dead().name).ageMs, -1);
    EXPECT_TRUE(slow.everAnswered); // its first status takes it longer than this test may
    EXPECT_TRUE(flapping.everOnline && flapping.everOffline && flapping.everRead);
    // Two in five of its answers are good; a first meeting takes dozens of them, and longer than this test
    // may.
    EXPECT_TRUE(lying.everAnswered ||
                eventually([&] { return library.see(neighbours.lying().name).ageMs >= 0; }, seconds(60)));
    EXPECT_GT(oldest, 1000); // the good ones are asked now and then, not all the time
}

} // namespace
} // namespace hostile
