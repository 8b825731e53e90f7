#pragma once

#include <thread>

// FontsAhead does beside the main thread what Qt would else do with the fonts before the first window is
// there: it reads the desktop's font configuration while the application object is built (five milliseconds
// of parsing), and afterwards fills Qt's list of the desktop's fonts.
//
// The configuration's reader looks into the environment, and Qt removes DESKTOP_STARTUP_ID from it while it
// starts. In a start that brings the variable the configuration is therefore read with the list.
// Threading: made, told and waited for on one thread; in between nobody may change the environment.
class FontsAhead final
{
public:
    FontsAhead();
    ~FontsAhead();
    FontsAhead(const FontsAhead&) = delete;
    FontsAhead& operator=(const FontsAhead&) = delete;

    // Once, when there is an application object.
    void fillList();
    // Returns when all that was begun is done; at once the second time. Before the first font is asked for.
    void wait();

private:
    void waitForReader();

    std::thread m_reader; // none where the start-up id forbids it; joined by the lister where there is one
    std::thread m_lister;
};
