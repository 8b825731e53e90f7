// Programs that are killed while they save, save at the same time, or find the disk full.
#include <boost/filesystem.hpp>
#include <gtest/gtest.h>

#include <fcntl.h>
#include <sched.h>
#include <signal.h>
#include <spawn.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <random>
#include <thread>

#include "printer/printer_store.h"
#include "tests/support/own_namespaces.h"

namespace fs = boost::filesystem;
using morvik::kel::PrinterContext;
using morvik::kel::PrinterStore;

namespace {

// A store_saver process.
class Saver
{
public:
    Saver(const std::string& path, unsigned seed, const std::string& count = {})
    {
        int ends[2];
        EXPECT_EQ(::pipe2(ends, O_CLOEXEC), 0);
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
        const std::string seedText = std::to_string(seed);
        char* const argv[] = {const_cast<char*>(STORE_SAVER), const_cast<char*>(path.c_str()),
                              const_cast<char*>(seedText.c_str()),
                              count.empty() ? nullptr : const_cast<char*>(count.c_str()), nullptr};
        EXPECT_EQ(::posix_spawn(&m_pid, STORE_SAVER, &actions, nullptr, argv, environ), 0);
        posix_spawn_file_actions_destroy(&actions);
        ::close(ends[1]);
        m_output = ends[0];
    }
    ~Saver() { ::close(m_output); }
    Saver(const Saver&) = delete;
    Saver& operator=(const Saver&) = delete;

    void waitForFirstSave() const
    {
        char byte = 0;
        EXPECT_EQ(::read(m_output, &byte, 1), 1);
    }
    bool isRunning() const
    {
        siginfo_t ended = {};
        return ::waitid(P_PID, static_cast<id_t>(m_pid), &ended, WEXITED | WNOHANG | WNOWAIT) == 0 &&
               ended.si_pid == 0;
    }
    void kill() const { ::kill(m_pid, SIGKILL); }
    int wait() const
    {
        int status = 0;
        EXPECT_EQ(::waitpid(m_pid, &status, 0), m_pid);
        return status;
    }

private:
    pid_t m_pid = -1;
    int m_output = -1;
};

// Whether a list is one that somebody saved, from its first printer to its last.
testing::AssertionResult isOneWholeList(const std::vector<PrinterContext>& list)
{
    if (list.empty()) {
        return testing::AssertionFailure() << "nobody saved an empty list";
    }
    for (std::size_t i = 0; i < list.size(); ++i) {
        if (list[i].model != std::to_string(list.size()) || list[i].manufacturer != list[0].manufacturer ||
            list[i].printerName != "printer-" + std::to_string(i)) {
            return testing::AssertionFailure() << "printer " << i << " of " << list.size() << " is of list "
                                               << list[i].manufacturer << " with " << list[i].model;
        }
    }
    return testing::AssertionSuccess();
}

class PrinterStoreCrash : public ::testing::Test
{
protected:
    void SetUp() override
    {
        std::string pattern = (fs::temp_directory_path() / "kel-crash-XXXXXX").string();
        ASSERT_NE(::mkdtemp(pattern.data()), nullptr);
        m_dir = pattern;
        m_path = (m_dir / "printers.json").string();
    }
    void TearDown() override { fs::remove_all(m_dir); }

    std::string fileText() const
    {
        std::ifstream file(m_path, std::ios::binary);
        return std::string(std::istreambuf_iterator<char>(file), {});
    }

    fs::path m_dir;
    std::string m_path;
};

// KEL_STORE_KILLS sets the number of kills (./scripts/test --all: 2000).
TEST_F(PrinterStoreCrash, KilledAtRandomMomentsTheNextLoadHasAWholeList)
{
    const char* const wanted = std::getenv("KEL_STORE_KILLS");
    const int kills = wanted != nullptr ? std::atoi(wanted) : 150;
    const unsigned seed = std::random_device()();
    std::cout << "seed " << seed << ", " << kills << " kills\n";
    std::mt19937 random(seed);
    int broken = 0;
    for (int i = 0; i < kills; ++i) {
        const Saver saver(m_path, static_cast<unsigned>(random() % 100'000));
        saver.waitForFirstSave();
        std::this_thread::sleep_for(std::chrono::microseconds(random() % 20'000));
        saver.kill();
        saver.wait();
        const std::string before = fileText();
        broken += before.empty() || before.back() != '\n';
        PrinterStore store(m_path);
        const std::vector<PrinterContext> list = store.load();
        ASSERT_TRUE(isOneWholeList(list)) << "after kill " << i;
        ASSERT_FALSE(fs::exists(m_path + ".journal"));
    }
    std::cout << broken << " of " << kills << " kills left a file that was not whole\n";
    RecordProperty("broken_files_completed", broken);
}

TEST_F(PrinterStoreCrash, TwoProgramsSavingLeaveOneWholeListAtEveryMoment)
{
    const Saver first(m_path, 1, "300");
    const Saver second(m_path, 2, "300");
    first.waitForFirstSave();
    PrinterStore store(m_path);
    long loads = 0;
    for (; first.isRunning() || second.isRunning(); ++loads) {
        EXPECT_TRUE(isOneWholeList(store.load()));
        EXPECT_TRUE(isOneWholeList(PrinterStore(m_path).load()));
    }
    std::cout << loads << " loads\n";
    EXPECT_EQ(first.wait(), 0);
    EXPECT_EQ(second.wait(), 0);
    EXPECT_TRUE(isOneWholeList(store.load()));
    EXPECT_FALSE(fs::exists(m_path + ".journal"));
}

class FullDisk : public PrinterStoreCrash
{
protected:
    // A small tmpfs of this process's own over m_dir.
    void SetUp() override
    {
        PrinterStoreCrash::SetUp();
        const bool isAllowed = kel_test::unshareAs(::getuid(), CLONE_NEWNS);
        if (!isAllowed || ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
            ::mount("tmpfs", m_dir.c_str(), "tmpfs", 0, "size=128k") != 0) {
            GTEST_SKIP() << "no file system of our own to fill: " << std::strerror(errno);
        }
        m_isMounted = true;
    }
    void TearDown() override
    {
        if (m_isMounted) {
            ::umount2(m_dir.c_str(), MNT_DETACH);
        }
        PrinterStoreCrash::TearDown();
    }

    // Leaves room for so many 4 KiB pages.
    void fillUpTo(std::size_t freePages) const
    {
        fs::remove(m_dir / "filler");
        std::ofstream filler((m_dir / "filler").string(), std::ios::binary);
        const std::size_t room = fs::space(m_dir).available / 4096;
        if (room > freePages) {
            filler << std::string((room - freePages) * 4096, 'x');
        }
    }
    static std::vector<PrinterContext> listOf(std::size_t length, const std::string& number)
    {
        std::vector<PrinterContext> list(length);
        for (std::size_t i = 0; i < length; ++i) {
            list[i].printerName = "printer-" + std::to_string(i);
            list[i].manufacturer = number;
            list[i].model = std::to_string(length);
        }
        return list;
    }

    bool m_isMounted = false;
};

TEST_F(FullDisk, SaveThatFailsKeepsTheOldListAndOneThatSucceedsHasTheNewOne)
{
    int failures = 0;
    int successes = 0;
    for (std::size_t freePages = 0; freePages <= 12; ++freePages) {
        for (const std::size_t newLength : {std::size_t{40}, std::size_t{300}}) {
            fs::remove(m_dir / "filler");
            PrinterStore store(m_path);
            store.save(listOf(120, "old")); // about 9 KB
            fillUpTo(freePages);
            bool isSaved = true;
            try {
                store.save(listOf(newLength, "new"));
            } catch (const fs::filesystem_error& error) {
                isSaved = false;
                EXPECT_EQ(error.code().value(), ENOSPC);
            }
            // Without room for a journal nothing is begun, though the shorter list would fit into the old one's place.
            EXPECT_FALSE(isSaved && freePages == 0);
            (isSaved ? successes : failures)++;
            const std::vector<PrinterContext> list = PrinterStore(m_path).load();
            EXPECT_TRUE(isOneWholeList(list)) << freePages;
            ASSERT_FALSE(list.empty()) << freePages;
            EXPECT_EQ(list[0].manufacturer, isSaved ? "new" : "old") << freePages;
            EXPECT_FALSE(fs::exists(m_path + ".journal")) << freePages;
        }
    }
    EXPECT_GT(failures, 5);
    EXPECT_GT(successes, 5);
}

TEST_F(FullDisk, FreshFileThatCannotBeWrittenIsAnEmptyList)
{
    fillUpTo(0);
    EXPECT_TRUE(PrinterStore(m_path).load().empty());
    EXPECT_THROW(PrinterStore(m_path).save(listOf(3, "new")), fs::filesystem_error);
    EXPECT_TRUE(PrinterStore(m_path).load().empty());
    fs::remove(m_dir / "filler");
    PrinterStore(m_path).save(listOf(3, "new"));
    EXPECT_EQ(PrinterStore(m_path).load().size(), 3u);
}

} // namespace
