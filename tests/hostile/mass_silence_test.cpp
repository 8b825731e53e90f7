// Most of a network falls silent at once, or never spoke, through libtarn.so: those who answer must not
// notice. KEL_LIVING (500): how many answer; five times as many do not.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <optional>

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
constexpr milliseconds kMostAge{6000};
constexpr seconds kKnownAsSilent{15};

std::uint32_t livingOnes()
{
    const char* const wanted = std::getenv("KEL_LIVING");
    return wanted != nullptr ? static_cast<std::uint32_t>(std::stoul(wanted)) : 500;
}

const std::uint32_t livingCount = livingOnes();
const std::uint32_t silentCount = 5 * livingCount;

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

bool areOnline(const LibrarySession& library, const std::vector<NamedPrinter>& printers, bool online)
{
    return std::all_of(printers.begin(), printers.end(), [&](const NamedPrinter& printer) {
        return library.see(printer.name).online == online;
    });
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
    const std::vector<NamedPrinter> living = printersFrom(0x7F2C1001, livingCount); // 127.44.16.1
    std::vector<NamedPrinter> silent;
};

// What was seen of those that live, and by the bystander.
struct Seen
{
    Course here;
    Course alone;
    bool areYoung() const { return here.looks > 0 && here.worst <= std::max(kMostAge, alone.worst * 3 / 2); }
};

// The machine may stop one program for seconds and not the other; it does not do so each time.
void expectYoungInOneOfThree(const std::function<Seen()>& look)
{
    for (int i = 0; i < 3 && !testing::Test::HasFailure(); ++i) {
        const Seen seen = look();
        std::printf("oldest picture %lld ms, %lld ms where nobody is silent\n",
                    static_cast<long long>(seen.here.worst.count()),
                    static_cast<long long>(seen.alone.worst.count()));
        if (seen.areYoung()) {
            return;
        }
    }
    ADD_FAILURE() << "older each time";
}

TEST_F(MassSilence, OfThoseThatAnsweredIsKnownSoonAndAgesNobody)
{
    silent = printersFrom(0x7F2C1001 + livingCount, silentCount);
    std::vector<NamedPrinter> all = living;
    all.insert(all.end(), silent.begin(), silent.end());
    expectYoungInOneOfThree([&]() -> Seen {
        SimProcess sim(KEL_PRINTER_SIM, {"--port", std::to_string(kPort),
                                         KEL_TEST_DATA "/colour.json@127.44.16.1*" +
                                             std::to_string(livingCount + silentCount)});
        Bystander bystander(kPort, "{}", living);
        LibrarySession library(kPort);
        library.name(all);
        EXPECT_TRUE(eventually([&] { return areOnline(library, all, true); }, seconds(120)));
        for (const NamedPrinter& printer : silent) {
            sim.ask("off " + printer.ip);
        }
        const auto fell = SteadyClock::now();
        milliseconds unknown{0}; // for so long at least somebody was taken to be there
        bool isKnown = false;
        const Course here = follow(library, living, silent, [&] {
            const auto passed = std::chrono::duration_cast<milliseconds>(SteadyClock::now() - fell);
            isKnown = isKnown || areOnline(library, silent, false);
            unknown = isKnown ? unknown : passed;
            return passed < seconds(isKnown ? 25 : 120);
        });
        const Course alone = bystander.ask();
        EXPECT_TRUE(isKnown);
        EXPECT_LE(unknown, std::max<milliseconds>(kKnownAsSilent, 4 * alone.worst));
        return {here, alone};
    });
}

// Requests to addresses that nobody resolves wait in the system for seconds, on the account of their socket.
TEST_F(MassSilence, OfASegmentWhereNobodyResolvesAnAddressAgesNobody)
{
    ASSERT_TRUE(networks.connect("10.44.0.1/16"));
    silent = printersFrom(0x0A2C1001, silentCount); // 10.44.16.1
    // One of the others beside each fifth part of them, as a list of rooms or floors would have them.
    std::vector<NamedPrinter> all;
    for (std::size_t i = 0; i < livingCount; ++i) {
        all.push_back(living[i]);
        all.insert(all.end(), silent.begin() + static_cast<std::ptrdiff_t>(5 * i),
                   silent.begin() + static_cast<std::ptrdiff_t>(5 * i + 5));
    }
    expectYoungInOneOfThree([&]() -> Seen {
        SimProcess sim(KEL_PRINTER_SIM,
                       {"--port", std::to_string(kPort),
                        KEL_TEST_DATA "/colour.json@127.44.16.1*" + std::to_string(livingCount)});
        Bystander bystander(kPort, "{}", living);
        LibrarySession library(kPort);
        library.name(all);
        std::optional<SteadyClock::time_point> end; // counts from the meeting
        const Course here = follow(library, living, silent, [&] {
            end = end ? end : SteadyClock::now() + seconds(24);
            return SteadyClock::now() < *end;
        });
        const Course alone = bystander.ask();
        EXPECT_LE(here.met, std::max<milliseconds>(seconds(6), 4 * alone.met));
        return {here, alone};
    });
}

} // namespace
} // namespace hostile

int main(int argc, char** argv)
{
    testing::InitGoogleTest(&argc, argv);
    hostile::whyNot = hostile::networks.make();
    return RUN_ALL_TESTS();
}
