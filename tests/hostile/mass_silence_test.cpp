// Most of a network falls silent at once, or never spoke, through libtarn.so: those who answer must not
// notice.
#include <gtest/gtest.h>

#include <signal.h>

#include <algorithm>
#include <chrono>
#include <thread>

#include "tests/hostile/library_session.h"
#include "tests/hostile/sim_process.h"
#include "tests/hostile/two_networks.h"

namespace hostile {
namespace {

using std::chrono::seconds;

constexpr std::uint16_t kPort = 16470;
constexpr std::size_t kLiving = 500;
constexpr std::size_t kSilent = 2500;
constexpr std::int64_t kMostAgeMs = 6000;
constexpr seconds kKnownAsSilent{15};

// The namespaces outlive the tests: a process cannot return to the network that it came from.
TwoNetworks networks;
std::optional<std::string> whyNot;

std::string dotted(std::uint32_t address)
{
    return std::to_string(address >> 24) + "." + std::to_string(address >> 16 & 255) + "." +
           std::to_string(address >> 8 & 255) + "." + std::to_string(address & 255);
}

std::vector<NamedPrinter> printersFrom(std::uint32_t first, std::size_t count)
{
    std::vector<NamedPrinter> printers;
    for (std::uint32_t i = 0; i < count; ++i) {
        const std::string ip = dotted(first + i);
        printers.push_back({ip, ip});
    }
    return printers;
}

// The oldest picture of a printer that answers; a day when one is not online.
std::int64_t oldest(const LibrarySession& library, const std::vector<NamedPrinter>& printers)
{
    std::int64_t oldest = 0;
    for (const NamedPrinter& printer : printers) {
        const Sight sight = library.see(printer.name);
        oldest = std::max(oldest, sight.online ? sight.ageMs : 86400000);
    }
    return oldest;
}

std::size_t offline(const LibrarySession& library, const std::vector<NamedPrinter>& printers)
{
    return static_cast<std::size_t>(
        std::count_if(printers.begin(), printers.end(),
                      [&](const NamedPrinter& printer) { return !library.see(printer.name).online; }));
}

class MassSilence : public testing::Test
{
protected:
    void SetUp() override
    {
        if (whyNot) {
            GTEST_SKIP() << *whyNot;
        }
    }
    // Everybody is opened all the time, as the program does; nobody who answers may age.
    void expectYoungPicturesFor(const LibrarySession& library, seconds time) const
    {
        const auto end = std::chrono::steady_clock::now() + time;
        while (std::chrono::steady_clock::now() < end) {
            ASSERT_LE(oldest(library, living), kMostAgeMs);
            offline(library, silent);
            std::this_thread::sleep_for(std::chrono::milliseconds(200));
        }
    }

    const std::vector<NamedPrinter> living = printersFrom(0x7F2C1001, kLiving); // 127.44.16.1
    std::vector<NamedPrinter> silent;
};

TEST_F(MassSilence, OfThoseThatAnsweredIsKnownSoonAndAgesNobody)
{
    SimProcess sim(KEL_PRINTER_SIM,
                   {"--port", std::to_string(kPort),
                    KEL_TEST_DATA "/colour.json@127.44.16.1*" + std::to_string(kLiving + kSilent)});
    silent = printersFrom(0x7F2C1001 + kLiving, kSilent);
    LibrarySession library(kPort);
    std::vector<NamedPrinter> all = living;
    all.insert(all.end(), silent.begin(), silent.end());
    library.name(all);
    const auto given = std::chrono::steady_clock::now() + seconds(60);
    while (offline(library, all) > 0 && std::chrono::steady_clock::now() < given) {
        std::this_thread::sleep_for(seconds(1));
    }
    ASSERT_EQ(offline(library, all), 0u);
    for (const NamedPrinter& printer : silent) {
        sim.ask("off " + printer.ip);
    }
    expectYoungPicturesFor(library, kKnownAsSilent);
    EXPECT_EQ(offline(library, silent), kSilent);
    expectYoungPicturesFor(library, seconds(10));
}

// Requests to addresses that nobody resolves wait in the system for seconds, on the account of their socket.
TEST_F(MassSilence, OfASegmentWhereNobodyResolvesAnAddressAgesNobody)
{
    ASSERT_TRUE(networks.connect("10.44.0.1/16"));
    silent = printersFrom(0x0A2C1001, kSilent); // 10.44.16.1
    SimProcess sim(KEL_PRINTER_SIM, {"--port", std::to_string(kPort),
                                     KEL_TEST_DATA "/colour.json@127.44.16.1*" + std::to_string(kLiving)});
    LibrarySession library(kPort);
    // One of the others beside each fifth part of them, as a list of rooms or floors would have them.
    std::vector<NamedPrinter> all;
    for (std::size_t i = 0; i < kLiving; ++i) {
        all.push_back(living[i]);
        all.insert(all.end(), silent.begin() + static_cast<std::ptrdiff_t>(5 * i),
                   silent.begin() + static_cast<std::ptrdiff_t>(5 * i + 5));
    }
    library.name(all);
    std::this_thread::sleep_for(seconds(6));
    expectYoungPicturesFor(library, seconds(24));
}

} // namespace
} // namespace hostile

int main(int argc, char** argv)
{
    testing::InitGoogleTest(&argc, argv);
    hostile::whyNot = hostile::networks.make();
    return RUN_ALL_TESTS();
}
