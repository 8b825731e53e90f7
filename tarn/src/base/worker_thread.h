#pragma once

#include <functional>
#include <thread>

namespace tarn {

// Starts a thread of the library's: named, and with all signals blocked, because the program's handlers must
// never run on it. The name has at most 15 characters. Not joinable when the system gives no thread, or no
// memory for one.
std::thread workerThread(const char* name, std::function<void()> work);

// How many of them have not ended.
int workersRunning();

} // namespace tarn
