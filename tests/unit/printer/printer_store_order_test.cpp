// The order in which a save reaches the disk: a machine that loses power at any moment keeps the old list or
// the new one.
#include <boost/filesystem.hpp>
#include <gmock/gmock.h>

#include <fcntl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>

#include "printer/printer_store.h"

namespace fs = boost::filesystem;
using morvik::kel::PrinterContext;
using morvik::kel::PrinterStore;
using ::testing::ElementsAre;

namespace {

std::vector<std::string> steps; // since the test began, of files in its folder
std::string folder;

void note(const std::string& what, const std::string& path)
{
    if (folder.empty()) {
        return;
    }
    if (path == folder) {
        steps.push_back(what + " folder");
    } else if (fs::path(path).parent_path() == folder) {
        steps.push_back(what + " " + fs::path(path).filename().string());
    }
}

std::string pathOf(int descriptor)
{
    return fs::read_symlink("/proc/self/fd/" + std::to_string(descriptor)).string();
}

} // namespace

// In place of the C library's, for the whole test program: noted, then done.
extern "C" int fsync(int descriptor)
{
    note("sync", pathOf(descriptor));
    return static_cast<int>(::syscall(SYS_fsync, descriptor));
}

extern "C" int ftruncate(int descriptor, off_t length) noexcept
{
    note("truncate", pathOf(descriptor));
    return static_cast<int>(::syscall(SYS_ftruncate, descriptor, length));
}

extern "C" int unlink(const char* path) noexcept
{
    note("unlink", path);
    return static_cast<int>(::syscall(SYS_unlinkat, AT_FDCWD, path, 0));
}

namespace {

class StoreOrder : public ::testing::Test
{
protected:
    void SetUp() override
    {
        char name[] = "/tmp/kel-store-order-XXXXXX";
        ASSERT_NE(::mkdtemp(name), nullptr);
        folder = fs::canonical(name).string();
    }
    void TearDown() override
    {
        const fs::path path = folder;
        folder.clear();
        steps.clear();
        fs::remove_all(path);
    }
    static std::string path() { return folder + "/printers.json"; }
};

TEST_F(StoreOrder, JournalIsOnDiskBeforeTheListIsTouchedAndGoesWhenTheListIsThere)
{
    std::ofstream(path()) << "[]";
    PrinterStore(path()).save({PrinterContext(false)});
    EXPECT_THAT(steps,
                ElementsAre("truncate printers.json.journal", "sync printers.json.journal", "sync folder",
                            "truncate printers.json", "sync printers.json", "unlink printers.json.journal"));
}

TEST_F(StoreOrder, CompletedListIsOnDiskBeforeItsJournalGoes)
{
    PrinterStore(path()).save({PrinterContext(false)});
    fs::copy_file(path(), path() + ".journal");
    std::ofstream(path()) << "[{";
    steps.clear();
    PrinterStore store(path());
    EXPECT_EQ(store.load().size(), 1u);
    EXPECT_THAT(steps,
                ElementsAre("truncate printers.json", "sync printers.json", "unlink printers.json.journal"));
}

} // namespace
