#pragma once

#include <chrono>
#include <string>
#include <vector>

#include "tools/tarn-status/printer_access.h"

namespace tarnstatus {

// From here on SIGINT and SIGTERM are noted, and so is another size of the terminal. A second SIGINT or SIGTERM
// ends the program at once, whatever it waits for.
void catchSignals();
bool isInterrupted();

// Until then, an interrupt or another size of the terminal since forgetResize(); true for the last.
bool sleepUntil(std::chrono::steady_clock::time_point until);
// Goes before the size is read.
void forgetResize();

// The readings, as soon as every printer has answered or the time is up.
std::vector<Reading> readWhenAnswered(const PrinterAccess& access, std::chrono::milliseconds timeout);

// A line on standard error.
void complain(const std::string& what);

} // namespace tarnstatus
