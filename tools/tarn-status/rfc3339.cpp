#include "tools/tarn-status/rfc3339.h"

#include <cstdio>
#include <ctime>

namespace tarnstatus {

std::string rfc3339(std::chrono::system_clock::time_point time)
{
    const auto whole = std::chrono::floor<std::chrono::milliseconds>(time.time_since_epoch()).count();
    const auto milliseconds = static_cast<int>(((whole % 1000) + 1000) % 1000);
    const auto seconds = static_cast<std::time_t>((whole - milliseconds) / 1000);
    std::tm utc{};
    gmtime_r(&seconds, &utc);
    char date[32];
    std::strftime(date, sizeof date, "%Y-%m-%dT%H:%M:%S", &utc);
    char text[48];
    std::snprintf(text, sizeof text, "%s.%03dZ", date, milliseconds);
    return text;
}

std::string localDate(std::chrono::system_clock::time_point time)
{
    const std::time_t seconds = std::chrono::system_clock::to_time_t(time);
    std::tm local{};
    localtime_r(&seconds, &local);
    char date[32];
    std::strftime(date, sizeof date, "%Y-%m-%d %H:%M", &local);
    return date;
}

} // namespace tarnstatus
