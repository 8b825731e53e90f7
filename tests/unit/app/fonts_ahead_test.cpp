#include "app/fonts_ahead.h"

#include <QFontDatabase>
#include <QGuiApplication>

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <thread>

#include "tests/support/own_threads.h"

namespace {

const std::thread::id mainThread = std::this_thread::get_id();
std::atomic<int> listedBeside{0};
std::atomic<int> listedByMain{0};

} // namespace

// Qt's plugin finds this one before fontconfig's own: which thread lists the desktop's fonts.
extern "C" void* FcFontList(void* config, void* pattern, void* objects)
{
    ++(std::this_thread::get_id() == mainThread ? listedByMain : listedBeside);
    using List = void* (*)(void*, void*, void*);
    const auto real = reinterpret_cast<List>(dlsym(RTLD_NEXT, "FcFontList"));
    return real != nullptr ? real(config, pattern, objects) : nullptr;
}

namespace {

long threads()
{
    std::thread([] {}).join(); // a sanitizer's own thread starts with the first of ours
    return kel_test::ownThreads();
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
        EXPECT_GT(listedBeside, 0);
        EXPECT_EQ(listedByMain, 0);
        fonts.wait(); // nothing to wait for
        unsetenv("DESKTOP_STARTUP_ID");
    }
}

} // namespace
