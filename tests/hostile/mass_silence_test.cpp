// Most of a network falls silent at once, or never spoke, through libtarn.so: those who answer must not
// notice.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdio>

#include "tests/hostile/bystander.h"
#include "tests/hostile/library_session.h"
#include "tests/hostile/sim_process.h"
#include "tests/hostile/two_networks.h"
#include "tests/support/eventually.h"

namespace hostile {
namespace {

using kel_test::eventually;
using std::chrono::milliseconds;
using std::chrono::seconds;
using SteadyClock = std::chrono::steady_clock;

constexpr std::uint16_t kPort = 16470;
constexpr std::size_t kLiving = 500;
constexpr std::size_t kSilent = 2500;
constexpr milliseconds kMostAge{6000};
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
    const std::vector<NamedPrinter> living = printersFrom(0x7F2C1001, kLiving); // 127.44.16.1
    std::vector<NamedPrinter> silent;
};

// Until then.
auto until(SteadyClock::time_point end)
{
    return [end] { return SteadyClock::now() < end; };
}

void expectYoung(const Course& here, const Course& alone)
{
    std::printf("oldest picture %lld ms, %lld ms where nobody is silent\n",
                static_cast<long long>(here.worst.count()), static_cast<long long>(alone.worst.count()));
    EXPECT_LE(here.worst, std::max(kMostAge, alone.worst * 3 / 2));
}

TEST_F(MassSilence, OfThoseThatAnsweredIsKnownSoonAndAgesNobody)
{
    SimProcess sim(KEL_PRINTER_SIM,
                   {"--port", std::to_string(kPort),
                    KEL_TEST_DATA "/colour.json@127.44.16.1*" + std::to_string(kLiving + kSilent)});
    silent = printersFrom(0x7F2C1001 + kLiving, kSilent);
    const Bystander bystander(kPort, "{}", living);
    LibrarySession library(kPort);
    std::vector<NamedPrinter> all = living;
    all.insert(all.end(), silent.begin(), silent.end());
    library.name(all);
    ASSERT_TRUE(eventually([&] { return offline(library, all) == 0; }));
    for (const NamedPrinter& printer : silent) {
        sim.ask("off " + printer.ip);
    }
    const auto fell = SteadyClock::now();
    milliseconds known{0};
    const Course here = follow(library, living, silent, [&] {
        if (known == milliseconds(0) && offline(library, silent) == kSilent) {
            known = std::chrono::duration_cast<milliseconds>(SteadyClock::now() - fell);
        }
        return SteadyClock::now() < fell + seconds(60) &&
               (known == milliseconds(0) || SteadyClock::now() < fell + seconds(25));
    });
    const Course alone = bystander.ask();
    expectYoung(here, alone);
    EXPECT_GT(known, milliseconds(0));
    EXPECT_LE(known, std::max<milliseconds>(kKnownAsSilent, 4 * alone.worst));
}

// Requests to addresses that nobody resolves wait in the system for seconds, on the account of their socket.
TEST_F(MassSilence, OfASegmentWhereNobodyResolvesAnAddressAgesNobody)
{
    ASSERT_TRUE(networks.connect("10.44.0.1/16"));
    silent = printersFrom(0x0A2C1001, kSilent); // 10.44.16.1
    SimProcess sim(KEL_PRINTER_SIM, {"--port", std::to_string(kPort),
                                     KEL_TEST_DATA "/colour.json@127.44.16.1*" + std::to_string(kLiving)});
    const Bystander bystander(kPort, "{}", living);
    LibrarySession library(kPort);
    // One of the others beside each fifth part of them, as a list of rooms or floors would have them.
    std::vector<NamedPrinter> all;
    for (std::size_t i = 0; i < kLiving; ++i) {
        all.push_back(living[i]);
        all.insert(all.end(), silent.begin() + static_cast<std::ptrdiff_t>(5 * i),
                   silent.begin() + static_cast<std::ptrdiff_t>(5 * i + 5));
    }
    library.name(all);
    const Course here = follow(library, living, silent, until(SteadyClock::now() + seconds(30)));
    expectYoung(here, bystander.ask());
}

} // namespace
} // namespace hostile

int main(int argc, char** argv)
{
    testing::InitGoogleTest(&argc, argv);
    hostile::whyNot = hostile::networks.make();
    return RUN_ALL_TESTS();
}
