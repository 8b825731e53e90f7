#include "tarn/src/base/exit_hook.h"

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <optional>
#include <thread>

#include "tarn/src/base/immortal.h"
#include "tarn/src/base/worker_thread.h"

namespace tarn {
namespace {

using Deadline = std::chrono::steady_clock::time_point;

// The status that the programs of these tests end with.
constexpr int kAsExpected = 0;
constexpr int kNeverCalled = 1;
constexpr int kOtherwise = 2;

class ExitHookTest : public testing::Test
{
protected:
    ExitHookTest() { GTEST_FLAG_SET(death_test_style, "threadsafe"); }
};

// Its thread, asked to leave, arms once more before it does.
class ArmsAgain final : public ExitHook
{
public:
    void run()
    {
        std::thread([this] {
            const MutexLock lock(m_mutex);
            while (!m_exits) {
                m_changed.wait(m_mutex);
            }
            m_mutex.unlock();
            const bool mayEnter = arm();
            m_mutex.lock();
            m_isRefused = !mayEnter;
            m_changed.notifyAll();
        }).detach();
    }

private:
    void processExits(Deadline until) override
    {
        const MutexLock lock(m_mutex);
        m_exits = true;
        m_changed.notifyAll();
        while (!m_isRefused && m_changed.waitUntil(m_mutex, until)) {
        }
        ::_exit(m_isRefused ? kAsExpected : kOtherwise);
    }

    Mutex m_mutex;
    CondVar m_changed;
    bool m_exits TARN_GUARDED_BY(m_mutex) = false;
    bool m_isRefused TARN_GUARDED_BY(m_mutex) = false;
};

TEST_F(ExitHookTest, ThreadThatIsWaitedForMayArmAndIsRefused)
{
    EXPECT_EXIT(
        {
            auto* const hook = new ArmsAgain;
            hook->run();
            ExitHook::arm();
            std::exit(kNeverCalled);
        },
        testing::ExitedWithCode(kAsExpected), "");
}

class ComparesDeadlines final : public ExitHook
{
    void processExits(Deadline until) override
    {
        if (m_first) {
            ::_exit(*m_first == until ? kAsExpected : kOtherwise);
        }
        m_first = until;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }

    std::optional<Deadline> m_first;
};

TEST_F(ExitHookTest, WhatIsRegisteredAgainBehindOpenSslSharesTheOnePatience)
{
    if (::dlopen("libcrypto.so.3", RTLD_NOW | RTLD_NOLOAD) != nullptr) {
        GTEST_SKIP() << "OpenSSL is loaded from the start";
    }
    EXPECT_EXIT(
        {
            auto* const hook = new ComparesDeadlines;
            static_cast<void>(hook);
            ExitHook::arm();
            if (::dlopen("libcrypto.so.3", RTLD_NOW) == nullptr) {
                std::puts(::dlerror());
            }
            ExitHook::arm();
            std::exit(kNeverCalled);
        },
        testing::ExitedWithCode(kAsExpected), "");
}

// How OpenSSL is used by its own users, who leave it to the first use to initialise it.
bool useOpenSsl()
{
    void* const object = ::dlopen("libcrypto.so.3", RTLD_NOW);
    auto* const digest = object != nullptr
                             ? reinterpret_cast<const void* (*)(void*, const char*, const char*)>(
                                   ::dlsym(object, "EVP_MD_fetch"))
                             : nullptr;
    return digest != nullptr && digest(nullptr, "SHA1", nullptr) != nullptr;
}

class CalledAtMost final : public ExitHook
{
public:
    explicit CalledAtMost(int most) : m_left(most) {}

private:
    void processExits(Deadline /*until*/) override
    {
        if (m_left-- == 0) {
            ::_exit(kOtherwise);
        }
    }

    int m_left;
};

TEST_F(ExitHookTest, IsCalledOnceHoweverOftenItIsArmed)
{
    EXPECT_EXIT(
        {
            const CalledAtMost* const hook = new CalledAtMost(1);
            static_cast<void>(hook);
            const bool isArmed = ExitHook::arm() && ExitHook::arm() && ExitHook::arm();
            std::exit(isArmed ? kAsExpected : kNeverCalled);
        },
        testing::ExitedWithCode(kAsExpected), "");
}

TEST_F(ExitHookTest, IsCalledOnceMoreWhereOpenSslCameLater)
{
    EXPECT_EXIT(
        {
            const CalledAtMost* const hook = new CalledAtMost(2);
            static_cast<void>(hook);
            const bool isArmed = ExitHook::arm() && ::dlopen("libcrypto.so.3", RTLD_NOW) != nullptr &&
                                 ExitHook::arm() && ExitHook::arm() && ExitHook::arm();
            std::exit(isArmed ? kAsExpected : kNeverCalled);
        },
        testing::ExitedWithCode(kAsExpected), "");
}

TEST_F(ExitHookTest, WhoIsGoneIsNotCalled)
{
    EXPECT_EXIT(
        {
            { // a hook that stays, before and behind one that goes
                const CalledAtMost* const stays = new CalledAtMost(1);
                static_cast<void>(stays);
                const CalledAtMost goes(0);
                static_cast<void>(new CalledAtMost(1));
                ExitHook::arm();
            }
            std::exit(kAsExpected);
        },
        testing::ExitedWithCode(kAsExpected), "");
}

class NeedsOpenSsl final : public ExitHook
{
    void processExits(Deadline /*until*/) override { ::_exit(useOpenSsl() ? kAsExpected : kOtherwise); }
};

TEST_F(ExitHookTest, RunsBeforeOpenSslEndsThatWasNotUsedWhenTheHookWasArmed)
{
    EXPECT_EXIT(
        {
            auto* const hook = new NeedsOpenSsl;
            static_cast<void>(hook);
            const bool isArmed =
                ::dlopen("libcrypto.so.3", RTLD_NOW) != nullptr && ExitHook::arm() && useOpenSsl();
            std::exit(isArmed ? kNeverCalled : kOtherwise);
        },
        testing::ExitedWithCode(kAsExpected), "");
}

class Tells final : public ExitHook
{
    void processExits(Deadline /*until*/) override { ::_exit(kOtherwise); }
};

TEST_F(ExitHookTest, ForkedChildThatExitsWaitsForNobody)
{
    EXPECT_EXIT(
        {
            auto* const hook = new Tells;
            static_cast<void>(hook);
            ExitHook::arm();
            const pid_t child = ::fork();
            if (child == 0) {
                std::exit(kAsExpected);
            }
            int status = -1;
            ::waitpid(child, &status, 0);
            ::_exit(WIFEXITED(status) ? WEXITSTATUS(status) : kNeverCalled);
        },
        testing::ExitedWithCode(kAsExpected), "");
}

class SaysThatItEnds final
{
public:
    SaysThatItEnds() = default;
    ~SaysThatItEnds() { ::_exit(kAsExpected); }
    SaysThatItEnds(const SaysThatItEnds&) = delete;
    SaysThatItEnds& operator=(const SaysThatItEnds&) = delete;
};

class ImmortalTest : public ExitHookTest
{
};

TEST_F(ImmortalTest, EndsWithTheProcessWhereNoThreadUsesIt)
{
    EXPECT_EXIT(
        {
            static const Immortal<SaysThatItEnds> value;
            std::exit(kNeverCalled);
        },
        testing::ExitedWithCode(kAsExpected), "");
}

TEST_F(ImmortalTest, DoesNotEndWhileAThreadMayUseIt)
{
    EXPECT_EXIT(
        {
            static const Immortal<SaysThatItEnds> value;
            std::thread thread = workerThread("immortal", [] { ::pause(); });
            thread.detach();
            std::exit(kNeverCalled);
        },
        testing::ExitedWithCode(kNeverCalled), "");
}

} // namespace
} // namespace tarn
