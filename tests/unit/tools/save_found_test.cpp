#include "tools/tarn-status/find/save_found.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <future>
#include <sstream>

#include "tests/support/eventually.h"
#include "tests/unit/tools/history/recorded.h"
#include "tools/common/file_error.h"

namespace {

namespace fs = std::filesystem;
using namespace tarnstatus;
using testing::HasSubstr;

constexpr char kList[] = R"([{"ip":"10.0.0.1","manufacturer":"m","model":"x","printerName":"a"}])";
constexpr unsigned kStranger = 65534;

struct stat statusOf(const std::string& file)
{
    struct stat data = {};
    EXPECT_EQ(::lstat(file.c_str(), &data), 0) << file;
    return data;
}

class SaveFound : public testing::Test
{
protected:
    Saved add() { return addToList(m_list, {readingOf("b", 1, {}, "S1", "10.0.0.2")}, m_programLock); }

    // What it complains of; empty where it does not.
    std::string complaint()
    {
        try {
            add();
            return "";
        } catch (const tools::FileError& error) {
            return error.what();
        }
    }

    void write(const std::string& file, const std::string& text) { std::ofstream(file) << text; }
    std::string read(const std::string& file)
    {
        std::ostringstream text;
        text << std::ifstream(file).rdbuf();
        return text.str();
    }

    Directory m_directory;
    const std::string m_list = m_directory.file("list");
    const std::string m_programLock = m_directory.file("kel.lock");
};

TEST_F(SaveFound, KeepsTheModeOfTheList)
{
    write(m_list, kList);
    ASSERT_EQ(::chmod(m_list.c_str(), 0640), 0);
    EXPECT_EQ(add().added, 1U);
    EXPECT_EQ(statusOf(m_list).st_mode & 07777U, 0640U);
    EXPECT_THAT(read(m_list), testing::AllOf(HasSubstr("10.0.0.1"), HasSubstr("10.0.0.2")));
}

TEST_F(SaveFound, ListOfAnotherStaysHisAndSoDoesTheLock)
{
    write(m_list, kList);
    if (::chown(m_list.c_str(), kStranger, kStranger) != 0) {
        GTEST_SKIP() << "needs two users";
    }
    add();
    for (const std::string& file : {m_list, m_list + ".lock"}) {
        EXPECT_EQ(statusOf(file).st_uid, kStranger) << file;
        EXPECT_EQ(statusOf(file).st_gid, kStranger) << file;
    }
}

// In a directory of somebody else's, who made them names of a file that is not his.
TEST_F(SaveFound, NothingThatLiesThereIsGivenAwayOrWrittenOver)
{
    const std::string precious = m_directory.file("precious");
    write(precious, "precious");
    write(m_list, kList);
    fs::create_hard_link(precious, m_list + ".lock");
    fs::create_hard_link(precious, m_list + ".new");
    const bool isRoot = ::geteuid() == 0 && ::chown(m_list.c_str(), kStranger, kStranger) == 0;
    add();
    EXPECT_EQ(read(precious), "precious");
    EXPECT_EQ(statusOf(precious).st_uid, ::geteuid());
    EXPECT_TRUE(!isRoot || statusOf(m_list).st_uid == kStranger);
}

TEST_F(SaveFound, LinkToAListIsFollowedAndStays)
{
    write(m_directory.file("target"), kList);
    fs::create_symlink("target", m_list);
    add();
    EXPECT_TRUE(fs::is_symlink(m_list));
    EXPECT_THAT(read(m_directory.file("target")), HasSubstr("10.0.0.2"));
}

TEST_F(SaveFound, LinkToNothingIsRefusedAndStays)
{
    fs::create_symlink("nothing", m_list);
    EXPECT_THAT(complaint(), HasSubstr("/list is a link that leads to no file: No such file"));
    EXPECT_TRUE(fs::is_symlink(m_list));
    EXPECT_FALSE(fs::exists(m_list + ".lock"));
}

// A lock that cannot be looked at may be held.
TEST_F(SaveFound, ProgramThatIsStartedMeanwhileKeepsItsList)
{
    write(m_list, kList);
    std::string said;
    do { // again, where this machine was too slow for its patience
        fs::remove(m_programLock);
        const int lock = ::open((m_list + ".lock").c_str(), O_RDONLY | O_CREAT | O_CLOEXEC, 0600);
        ASSERT_EQ(::flock(lock, LOCK_EX), 0);
        std::future<std::string> saving = std::async(std::launch::async, [this] { return complaint(); });
        const auto opened = [this] {
            int count = 0;
            for (const auto& entry : fs::directory_iterator("/proc/self/fd")) {
                std::error_code gone;
                count += fs::read_symlink(entry.path(), gone) == m_list + ".lock" ? 1 : 0;
            }
            return count;
        };
        EXPECT_TRUE(kel_test::eventually([&] {
            return opened() == 2 || saving.wait_for(std::chrono::seconds(0)) == std::future_status::ready;
        }));
        fs::create_symlink(m_programLock, m_programLock);
        ::close(lock);
        said = saving.get();
    } while (said.find("saved by somebody else") != std::string::npos);
    EXPECT_THAT(said, HasSubstr("kel is running"));
    EXPECT_EQ(read(m_list), kList);
}

} // namespace
