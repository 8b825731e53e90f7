#pragma once

#include <functional>
#include <thread>

namespace tarn {

// Starts a thread of the library's: named, and with all signals blocked, because the program's handlers must
// never run on it. The name has at most 15 characters. Not joinable when the system gives no thread.
std::thread workerThread(const char* name, std::function<void()> work);

} // namespace tarn
