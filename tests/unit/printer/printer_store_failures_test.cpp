// Each call that a save makes of the system fails once, and from then on: whatever the disk answers, no list is lost.
#include "printer/printer_store.h"

#include <boost/filesystem.hpp>
#include <gmock/gmock.h>

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <map>
#include <set>

#include "tests/support/open_descriptors.h"

namespace fs = boost::filesystem;
using morvik::kel::PrinterContext;
using morvik::kel::PrinterStore;
using ::testing::IsSupersetOf;

namespace {

constexpr int kNever = -1;
int untilFailure = kNever; // calls that still succeed
int codeOfFailure = 0;
bool failsFromThenOn = false;
std::string failed;  // the first one
int emptyWrites = 0; // that are still to come

bool failsNow(const char* name)
{
    if (untilFailure == kNever || untilFailure-- > 0) {
        return false;
    }
    untilFailure = failsFromThenOn ? 0 : kNever;
    failed = failed.empty() ? name : failed;
    errno = codeOfFailure;
    return true;
}

template <typename Result, typename... Arguments>
Result call(const char* name, Arguments... arguments)
{
    using Function = Result (*)(Arguments...);
    return failsNow(name) ? Result{-1} : reinterpret_cast<Function>(::dlsym(RTLD_NEXT, name))(arguments...);
}

} // namespace

// In place of the C library's, for the whole test program.
extern "C" {

int open(const char* path, int flags, ...)
{
    va_list more;
    va_start(more, flags);
    const mode_t rights = (flags & O_CREAT) != 0 ? va_arg(more, mode_t) : 0;
    va_end(more);
    using Function = int (*)(const char*, int, ...);
    return failsNow("open") ? -1
                            : reinterpret_cast<Function>(::dlsym(RTLD_NEXT, "open"))(path, flags, rights);
}
int fstat(int descriptor, struct stat* data) noexcept
{
    return call<int>("fstat", descriptor, data);
}
int flock(int descriptor, int operation) noexcept
{
    return call<int>("flock", descriptor, operation);
}
off_t lseek(int descriptor, off_t offset, int whence) noexcept
{
    return call<off_t>("lseek", descriptor, offset, whence);
}
ssize_t read(int descriptor, void* data, std::size_t size)
{
    return call<ssize_t>("read", descriptor, data, size);
}
ssize_t pwrite(int descriptor, const void* data, std::size_t size, off_t offset)
{
    if (emptyWrites > 0) {
        --emptyWrites;
        return 0;
    }
    return call<ssize_t>("pwrite", descriptor, data, size, offset);
}
int ftruncate(int descriptor, off_t length) noexcept
{
    return call<int>("ftruncate", descriptor, length);
}
int fsync(int descriptor)
{
    return call<int>("fsync", descriptor);
}
int fchmod(int descriptor, mode_t mode) noexcept
{
    return call<int>("fchmod", descriptor, mode);
}
int rename(const char* from, const char* to) noexcept
{
    return call<int>("rename", from, to);
}
int unlink(const char* path) noexcept
{
    return call<int>("unlink", path);
}
}

namespace {

PrinterContext printer(const std::string& name)
{
    PrinterContext context(false);
    context.printerName = name;
    context.ip = "10.0.0.1";
    return context;
}

class StoreFailures : public ::testing::Test
{
protected:
    void SetUp() override
    {
        std::string pattern = (fs::temp_directory_path() / "kel-store-failures-XXXXXX").string();
        ASSERT_NE(::mkdtemp(pattern.data()), nullptr);
        m_dir = pattern;
        m_path = (m_dir / "printers.json").string();
    }
    void TearDown() override { fs::remove_all(m_dir); }

    // Calls body with every call of it failing in turn, until it makes no more of them. before() is called first, after()
    // is told whether body threw. Returns the names of what has failed.
    template <typename Before, typename Body, typename After>
    static std::set<std::string> failEachCall(int code, bool fromThenOn, Before before, Body body,
                                              After after)
    {
        std::set<std::string> names;
        for (int succeed = 0;; ++succeed) {
            before();
            codeOfFailure = code;
            failsFromThenOn = fromThenOn;
            failed.clear();
            untilFailure = succeed;
            bool threw = false;
            try {
                body();
            } catch (const fs::filesystem_error&) {
                threw = true;
            }
            untilFailure = kNever;
            if (failed.empty()) {
                EXPECT_FALSE(threw);
                return names;
            }
            const testing::ScopedTrace trace(__FILE__, __LINE__,
                                             failed + ", after " + std::to_string(succeed) + " calls, code " +
                                                 std::to_string(code) +
                                                 (fromThenOn ? ", from then on" : ", once"));
            names.insert(failed);
            after(threw);
        }
    }
    void beginWith(const std::string& name) const
    {
        for (const fs::directory_entry& entry : fs::directory_iterator(m_dir)) {
            fs::remove(entry.path());
        }
        PrinterStore(m_path).save({printer(name)});
    }
    std::string names() const
    {
        std::string joined;
        const std::vector<PrinterContext> loaded = PrinterStore(m_path).load();
        for (const PrinterContext& context : loaded) {
            joined += context.printerName + ";";
        }
        return joined;
    }

    std::string content() const
    {
        std::ifstream file(m_path, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }

    fs::path m_dir;
    std::string m_path;
};

const std::string kOld = "the printer on the second floor, beside the stairs"; // longer than what follows it

TEST_F(StoreFailures, SaveThatFailsAnywhereKeepsTheOldListOrTheNewOneAndTheNextOneSucceeds)
{
    beginWith("new");
    const std::string saved = content();
    const int descriptors = kel_test::openDescriptors();
    for (const int code : {EIO, ENOSPC, EMFILE, EACCES}) {
        for (const bool fromThenOn : {false, true}) {
            const auto failures = failEachCall(
                code, fromThenOn, [this] { beginWith(kOld); },
                [this] { PrinterStore(m_path).save({printer("new")}); },
                [&](bool threw) {
                    EXPECT_TRUE(threw || content() == saved) << content();
                    const bool isOldBack = !fromThenOn && content() != saved;
                    EXPECT_FALSE(isOldBack && fs::exists(m_path + ".journal"));
                    const std::string kept = names();
                    EXPECT_TRUE(kept == "new;" || (threw && kept == kOld + ";")) << kept;
                    PrinterStore(m_path).save({printer("next")});
                    EXPECT_EQ(names(), "next;");
                    EXPECT_FALSE(fs::exists(m_path + ".journal"));
                    EXPECT_FALSE(fs::exists(m_path + ".previous.new"));
                });
            EXPECT_THAT(failures, IsSupersetOf({"open", "fstat", "flock", "lseek", "read", "pwrite",
                                                "ftruncate", "fsync"}));
            EXPECT_EQ(failures.count("rename") + failures.count("unlink") + failures.count("fchmod"), 3u);
        }
    }
    EXPECT_EQ(kel_test::openDescriptors(), descriptors);
}

TEST_F(StoreFailures, ListThatIsNotOnDiskIsNotSavedUnlessItsFileSystemNeverSays)
{
    for (const auto& [code, failures] : std::map<int, int>{{EIO, 2}, {EINVAL, 0}, {EROFS, 0}}) {
        int thrown = 0; // for the journal and for the list; that the folder is there is only hoped
        failEachCall(
            code, false, [this] { beginWith(kOld); }, [this] { PrinterStore(m_path).save({printer("new")}); },
            [&thrown](bool threw) { thrown += failed == "fsync" && threw ? 1 : 0; });
        EXPECT_EQ(thrown, failures) << code;
    }
}

TEST_F(StoreFailures, DiskThatTakesNothingAndSaysNothingFailsTheSave)
{
    beginWith(kOld);
    emptyWrites = 2; // of the list before, which may fail, and of the journal
    EXPECT_THROW(PrinterStore(m_path).save({}), fs::filesystem_error);
    EXPECT_EQ(emptyWrites, 0);
    EXPECT_EQ(names(), kOld + ";");
}

// Though what has been read of it looks like a whole one.
TEST_F(StoreFailures, ListThatCannotBeReadToItsEndIsEmpty)
{
    beginWith("first");
    const std::string begin = content();
    std::ofstream(m_path) << begin << std::string(std::size_t{1} << 16, ' ');
    std::string loaded;
    int failures = 0;
    failEachCall(
        EIO, false, [] {}, [&] { loaded = names(); },
        [&](bool threw) {
            EXPECT_FALSE(threw);
            if (failed == "read") {
                ++failures;
                EXPECT_EQ(loaded, "");
            }
        });
    EXPECT_GE(failures, 2);
}

TEST_F(StoreFailures, LoadThatCannotCompleteAnInterruptedSaveLeavesThatToTheNext)
{
    for (const bool fromThenOn : {false, true}) {
        const auto failures = failEachCall(
            EIO, fromThenOn,
            [this] {
                beginWith("new");
                fs::copy_file(m_path, m_path + ".journal");
                std::ofstream(m_path) << "[{";
            },
            [this] { PrinterStore(m_path).load(); },
            [this](bool threw) {
                EXPECT_FALSE(threw);
                EXPECT_EQ(names(), "new;");
                EXPECT_FALSE(fs::exists(m_path + ".journal"));
            });
        EXPECT_THAT(failures, IsSupersetOf({"open", "flock", "lseek", "read", "pwrite", "ftruncate", "fsync",
                                            "unlink"}));
    }
}

TEST_F(StoreFailures, SignalThatInterruptsACallIsNoFailure)
{
    const std::set<std::string> interruptible = {"open", "flock", "read", "pwrite"};
    const auto failures = failEachCall(
        EINTR, false, [this] { beginWith(kOld); }, [this] { PrinterStore(m_path).save({printer("new")}); },
        [&](bool threw) {
            if (interruptible.count(failed) != 0) {
                EXPECT_FALSE(threw);
                EXPECT_EQ(names(), "new;");
            }
        });
    EXPECT_THAT(failures, IsSupersetOf(interruptible));
}

} // namespace
