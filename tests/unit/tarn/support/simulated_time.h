#pragma once

#include <atomic>
#include <cstdint>

#include "tarn/src/base/clock.h"
#include "tarn/src/base/random.h"

// The clock and the randomness of tests: hours pass in no time, and every run is the same.
namespace tarn::test {

// Threading: any thread.
class SimulatedClock final : public Clock
{
public:
    TimePoint now() const override { return TimePoint(Milliseconds(m_ms.load())); }
    void set(TimePoint now) { m_ms = now.time_since_epoch().count(); }
    void pass(Milliseconds time) { m_ms += time.count(); }

private:
    std::atomic<std::int64_t> m_ms{1000000};
};

// For who owns its clock: shows the time of another.
class BorrowedClock final : public Clock
{
public:
    explicit BorrowedClock(const Clock& clock) : m_clock(clock) {}
    TimePoint now() const override { return m_clock.now(); }

private:
    const Clock& m_clock;
};

class SeededRandom final : public Random
{
public:
    explicit SeededRandom(std::uint64_t seed) : m_state(seed * 2 + 1) {}
    std::uint32_t next() override
    {
        m_state = m_state * 6364136223846793005u + 1442695040888963407u;
        return static_cast<std::uint32_t>(m_state >> 33 ^ m_state >> 20);
    }

private:
    std::uint64_t m_state;
};

// The same number always: 0 for the least that can be drawn.
class ConstantRandom final : public Random
{
public:
    explicit ConstantRandom(std::uint32_t number) : m_number(number) {}
    std::uint32_t next() override { return m_number; }

private:
    const std::uint32_t m_number;
};

} // namespace tarn::test
