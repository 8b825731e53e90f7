#pragma once

#include <string>

namespace twheel {
class TaskScheduler;
}

namespace morvik::kel {

// The two objects that exist before main runs and outlive the registry. The program defines them in
// app/process_objects.cpp, the tests in tests/support/.
extern twheel::TaskScheduler g_scheduler;
extern std::string g_printersPath; // UTF-8 path of printers.json

} // namespace morvik::kel
