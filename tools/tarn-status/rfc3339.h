#pragma once

#include <chrono>
#include <string>

namespace tarnstatus {

// "2026-11-22T13:36:29.412Z", RFC 3339.
std::string rfc3339(std::chrono::system_clock::time_point time);
// For people: "2026-11-22 14:03", where they are.
std::string localDate(std::chrono::system_clock::time_point time);

} // namespace tarnstatus
