#include "tarn/src/base/clock.h"

#include <time.h>

namespace tarn {

TimePoint BootClock::now() const
{
    timespec spec{};
    if (clock_gettime(CLOCK_BOOTTIME, &spec) != 0) {
        clock_gettime(CLOCK_MONOTONIC, &spec);
    }
    const std::int64_t ms = std::int64_t{spec.tv_sec} * 1000 + spec.tv_nsec / 1000000;
    return TimePoint(Milliseconds(ms));
}

} // namespace tarn
