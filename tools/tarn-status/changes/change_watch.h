#pragma once

#include <chrono>
#include <string>

#include "tools/tarn-status/changes/change_detector.h"
#include "tools/tarn-status/changes/command_runner.h"

namespace tarnstatus {

// ChangeWatch runs a program for each change, of looks that it takes itself: what is shown may be shown
// seldom.
class ChangeWatch final
{
public:
    // What the first look shows is how things are, and no change.
    ChangeWatch(const std::string& command, const std::vector<Reading>& first);

    // As sleepUntil(), and meanwhile looks at the printers.
    bool sleepUntil(std::chrono::steady_clock::time_point until, const PrinterAccess& access);

private:
    void look(const PrinterAccess& access);

    ChangeDetector m_detector;
    CommandRunner m_runner;
    std::chrono::steady_clock::time_point m_nextLook;
};

} // namespace tarnstatus
