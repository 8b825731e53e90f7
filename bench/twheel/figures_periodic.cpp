// A great many timers of one second: what they cost and how late their runs start.
#include <chrono>
#include <map>
#include <thread>

#include "bench/twheel/figures.h"

namespace bench {

namespace {

using Samples = std::map<std::string, std::vector<double>>;

struct What
{
    const char* name;
    const char* unit;
    // None where it is 0.
    double boundOf100k;
    double boundOf1M;
};
constexpr What kWhats[] = {
    {"cpu", "%", 4, 15}, {"p99", "us", 1300, 1500}, {"p99.9", "us", 3000, 0}, {"lost", "runs", 0.5, 0.5}};

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
    const double bound = count == 1000000 ? what.boundOf1M : what.boundOf100k;
    Row row;
    row.name = sized("periodic 1 s", count) + " " + what.name;
    row.value = median(samples["twheel"][what.name]);
    row.unit = what.unit;
    row.floor = "sleep, fetch, call, measure";
    row.floorValue = median(samples["floor"][what.name]);
    if (bound > 0) {
        row.bound = bound < 1 ? "none" : "<= " + std::to_string(int(bound));
        row.holds = row.value <= bound;
    }
    report.add(row);
    for (auto& [peer, measured] : samples) {
        if (peer != "twheel" && peer != "floor") {
            Row against;
            against.name = row.name + " vs " + peer;
            against.value = row.value;
            against.unit = row.unit;
            against.peer = peer;
            against.peerValue = median(measured[what.name]);
            report.add(against);
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
