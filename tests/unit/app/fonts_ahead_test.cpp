#include "app/fonts_ahead.h"

#include <QFontDatabase>
#include <QGuiApplication>

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <thread>

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

// A thread that has been joined may still be on its way out of the kernel's list.
bool isLeaving(const std::filesystem::path& task)
{
    std::ifstream in(task / "stat");
    const std::string stat{std::istreambuf_iterator<char>(in), {}};
    const std::size_t name = stat.rfind(')');
    if (name == std::string::npos)
        return true; // it has gone
    std::istringstream rest(stat.substr(name + 1));
    std::string state, parent, group, session, terminal, foreground;
    unsigned flags = 0;
    rest >> state >> parent >> group >> session >> terminal >> foreground >> flags;
    constexpr unsigned exiting = 4; // PF_EXITING
    return (flags & exiting) != 0;
}

long threads()
{
    std::thread([] {}).join(); // a sanitizer's own thread starts with the first of ours
    const std::filesystem::directory_iterator tasks("/proc/self/task");
    return std::count_if(begin(tasks), end(tasks), [](const auto& task) { return !isLeaving(task.path()); });
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
