#include "tarn/src/base/file_keeper.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <functional>

#include "tarn/src/base/files.h"
#include "tarn/src/base/wakeup_fd.h"
#include "tests/support/eventually.h"
#include "tests/support/own_threads.h"
#include "tests/unit/tarn/support/no_descriptors.h"
#include "tests/unit/tarn/support/scratch_directory.h"
#include "tests/unit/tarn/support/stalled_rename.h"

namespace {

// What another process does just before the next lock is taken; set while no other thread takes any.
std::function<void(int)> beforeTheNextLock;

} // namespace

extern "C" int flock(int descriptor, int operation) noexcept
{
    if (beforeTheNextLock) {
        std::exchange(beforeTheNextLock, nullptr)(descriptor);
    }
    return static_cast<int>(::syscall(SYS_flock, descriptor, operation));
}

namespace tarn {
namespace {

using kel_test::eventually;

FileKeeper::Deadline inAMinute()
{
    return std::chrono::steady_clock::now() + std::chrono::minutes(1);
}

FileKeeper::Deadline now()
{
    return std::chrono::steady_clock::now();
}

// One file, and its keeper.
class OneFile final
{
public:
    OneFile(std::string path, Milliseconds retry) : m_keeper(retry), m_file(m_keeper, std::move(path), 1000)
    {
    }
    KeptFile* operator->() { return &m_file; }
    bool stop(FileKeeper::Deadline deadline) { return m_keeper.stop(deadline); }

private:
    FileKeeper m_keeper;
    KeptFile m_file;
};

class FileKeeperTest : public testing::Test
{
protected:
    OneFile keeper(Milliseconds retry = FileKeeper::kFirstRetry) { return {scratch.path("dir/file"), retry}; }
    std::size_t entries() const
    {
        return static_cast<std::size_t>(
            std::distance(std::filesystem::directory_iterator(scratch.path("dir")), {}));
    }

    test::ScratchDirectory scratch;
};

TEST_F(FileKeeperTest, HandsOverWhatIsThereOnceAndAnAbsentFileAsAnEmptyOne)
{
    OneFile files = keeper();
    EXPECT_FALSE(files->takeText().has_value()); // nobody ordered it
    ASSERT_TRUE(files->read());
    ASSERT_TRUE(files->awaitText(inAMinute()));
    const std::optional<FileText> absent = files->takeText();
    ASSERT_TRUE(absent.has_value());
    EXPECT_EQ(absent->error, ReadError::Absent);
    EXPECT_EQ(absent->text, "");
    EXPECT_FALSE(files->takeText().has_value());
    scratch.write("dir/file", "text");
    ASSERT_TRUE(files->read());
    ASSERT_TRUE(files->awaitText(inAMinute()));
    const std::optional<FileText> there = files->takeText();
    ASSERT_TRUE(there.has_value());
    EXPECT_EQ(there->error, ReadError::None);
    EXPECT_EQ(there->text, "text");
}

TEST_F(FileKeeperTest, FileThatCannotBeReadNowIsNotAnEmptyOne)
{
    scratch.write("dir/file", "text");
    OneFile files = keeper();
    {
        const test::NoDescriptors none;
        ASSERT_TRUE(files->read());
        ASSERT_TRUE(files->awaitText(inAMinute()));
    }
    const std::optional<FileText> file = files->takeText();
    ASSERT_TRUE(file.has_value());
    EXPECT_EQ(file->error, ReadError::Unreadable);
}

TEST_F(FileKeeperTest, NobodyWaitsForWhatAnotherHasTaken)
{
    OneFile files = keeper();
    ASSERT_TRUE(files->read());
    ASSERT_TRUE(eventually([&] { return files->takeText().has_value(); }));
    EXPECT_TRUE(files->awaitText(inAMinute()));
}

TEST_F(FileKeeperTest, OneThreadServesFromTheFirstOrderUntilStop)
{
    OneFile files = keeper();
    EXPECT_EQ(kel_test::ownThreads("tarn-files"), 0);
    for (const char* text : {"one", "two"}) {
        ASSERT_TRUE(files->replace(text));
        EXPECT_TRUE(eventually([&] { return scratch.read("dir/file") == text; }));
        EXPECT_EQ(kel_test::ownThreads("tarn-files"), 1);
    }
    std::atomic<pid_t> first{0};
    std::atomic<pid_t> second{0};
    for (std::atomic<pid_t>* const thread : {&first, &second}) {
        ASSERT_TRUE(files->carryOut([thread] {
            *thread = ::gettid();
            return true;
        }));
        ASSERT_TRUE(eventually([&] { return thread->load() != 0; }));
    }
    EXPECT_EQ(first, second);
    EXPECT_TRUE(files.stop(inAMinute()));
    EXPECT_TRUE(eventually([] { return kel_test::ownThreads("tarn-files") == 0; }));
}

TEST_F(FileKeeperTest, FilesOfOneKeeperShareItsThreadAndEachHasItsOwnOrders)
{
    scratch.write("dir/second", "there");
    FileKeeper both;
    KeptFile first(both, scratch.path("dir/first"), 1000);
    KeptFile second(both, scratch.path("dir/second"), 1000);
    ASSERT_TRUE(first.replace("one"));
    ASSERT_TRUE(second.read());
    ASSERT_TRUE(second.awaitText(inAMinute()));
    EXPECT_FALSE(first.awaitText(now()));
    EXPECT_EQ(second.takeText()->text, "there");
    ASSERT_TRUE(second.replace("two"));
    EXPECT_TRUE(eventually(
        [&] { return scratch.read("dir/first") == "one" && scratch.read("dir/second") == "two"; }));
    EXPECT_EQ(kel_test::ownThreads("tarn-files"), 1);
    EXPECT_TRUE(both.stop(inAMinute()));
    EXPECT_FALSE(first.replace("later"));
    EXPECT_FALSE(second.read());
}

TEST_F(FileKeeperTest, AFileThatIsTriedAgainLaterHoldsNoOtherUp)
{
    FileKeeper both(std::chrono::hours(1));
    KeptFile hopeless(both, scratch.path("dir/hopeless"), 1000);
    KeptFile other(both, scratch.path("dir/file"), 1000);
    std::atomic<int> tries{0};
    ASSERT_TRUE(hopeless.carryOut([&tries] {
        ++tries;
        return false;
    }));
    ASSERT_TRUE(eventually([&] { return tries == 1; }));
    ASSERT_TRUE(other.read());
    EXPECT_TRUE(other.awaitText(inAMinute()));
    ASSERT_TRUE(other.replace("text"));
    EXPECT_TRUE(eventually([&] { return scratch.read("dir/file") == "text"; }));
    EXPECT_EQ(tries, 1);
    EXPECT_TRUE(both.stop(inAMinute()));
    EXPECT_EQ(tries, 2); // the last one
}

TEST_F(FileKeeperTest, StopWaitsForWhatIsStillToBeWrittenAndThenNothingIsTaken)
{
    OneFile files = keeper();
    ASSERT_TRUE(files->replace("last"));
    EXPECT_TRUE(files.stop(inAMinute()));
    EXPECT_EQ(scratch.read("dir/file"), "last");
    EXPECT_FALSE(files->replace("later"));
    EXPECT_FALSE(files->read());
    EXPECT_FALSE(files->awaitText(inAMinute()));
    EXPECT_TRUE(files.stop(inAMinute()));
}

TEST_F(FileKeeperTest, StalledFileSystemHoldsNobodyUp)
{
    test::StalledRename stall;
    OneFile files = keeper();
    ASSERT_TRUE(files->replace("one"));
    ASSERT_TRUE(stall.awaitVictim());
    EXPECT_TRUE(files->replace("two")); // these return, though nothing is written
    EXPECT_TRUE(files->replace("three"));
    EXPECT_TRUE(files->read());
    EXPECT_FALSE(files->awaitText(now()));
    stall.release();
    EXPECT_TRUE(files.stop(inAMinute()));
    EXPECT_EQ(scratch.read("dir/file"), "three");
    EXPECT_EQ(entries(), 1U);
}

TEST_F(FileKeeperTest, ThreadThatIsHeldUpIsLeftBehindAndFinishesOnItsOwn)
{
    test::StalledRename stall;
    {
        OneFile files = keeper();
        ASSERT_TRUE(files->replace("late"));
        ASSERT_TRUE(stall.awaitVictim());
        EXPECT_FALSE(files.stop(now()));
        EXPECT_FALSE(files.stop(now()));
    }
    EXPECT_TRUE(stall.hasVictim());
    stall.release();
    EXPECT_TRUE(eventually([&] { return scratch.read("dir/file") == "late"; }));
    EXPECT_TRUE(eventually([] { return kel_test::ownThreads("tarn-files") == 0; }));
}

TEST_F(FileKeeperTest, WhatCouldNotBeWrittenIsTriedAgainUntilItIs)
{
    scratch.write("dir", "a file where the directory should be");
    OneFile files = keeper(Milliseconds(1));
    ASSERT_TRUE(files->replace("text"));
    EXPECT_TRUE(eventually([] { return kel_test::ownThreads("tarn-files") == 1; }));
    std::filesystem::remove(scratch.path("dir"));
    EXPECT_TRUE(eventually([&] { return scratch.read("dir/file") == "text"; }));
    EXPECT_TRUE(files.stop(inAMinute()));
}

TEST_F(FileKeeperTest, ANewerTextDoesNotWaitForTheNextTryOfAnOlderOneAndStopDoesNeither)
{
    scratch.write("dir", "a file where the directory should be");
    OneFile files = keeper(std::chrono::hours(1));
    ASSERT_TRUE(files->replace("old"));
    // Time to fail in; on a machine that needs longer the test shows less.
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    std::filesystem::remove(scratch.path("dir"));
    ASSERT_TRUE(files->replace("new"));
    EXPECT_TRUE(eventually([&] { return scratch.read("dir/file") == "new"; }));
    std::filesystem::remove_all(scratch.path("dir"));
    scratch.write("dir", "a file again");
    ASSERT_TRUE(files->replace("last"));
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    std::filesystem::remove(scratch.path("dir"));
    EXPECT_TRUE(files.stop(inAMinute()));
    EXPECT_EQ(scratch.read("dir/file"), "last");
}

TEST_F(FileKeeperTest, LeftoversOfKilledWritersGoAtTheNextWriteAndThoseOfLiveOnesStay)
{
    scratch.write("dir/file.tmp.Ab12Cd", "half a t");
    scratch.write("dir/file.tmp.Live12", "being written");
    for (const char* other :
         {"dir/file", "dir/file.backup", "dir/file.longer7", "dir/other.Ab12Cd", "dir/file_Ab12Cd"}) {
        scratch.write(other, "another's");
    }
    std::filesystem::create_directory(scratch.path("dir/file.tmp.Direct"));
    ASSERT_EQ(::mkfifo(scratch.path("dir/file.tmp.aFifo1").c_str(), 0600), 0);
    const int live = ::open(scratch.path("dir/file.tmp.Live12").c_str(), O_WRONLY | O_CLOEXEC);
    ASSERT_EQ(::flock(live, LOCK_EX | LOCK_NB), 0);
    OneFile files = keeper();
    ASSERT_TRUE(files->read());
    ASSERT_TRUE(files->awaitText(inAMinute()));
    EXPECT_EQ(entries(), 9U); // who only reads removes nothing
    ASSERT_TRUE(files->replace("new"));
    ASSERT_TRUE(files.stop(inAMinute()));
    EXPECT_EQ(scratch.read("dir/file"), "new");
    EXPECT_FALSE(std::filesystem::exists(scratch.path("dir/file.tmp.Ab12Cd")));
    EXPECT_FALSE(std::filesystem::exists(scratch.path("dir/file.tmp.aFifo1"))); // did not hold it up
    EXPECT_TRUE(std::filesystem::exists(scratch.path("dir/file.tmp.Live12")));
    EXPECT_TRUE(std::filesystem::exists(scratch.path("dir/file.tmp.Direct")));
    EXPECT_EQ(entries(), 7U);
    ::close(live);
}

// What the one takes for a leftover before the other has its lock on it, the other begins again.
TEST_F(FileKeeperTest, WriterHoldsALockThatTellsItFromALeftover)
{
    scratch.write("dir/file", "old");
    const std::string text(1u << 16, 'x');
    std::atomic<bool> done{false};
    int failures = 0;
    std::thread cleaner([&] {
        while (!done) {
            removeLeftovers(scratch.path("dir/file"));
        }
    });
    for (int i = 0; i < 50; ++i) {
        failures += replaceFile(scratch.path("dir/file"), text) ? 0 : 1;
    }
    done = true;
    cleaner.join();
    EXPECT_EQ(failures, 0);
    EXPECT_EQ(entries(), 1U);
}

void removeFileOf(int descriptor)
{
    std::filesystem::remove(std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(descriptor)));
}

TEST_F(FileKeeperTest, TemporaryFileThatWasRemovedBeforeItsLockWasOnIsBegunAgain)
{
    beforeTheNextLock = &removeFileOf;
    EXPECT_TRUE(replaceFile(scratch.path("dir/file"), "text"));
    EXPECT_FALSE(beforeTheNextLock);
    EXPECT_EQ(scratch.read("dir/file"), "text");
    EXPECT_EQ(entries(), 1U);
}

// As for a program that was started without standard input.
class NoStandardInput final
{
public:
    NoStandardInput() : m_saved(::fcntl(0, F_DUPFD_CLOEXEC, 3)) { ::close(0); }
    ~NoStandardInput()
    {
        ::dup2(m_saved, 0);
        ::close(m_saved);
    }
    NoStandardInput(const NoStandardInput&) = delete;
    NoStandardInput& operator=(const NoStandardInput&) = delete;
    static bool isFree() { return ::fcntl(0, F_GETFD) < 0; }

private:
    const int m_saved;
};

TEST(DescriptorZero, IsOneLikeAnyOther)
{
    const test::ScratchDirectory directory;
    const std::string path = directory.path("list");
    const NoStandardInput none;
    ASSERT_TRUE(NoStandardInput::isFree());
    EXPECT_TRUE(replaceFile(path, "text"));
    EXPECT_TRUE(NoStandardInput::isFree());
    beforeTheNextLock = &removeFileOf;
    EXPECT_TRUE(replaceFile(path, "text"));
    EXPECT_FALSE(beforeTheNextLock);
    EXPECT_EQ(readFile(path, 100).text, "text");
    EXPECT_TRUE(NoStandardInput::isFree());
    {
        WakeupFd wakeup;
        EXPECT_TRUE(wakeup.open());
        EXPECT_FALSE(NoStandardInput::isFree());
    }
    EXPECT_TRUE(NoStandardInput::isFree());
    {
        const FileTurn turn(path, std::chrono::milliseconds(0));
        EXPECT_FALSE(NoStandardInput::isFree());
        const int other = ::open(directory.path("").c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        EXPECT_NE(::flock(other, LOCK_EX | LOCK_NB), 0) << "the turn is taken";
        ::close(other);
    }
    EXPECT_TRUE(NoStandardInput::isFree());
}

} // namespace
} // namespace tarn
