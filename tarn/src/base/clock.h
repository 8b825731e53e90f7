#pragma once

#include <chrono>
#include <cstdint>

namespace tarn {

using Milliseconds = std::chrono::milliseconds;

// A point of the engine's time line: milliseconds that go on counting while the machine sleeps.
struct EngineTimeline
{
    using rep = std::int64_t;
    using period = std::milli;
    using duration = Milliseconds;
    using time_point = std::chrono::time_point<EngineTimeline>;
    static constexpr bool is_steady = true;
};
using TimePoint = EngineTimeline::time_point;
constexpr TimePoint kNever = TimePoint::max();

// Clock is the seam through which everything that depends on time asks for it.
// Threading: now() may be called from any thread.
class Clock
{
public:
    virtual ~Clock() = default;
    virtual TimePoint now() const = 0;
};

// CLOCK_BOOTTIME: an age that is shown after a suspend includes the time asleep.
class BootClock final : public Clock
{
public:
    TimePoint now() const override;
};

} // namespace tarn
