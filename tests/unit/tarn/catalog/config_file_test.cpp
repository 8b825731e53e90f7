// A configuration file that cannot be read at present: it is not taken for none, and the reason is the true
// one.
#include <gtest/gtest.h>

#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <system_error>

#include "tarn/src/catalog/config.h"
#include "tests/unit/tarn/support/no_descriptors.h"
#include "tests/unit/tarn/support/scratch_directory.h"

namespace tarn::catalog {
namespace {

// What loading throws as the reason; 0: nothing. Without a descriptor the sanitizer cannot look a type up.
__attribute__((no_sanitize("vptr"))) int errorOfLoading()
{
    try {
        Config::load();
    } catch (const std::system_error& error) {
        return error.code().value();
    }
    return 0;
}

// For a process of a test's own.
void letOpenFail(int error)
{
    sock_filter filter[] = {
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, __NR_openat, 0, 1),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | static_cast<unsigned>(error)),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
    };
    const sock_fprog program{4, filter};
    if (::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0 ||
        ::prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) != 0) {
        ::_exit(200);
    }
}

class ConfigurationFile : public testing::Test
{
protected:
    ConfigurationFile() { m_scratch.write("tarn.json", "{}"); }

    const test::ScratchDirectory m_scratch;
    const test::ScopedVariable m_path{"TARN_CONFIG", m_scratch.path("tarn.json")};
};

TEST_F(ConfigurationFile, ThatCannotBeReadForLackOfDescriptorsIsNotTheDefaults)
{
    {
        const test::NoDescriptors none;
        EXPECT_EQ(errorOfLoading(), EMFILE);
    }
    EXPECT_EQ(errorOfLoading(), 0);
}

TEST_F(ConfigurationFile, ThatCannotBeReadForAnotherReasonSaysWhichItIs)
{
    if (::prctl(PR_GET_SECCOMP, 0, 0, 0, 0) < 0) {
        GTEST_SKIP() << "no filters of system calls here, as under an emulator";
    }
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    for (const int error : {ENOMEM, ENFILE}) {
        EXPECT_EXIT(
            {
                letOpenFail(error);
                ::_exit(errorOfLoading());
            },
            testing::ExitedWithCode(error), "");
    }
}

} // namespace
} // namespace tarn::catalog
