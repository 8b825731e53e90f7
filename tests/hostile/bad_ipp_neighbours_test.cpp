// Ten good printers beside IPP servers that mean it ill, through libtarn.so.
#include <gtest/gtest.h>

#include <chrono>
#include <thread>

#include "tests/hostile/neighbourhood.h"
#include "tests/support/eventually.h"
#include "tests/support/own_threads.h"
#include "tests/unit/tarn/ipp/scripted_server.h"

namespace hostile {
namespace {

using kel_test::eventually;
using std::chrono::milliseconds;
using std::chrono::seconds;
using tarn::ipp::test::httpAnswer;
using tarn::ipp::test::ScriptedServer;
using Connection = ScriptedServer::Connection;
using SteadyClock = std::chrono::steady_clock;

constexpr std::uint16_t kPort = 16440;

// A silent TLS peer, a dripping server, one that sends 100 MB, one that redirects.
class BadIppNeighbours : public testing::Test
{
protected:
    static ScriptedServer::Script silent()
    {
        return [](const Connection& connection) { connection.untilGone(); };
    }
    static ScriptedServer::Script dripping()
    {
        return [](const Connection& connection) {
            connection.request();
            connection.send("HTTP/1.1 200 OK\r\nContent-Length: 100000\r\n\r\n");
            while (connection.wait(500) && connection.send(" ")) {
            }
        };
    }
    static ScriptedServer::Script enormous()
    {
        return [](const Connection& connection) {
            connection.request();
            connection.send("HTTP/1.1 200 OK\r\nContent-Length: 104857600\r\n\r\n");
            const std::string block(65536, '\x05');
            for (int i = 0; i < 1600 && connection.send(block); ++i) {
            }
        };
    }
    ScriptedServer::Script redirecting()
    {
        return [this](const Connection& connection) {
            connection.request();
            connection.send(httpAnswer("302 Found", {},
                                       "Location: http://127.44.9.30:" + std::to_string(elsewhere.port()) +
                                           "/ipp/print\r\n"));
            connection.untilGone();
        };
    }

    std::string addresses() const
    {
        return R"({"127.44.9.21": {"ipp": "ipps", "ippPort": )" + std::to_string(tls.port()) +
               R"(}, "127.44.9.22": {"ippPort": )" + std::to_string(drips.port()) +
               R"(}, "127.44.9.23": {"ippPort": )" + std::to_string(floods.port()) +
               R"(}, "127.44.9.24": {"ippPort": )" + std::to_string(redirects.port()) + "}}";
    }
    static std::vector<NamedPrinter> bad()
    {
        return {{"tls", "127.44.9.21"},
                {"drips", "127.44.9.22"},
                {"floods", "127.44.9.23"},
                {"redirects", "127.44.9.24"}};
    }

    ScriptedServer elsewhere{silent(), 0x7F2C091E};
    ScriptedServer tls{silent(), 0x7F2C0915};
    ScriptedServer drips{dripping(), 0x7F2C0916};
    ScriptedServer floods{enormous(), 0x7F2C0917};
    ScriptedServer redirects{redirecting(), 0x7F2C0918};
};

TEST_F(BadIppNeighbours, DoNotAgeTheGoodOnesNorTakeMoreThanOneThread)
{
    Neighbourhood neighbours(KEL_PRINTER_SIM, KEL_TEST_DATA "/colour.json", "127.44.9", kPort);
    LibrarySession library(kPort, addresses());
    std::vector<NamedPrinter> all = neighbours.good();
    for (const NamedPrinter& printer : bad()) {
        all.push_back(printer);
    }
    library.name(all);
    for (const NamedPrinter& printer : neighbours.good()) {
        ASSERT_TRUE(eventually([&] { return library.see(printer.name).online; }, seconds(5)));
    }
    const auto look = [&] {
        for (const NamedPrinter& printer : neighbours.good()) {
            const Sight sight = library.see(printer.name);
            EXPECT_TRUE(sight.online) << printer.ip;
            EXPECT_LE(sight.ageMs, Neighbourhood::kMostAgeMs) << printer.ip;
        }
        for (const NamedPrinter& printer : bad()) {
            EXPECT_FALSE(library.see(printer.name).online) << printer.name;
        }
        EXPECT_LE(kel_test::ownThreads("tarn-ipp"), 1) << "one for all";
        std::this_thread::sleep_for(milliseconds(50));
    };
    const auto limit = SteadyClock::now() + seconds(120);
    while ((tls.accepted() == 0 || drips.accepted() == 0 || floods.accepted() == 0 ||
            redirects.accepted() == 0) &&
           SteadyClock::now() < limit) {
        look();
    }
    EXPECT_GE(tls.accepted(), 1);
    EXPECT_GE(drips.accepted(), 1);
    EXPECT_GE(floods.accepted(), 1);
    EXPECT_GE(redirects.accepted(), 1);
    const auto end = SteadyClock::now() + seconds(11); // those that take their time are cut meanwhile
    while (SteadyClock::now() < end) {
        look();
    }
    EXPECT_EQ(elsewhere.accepted(), 0);
}

// What is promised is 2 s; of several tries one shows it, however busy the machine is.
TEST_F(BadIppNeighbours, LibraryEndsInTheMidstOfIt)
{
    milliseconds best{1000000};
    for (int i = 0; i < 3 && best > seconds(2); ++i) {
        const int before = tls.accepted() + drips.accepted();
        auto library = std::make_unique<LibrarySession>(kPort, addresses());
        library->name(bad());
        ASSERT_TRUE(eventually(
            [&] {
                for (const NamedPrinter& printer : bad()) {
                    library->see(printer.name);
                }
                return tls.accepted() + drips.accepted() >= before + 2;
            },
            seconds(60)));
        const auto begun = SteadyClock::now();
        library.reset();
        best = std::min(best, std::chrono::duration_cast<milliseconds>(SteadyClock::now() - begun));
        // A thread that has been joined may be listed a moment longer.
        EXPECT_TRUE(eventually([] { return kel_test::ownThreads("tarn-ipp") == 0; }, seconds(60)));
    }
    RecordProperty("destroy_ms", static_cast<int>(best.count()));
    EXPECT_LE(best, seconds(2));
}

} // namespace
} // namespace hostile
