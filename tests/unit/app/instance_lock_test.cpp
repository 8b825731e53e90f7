#include "app/instance_lock.h"

#include <boost/filesystem.hpp>
#include <boost/interprocess/exceptions.hpp>
#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <functional>
#include <memory>

namespace fs = boost::filesystem;
using boost::interprocess::interprocess_exception;

namespace {

class InstanceLockTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        std::string pattern = (fs::temp_directory_path() / "kel-lock-XXXXXX").string();
        ASSERT_NE(::mkdtemp(pattern.data()), nullptr);
        m_dir = pattern;
        m_path = (m_dir / "kel.lock").string();
    }
    void TearDown() override
    {
        boost::system::error_code ignored;
        fs::permissions(m_dir, fs::owner_all, ignored);
        fs::remove_all(m_dir);
    }

    std::string content() const
    {
        std::ifstream file(m_path, std::ios::binary);
        return std::string(std::istreambuf_iterator<char>(file), {});
    }
    void write(const std::string& text) const { std::ofstream(m_path, std::ios::binary) << text; }
    unsigned mode() const { return static_cast<unsigned>(fs::status(m_path).permissions()); }

    // The exit status of another process that does this.
    static int inAnotherProcess(const std::function<int()>& work)
    {
        const pid_t pid = ::fork();
        if (pid == 0) {
            ::_exit(work());
        }
        int status = 0;
        EXPECT_EQ(::waitpid(pid, &status, 0), pid);
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }
    bool isLockedForOthers() const
    {
        return inAnotherProcess([this] { return InstanceLock(m_path).tryLock() ? 0 : 1; }) == 1;
    }
    // As a user without root's rights: 0 locked, 1 refused, 2 a file system error, 3 a lock error.
    int tryAsNobody() const
    {
        return inAnotherProcess([this] {
            if (::geteuid() == 0 && (::setegid(65534) != 0 || ::seteuid(65534) != 0)) {
                return 9;
            }
            try {
                return InstanceLock(m_path).tryLock() ? 0 : 1;
            } catch (const fs::filesystem_error&) {
                return 2;
            } catch (const interprocess_exception&) {
                return 3;
            }
        });
    }

    fs::path m_dir;
    std::string m_path;
};

TEST_F(InstanceLockTest, MissingFileIsCreatedForEverybody)
{
    InstanceLock lock(m_path);
    EXPECT_EQ(content(), "kel lock file");
    EXPECT_EQ(mode(), 0777u);
    EXPECT_TRUE(lock.tryLock());
}

TEST_F(InstanceLockTest, OtherProcessesAreRefusedUntilTheLockGoes)
{
    InstanceLock lock(m_path);
    ASSERT_TRUE(lock.tryLock());
    EXPECT_TRUE(isLockedForOthers());
    EXPECT_TRUE(isLockedForOthers()); // the refused one took nothing with it
    lock.unlock();
    EXPECT_FALSE(isLockedForOthers());
    EXPECT_TRUE(fs::exists(m_path));
}

TEST_F(InstanceLockTest, LockGoesWithTheProcessThatHeldIt)
{
    ASSERT_EQ(inAnotherProcess([this] {
                  auto* const lock =
                      new InstanceLock(m_path); // never destroyed, as in a process that is killed
                  return lock->tryLock() ? 0 : 1;
              }),
              0);
    EXPECT_FALSE(isLockedForOthers());
    EXPECT_TRUE(InstanceLock(m_path).tryLock());
}

TEST_F(InstanceLockTest, LockGoesWithTheObject)
{
    {
        InstanceLock lock(m_path);
        ASSERT_TRUE(lock.tryLock());
    }
    EXPECT_FALSE(isLockedForOthers());
}

TEST_F(InstanceLockTest, ExistingFileIsTakenAsItIs)
{
    write("something else, and longer than that");
    ASSERT_EQ(::chmod(m_path.c_str(), 0600), 0);
    InstanceLock lock(m_path);
    EXPECT_TRUE(lock.tryLock());
    EXPECT_EQ(content(), "something else, and longer than that");
    EXPECT_EQ(mode(), 0600u);
}

TEST_F(InstanceLockTest, LockCoversTheWholeFile)
{
    InstanceLock lock(m_path);
    ASSERT_TRUE(lock.tryLock());
    const int probed = inAnotherProcess([this] {
        const int file = ::open(m_path.c_str(), O_RDWR);
        struct flock probe = {};
        probe.l_type = F_WRLCK;
        probe.l_start = 1'000'000;
        probe.l_len = 1;
        ::fcntl(file, F_GETLK, &probe);
        return probe.l_type == F_WRLCK && probe.l_start == 0 && probe.l_len == 0 ? 0 : 1;
    });
    EXPECT_EQ(probed, 0);
}

TEST_F(InstanceLockTest, LinkIsFollowedAndItsTargetNotTruncated)
{
    const std::string target = (m_dir / "precious").string();
    std::ofstream(target) << "precious";
    fs::create_symlink(target, m_path);
    InstanceLock lock(m_path);
    EXPECT_TRUE(lock.tryLock());
    EXPECT_EQ(content(), "precious");
}

TEST_F(InstanceLockTest, DanglingLinkIsCreatedThrough)
{
    const std::string target = (m_dir / "target").string();
    fs::create_symlink(target, m_path);
    InstanceLock lock(m_path);
    EXPECT_TRUE(lock.tryLock());
    EXPECT_EQ(content(), "kel lock file");
    EXPECT_TRUE(fs::is_symlink(m_path));
}

TEST_F(InstanceLockTest, LinkLoopEndsTheProgram)
{
    fs::create_symlink(m_path, m_path);
    EXPECT_THROW(InstanceLock lock(m_path), fs::filesystem_error);
}

TEST_F(InstanceLockTest, DirectoryCannotBeOpenedForWriting)
{
    fs::create_directory(m_path);
    EXPECT_THROW(InstanceLock lock(m_path), interprocess_exception);
}

TEST_F(InstanceLockTest, FifoHangsNobody)
{
    ASSERT_EQ(::mkfifo(m_path.c_str(), 0666), 0);
    InstanceLock lock(m_path); // opened for reading and writing, so it does not wait for a peer
    EXPECT_TRUE(lock.tryLock());
    EXPECT_TRUE(isLockedForOthers());
}

TEST_F(InstanceLockTest, FileThatAnotherUserMayNotWriteCannotBeOpened)
{
    ASSERT_EQ(::chmod(m_dir.c_str(), 0755), 0);
    write("kel lock file");
    ASSERT_EQ(::chmod(m_path.c_str(), ::geteuid() == 0 ? 0644 : 0444), 0);
    EXPECT_EQ(tryAsNobody(), 3);
    EXPECT_EQ(content(), "kel lock file");
}

TEST_F(InstanceLockTest, FileOfAnotherUserThatEverybodyMayWriteIsShared)
{
    ASSERT_EQ(::chmod(m_dir.c_str(), 0755), 0);
    const std::unique_ptr<InstanceLock> mine = std::make_unique<InstanceLock>(m_path);
    EXPECT_EQ(tryAsNobody(), 0);
    ASSERT_TRUE(mine->tryLock());
    EXPECT_EQ(tryAsNobody(), 1);
}

TEST_F(InstanceLockTest, FileThatCannotBeCreatedEndsTheProgram)
{
    ASSERT_EQ(::chmod(m_dir.c_str(), 0555), 0);
    EXPECT_EQ(tryAsNobody(), 2); // its permissions cannot be set
}

} // namespace
