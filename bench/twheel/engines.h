#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace bench {

std::int64_t monotonicNs();

// Where the runs of periodic timers tell how late they were. Any thread.
class Lateness final
{
public:
    void note(std::int64_t lateNs, std::int64_t lost);
    void begin();
    std::int64_t runs() const;
    std::int64_t lost() const { return m_lost.load(); }
    // Microseconds.
    double percentile(double share) const;

private:
    static constexpr std::size_t kBins = 200000;
    std::vector<std::atomic<std::uint32_t>> m_bins = std::vector<std::atomic<std::uint32_t>>(kBins);
    std::atomic<std::int64_t> m_lost{0};
};

// What a periodic timer does when it runs: 48 bytes of an application's own, touched each time.
struct Ticking
{
    Lateness* lateness = nullptr;
    std::int64_t dueNs = 0;
    std::int64_t periodNs = 0;
    void tick();
};

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
    virtual void settle() {}
    // One timer for each delay and every periodMs after it; until the engine is destroyed.
    virtual void startPeriodic(const std::vector<long>& delaysMs, long periodMs, Lateness& lateness) = 0;
};

std::unique_ptr<Engine> makeOurs();
// The cost that any thread-safe owner of runnables has: one allocation, one mutex, the clock, a list.
std::unique_ptr<Engine> makeFloor();
// 0 threads: one loop without locks inside asio's pool sense, run by one thread.
std::unique_ptr<Engine> makeAsio(int threads);
// Null where the library was not found.
std::unique_ptr<Engine> makeLibevent();
std::unique_ptr<Engine> makeLibuv();

} // namespace bench
