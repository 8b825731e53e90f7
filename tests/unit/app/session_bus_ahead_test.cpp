#include "app/session_bus_ahead.h"

#include <QDBusConnection>
#include <QGuiApplication>

#include <gtest/gtest.h>

#include <cstdlib>

namespace {

// The name under which Qt keeps the connection that sessionBus() makes.
bool isConnected()
{
    return QDBusConnection(QStringLiteral("qt_default_session_bus")).isConnected();
}

// Where Qt would not ask for the bus, the program would be the one to have it launched.
TEST(SessionBusAhead, LeavesTheBusAloneWithoutXWindows)
{
    setenv("QT_QPA_PLATFORM", "offscreen", 1);
    int argc = 1;
    char name[] = "session_bus_ahead_test";
    char* argv[] = {name, nullptr};
    const QGuiApplication application(argc, argv);
    SessionBusAhead bus;
    bus.wait();
    EXPECT_FALSE(isConnected());
}

// start_up_test runs it on a desktop of its own.
TEST(SessionBusAhead, IsConnectedOnceWaitedForWhereTheWindowsAreXWindows)
{
    if (std::getenv("DISPLAY") == nullptr || std::getenv("DBUS_SESSION_BUS_ADDRESS") == nullptr) {
        GTEST_SKIP() << "there is no desktop";
    }
    setenv("QT_QPA_PLATFORM", "xcb", 1);
    int argc = 1;
    char name[] = "session_bus_ahead_test";
    char* argv[] = {name, nullptr};
    const QGuiApplication application(argc, argv);
    ASSERT_FALSE(isConnected());
    SessionBusAhead bus;
    bus.wait();
    EXPECT_TRUE(isConnected());
    bus.wait(); // nothing to wait for
}

} // namespace
