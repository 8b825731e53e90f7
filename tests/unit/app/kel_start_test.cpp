// The program as it starts, meets a second instance, lives and ends.
#include <boost/filesystem.hpp>
#include <gmock/gmock.h>

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>

#include "tests/support/eventually.h"
#include "tests/unit/app/kel_process.h"
#include "tests/unit/app/private_tmp.h"

namespace fs = boost::filesystem;
using kel_test::eventually;
using ::testing::HasSubstr;

namespace {

constexpr const char* kLockPath = "/tmp/kel.lock";
constexpr const char* kOffice =
    "[{\"ip\":\"192.168.1.20\",\"manufacturer\":\"MORVIK\",\"model\":\"X1\",\"printerName\":\"office\"}]\n";

std::string contentOf(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(file), {});
}

class KelStart : public KelTest
{
protected:
    static testing::AssertionResult endsWith(KelProcess& kel, int expected)
    {
        const int status = kel.wait();
        if (WIFEXITED(status) && WEXITSTATUS(status) == expected) {
            return testing::AssertionSuccess();
        }
        return testing::AssertionFailure() << "status " << status << ", output: " << kel.output();
    }
    static testing::AssertionResult isAborted(KelProcess& kel)
    {
        const int status = kel.wait();
        if (WIFSIGNALED(status) && WTERMSIG(status) == SIGABRT) {
            return testing::AssertionSuccess();
        }
        return testing::AssertionFailure() << "status " << status << ", output: " << kel.output();
    }
};

TEST_F(KelStart, CreatesTheLockFileAndRunsAndLeavesItBehind)
{
    KelProcess kel(m_folder);
    ASSERT_TRUE(kel.waitUntilRunning()) << kel.output();
    EXPECT_EQ(contentOf(kLockPath), "kel lock file");
    EXPECT_EQ(static_cast<unsigned>(fs::status(kLockPath).permissions()), 0777u);
    EXPECT_EQ(kel.ask("windows"), R"(["MainWindow"])");
    ASSERT_TRUE(kel.quit());
    EXPECT_TRUE(endsWith(kel, 0));
    EXPECT_EQ(contentOf(kLockPath), "kel lock file");
}

TEST_F(KelStart, SecondInstanceExitsWith255AndTheFirstIsUnaffected)
{
    KelProcess first(m_folder);
    ASSERT_TRUE(first.waitUntilRunning()) << first.output();
    const std::string other = m_folder + "/second";
    fs::create_directory(other);
    for (int i = 0; i < 2; ++i) { // the refused one must not take the lock with it
        KelProcess second(other);
        EXPECT_TRUE(endsWith(second, 255));
        EXPECT_EQ(second.output(), "kel.lock cannot be locked.\n");
        EXPECT_FALSE(fs::exists(other + "/data"));
    }
    EXPECT_EQ(first.ask("windows"), R"(["MainWindow"])");
    ASSERT_TRUE(first.quit());
    EXPECT_TRUE(endsWith(first, 0));
}

TEST_F(KelStart, LockIsHeldThroughRefreshesAndPolls)
{
    writePrinters(kOffice);
    KelProcess first(m_folder);
    ASSERT_TRUE(first.waitUntilRunning()) << first.output();
    ASSERT_TRUE(
        eventually([this] { return readFile("calls").find("tarn_closePrinter") != std::string::npos; }));
    const std::string other = m_folder + "/second";
    fs::create_directory(other);
    KelProcess second(other);
    EXPECT_TRUE(endsWith(second, 255));
}

TEST_F(KelStart, FileOfAKilledInstanceIsReused)
{
    KelProcess killed(m_folder);
    ASSERT_TRUE(killed.waitUntilRunning()) << killed.output();
    killed.kill(SIGKILL);
    killed.wait();
    ASSERT_TRUE(fs::exists(kLockPath));
    KelProcess next(m_folder);
    EXPECT_TRUE(next.waitUntilRunning()) << next.output();
}

TEST_F(KelStart, QtsTextsAreChineseAndTheCorrectionsGoBeforeThem)
{
    KelProcess kel(m_folder);
    ASSERT_TRUE(kel.waitUntilRunning()) << kel.output();
    EXPECT_EQ(kel.ask("translate QPlatformTheme Cancel"), R"("取消")");
    EXPECT_EQ(kel.ask("translate QComboBox Open the combo box selection popup"), R"("打开下拉列表")");
    EXPECT_EQ(kel.ask("translate QLineEdit &Undo"), "\"撤销(&U)\""); // Qt's own is another
}

TEST_F(KelStart, WindowsHaveTheProgramsIcon)
{
    KelProcess kel(m_folder);
    ASSERT_TRUE(kel.waitUntilRunning()) << kel.output();
    EXPECT_EQ(kel.ask("icon :/res/start.png"), "true");
    EXPECT_EQ(kel.ask("icon :/res/green.png"), "false");
}

TEST_F(KelStart, FontBesideTheProgramIsTheApplicationsAtElevenPointsAndNormalWeight)
{
    if (std::string(KEL_FONT).empty()) {
        GTEST_SKIP() << "no Chinese font on this machine";
    }
    KelProcess kel(m_folder);
    ASSERT_TRUE(kel.waitUntilRunning()) << kel.output();
    const std::string font = kel.ask("font");
    // Its name is Chinese where the language is.
    EXPECT_THAT(font, ::testing::AnyOf(HasSubstr("\"WenQuanYi Zen Hei\""), HasSubstr("\"文泉驿正黑\"")));
    EXPECT_THAT(font, HasSubstr("\"italic\":false,\"pointSize\":11,\"weight\":50"));
}

TEST_F(KelStart, WithoutThatFontTheDesktopsStays)
{
    fs::create_directories(m_folder + "/bin");
    std::filesystem::copy_file(KEL_PROGRAM, m_folder + "/bin/kel");
    fs::create_directories(m_folder + "/lib");
    fs::create_symlink(KEL_LIB_DIR "/libtwheel.so", m_folder + "/lib/libtwheel.so");
    std::ofstream(m_folder + "/bin/wqy-zenhei.ttf") << "no font";
    KelProcess broken(m_folder, {}, m_folder + "/bin/kel");
    ASSERT_TRUE(broken.waitUntilRunning()) << broken.output();
    EXPECT_EQ(broken.ask("font").find(R"("pointSize":11,)"), std::string::npos);
}

TEST_F(KelStart, EditedModelShowsAfterARestart)
{
    const std::string before =
        R"([{"ip":"192.168.1.20","manufacturer":"MORVIK","model":"X1","printerName":"office"}])";
    const std::string after =
        R"([{"ip":"192.168.1.21","manufacturer":"MORVIK","model":"X2","printerName":"office"}])";
    writePrinters(before);
    KelProcess first(m_folder);
    ASSERT_TRUE(first.waitUntilRunning()) << first.output();
    EXPECT_TRUE(eventually([&] { return first.ask("text lbPrinterModel") == R"("X1")"; }));
    writePrinters(after.substr(0, after.size() - 1) +
                  R"(,{"ip":"192.168.1.22","manufacturer":"MORVIK","model":"X3","printerName":"witness"}])");
    // Once a new printer shows, the edited one was read with it.
    ASSERT_TRUE(eventually([&] { return first.ask("count listPrinter") == "2"; }));
    first.ask("select listPrinter 1");
    EXPECT_EQ(first.ask("text lbPrinterModel"), R"("X3")");
    first.ask("select listPrinter 0");
    EXPECT_EQ(first.ask("text lbPrinterModel"), R"("X1")");
    ASSERT_TRUE(first.quit());
    EXPECT_TRUE(endsWith(first, 0));
    KelProcess second(m_folder);
    ASSERT_TRUE(second.waitUntilRunning()) << second.output();
    ASSERT_TRUE(eventually([&] { return second.ask("count listPrinter") == "2"; }));
    EXPECT_EQ(second.ask("text lbPrinterModel"), R"("X2")");
    EXPECT_EQ(second.ask("text lbPrinterIP"), "\"网络连接(192.168.1.21)\"");
}

TEST_F(KelStart, ClosingTheWindowDoesNotEndTheProgram)
{
    writePrinters(kOffice);
    KelProcess kel(m_folder);
    ASSERT_TRUE(kel.waitUntilRunning()) << kel.output();
    kel.ask("close MainWindow");
    EXPECT_EQ(kel.ask("windows"), "[]");
    // It lives on and goes on polling.
    const auto polls = [this] {
        const std::string calls = readFile("calls");
        std::size_t count = 0;
        for (std::size_t at = 0; (at = calls.find("tarn_openPrinter office", at)) != std::string::npos;
             ++at) {
            ++count;
        }
        return count;
    };
    EXPECT_TRUE(eventually([&] { return polls() >= 2; }));
    kel.ask("trigger 显示主界面");
    EXPECT_EQ(kel.ask("windows"), R"(["MainWindow"])");
}

TEST_F(KelStart, ShowsThePrintersOfTheListWithTheirStatus)
{
    writePrinters(kOffice);
    setScript(R"({"printers":{"office":{"state":3,"stateMessage":"就绪-一切正常","serialNumber":"SN-77"}}})");
    KelProcess kel(m_folder);
    ASSERT_TRUE(kel.waitUntilRunning()) << kel.output();
    EXPECT_TRUE(eventually([&] { return kel.ask("text lbPrinterState") == R"("[3]就绪")"; }));
    EXPECT_EQ(kel.ask("text lbID"), R"("SN-77")");
    EXPECT_THAT(kel.ask("rows listPrinter"), HasSubstr(R"("text":"office")"));
    // An answer that changes shows by itself.
    setScript(R"({"printers":{"office":{"state":4,"stateMessage":"打印中"}}})");
    EXPECT_TRUE(eventually([&] { return kel.ask("text lbPrinterState") == R"("[4]打印中")"; }));
    const std::string green = kel.ask("rows listPrinter");
    EXPECT_THAT(green, HasSubstr(R"("icon":"#)")); // so the resources are there
    setScript(R"({"printers":{"office":{"stateMessage":""}}})");
    EXPECT_TRUE(eventually([&] { return kel.ask("rows listPrinter") != green; }));
}

TEST_F(KelStart, EditedFileReachesTheListByItself)
{
    KelProcess kel(m_folder);
    ASSERT_TRUE(kel.waitUntilRunning()) << kel.output();
    EXPECT_EQ(kel.ask("rows listPrinter"), "[]");
    writePrinters(kOffice);
    EXPECT_TRUE(eventually([&] { return kel.ask("rows listPrinter") != "[]"; }));
}

TEST_F(KelStart, ListLivesUnderTheDataDirectoryWithoutTheProgramsName)
{
    KelProcess kel(m_folder);
    ASSERT_TRUE(kel.waitUntilRunning()) << kel.output();
    EXPECT_EQ(contentOf(printersFile()), "[]");
}

TEST_F(KelStart, WithoutXdgDataHomeTheListLivesInLocalShare)
{
    KelProcess kel(m_folder, {{"XDG_DATA_HOME", ""}, {"HOME", m_folder + "/home"}});
    ASSERT_TRUE(kel.waitUntilRunning()) << kel.output();
    EXPECT_EQ(contentOf(m_folder + "/home/.local/share/Morvik/kel/printers.json"), "[]");
}

TEST_F(KelStart, WithoutALibraryTheWindowIsEmptyAndAlive)
{
    writePrinters(kOffice);
    KelProcess kel(m_folder, {{"TARN_DIR", "/nowhere"}});
    ASSERT_TRUE(kel.waitUntilRunning()) << kel.output();
    EXPECT_EQ(kel.ask("windows"), R"(["MainWindow"])");
    EXPECT_EQ(kel.ask("rows listPrinter"), "[]");
    kel.ask("click pbtnEditPrinterList");
    EXPECT_TRUE(eventually([&] { return kel.output().find("tarner failed:  1") != std::string::npos; }));
    ASSERT_TRUE(kel.quit());
    EXPECT_TRUE(endsWith(kel, 0));
    EXPECT_EQ(contentOf(printersFile()), kOffice);
}

TEST_F(KelStart, LibraryAndFontAreLookedForBesideTheProgram)
{
    fs::create_directories(m_folder + "/bin");
    fs::create_directories(m_folder + "/lib");
    std::filesystem::copy_file(KEL_PROGRAM, m_folder + "/bin/kel");
    fs::create_symlink(SCRIPTED_TARN_DIR "/libtarn.so", m_folder + "/lib/libtarn.so");
    fs::create_symlink(KEL_LIB_DIR "/libtwheel.so", m_folder + "/lib/libtwheel.so");
    // No font there: the desktop's own stays, and the program starts.
    KelProcess kel(m_folder, {{"TARN_DIR", ""}}, m_folder + "/bin/kel");
    ASSERT_TRUE(kel.waitUntilRunning()) << kel.output();
    EXPECT_THAT(readFile("calls"), HasSubstr("tarn_setOptions"));
    ASSERT_TRUE(kel.quit());
    EXPECT_TRUE(endsWith(kel, 0));
}

TEST_F(KelStart, LockFileThatCannotBeOpenedEndsTheProgram)
{
    fs::create_directory(kLockPath);
    KelProcess kel(m_folder);
    EXPECT_TRUE(isAborted(kel));
    EXPECT_FALSE(fs::exists(m_folder + "/data"));
}

TEST_F(KelStart, DataDirectoryThatCannotBeCreatedEndsTheProgram)
{
    writeFile("data", "a file");
    KelProcess kel(m_folder);
    EXPECT_TRUE(isAborted(kel));
}

TEST_F(KelStart, ListThatCannotBeSavedLeavesTheEditorOpen)
{
    KelProcess kel(m_folder);
    ASSERT_TRUE(kel.waitUntilRunning()) << kel.output();
    ASSERT_EQ(kel.ask("click pbtnEditPrinterList").find("error"), std::string::npos);
    kel.ask("type ledtName office");
    for (int octet = 0; octet < 4; ++octet) {
        kel.ask("type ledtIP/" + std::to_string(octet) + " 10");
    }
    kel.ask("click pbtnAdd");
    fs::remove(printersFile());
    fs::create_directory(printersFile());
    kel.ask("click pbtnOk");
    EXPECT_TRUE(
        eventually([&] { return kel.output().find("cannot save the printer list") != std::string::npos; }));
    EXPECT_THAT(kel.ask("windows"), HasSubstr("AddPrinterPage"));
    fs::remove(printersFile());
    kel.ask("click pbtnOk");
    EXPECT_TRUE(eventually([&] { return kel.ask("windows") == R"(["MainWindow"])"; }));
    EXPECT_THAT(contentOf(printersFile()), HasSubstr("\"printerName\":\"office\""));
    EXPECT_EQ(contentOf(printersFile()).find("10.10.10.10"), std::string("[{\"ip\":\"").size());
}

} // namespace
