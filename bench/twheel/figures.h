#pragma once

#include <string>

#include "bench/twheel/report.h"

namespace bench {

struct Options
{
    int rounds = 5;
    std::string only;
    // This program, to be started again under callgrind.
    std::string self;
};

void measurePairs(const Options& options, Report& report);
void measureMemory(const Options& options, Report& report);
void measurePeriodic(const Options& options, Report& report);
void measureIdle(const Options& options, Report& report);
void measureContention(const Options& options, Report& report);
void measureBlockingRuns(const Options& options, Report& report);
void measureInstructions(const Options& options, Report& report);

} // namespace bench

// Schedules and cancels `pairs` times; callgrind counts what happens inside.
extern "C" void twheelCallgrindLoop(int pairs);
