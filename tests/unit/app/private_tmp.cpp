#include "tests/unit/app/private_tmp.h"

#include <boost/filesystem.hpp>

#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>

namespace fs = boost::filesystem;

namespace {

std::string whyNot = "not set up";

const ::testing::Environment* const registered = ::testing::AddGlobalTestEnvironment(new PrivateTmp);

} // namespace

void PrivateTmp::SetUp()
{
    ASSERT_NE(registered, nullptr);
    const bool isAllowed = ::unshare(CLONE_NEWNS) == 0 || ::unshare(CLONE_NEWUSER | CLONE_NEWNS) == 0;
    if (isAllowed && ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
        ::mount("tmpfs", "/tmp", "tmpfs", 0, "mode=1777") == 0)
        whyNot.clear();
    else
        whyNot = std::string("no /tmp of our own: ") + std::strerror(errno);
}

const std::string& PrivateTmp::failure()
{
    return whyNot;
}

void KelTest::SetUp()
{
    if (!PrivateTmp::failure().empty())
        GTEST_SKIP() << PrivateTmp::failure();
    std::string pattern = "/tmp/kel-run-XXXXXX";
    ASSERT_NE(::mkdtemp(pattern.data()), nullptr);
    m_folder = pattern;
    ::unlink("/tmp/kel.lock");
}

void KelTest::TearDown()
{
    if (!m_folder.empty())
        fs::remove_all(m_folder);
    fs::remove_all("/tmp/kel.lock");
}

void KelTest::writeFile(const std::string& name, const std::string& content) const
{
    std::ofstream(m_folder + "/" + name, std::ios::binary) << content;
}

std::string KelTest::readFile(const std::string& name) const
{
    std::ifstream file(m_folder + "/" + name, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(file), {});
}

void KelTest::setScript(const std::string& json) const
{
    writeFile("script.new", json);
    ASSERT_EQ(std::rename((m_folder + "/script.new").c_str(), (m_folder + "/script.json").c_str()), 0);
}

void KelTest::writePrinters(const std::string& text) const
{
    fs::create_directories(fs::path(printersFile()).parent_path());
    std::ofstream(printersFile(), std::ios::binary) << text;
}
