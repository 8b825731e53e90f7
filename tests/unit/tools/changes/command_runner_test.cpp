#include "tools/tarn-status/changes/command_runner.h"

#include <sys/stat.h>

#include <fstream>

#include <gtest/gtest.h>

#include "tests/support/eventually.h"
#include "tests/unit/tools/history/recorded.h"

namespace {

using namespace tarnstatus;
using kel_test::eventually;

class CommandRunnerTest : public testing::Test
{
protected:
    std::string script(const std::string& lines)
    {
        const std::string file = m_directory.file("command $(touch x)");
        std::ofstream(file) << "#!/bin/sh\ncd '" << m_directory.file("") << "'\n" << lines << "\n";
        ::chmod(file.c_str(), 0700);
        return file;
    }

    bool isDone(CommandRunner& runner)
    {
        runner.tend();
        return runner.isIdle();
    }

    std::string content(const std::string& name)
    {
        std::ifstream stream(m_directory.file(name));
        return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
    }

    Directory m_directory;
};

TEST_F(CommandRunnerTest, RunsOneAfterTheOtherInTheirOrder)
{
    CommandRunner runner(script("mkdir running && cat >>all && rmdir running || echo twice >>all"));
    for (const char* const input : {"1\n", "2\n", "3\n"}) {
        runner.add(input);
    }
    ASSERT_TRUE(eventually([&] { return isDone(runner); }));
    EXPECT_EQ(content("all"), "1\n2\n3\n");
    EXPECT_FALSE(std::filesystem::exists(m_directory.file("x"))) << "a shell read its name";
}

TEST_F(CommandRunnerTest, IsNotHeldUpByWhatReadsNothing)
{
    CommandRunner runner(script("exit 3"));
    testing::internal::CaptureStderr();
    runner.add(std::string(10'000'000, 'x'));
    runner.add("2");
    ASSERT_TRUE(eventually([&] { return isDone(runner); }));
    const std::string told = testing::internal::GetCapturedStderr();
    EXPECT_NE(told.find("ended with status 3"), std::string::npos) << told;
}

TEST_F(CommandRunnerTest, GetsAllOfALongInput)
{
    CommandRunner runner(script("wc -c >count"));
    runner.add(std::string(10'000'000, 'x'));
    ASSERT_TRUE(eventually([&] { return isDone(runner); }));
    EXPECT_EQ(content("count"), "10000000\n");
}

TEST_F(CommandRunnerTest, SaysWhatCannotBeRun)
{
    CommandRunner runner(m_directory.file("none"));
    testing::internal::CaptureStderr();
    runner.add("1");
    EXPECT_TRUE(isDone(runner));
    EXPECT_NE(testing::internal::GetCapturedStderr().find("No such file"), std::string::npos);
}

TEST_F(CommandRunnerTest, LeavesOutWhatIsTooMuch)
{
    CommandRunner runner(script("cat >>all"));
    testing::internal::CaptureStderr();
    for (std::size_t i = 0; i < CommandRunner::kMostWaiting + 5; ++i) {
        runner.add("x");
    }
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "tarn-status: " + m_directory.file("command $(touch x)") +
                  " is too slow: changes are left out\n");
}

} // namespace
