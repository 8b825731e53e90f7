// Networks that go, come back, and change, and a machine that sleeps: the library finds its printers again
// unaided.
#include <gtest/gtest.h>

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <memory>
#include <thread>

#include "tests/hostile/hostile_agent.h"
#include "tests/hostile/library_session.h"
#include "tests/hostile/own_process.h"
#include "tests/hostile/two_networks.h"
#include "tests/support/eventually.h"

namespace hostile {
namespace {

using kel_test::eventually;
using std::chrono::seconds;

constexpr std::uint16_t kPort = 16460;
constexpr std::uint32_t kPrinter = 0x0A2C0002; // 10.44.0.2
constexpr const char* kScenario = R"({"model": "Orion M2", "serial": "OR-1", "pages": 17,
    "supplies": [{"type": "toner", "colour": "black", "description": "Black Toner", "level": 55}]})";
// Asked at least so often in the first two minutes of silence, and then answered.
constexpr seconds kBack{12};

// The namespaces outlive the tests: a process cannot return to the network that it came from.
TwoNetworks networks;
std::optional<std::string> whyNot;

class ChangingNetwork : public testing::Test
{
protected:
    void SetUp() override
    {
        if (whyNot) {
            GTEST_SKIP() << *whyNot;
        }
        ASSERT_TRUE(networks.connect("10.44.0.1/24"));
        networks.there([this] {
            agent = std::make_unique<HostileAgent>(kPrinter, kPort, kScenario,
                                                   [](const HostileAgent::Occasion& o) { o.send(o.truth); });
        });
        library = std::make_unique<LibrarySession>(kPort);
    }

    void nameAndFind()
    {
        library->name({{"printer", "10.44.0.2"}});
        ASSERT_TRUE(eventually([&] { return see().online; }, seconds(5)));
        ASSERT_EQ(see().model, "Orion M2");
    }

    Sight see() const { return library->see("printer"); }
    bool comesBack() const
    {
        return eventually([this] { return see().online && see().ageMs < 1000; }, kBack);
    }

    std::unique_ptr<HostileAgent> agent;
    std::unique_ptr<LibrarySession> library;
};

TEST_F(ChangingNetwork, PrinterIsFoundThoughTheNetworkCameAfterTheLibrary)
{
    ASSERT_TRUE(TwoNetworks::ipHere("link set cable down"));
    library->name({{"printer", "10.44.0.2"}});
    EXPECT_FALSE(see().online);
    EXPECT_EQ(see().ageMs, -1);
    std::this_thread::sleep_for(seconds(1));
    ASSERT_TRUE(TwoNetworks::ipHere("link set cable up"));
    EXPECT_TRUE(comesBack());
    EXPECT_EQ(see().model, "Orion M2");
}

TEST_F(ChangingNetwork, InterfaceThatGoesAndComesBackIsRecoveredFrom)
{
    nameAndFind();
    ASSERT_TRUE(TwoNetworks::ipHere("link set cable down"));
    ASSERT_TRUE(eventually([&] { return !see().online; }, seconds(15)));
    EXPECT_EQ(see().state, 2);
    EXPECT_EQ(see().model, "Orion M2"); // the last good status stays
    ASSERT_TRUE(TwoNetworks::ipHere("link set cable up"));
    EXPECT_TRUE(comesBack());
}

TEST_F(ChangingNetwork, OtherInterfaceWithAnotherAddressServesAsWell)
{
    nameAndFind();
    ASSERT_TRUE(networks.connect("10.44.0.7/24")); // the old one is gone, its address too
    EXPECT_TRUE(eventually([&] { return see().online && see().ageMs > 2000; }, seconds(7)));
    EXPECT_TRUE(comesBack());
}

// The whole process stands still, as all do while the machine sleeps, and nobody takes that for silence.
TEST_F(ChangingNetwork, SleepOfTheMachineIsNoSilence)
{
    constexpr unsigned kAsleep = 15; // s; more than any wait of the library plus what it takes for sleep
    nameAndFind();
    const pid_t waker = fork();
    ASSERT_GE(waker, 0);
    if (waker == 0) {
        sleep(kAsleep);
        kill(getppid(), SIGCONT);
        _exit(0);
    }
    const std::uint16_t port = librarySocket().port;
    const auto begun = std::chrono::steady_clock::now();
    raise(SIGSTOP);
    ASSERT_GE(std::chrono::steady_clock::now() - begun, seconds(kAsleep - 1)); // it did stand still
    bool everOffline = false;
    EXPECT_TRUE(eventually(
        [&] {
            const Sight sight = see();
            everOffline = everOffline || !sight.online;
            return sight.ageMs < 1000;
        },
        seconds(3)));
    EXPECT_FALSE(everOffline);
    EXPECT_NE(librarySocket().port, 0);
    EXPECT_NE(librarySocket().port, port); // a new socket: what became of the old one's network nobody knows
    waitpid(waker, nullptr, 0);
}

} // namespace
} // namespace hostile

int main(int argc, char** argv)
{
    testing::InitGoogleTest(&argc, argv);
    hostile::whyNot = hostile::networks.make();
    return RUN_ALL_TESTS();
}
