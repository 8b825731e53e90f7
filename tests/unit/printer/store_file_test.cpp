#include "printer/store_file.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <string>

using morvik::kel::StoreFile;

namespace {

class StoreFileTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        m_path = testing::TempDir() + "kel-store-file-XXXXXX";
        const int descriptor = ::mkstemp(m_path.data());
        ASSERT_GE(descriptor, 0);
        ::close(descriptor);
    }
    void TearDown() override { ::unlink(m_path.c_str()); }

    std::string read() const
    {
        std::string text = "what was there before";
        EXPECT_TRUE(StoreFile::open(m_path, O_RDONLY).readAll(text));
        return text;
    }

    std::string m_path;
};

TEST_F(StoreFileTest, ContentIsReplacedByLongerShorterAndNone)
{
    const StoreFile file = StoreFile::open(m_path, O_WRONLY);
    for (const std::string& text :
         {std::string("a"), std::string(200'000, 'b'), std::string("c"), std::string()}) {
        ASSERT_TRUE(file.replaceContent(text));
        EXPECT_EQ(read(), text);
    }
    EXPECT_TRUE(file.isEmpty());
}

// A list of ten thousand printers takes its own length in memory, not twice that.
TEST_F(StoreFileTest, WhatIsReadTakesNoMoreRoomThanItNeeds)
{
    const std::string text(100'000, 'x');
    ASSERT_TRUE(StoreFile::open(m_path, O_WRONLY).replaceContent(text));
    EXPECT_EQ(read(), text);
    EXPECT_LT(read().capacity(), text.size() + 1000);
}

// Only root may give a file away; to whom it belongs already anybody may.
TEST_F(StoreFileTest, OwnerAndModeAreThoseOfTheOtherFile)
{
    const std::string otherPath = m_path + ".other";
    const StoreFile file = StoreFile::open(m_path, O_WRONLY);
    const StoreFile other = StoreFile::open(otherPath, O_WRONLY | O_CREAT, 0600);
    ASSERT_EQ(::chmod(otherPath.c_str(), 0640), 0);
    const bool isForeign = ::chown(otherPath.c_str(), 65534, static_cast<gid_t>(-1)) == 0;
    const uid_t owner = isForeign ? 65534 : ::geteuid();
    EXPECT_TRUE(file.takeOwnerOf(other));
    EXPECT_TRUE(file.takeModeOf(other));
    struct stat data = {};
    ASSERT_EQ(::stat(m_path.c_str(), &data), 0);
    EXPECT_EQ(data.st_uid, owner);
    EXPECT_EQ(data.st_mode & 07777, 0640u);
    EXPECT_FALSE(file.takeOwnerOf(StoreFile()));
    EXPECT_FALSE(file.takeModeOf(StoreFile()));
    EXPECT_FALSE(StoreFile().takeOwnerOf(other));
    EXPECT_FALSE(StoreFile().takeModeOf(other));
    ::unlink(otherPath.c_str());
}

// Number 0 is a descriptor like any other where nobody has it for standard input.
TEST_F(StoreFileTest, IsClosedWhateverItsNumber)
{
    const int input = ::fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 3);
    ::close(STDIN_FILENO);
    errno = EINTR; // of some call before
    EXPECT_TRUE(StoreFile::open(m_path, O_RDONLY).isOpen());
    EXPECT_EQ(::fcntl(STDIN_FILENO, F_GETFD), -1);
    morvik::kel::syncDirectoryOf(m_path);
    EXPECT_EQ(::fcntl(STDIN_FILENO, F_GETFD), -1);
    if (input >= 0) {
        ::dup2(input, STDIN_FILENO);
        ::close(input);
    }
}

} // namespace
