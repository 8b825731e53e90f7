// Starts and quits in a row, while polls are under way in a slow library and dropped printers are still
// scheduled.
#include <gtest/gtest.h>

#include <sys/wait.h>

#include <chrono>
#include <cstdlib>
#include <iostream>
#include <random>
#include <sstream>
#include <thread>

#include "tests/support/eventually.h"
#include "tests/unit/app/kel_process.h"
#include "tests/unit/app/private_tmp.h"

namespace {

std::string list(int first, int count)
{
    std::string text = "[";
    for (int i = first; i < first + count; ++i) {
        text += i > first ? "," : "";
        text += R"({"ip":"10.0.0.1","manufacturer":"M","model":"X1","printerName":"p)" + std::to_string(i) +
                "\"}";
    }
    return text + "]\n";
}

class KelQuit : public KelTest
{
protected:
    // The last line of the library's log, and that nothing came after the library was told to stop.
    testing::AssertionResult libraryWasLeftInPeace() const
    {
        std::istringstream calls(readFile("calls"));
        std::string line;
        bool isStopped = false;
        while (std::getline(calls, line)) {
            if (isStopped) {
                return testing::AssertionFailure() << "after tarn_destroy: " << line;
            }
            isStopped = line.find("tarn_destroy") != std::string::npos;
        }
        return isStopped ? testing::AssertionSuccess() : testing::AssertionFailure() << "no tarn_destroy";
    }

    // How often an entry point was called.
    long count(const std::string& entryPoint) const
    {
        const std::string calls = readFile("calls");
        long found = 0;
        for (std::size_t at = 0; (at = calls.find(entryPoint, at)) != std::string::npos; ++at) {
            ++found;
        }
        return found;
    }

    // One life of the program, with printers that come, are polled and are dropped.
    void startAndQuit(std::mt19937& random, std::chrono::milliseconds life)
    {
        std::remove((m_folder + "/calls").c_str());
        writePrinters(list(0, 12));
        KelProcess kel(m_folder);
        ASSERT_TRUE(kel.waitUntilRunning()) << kel.output();
        if (random() % 2 == 0) {
            kel.ask("click pbtnRefresh");
        }
        std::this_thread::sleep_for(life / 2);
        writePrinters(list(10, 12)); // ten printers are dropped and stay scheduled
        std::this_thread::sleep_for(life / 2);
        ASSERT_TRUE(kel.quit());
        const int status = kel.wait();
        ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "status " << status << "\n"
                                                                   << kel.output();
        ASSERT_TRUE(libraryWasLeftInPeace());
    }
};

// KEL_QUITS sets the number of lives (./scripts/test --all: 200).
TEST_F(KelQuit, AtAnyMomentWithASlowLibraryAndDroppedPrinters)
{
    const char* const wanted = std::getenv("KEL_QUITS");
    const int lives = wanted != nullptr ? std::atoi(wanted) : 20;
    const unsigned seed = std::random_device()();
    std::cout << "seed " << seed << ", " << lives << " lives\n";
    std::mt19937 random(seed);
    setScript(R"({"defaultPrinter":{"randomDelayMs":2500}})");
    for (int i = 0; i < lives && !HasFatalFailure(); ++i) {
        startAndQuit(random, std::chrono::milliseconds(random() % 5000));
    }
}

TEST_F(KelQuit, WindowOutlivesThePollThatIsInProgress)
{
    setScript(R"({"defaultPrinter":{"delayMs":1500}})");
    writePrinters(list(0, 1));
    KelProcess kel(m_folder);
    ASSERT_TRUE(kel.waitUntilRunning()) << kel.output();
    kel.ask("click pbtnRefresh");
    ASSERT_TRUE(kel_test::eventually([this] { return count("tarn_openPrinter") == 1; }));
    ASSERT_TRUE(kel.quit());
    kel.waitUntilApplicationIsGone();
    EXPECT_EQ(count("tarn_closePrinter"), count("tarn_openPrinter"));
    const int status = kel.wait();
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << kel.output();
    EXPECT_TRUE(libraryWasLeftInPeace());
}

TEST_F(KelQuit, WindowLivesAndExitWorksWithALibraryThatLies)
{
    const unsigned seed = std::random_device()();
    std::cout << "seed " << seed << '\n';
    std::mt19937 random(seed);
    for (int life = 0; life < 2; ++life) {
        std::remove((m_folder + "/calls").c_str());
        setScript(R"({"chaosSeed":)" + std::to_string(random() | 1u) + "}");
        writePrinters(list(0, 12));
        KelProcess kel(m_folder);
        ASSERT_TRUE(kel.waitUntilRunning()) << kel.output();
        ASSERT_TRUE(kel_test::eventually([this] { return count("tarn_closePrinter") >= 4; })) << kel.output();
        EXPECT_EQ(kel.ask("windows"), R"(["MainWindow"])");
        ASSERT_TRUE(kel.quit());
        const int status = kel.wait();
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "status " << status << "\n"
                                                                   << kel.output();
        EXPECT_EQ(count("tarn_destroy"), 1);
    }
}

TEST_F(KelQuit, WhileTheLibraryBlocksForHalfAMinuteExitTakesThatOnePollNotTen)
{
    setScript(R"({"blockOnceMs":30000,"defaultPrinter":{"delayMs":2500}})");
    writePrinters(list(0, 12));
    KelProcess kel(m_folder);
    ASSERT_TRUE(kel.waitUntilRunning()) << kel.output();
    ASSERT_TRUE(kel.ask("click pbtnRefresh").find("error") == std::string::npos);
    const auto start = std::chrono::steady_clock::now();
    std::this_thread::sleep_for(std::chrono::seconds(4)); // by now the workers wait in a row
    ASSERT_TRUE(kel.quit());
    const int status = kel.wait();
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << kel.output();
    // The list exchange that waits behind the block, and any refresh that is due before the quit is seen,
    // each let one or two polls in. The rest of the ten that waited all that time go home.
    EXPECT_LE(count("tarn_openPrinter"), 7);
    EXPECT_TRUE(libraryWasLeftInPeace());
    const auto seconds =
        std::chrono::duration_cast<std::chrono::seconds>(std::chrono::steady_clock::now() - start);
    std::cout << count("tarn_openPrinter") << " polls, exit after " << seconds.count() << " s\n";
}

} // namespace
