// The library as a program meets it: libtarn.so and nothing else.
#include <gtest/gtest.h>

#include <dirent.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <set>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include <json/json.h>

#include "tarn/tarn.h"
#include "tests/support/eventually.h"
#include "tests/support/own_threads.h"
#include "tests/unit/tarn/support/scratch_directory.h"

namespace {

std::size_t entriesOf(const char* directory)
{
    DIR* const stream = opendir(directory);
    std::size_t count = 0;
    while (readdir(stream) != nullptr) {
        ++count;
    }
    closedir(stream);
    return count;
}

std::string outputOf(const std::string& command)
{
    FILE* const pipe = popen(command.c_str(), "r");
    std::string output;
    char buffer[512];
    while (fgets(buffer, sizeof buffer, pipe) != nullptr) {
        output += buffer;
    }
    return pclose(pipe) == 0 ? output : std::string();
}

std::string taken(char* text)
{
    const std::string copy = text != nullptr ? text : "(null)";
    tarn_freeStr(&text);
    return copy;
}

class Abi : public testing::Test
{
protected:
    void TearDown() override { tarn_destroy(); }

    // The user's own configuration and cache are left alone.
    tarn::test::ScratchDirectory m_scratch;
    tarn::test::ScopedVariable m_cache{"XDG_CACHE_HOME", m_scratch.path("cache")};
    tarn::test::ScopedVariable m_state{"XDG_STATE_HOME", m_scratch.path("state")};
    tarn::test::ScopedVariable m_config{"TARN_CONFIG", m_scratch.path("tarn.json")};
};

TEST(Exports, AreExactlyTheSixteenFunctions)
{
    std::istringstream lines(
        outputOf(std::string("nm -D --defined-only --format=posix '") + TARN_LIBRARY + "'"));
    std::set<std::string> names;
    for (std::string line; std::getline(lines, line);) {
        names.insert(line.substr(0, line.find(' ')));
    }
    const std::set<std::string> sixteen = {"tarn_init",
                                           "tarn_destroy",
                                           "tarn_freeStr",
                                           "tarn_getPrinterList",
                                           "tarn_freePrinterList",
                                           "tarn_openPrinter",
                                           "tarn_closePrinter",
                                           "tarn_getVersion",
                                           "tarn_getTotalPages",
                                           "tarn_getSerialNumber",
                                           "tarn_getState",
                                           "tarn_getStateMessage",
                                           "tarn_getInfo",
                                           "tarn_getModels",
                                           "tarn_setOptions",
                                           "tarn_setPrinterList"};
    EXPECT_EQ(names, sixteen);
}

TEST_F(Abi, NothingButTheVersionIsThereBeforeInit)
{
    char* text = nullptr;
    void* handle = nullptr;
    EXPECT_EQ(tarn_getPrinterList(&text), TARN_E_NOT_READY);
    EXPECT_EQ(tarn_getModels(&text), TARN_E_NOT_READY);
    EXPECT_EQ(tarn_openPrinter("a", &handle, 0, 0), TARN_E_NOT_READY);
    EXPECT_EQ(tarn_setOptions("{}"), TARN_E_NOT_READY);
    EXPECT_EQ(tarn_setPrinterList("[]"), TARN_E_NOT_READY);
    EXPECT_EQ(text, nullptr);
    EXPECT_EQ(handle, nullptr);
    EXPECT_EQ(tarn_destroy(), TARN_OK);
    ASSERT_EQ(tarn_getVersion(&text), TARN_OK);
    EXPECT_EQ(taken(text), TARN_EXPECTED_VERSION);
}

TEST_F(Abi, NullIsAnArgumentErrorOrNothingToFree)
{
    ASSERT_EQ(tarn_init(), TARN_OK);
    char* text = nullptr;
    void* handle = nullptr;
    int number = 7;
    EXPECT_EQ(tarn_getVersion(nullptr), TARN_E_ARGUMENT);
    EXPECT_EQ(tarn_getPrinterList(nullptr), TARN_E_ARGUMENT);
    EXPECT_EQ(tarn_getModels(nullptr), TARN_E_ARGUMENT);
    EXPECT_EQ(tarn_setOptions(nullptr), TARN_E_ARGUMENT);
    EXPECT_EQ(tarn_setPrinterList(nullptr), TARN_E_ARGUMENT);
    EXPECT_EQ(tarn_openPrinter(nullptr, &handle, 0, 0), TARN_E_ARGUMENT);
    EXPECT_EQ(tarn_openPrinter("a", nullptr, 0, 0), TARN_E_ARGUMENT);
    EXPECT_EQ(tarn_getState(nullptr, &number), TARN_E_ARGUMENT);
    EXPECT_EQ(tarn_getTotalPages(nullptr, &number), TARN_E_ARGUMENT);
    EXPECT_EQ(tarn_getSerialNumber(nullptr, &text), TARN_E_ARGUMENT);
    EXPECT_EQ(tarn_getStateMessage(nullptr, &text), TARN_E_ARGUMENT);
    EXPECT_EQ(tarn_getInfo(nullptr, &text), TARN_E_ARGUMENT);
    EXPECT_EQ(number, 7);
    EXPECT_EQ(text, nullptr);
    EXPECT_EQ(tarn_freeStr(nullptr), TARN_OK);
    EXPECT_EQ(tarn_freeStr(&text), TARN_OK);
    EXPECT_EQ(tarn_freePrinterList(nullptr), TARN_OK);
    EXPECT_EQ(tarn_freePrinterList(&text), TARN_OK);
    EXPECT_EQ(tarn_closePrinter(nullptr), TARN_OK);
    EXPECT_EQ(tarn_closePrinter(&handle), TARN_OK);
}

TEST_F(Abi, GettersOfAnOpenHandleRefuseANullOutput)
{
    ASSERT_EQ(tarn_init(), TARN_OK);
    ASSERT_EQ(tarn_setPrinterList(R"([{"printerName":"a","ip":"-"}])"), TARN_OK);
    void* handle = nullptr;
    ASSERT_EQ(tarn_openPrinter("a", &handle, 0, 0), TARN_OK);
    EXPECT_EQ(tarn_getState(handle, nullptr), TARN_E_ARGUMENT);
    EXPECT_EQ(tarn_getTotalPages(handle, nullptr), TARN_E_ARGUMENT);
    EXPECT_EQ(tarn_getSerialNumber(handle, nullptr), TARN_E_ARGUMENT);
    EXPECT_EQ(tarn_getStateMessage(handle, nullptr), TARN_E_ARGUMENT);
    EXPECT_EQ(tarn_getInfo(handle, nullptr), TARN_E_ARGUMENT);
    EXPECT_EQ(tarn_closePrinter(&handle), TARN_OK);
    EXPECT_EQ(handle, nullptr);
}

TEST_F(Abi, InitAndDestroyMayBeRepeatedAndLeaveNeitherThreadsNorDescriptors)
{
    ASSERT_EQ(tarn_init(), TARN_OK); // whatever is made once is made now
    ASSERT_EQ(tarn_destroy(), TARN_OK);
    ASSERT_TRUE(kel_test::eventually([] { return kel_test::ownThreads("tarn-*") == 0; }));
    const long threads = kel_test::ownThreads();
    const std::size_t descriptors = entriesOf("/proc/self/fd");
    for (int i = 0; i < 50; ++i) {
        ASSERT_EQ(tarn_init(), TARN_OK);
        ASSERT_EQ(tarn_init(), TARN_OK); // changes nothing
        ASSERT_EQ(tarn_setPrinterList(R"([{"printerName":"a","ip":"x"}])"), TARN_OK);
        ASSERT_EQ(tarn_destroy(), TARN_OK);
        ASSERT_EQ(tarn_destroy(), TARN_OK);
    }
    EXPECT_TRUE(kel_test::eventually([threads] { return kel_test::ownThreads() == threads; }));
    EXPECT_EQ(entriesOf("/proc/self/fd"), descriptors);
}

TEST_F(Abi, DescriptorsAreClosedOnExec)
{
    ASSERT_EQ(tarn_init(), TARN_OK);
    // The pipe to ls may go while ls looks at it, which it then complains of.
    const std::string own = outputOf("ls -l /proc/" + std::to_string(getpid()) + "/fd || true");
    EXPECT_NE(own.find("socket:"), std::string::npos) << own;
    EXPECT_NE(own.find("eventfd"), std::string::npos) << own;
    // Descriptors of the library appear between these two; a child inherits none of them.
    const std::string childs = outputOf("ls -l /proc/self/fd");
    ASSERT_EQ(tarn_destroy(), TARN_OK);
    const std::string childsWithout = outputOf("ls -l /proc/self/fd");
    const auto lines = [](const std::string& text) { return std::count(text.begin(), text.end(), '\n'); };
    EXPECT_EQ(lines(childs), lines(childsWithout)) << childs << childsWithout;
}

TEST_F(Abi, OnlyANameThatNobodyConfiguredCannotBeOpened)
{
    ASSERT_EQ(tarn_init(), TARN_OK);
    ASSERT_EQ(tarn_setPrinterList(R"([{"printerName":"a","ip":"not an address"}])"), TARN_OK);
    void* handle = nullptr;
    EXPECT_EQ(tarn_openPrinter("b", &handle, 0, 0), TARN_E_UNKNOWN);
    EXPECT_EQ(tarn_openPrinter("A", &handle, 0, 0), TARN_E_UNKNOWN);
    EXPECT_EQ(handle, nullptr);
    EXPECT_EQ(tarn_openPrinter("a", &handle, 0, 0), TARN_OK);
    EXPECT_NE(handle, nullptr);
    tarn_closePrinter(&handle);
}

TEST_F(Abi, PrinterThatCannotBeReachedIsOfflineWithAnEmptyMessage)
{
    ASSERT_EQ(tarn_init(), TARN_OK);
    ASSERT_EQ(tarn_setPrinterList(R"([{"printerName":"a","ip":"999.1.1.1"}])"), TARN_OK);
    void* handle = nullptr;
    ASSERT_EQ(tarn_openPrinter("a", &handle, 0, 0), TARN_OK);
    int state = 0;
    EXPECT_EQ(tarn_getState(handle, &state), TARN_OK);
    EXPECT_EQ(state, 2);
    int pages = 0;
    EXPECT_EQ(tarn_getTotalPages(handle, &pages), TARN_OK);
    EXPECT_EQ(pages, -1);
    char* text = nullptr;
    EXPECT_EQ(tarn_getStateMessage(handle, &text), TARN_OK);
    EXPECT_EQ(taken(text), "");
    EXPECT_EQ(tarn_getSerialNumber(handle, &text), TARN_OK);
    EXPECT_EQ(taken(text), "");
    tarn_closePrinter(&handle);
}

TEST_F(Abi, StatusDocumentAlwaysHasAllColoursTheCounterAndTheFlagsAsStrings)
{
    ASSERT_EQ(tarn_init(), TARN_OK);
    ASSERT_EQ(tarn_setPrinterList(R"([{"printerName":"a","ip":""}])"), TARN_OK);
    for (const int detail : {0, TARN_OPEN_DETAIL}) {
        void* handle = nullptr;
        ASSERT_EQ(tarn_openPrinter("a", &handle, detail, 0), TARN_OK);
        char* text = nullptr;
        ASSERT_EQ(tarn_getInfo(handle, &text), TARN_OK);
        std::istringstream document(taken(text));
        Json::Value root;
        std::string errors;
        ASSERT_TRUE(Json::parseFromStream(Json::CharReaderBuilder(), document, &root, &errors)) << errors;
        for (const char* key : {"CToner", "MToner", "YToner", "KToner", "RToner", "totalprint"}) {
            EXPECT_EQ(root[key], "-1") << key;
        }
        for (const char* key : {"lessPaper", "lackPaper", "lessToner", "lackToner"}) {
            EXPECT_EQ(root[key], "0") << key;
        }
        for (const std::string& key : root.getMemberNames()) {
            EXPECT_TRUE(root[key].isString()) << key;
        }
        for (const char* key : {"online", "age", "source", "detail"}) {
            EXPECT_EQ(root.isMember(key), detail != 0) << key;
        }
        tarn_closePrinter(&handle);
    }
}

TEST_F(Abi, HandleAndTextsOutliveDestroy)
{
    ASSERT_EQ(tarn_init(), TARN_OK);
    ASSERT_EQ(tarn_setPrinterList(R"([{"printerName":"a","ip":"x"}])"), TARN_OK);
    void* handle = nullptr;
    char* list = nullptr;
    ASSERT_EQ(tarn_openPrinter("a", &handle, 0, 0), TARN_OK);
    ASSERT_EQ(tarn_getPrinterList(&list), TARN_OK);
    ASSERT_EQ(tarn_destroy(), TARN_OK);
    int state = 0;
    EXPECT_EQ(tarn_getState(handle, &state), TARN_OK);
    EXPECT_EQ(state, 2);
    EXPECT_NE(std::string(list).find("\"printerName\":\"a\""), std::string::npos);
    EXPECT_EQ(tarn_closePrinter(&handle), TARN_OK);
    EXPECT_EQ(tarn_freePrinterList(&list), TARN_OK);
    EXPECT_EQ(list, nullptr);
}

TEST_F(Abi, ModelsTextStaysTheSameAndMayEvenBeHandedBack)
{
    ASSERT_EQ(tarn_init(), TARN_OK);
    char* first = nullptr;
    char* second = nullptr;
    ASSERT_EQ(tarn_getModels(&first), TARN_OK);
    ASSERT_EQ(tarn_getModels(&second), TARN_OK);
    EXPECT_EQ(first, second);
    tarn_freeStr(&second);
    EXPECT_STREQ(first, R"([{"model":"自动识别"}])");
}

TEST_F(Abi, ListWithoutPrintersIsAnEmptyArray)
{
    ASSERT_EQ(tarn_init(), TARN_OK);
    for (const char* text : {"null\n", "[]"}) {
        ASSERT_EQ(tarn_setPrinterList(text), TARN_OK);
        char* list = nullptr;
        ASSERT_EQ(tarn_getPrinterList(&list), TARN_OK);
        EXPECT_EQ(taken(list), "[]");
    }
}

// One round of everything that a program calls; false when the printer could not be opened.
bool callEverything(const std::string& list, int detail)
{
    tarn_setPrinterList(list.c_str());
    char* text = nullptr;
    if (tarn_getPrinterList(&text) == TARN_OK) {
        tarn_freePrinterList(&text);
    }
    tarn_getModels(&text);
    void* handle = nullptr;
    if (tarn_openPrinter("a", &handle, detail, 0) != TARN_OK) {
        return false;
    }
    int number = 0;
    tarn_getState(handle, &number);
    tarn_getTotalPages(handle, &number);
    for (const auto getter : {tarn_getInfo, tarn_getSerialNumber, tarn_getStateMessage}) {
        text = nullptr;
        getter(handle, &text);
        tarn_freeStr(&text);
    }
    tarn_closePrinter(&handle);
    return true;
}

TEST_F(Abi, ManyThreadsMayCallEverythingWhileOneStartsAndStops)
{
    std::atomic<bool> done{false};
    std::atomic<unsigned> opened{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&, t] {
            const std::string list = R"([{"printerName":"a","ip":"127.42.2.1"},{"printerName":"b","ip":"x)" +
                                     std::to_string(t) + "\"}]";
            while (!done) {
                opened += callEverything(list, t % 2) ? 1 : 0;
            }
        });
    }
    for (int i = 0; i < 10; ++i) {
        ASSERT_EQ(tarn_init(), TARN_OK);
        const unsigned before = opened;
        while (opened < before + 20) {
            std::this_thread::yield();
        }
        ASSERT_EQ(tarn_destroy(), TARN_OK);
    }
    done = true;
    for (std::thread& thread : threads) {
        thread.join();
    }
}

} // namespace
