#pragma once

#include <thread>

// SessionBusAhead connects to the desktop's session bus on a thread of its own while the main thread goes on
// with icon and font. Accessibility, menu bar and tray icon ask Qt for that connection one after another
// before the window is there; the first of them would else wait through the greeting, eight messages there
// and back.
//
// Only where the windows are X windows: elsewhere Qt may never ask for the bus.
// Threading: made and waited for on the main thread, while there is an application object; in between nobody
// may change the environment, which names the bus.
class SessionBusAhead final
{
public:
    SessionBusAhead();
    ~SessionBusAhead();
    SessionBusAhead(const SessionBusAhead&) = delete;
    SessionBusAhead& operator=(const SessionBusAhead&) = delete;

    // Returns when the connection is made, or has failed; at once the second time.
    void wait();

private:
    std::thread m_connecting;
};
