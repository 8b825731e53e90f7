// An access library that lies, fails and throws; and readers, refreshes and polls all at once.
#include <gmock/gmock.h>

#include <atomic>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <random>
#include <thread>

#include "printer/printer_exception.h"
#include "tests/support/eventually.h"
#include "tests/unit/printer/registry_fixture.h"

using namespace morvik::kel;
using kel_test::eventually;
using kel_test::tarnControl;
using kel_test::TarnScript;

namespace {

// A hundred megabytes; under the thread sanitizer, where reading them takes minutes, five.
#ifdef __SANITIZE_THREAD__
constexpr std::size_t kHuge = 5'000'000;
#else
constexpr std::size_t kHuge = 100'000'000;
#endif

// What a library keeps by throwing in its own free functions is its own loss: texts are not counted here.
class LyingLibrary : public kel_test::RegistryFixture
{
protected:
    void TearDown() override
    {
        m_registry.reset();
        m_textsBefore = tarnControl().textsOut();
        m_handlesBefore = tarnControl().handlesOpen();
        RegistryFixture::TearDown();
    }
    static void lie(std::uint64_t seed)
    {
        TarnScript script;
        script.chaosSeed = seed;
        tarnControl().setScript(script);
    }
};

TEST_F(LyingLibrary, RegistryStaysAliveWhateverIsAnswered)
{
    const char* const wanted = std::getenv("KEL_LIES");
    const int rounds = wanted != nullptr ? std::atoi(wanted) : 60;
    const std::uint64_t seed = std::random_device()() | 1u;
    std::cout << "seed " << seed << '\n';
    lie(seed);
    // Shared: printers that are dropped report on while the next test runs.
    const auto reports = std::make_shared<std::atomic<long>>(0);
    registry().setCallback([reports](PrinterContext) { ++*reports; });
    std::atomic<bool> stop{false};
    std::vector<std::thread> pollers;
    for (int i = 0; i < 4; ++i) {
        pollers.emplace_back([&stop, reports, i] {
            const auto printer =
                boost::make_shared<Printer>(kel_test::network("lied-to-" + std::to_string(i)));
            printer->setCallback([reports](PrinterContext) { ++*reports; });
            while (!stop) {
                printer->run();
            }
        });
    }
    for (int round = 0; round < rounds; ++round) {
        registry().start();
        const std::vector<PrinterContext> list = registry().getPrinters();
        for (const PrinterContext& context : list) {
            EXPECT_EQ(registry().getPrinter(context.printerName).printerName, context.printerName);
        }
        registry().getModels();
    }
    EXPECT_TRUE(eventually([&] { return *reports > 20; }));
    stop = true;
    for (std::thread& poller : pollers) {
        poller.join();
    }
    // Told the truth again, it works as ever.
    tarnControl().reset();
    use({"truth"});
    EXPECT_EQ(names(), "truth;");
    registry().refresh("truth");
    EXPECT_TRUE(eventually([this] { return registry().getPrinter("truth").state == 3; }));
}

TEST_F(LyingLibrary, HundredMegabyteTextsAreTakenAsTheyAre)
{
    TarnScript script;
    script.printers["huge"].stateMessage = std::string(kHuge, 'x');
    tarnControl().setScript(script);
    use({"huge"});
    std::atomic<std::size_t> length{0};
    const auto printer = boost::make_shared<Printer>(kel_test::network("huge"));
    printer->setCallback([&](PrinterContext context) { length = context.stateMessage.size(); });
    printer->run();
    EXPECT_EQ(length, kHuge);
}

TEST_F(LyingLibrary, HundredMegabyteListIsRead)
{
    TarnScript script;
    script.echoList = false;
    script.listDocument = "[{\"printerName\":\"a\",\"description\":\"" + std::string(kHuge, 'x') +
                          "\"},{\"printerName\":\"last\"}]";
    tarnControl().setScript(script);
    registry().start();
    ASSERT_EQ(printers().size(), 2u);
    EXPECT_EQ(registry().getPrinter("last").printerName, "last");
    EXPECT_EQ(registry().getPrinter("a").description.size(), kHuge);
}

// For the thread sanitizer above all: a context is read while a worker writes it.
TEST_F(LyingLibrary, FiftyPrintersArePolledWhileTheListIsRead)
{
    std::vector<std::string> fifty;
    for (int i = 0; i < 50; ++i) {
        fifty.push_back("fifty-" + std::to_string(i));
    }
    TarnScript script;
    script.defaultPrinter->info = R"({"CToner":"1","MToner":"2","YToner":"3","KToner":"4","totalprint":"5"})";
    tarnControl().setScript(script);
    const auto reports = std::make_shared<std::atomic<long>>(0);
    registry().setCallback([reports](PrinterContext context) {
        EXPECT_EQ(context.kToner, 4);
        ++*reports;
    });
    use(fifty);
    std::atomic<bool> stop{false};
    std::thread reader([&] {
        while (!stop) {
            for (const PrinterContext& context : registry().getPrinters()) {
                EXPECT_TRUE(context.kToner == -1 || (context.kToner == 4 && context.serialNumber == "SN-1"));
            }
            EXPECT_EQ(registry().getPrinter("fifty-7").printerName, "fifty-7");
        }
    });
    std::thread refresher([&] {
        for (int round = 0; !stop; ++round) {
            for (const std::string& name : fifty) {
                registry().refresh(name);
            }
            registry().start();
        }
    });
    EXPECT_TRUE(eventually([&] { return *reports > 3000; }));
    stop = true;
    reader.join();
    refresher.join();
}

} // namespace
