#include "app/session_bus_ahead.h"

#include <QDBusConnection>
#include <QGuiApplication>

#include <system_error>

SessionBusAhead::SessionBusAhead()
{
    if (QGuiApplication::platformName() != QLatin1String("xcb"))
        return;
    try {
        // Qt keeps the connection, for whoever asks for it on whatever thread.
        m_connecting = std::thread([] { QDBusConnection::sessionBus(); });
    } catch (const std::system_error&) { // no thread to be had: Qt connects later
    }
}

SessionBusAhead::~SessionBusAhead()
{
    wait();
}

void SessionBusAhead::wait()
{
    if (m_connecting.joinable())
        m_connecting.join();
}
