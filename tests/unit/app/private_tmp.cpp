#include "tests/unit/app/private_tmp.h"
#include "tests/support/own_namespaces.h"

#include <boost/filesystem.hpp>

#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>

namespace fs = boost::filesystem;

namespace {

std::string whyNot = "not set up";

// A directory below /tmp that has to stay visible: that of the program under test, where the project lies
// there.
class KeptDirectory
{
public:
    explicit KeptDirectory(const std::string& file)
    {
        if (file.compare(0, 5, "/tmp/") != 0) {
            return;
        }
        m_path = file.substr(0, file.find('/', 5));
        m_descriptor = ::open(m_path.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC);
    }
    ~KeptDirectory()
    {
        if (m_descriptor >= 0) {
            ::close(m_descriptor);
        }
    }
    KeptDirectory(const KeptDirectory&) = delete;
    KeptDirectory& operator=(const KeptDirectory&) = delete;

    // Under the new /tmp, at its old path.
    bool bringBack() const
    {
        if (m_descriptor < 0) {
            return true;
        }
        const std::string source = "/proc/self/fd/" + std::to_string(m_descriptor);
        return ::mkdir(m_path.c_str(), 0755) == 0 &&
               ::mount(source.c_str(), m_path.c_str(), nullptr, MS_BIND | MS_REC, nullptr) == 0;
    }

private:
    std::string m_path;
    int m_descriptor = -1;
};

const ::testing::Environment* const registered = ::testing::AddGlobalTestEnvironment(new PrivateTmp);

} // namespace

void PrivateTmp::SetUp()
{
    ASSERT_NE(registered, nullptr);
    const bool isAllowed = kel_test::unshareAs(::getuid(), CLONE_NEWNS);
    const KeptDirectory project(KEL_PROGRAM); // opened in the new namespace: no other can be mounted from
    if (isAllowed && ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
        ::mount("tmpfs", "/tmp", "tmpfs", 0, "mode=1777") == 0 && project.bringBack()) {
        whyNot.clear();
    } else {
        whyNot = std::string("no /tmp of our own: ") + std::strerror(errno);
    }
}

const std::string& PrivateTmp::failure()
{
    return whyNot;
}

void KelTest::SetUp()
{
    if (!PrivateTmp::failure().empty()) {
        GTEST_SKIP() << PrivateTmp::failure();
    }
    std::string pattern = "/tmp/kel-run-XXXXXX";
    ASSERT_NE(::mkdtemp(pattern.data()), nullptr);
    m_folder = pattern;
    ::unlink("/tmp/kel.lock");
}

void KelTest::TearDown()
{
    if (!m_folder.empty()) {
        fs::remove_all(m_folder);
    }
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
