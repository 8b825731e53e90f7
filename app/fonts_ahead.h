#pragma once

#include <thread>

// FontsAhead reads the desktop's font configuration on a thread of its own while the application object is
// built: five milliseconds of parsing that Qt would else do after it, before the first window is there.
//
// That thread reads the environment, and Qt removes DESKTOP_STARTUP_ID from it while it starts. A start that
// brings the variable is therefore left to Qt altogether. Threading: made and waited for on one thread; in
// between nobody may change the environment.
class FontsAhead final
{
public:
    FontsAhead();
    ~FontsAhead();
    FontsAhead(const FontsAhead&) = delete;
    FontsAhead& operator=(const FontsAhead&) = delete;

    // Returns when the configuration is read; at once the second time. Before the first font is asked for.
    void wait();

private:
    std::thread m_reader; // none where the configuration is left to Qt
};
