#include "app/fonts_ahead.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <thread>

namespace {

long threads()
{
    std::thread([] {}).join(); // a sanitizer's own thread starts with the first of ours
    const std::filesystem::directory_iterator tasks("/proc/self/task");
    return std::distance(begin(tasks), end(tasks));
}

TEST(FontsAhead, HasReadEverythingWhenWaitedFor)
{
    unsetenv("DESKTOP_STARTUP_ID");
    const long before = threads();
    FontsAhead fonts;
    fonts.wait();
    EXPECT_EQ(threads(), before);
    fonts.wait(); // nothing to wait for
}

// Qt takes that variable out of the environment while it starts, which nobody may read meanwhile.
TEST(FontsAhead, ReadsNothingBesideTheRemovalOfTheStartUpId)
{
    setenv("DESKTOP_STARTUP_ID", "x", 1);
    const long before = threads();
    const FontsAhead fonts;
    EXPECT_EQ(threads(), before);
    unsetenv("DESKTOP_STARTUP_ID");
}

} // namespace
