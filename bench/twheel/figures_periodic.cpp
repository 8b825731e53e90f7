// A great many timers of one second: what they cost and how late their runs start.
#include <chrono>
#include <map>
#include <optional>
#include <thread>

#include "bench/twheel/figures.h"

namespace bench {

namespace {

using Samples = std::map<std::string, std::vector<double>>;

struct What
{
    const char* name;
    const char* unit;
    std::optional<double> bound;
    // Of the floor's: what a wake-up takes is the machine's, and on some days several times what it is on
    // others.
    std::optional<double> floorRatioOf100k;
    std::optional<double> floorRatioOf1M;
};
constexpr What kWhats[] = {{"cpu", "%", {}, 1.35, 1.35},
                           {"p99", "us", {}, 1.2, 1.2},
                           {"p99.9", "us", {}, 1.2, {}},
                           {"lost", "runs", 0, {}, {}}};

void measureRound(const Maker& make, std::size_t count, std::map<std::string, Samples>& out)
{
    // Outlives the engine, whose threads run until it goes.
    Lateness lateness;
    const auto engine = make();
    if (!engine) {
        return;
    }
    engine->startPeriodic(randomDelays(count, 200, 1199, 3), 1000, lateness);
    // Until each has run once: from then on an engine knows its timers.
    std::this_thread::sleep_for(std::chrono::milliseconds(2300));
    lateness.begin();
    const double cpu = cpuNs(CLOCK_PROCESS_CPUTIME_ID);
    const std::int64_t begin = monotonicNs();
    std::this_thread::sleep_for(std::chrono::milliseconds(1200));
    const auto took = double(monotonicNs() - begin);
    Samples& samples = out[engine->name()];
    samples["cpu"].push_back((cpuNs(CLOCK_PROCESS_CPUTIME_ID) - cpu) / took * 100);
    samples["p99"].push_back(lateness.percentile(0.99));
    samples["p99.9"].push_back(lateness.percentile(0.999));
    samples["lost"].push_back(double(lateness.lost()));
}

void reportWhat(Report& report, const What& what, std::size_t count, std::map<std::string, Samples>& samples)
{
    const std::string name = sized("periodic 1 s", count) + " " + what.name;
    const double ours = median(samples["twheel"][what.name]);
    report.add({name,
                ours,
                what.unit,
                what.bound,
                "",
                0,
                {},
                "sleep, fetch, call, measure",
                median(samples["floor"][what.name]),
                count == 1000000 ? what.floorRatioOf1M : what.floorRatioOf100k});
    for (auto& [peer, measured] : samples) {
        if (peer != "twheel" && peer != "floor") {
            report.add({name + " vs " + peer, ours, what.unit, {}, peer, median(measured[what.name]), {}});
        }
    }
}

} // namespace

void measurePeriodic(const Options& options, Report& report)
{
    for (const std::size_t count : {100000UL, 1000000UL}) {
        std::vector<Maker> makers{makeOurs, makeFloor, makePlainWheel};
        if (count == 100000) {
            makers.insert(makers.end(), {[] { return makeAsio(0); }, [] { return makeAsio(10); },
                                         makeLibevent, makeLibuv, makeQt});
        }
        std::map<std::string, Samples> samples;
        for (int round = 0; round < options.rounds; ++round) {
            for (const Maker& make : makers) {
                measureRound(make, count, samples);
            }
        }
        if (count == 1000000) {
            // Once: it does not keep up.
            measureRound([] { return makeAsio(0); }, count, samples);
        }
        for (const What& what : kWhats) {
            reportWhat(report, what, count, samples);
        }
    }
}

} // namespace bench
