#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "bench/twheel/lateness.h"

namespace bench {

// A timer engine under measurement. fill, pairs and replace are used together, startPeriodic alone.
class Engine
{
public:
    virtual ~Engine() = default;
    virtual std::string name() const = 0;
    // Leaves one timer pending for each delay, to which replace() refers.
    virtual void fill(const std::vector<long>& delaysMs) = 0;
    // Schedules a timer and cancels it, for each delay.
    virtual void pairs(const std::vector<long>& delaysMs) = 0;
    // Cancels the pending timer victims[i] and schedules another in its place, for each delay.
    virtual void replace(const std::vector<std::uint32_t>& victims, const std::vector<long>& delaysMs) = 0;
    // Returns when threads of the engine's own have done what the calls above left to them.
    virtual void runPending() {}
    // One timer for each delay and every periodMs after it; until the engine is destroyed.
    virtual void startPeriodic(const std::vector<long>& delaysMs, long periodMs, Lateness& lateness) = 0;
    // How many pairs it gets through in a time that a round may take, with that many pending.
    virtual std::size_t pairsInARound(std::size_t) const { return 200000; }
};

// EngineOf makes the three out of two that an engine has: `Handle start(long delayMs)` and `void
// stop(Handle&)`.
template <typename Self, typename Handle>
class EngineOf : public Engine
{
public:
    void fill(const std::vector<long>& delays) override
    {
        m_pending.reserve(delays.size());
        for (const long delay : delays) {
            m_pending.push_back(self().start(delay));
        }
    }
    void pairs(const std::vector<long>& delays) override
    {
        for (const long delay : delays) {
            Handle handle = self().start(delay);
            self().stop(handle);
        }
    }
    void replace(const std::vector<std::uint32_t>& victims, const std::vector<long>& delays) override
    {
        for (std::size_t i = 0; i < delays.size(); ++i) {
            self().stop(m_pending[victims[i]]);
            m_pending[victims[i]] = self().start(delays[i]);
        }
    }

protected:
    std::vector<Handle> m_pending;

private:
    Self& self() { return static_cast<Self&>(*this); }
};

std::unique_ptr<Engine> makeOurs();
// The cost that any thread-safe owner of runnables has: one allocation, one mutex, the clock, a list. Its
// periodic timers are no timers: a bare loop that sleeps until the next millisecond and calls what has been
// sorted by it beforehand, so that all it costs is sleeping, fetching what is called, and measuring.
std::unique_ptr<Engine> makeFloor();
// A plain hashed wheel for one thread, without locks, ownership or order of life: the best that a wheel can
// do.
std::unique_ptr<Engine> makePlainWheel();
// 0 threads: one loop without locks inside asio's pool sense, run by one thread.
std::unique_ptr<Engine> makeAsio(int threads);
// Null where the library was not found.
std::unique_ptr<Engine> makeLibevent();
std::unique_ptr<Engine> makeLibuv();
std::unique_ptr<Engine> makeGlib();
std::unique_ptr<Engine> makeQt();

} // namespace bench
