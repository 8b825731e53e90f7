#include "tools/tarn-status/waiting.h"

#include <signal.h>

#include <gtest/gtest.h>

namespace {

using namespace tarnstatus;

// The size is read before the wait begins: it may change in between.
TEST(Waiting, SizeThatChangesBeforeTheWaitEndsItToo)
{
    catchSignals();
    const auto now = std::chrono::steady_clock::now();
    EXPECT_FALSE(sleepUntil(now));
    ASSERT_EQ(::raise(SIGWINCH), 0);
    ASSERT_TRUE(sleepUntil(now));
    EXPECT_TRUE(sleepUntil(now + std::chrono::hours(1))) << "until the size is read";
    forgetResize();
    EXPECT_FALSE(sleepUntil(now));
}

} // namespace
