// libtarn.so, loaded and unloaded by a host whose home directory stalls.
#include <gtest/gtest.h>

#include <dlfcn.h>

#include <cstdlib>
#include <stdexcept>
#include <string>

#include "tarn/tarn.h"
#include "tests/support/eventually.h"
#include "tests/support/own_threads.h"
#include "tests/unit/tarn/support/scratch_directory.h"
#include "tests/unit/tarn/support/stalled_rename.h"

namespace {

using tarn::test::ScopedVariable;
using tarn::test::ScratchDirectory;
using tarn::test::StalledRename;

bool isLoaded()
{
    void* const handle = dlopen(TARN_LIBRARY, RTLD_NOW | RTLD_NOLOAD);
    return handle != nullptr && dlclose(handle) == 0;
}

template <typename Function>
Function* function(void* library, const char* name)
{
    void* const found = library != nullptr ? dlsym(library, name) : nullptr;
    if (found == nullptr) {
        throw std::runtime_error(dlerror());
    }
    return reinterpret_cast<Function*>(found);
}

// One life of the library, which learns that somebody is silent and so has something to save.
void liveOnce()
{
    void* const library = dlopen(TARN_LIBRARY, RTLD_NOW | RTLD_LOCAL);
    ASSERT_EQ(function<decltype(tarn_init)>(library, "tarn_init")(), TARN_OK);
    ASSERT_EQ(function<decltype(tarn_setPrinterList)>(library, "tarn_setPrinterList")(
                  R"([{"printerName":"a","ip":"127.0.0.1"}])"),
              TARN_OK);
    ASSERT_EQ(function<decltype(tarn_destroy)>(library, "tarn_destroy")(), TARN_OK);
    dlclose(library);
}

class StalledHome : public testing::Test
{
protected:
    StalledHome() { scratch.write("tarn.json", R"({"default": {"port": 9, "ipp": "off"}})"); }
    std::string cache() const { return scratch.read("cache/tarn/identities.json"); }

    const ScratchDirectory scratch;
    const ScopedVariable home{"XDG_CACHE_HOME", scratch.path("cache")};
    const ScopedVariable state{"XDG_STATE_HOME", scratch.path("state")};
    const ScopedVariable config{"TARN_CONFIG", scratch.path("tarn.json")};
};

TEST_F(StalledHome, IsUnloadedWhereItDoesNotStall)
{
    liveOnce();
    EXPECT_FALSE(isLoaded());
    EXPECT_NE(cache().find("127.0.0.1"), std::string::npos);
}

// The stall ends long after destroy and dlclose have returned: the code that goes on then must be there.
TEST_F(StalledHome, DestroyReturnsAndTheWriterMayFinishAfterUnloading)
{
    StalledRename stall;
    const auto before = std::chrono::steady_clock::now();
    liveOnce();
    const auto took = std::chrono::steady_clock::now() - before;
    EXPECT_TRUE(stall.hasVictim()); // it did not wait for the end of the stall
    std::printf("a life with a stalled home took %lld ms\n",
                static_cast<long long>(std::chrono::duration_cast<std::chrono::milliseconds>(took).count()));
    EXPECT_EQ(cache(), "");
    EXPECT_TRUE(isLoaded());
    stall.release();
    EXPECT_TRUE(kel_test::eventually([&] { return cache().find("127.0.0.1") != std::string::npos; }));
    EXPECT_TRUE(kel_test::eventually([] { return kel_test::ownThreads("tarn-files") == 0; }));
    liveOnce(); // and may be used again
}

TEST_F(StalledHome, ProcessExitsThoughTheWriterIsHeldUp)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            auto* const stall = new StalledRename; // to the end of the process
            liveOnce();
            std::exit(stall->hasVictim() ? 0 : 1);
        },
        testing::ExitedWithCode(0), "");
}

} // namespace
