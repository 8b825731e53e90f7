#include "bench/twheel/figures.h"

#include <condition_variable>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <mutex>
#include <random>
#include <thread>

#include <boost/asio/io_context.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/make_shared.hpp>
#include <malloc.h>
#include <unistd.h>

#include "bench/twheel/engines.h"
#include "twheel/task_scheduler.h"

namespace bench {

namespace {

using Maker = std::function<std::unique_ptr<Engine>()>;

double cpuNs(clockid_t clock)
{
    timespec now{};
    clock_gettime(clock, &now);
    return double(now.tv_sec) * 1e9 + double(now.tv_nsec);
}

std::vector<long> randomDelays(std::size_t count, long from, long to, unsigned seed)
{
    std::mt19937 random(seed);
    std::uniform_int_distribution<long> delay(from, to);
    std::vector<long> delays(count);
    for (long& value : delays) {
        value = delay(random);
    }
    return delays;
}

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

std::string sized(const char* figure, std::size_t count)
{
    return std::string(figure) + (count >= 1000000 ? " 1M" : count >= 100000 ? " 100k" : " 1k");
}

const char* const kPool = "asio 10 threads";
const char* const kLoop = "asio 1 loop";

// The rows of one figure: ours against the floor, against the pool, against the loop, the others for
// information.
void reportPairs(Report& report, const std::string& figure,
                 std::map<std::string, std::vector<double>>& samples)
{
    const double ours = median(samples["twheel"]);
    const double floor = median(samples["floor"]);
    Row row;
    row.name = figure;
    row.value = ours;
    row.unit = "ns";
    row.bound = "<= 1.3 x floor";
    row.floor = "allocation, mutex, clock, list";
    row.floorValue = floor;
    row.holds = ours <= 1.3 * floor;
    report.add(row);
    for (const auto& [name, values] : samples) {
        if (name == "twheel" || name == "floor") {
            continue;
        }
        Row peer;
        peer.name = figure + " vs " + name;
        peer.value = ours;
        peer.unit = "ns";
        peer.peer = name;
        peer.peerValue = median(values);
        // The pool is compared by elapsed time: what it costs is waiting for each other.
        if (name == kLoop) {
            peer.bound = "faster";
            peer.holds = ours < *peer.peerValue;
        }
        report.add(peer);
    }
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

double measurePeriodicRound(const Maker& make, std::size_t count,
                            std::map<std::string, std::vector<double>>& out)
{
    constexpr auto kMeasured = std::chrono::seconds(4);
    Lateness lateness;
    const auto engine = make();
    engine->startPeriodic(randomDelays(count, 1000, 1999, 3), 1000, lateness);
    std::this_thread::sleep_for(std::chrono::milliseconds(2500));
    lateness.begin();
    const double cpu = cpuNs(CLOCK_PROCESS_CPUTIME_ID);
    const std::int64_t begin = monotonicNs();
    std::this_thread::sleep_for(kMeasured);
    const double took = double(monotonicNs() - begin);
    out["cpu"].push_back((cpuNs(CLOCK_PROCESS_CPUTIME_ID) - cpu) / took * 100);
    out["p99"].push_back(lateness.percentile(0.99));
    out["p99.9"].push_back(lateness.percentile(0.999));
    out["lost"].push_back(double(lateness.lost()));
    return double(lateness.runs());
}

// Voluntary and other switches of every thread but this one.
long contextSwitches()
{
    long sum = 0;
    for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
        if (task.path().filename() == std::to_string(gettid())) {
            continue;
        }
        std::ifstream status(task.path() / "status");
        for (std::string line; std::getline(status, line);) {
            if (line.find("voluntary_ctxt_switches:") != std::string::npos) {
                sum += std::stol(line.substr(line.find(':') + 1));
            }
        }
    }
    return sum;
}

class Function final : public twheel::TwheelRunnable
{
public:
    explicit Function(std::function<void()> body) : m_body(std::move(body)) {}
    void run() override { m_body(); }

private:
    std::function<void()> m_body;
};

// Ten runs due at once that block 20 ms each: how late the last one starts, in us.
double lastOfTenLateness(const std::function<void(long, std::function<void()>)>& scheduleIn)
{
    std::mutex mutex;
    std::condition_variable done;
    int left = 10;
    std::int64_t latest = 0;
    const std::int64_t due = monotonicNs() + 20'000'000;
    for (int i = 0; i < 10; ++i) {
        scheduleIn(20, [&] {
            const std::int64_t started = monotonicNs();
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
            const std::lock_guard<std::mutex> lock(mutex);
            latest = std::max(latest, started);
            --left;
            done.notify_one();
        });
    }
    std::unique_lock<std::mutex> lock(mutex);
    done.wait(lock, [&] { return left == 0; });
    return double(latest - due) / 1000;
}

} // namespace

void measurePairs(const Options& options, Report& report)
{
    double oursAtThousand = 0;
    for (const std::size_t pending : {1000UL, 100000UL, 1000000UL}) {
        const auto engines = makeAll({makeOurs, makeFloor, [] { return makeAsio(10); },
                                      [] { return makeAsio(0); }, makeLibevent, makeLibuv});
        const auto fill = randomDelays(pending, 600000, 3600000, 1);
        for (const auto& engine : engines) {
            engine->fill(fill);
        }
        std::map<std::string, std::vector<double>> pairs;
        std::map<std::string, std::vector<double>> walls;
        std::map<std::string, std::vector<double>> replaces;
        for (int round = 0; round <= options.rounds; ++round) {
            for (const auto& engine : engines) {
                const std::size_t count = engine->name() == kPool ? 20000 : 200000;
                const auto delays = randomDelays(count, 600000, 3600000, unsigned(round));
                const auto victims = randomVictims(count, pending);
                // The whole process: what an engine leaves to its threads is part of its price.
                const double begin = cpuNs(CLOCK_PROCESS_CPUTIME_ID);
                const std::int64_t wallBegin = monotonicNs();
                engine->pairs(delays);
                const auto wall = double(monotonicNs() - wallBegin);
                engine->settle();
                const double between = cpuNs(CLOCK_PROCESS_CPUTIME_ID);
                engine->replace(victims, delays);
                engine->settle();
                const double end = cpuNs(CLOCK_PROCESS_CPUTIME_ID);
                // The first round warms up.
                if (round > 0) {
                    walls[engine->name()].push_back(wall / double(count));
                    pairs[engine->name()].push_back((between - begin) / double(count));
                    replaces[engine->name()].push_back((end - between) / double(count));
                }
            }
        }
        reportPairs(report, sized("schedule+cancel", pending), pairs);
        reportPairs(report, sized("cancel random+schedule", pending), replaces);
        const double ours = median(pairs["twheel"]);
        const double oursWall = median(walls["twheel"]);
        const double poolWall = median(walls[kPool]);
        report.add({sized("schedule+cancel, elapsed", pending),
                    oursWall,
                    "ns",
                    "20 x faster",
                    kPool,
                    poolWall,
                    "",
                    {},
                    oursWall * 20 <= poolWall});
        if (pending == 1000) {
            oursAtThousand = ours;
        } else if (pending == 1000000) {
            report.add({"schedule+cancel 1M / 1k",
                        ours / oursAtThousand,
                        "x",
                        "<= 1.4",
                        "",
                        {},
                        "",
                        {},
                        ours / oursAtThousand <= 1.4});
        }
    }
}

void measureMemory(const Options&, Report& report)
{
    constexpr std::size_t kCount = 1000000;
    const auto delays = randomDelays(kCount, 600000, 3600000, 1);
    std::map<std::string, double> bytes;
    for (const Maker& make : {Maker(makeOurs), Maker([] { return makeAsio(10); }),
                              Maker([] { return makeAsio(0); }), Maker(makeLibevent), Maker(makeLibuv)}) {
        if (const auto engine = make()) {
            // Large blocks (the table of handles, which the engine's user keeps) are mapped, not counted
            // here.
            const auto before = mallinfo2().uordblks;
            engine->fill(delays);
            bytes[engine->name()] = double(mallinfo2().uordblks - before) / double(kCount);
        }
    }
    const double ours = bytes["twheel"];
    report.add({"bytes a timer", ours, "B", "<= 160", "", {}, "", {}, ours <= 160});
    for (const auto& [name, value] : bytes) {
        if (name != "twheel") {
            report.add({"bytes a timer vs " + name, ours, "B", "", name, value, "", {}, {}});
        }
    }
}

void measurePeriodic(const Options& options, Report& report)
{
    for (const std::size_t count : {100000UL, 1000000UL}) {
        std::vector<Maker> makers{makeOurs, [] { return makeAsio(0); }};
        if (count == 100000) {
            makers.insert(makers.end(), {[] { return makeAsio(10); }, makeLibevent, makeLibuv});
        }
        std::map<std::string, std::map<std::string, std::vector<double>>> samples;
        for (int round = 0; round < options.rounds; ++round) {
            for (const Maker& make : makers) {
                if (const auto probe = make()) {
                    measurePeriodicRound(make, count, samples[probe->name()]);
                }
            }
        }
        auto& ours = samples["twheel"];
        const bool many = count == 1000000;
        const std::map<std::string, double> bounds{{"cpu", many ? 15 : 4},
                                                   {"p99", many ? 1500 : 1300},
                                                   {"p99.9", many ? 0 : 3000},
                                                   {"lost", many ? 0.5 : 0}};
        for (auto& [what, values] : ours) {
            const double bound = bounds.at(what);
            const char* unit = what == "cpu" ? "%" : what == "lost" ? "runs" : "us";
            const std::string text = bound == 0       ? ""
                                     : what == "lost" ? "none"
                                                      : "<= " + std::to_string(int(bound));
            const std::string name = sized("periodic 1 s", count) + " " + what;
            report.add({name,
                        median(values),
                        unit,
                        text,
                        "",
                        {},
                        "",
                        {},
                        bound == 0 ? std::optional<bool>() : median(values) <= bound});
            for (auto& [peer, peerSamples] : samples) {
                if (peer != "twheel") {
                    report.add({name + " vs " + peer,
                                median(values),
                                unit,
                                "",
                                peer,
                                median(peerSamples[what]),
                                "",
                                {},
                                {}});
                }
            }
        }
    }
}

void measureIdle(const Options&, Report& report)
{
    twheel::TaskScheduler scheduler(10);
    const auto handle = scheduler.schedule(3600000, boost::make_shared<Function>([] {}));
    std::this_thread::sleep_for(std::chrono::milliseconds(500));
    const long before = contextSwitches();
    std::this_thread::sleep_for(std::chrono::seconds(20));
    const long switches = contextSwitches() - before;
    report.add(
        {"one timer in an hour: switches in 20 s", double(switches), "", "0", "", {}, "", {}, switches == 0});
}

void measureContention(const Options& options, Report& report)
{
    constexpr int kPairs = 400000;
    const auto delays = randomDelays(kPairs / 8, 600000, 3600000, 1);
    const auto nothing = boost::make_shared<Function>([] {});
    const auto run = [&](int threads) {
        twheel::TaskScheduler scheduler(10);
        const double begin = cpuNs(CLOCK_PROCESS_CPUTIME_ID);
        std::vector<std::thread> all;
        for (int i = 0; i < threads; ++i) {
            all.emplace_back([&] {
                boost::shared_ptr<twheel::TwheelRunnable> own = boost::make_shared<Function>([] {});
                for (int turn = 0; turn < 8 / threads; ++turn) {
                    for (const long delay : delays) {
                        scheduler.schedule(delay, own)->cancel();
                    }
                }
            });
        }
        for (auto& thread : all) {
            thread.join();
        }
        return (cpuNs(CLOCK_PROCESS_CPUTIME_ID) - begin) / kPairs;
    };
    std::vector<double> alone;
    std::vector<double> together;
    for (int round = 0; round < options.rounds; ++round) {
        alone.push_back(run(1));
        together.push_back(run(8));
    }
    Row row;
    row.name = "8 threads at once, CPU a pair";
    row.value = median(together);
    row.unit = "ns";
    row.bound = "<= 3 x one thread";
    row.floor = "one thread";
    row.floorValue = median(alone);
    row.holds = row.value <= 3 * *row.floorValue;
    report.add(row);
}

void measureBlockingRuns(const Options& options, Report& report)
{
    twheel::TaskScheduler scheduler(10);
    boost::asio::io_context context(10);
    const auto guard = boost::asio::make_work_guard(context);
    std::vector<std::thread> threads;
    for (int i = 0; i < 10; ++i) {
        threads.emplace_back([&] { context.run(); });
    }
    std::vector<double> ours;
    std::vector<double> peer;
    for (int round = 0; round < 3 * options.rounds; ++round) {
        ours.push_back(lastOfTenLateness([&](long delay, std::function<void()> body) {
            scheduler.schedule(delay, boost::make_shared<Function>(std::move(body)));
        }));
        peer.push_back(lastOfTenLateness([&](long delay, std::function<void()> body) {
            auto timer =
                std::make_shared<boost::asio::steady_timer>(context, std::chrono::milliseconds(delay));
            timer->async_wait([timer, body](const boost::system::error_code&) { body(); });
        }));
    }
    context.stop();
    for (auto& thread : threads) {
        thread.join();
    }
    report.add({"ten runs of 20 ms at once: the tenth starts",
                median(ours),
                "us",
                "<= 2000",
                kPool,
                median(peer),
                "",
                {},
                median(ours) <= 2000});
}

void measureInstructions(const Options& options, Report& report)
{
    constexpr int kPairs = 20000;
    const std::string command =
        "valgrind --tool=callgrind --callgrind-out-file=/dev/null --collect-atstart=no "
        "--toggle-collect=twheelCallgrindLoop '" +
        options.self + "' --callgrind-loop " + std::to_string(kPairs) + " 2>&1";
    FILE* pipe = popen(command.c_str(), "r");
    if (pipe == nullptr) {
        return;
    }
    double counted = 0;
    for (char line[512]; std::fgets(line, sizeof line, pipe) != nullptr;) {
        if (const char* found = std::strstr(line, "Collected :")) {
            counted = std::strtod(found + std::strlen("Collected :"), nullptr);
        }
    }
    pclose(pipe);
    if (counted > 0) {
        report.add({"instructions of schedule+cancel", counted / kPairs, "", "", "", {}, "", {}, {}});
    } else {
        std::fputs("instructions: valgrind is not installed or failed\n", stderr);
    }
}

} // namespace bench

// Left unarmed by a far timer, the alarm would be set by some pairs and not by others.
extern "C" __attribute__((noinline)) void twheelCallgrindLoop(int pairs)
{
    static twheel::TaskScheduler scheduler(1);
    static const boost::shared_ptr<twheel::TwheelRunnable> nothing =
        boost::make_shared<bench::Function>([] {});
    static const auto far = scheduler.schedule(600000, nothing);
    for (int i = 0; i < pairs; ++i) {
        scheduler.schedule(700000 + i % 1000, nothing)->cancel();
    }
}
