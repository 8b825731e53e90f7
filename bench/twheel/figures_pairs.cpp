// Scheduling and cancelling, with few and with many timers pending.
#include <map>
#include <random>

#include "bench/twheel/figures.h"

namespace bench {

namespace {

constexpr int kTurnsBesideTheFloor = 5; // in each round

using Samples = std::map<std::string, std::vector<double>>;

std::vector<std::unique_ptr<Engine>> makeAll(const std::vector<Maker>& makers)
{
    std::vector<std::unique_ptr<Engine>> engines;
    for (const Maker& make : makers) {
        if (auto engine = make()) {
            engines.push_back(std::move(engine));
        }
    }
    return engines;
}

std::vector<std::uint32_t> randomVictims(std::size_t count, std::size_t pending)
{
    std::mt19937 random(5);
    std::vector<std::uint32_t> victims(count);
    for (auto& victim : victims) {
        victim = std::uint32_t(random() % pending);
    }
    return victims;
}

// One figure's rows: ours against the floor, then against each peer.
void reportPairs(Report& report, const std::string& figure, Samples& samples)
{
    const double ours = median(samples["twheel"]);
    const double floor = median(samples["floor"]);
    report.add({figure, ours, "ns", {}, "", 0, {}, "allocation, mutex, clock, list", floor, 1.3});
    for (const auto& [name, values] : samples) {
        if (name == "twheel" || name == "floor") {
            continue;
        }
        Figure against{figure + " vs " + name, ours, "ns", {}, name, median(values), {}};
        // The pool is compared by elapsed time: what it costs is waiting for each other.
        if (name == kLoop) {
            against.ratioBound = 1;
        }
        report.add(against);
    }
}

struct Round
{
    double pairCpu;
    double pairWall;
    double replaceCpu;
};

// The whole process: what an engine leaves to its threads is part of its price, in CPU time and in elapsed
// time. A pair is over when its completion has run, on whatever thread.
Round measureRound(Engine& engine, std::size_t pending, unsigned seed)
{
    const std::size_t count = engine.pairsInARound(pending);
    const auto delays = randomDelays(count, 600000, 3600000, seed);
    const auto victims = randomVictims(count, pending);
    const double begin = cpuNs(CLOCK_PROCESS_CPUTIME_ID);
    const std::int64_t wallBegin = monotonicNs();
    engine.pairs(delays);
    engine.runPending();
    const auto wall = double(monotonicNs() - wallBegin);
    const double between = cpuNs(CLOCK_PROCESS_CPUTIME_ID);
    engine.replace(victims, delays);
    engine.runPending();
    const double end = cpuNs(CLOCK_PROCESS_CPUTIME_ID);
    const auto all = double(count);
    return {(between - begin) / all, wall / all, (end - between) / all};
}

double measureWith(std::size_t pending, const Options& options, Report& report)
{
    const auto engines =
        makeAll({makeOurs, makeFloor, [] { return makeAsio(10); }, [] { return makeAsio(0); }, makeLibevent,
                 makeLibuv, makeGlib, makeQt, makePlainWheel});
    const auto fill = randomDelays(pending, 600000, 3600000, 1);
    for (const auto& engine : engines) {
        engine->fill(fill);
    }
    Samples pairs;
    Samples walls;
    Samples replaces;
    for (int round = 0; round <= options.rounds; ++round) {
        const auto measure = [&](Engine& engine) {
            const Round measured = measureRound(engine, pending, unsigned(round));
            // The first round warms up.
            if (round > 0) {
                pairs[engine.name()].push_back(measured.pairCpu);
                walls[engine.name()].push_back(measured.pairWall);
                replaces[engine.name()].push_back(measured.replaceCpu);
            }
        };
        // Ours and the floor are to be told apart to a few per cent.
        for (int turn = 1; turn < kTurnsBesideTheFloor; ++turn) {
            measure(*engines[0]);
            measure(*engines[1]);
        }
        for (const auto& engine : engines) {
            measure(*engine);
        }
    }
    reportPairs(report, sized("schedule+cancel", pending), pairs);
    reportPairs(report, sized("cancel random+schedule", pending), replaces);
    // At least 20 x faster; 8 x with few pending, where the pool is as fast as it gets.
    report.add({sized("schedule+cancel, elapsed", pending),
                median(walls["twheel"]),
                "ns",
                {},
                kPool,
                median(walls[kPool]),
                pending == 1000 ? 0.125 : 0.05});
    return median(pairs["twheel"]);
}

} // namespace

void measurePairs(const Options& options, Report& report)
{
    const double few = measureWith(1000, options, report);
    measureWith(100000, options, report);
    const double many = measureWith(1000000, options, report);
    report.add({"schedule+cancel 1M / 1k", many / few, "x", 1.4, "", 0, {}});
}

} // namespace bench
