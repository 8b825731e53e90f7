#include "app/fonts_ahead.h"

#include <QFontDatabase>
#include <QGuiApplication>

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

TEST(FontsAhead, FillsQtsListOfFontsBesideTheApplicationObject)
{
    setenv("QT_QPA_PLATFORM", "offscreen", 1);
    int argc = 1;
    char name[] = "fonts_ahead_test";
    char* argv[] = {name, nullptr};
    for (const bool startUpId : {false, true}) {
        if (startUpId)
            setenv("DESKTOP_STARTUP_ID", "x", 1);
        FontsAhead fonts;
        const QGuiApplication application(argc, argv);
        const long before = threads();
        fonts.fillList();
        fonts.wait();
        EXPECT_LE(threads(), before); // the reader may have been counted
        EXPECT_FALSE(QFontDatabase().families().isEmpty());
        fonts.wait(); // nothing to wait for
        unsetenv("DESKTOP_STARTUP_ID");
    }
}

} // namespace
