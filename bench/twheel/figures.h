#pragma once

#include <cstddef>
#include <ctime>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "bench/report.h"
#include "bench/twheel/engines.h"

namespace bench {

struct Options
{
    int rounds = 5;
    std::string only;
};

void measurePairs(const Options& options, Report& report);
void measureMemory(const Options& options, Report& report);
void measurePeriodic(const Options& options, Report& report);
void measureIdle(const Options& options, Report& report);
void measureContention(const Options& options, Report& report);
void measureBlockingRuns(const Options& options, Report& report);

// What they share.

using Maker = std::function<std::unique_ptr<Engine>()>;

extern const char* const kPool;
extern const char* const kLoop;

double cpuNs(clockid_t clock);
std::vector<long> randomDelays(std::size_t count, long from, long to, unsigned seed);
// The figure's name with the number of timers.
std::string sized(const char* figure, std::size_t count);

} // namespace bench
