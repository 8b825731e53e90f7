#include "bench/twheel/figures.h"

#include <algorithm>
#include <condition_variable>
#include <filesystem>
#include <fstream>
#include <map>
#include <mutex>
#include <random>
#include <thread>

#include <boost/asio/io_context.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/make_shared.hpp>
#include <malloc.h>
#include <unistd.h>

#include "twheel/task_scheduler.h"

namespace bench {

const char* const kPool = "asio 10 threads";
const char* const kLoop = "asio 1 loop";

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

std::string sized(const char* figure, std::size_t count)
{
    return std::string(figure) + (count >= 1000000 ? " 1M" : count >= 100000 ? " 100k" : " 1k");
}

namespace {

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

std::size_t allocated()
{
    const struct mallinfo2 info = mallinfo2();
    return info.uordblks + info.hblkhd;
}

} // namespace

void measureMemory(const Options&, Report& report)
{
    constexpr std::size_t kCount = 1000000;
    const auto delays = randomDelays(kCount, 600000, 3600000, 1);
    std::map<std::string, double> bytes;
    for (const Maker& make :
         {Maker(makeOurs), Maker([] { return makeAsio(10); }), Maker([] { return makeAsio(0); }),
          Maker(makeLibevent), Maker(makeLibuv), Maker(makeGlib), Maker(makePlainWheel)}) {
        if (const auto engine = make()) {
            // With what its user keeps to cancel it.
            const auto before = allocated();
            engine->fill(delays);
            bytes[engine->name()] = double(allocated() - before) / double(kCount);
        }
    }
    const double ours = bytes["twheel"];
    report.add({"bytes a timer", ours, "B", 160, "", 0, {}});
    for (const auto& [name, value] : bytes) {
        if (name != "twheel") {
            report.add({"bytes a timer vs " + name, ours, "B", {}, name, value, {}});
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
    report.add({"one timer in an hour: switches in 20 s", double(switches), "switches", 0, "", 0, {}});
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
    report.add({"8 threads at once, CPU a pair", median(together), "ns", {}, "one thread", median(alone), 3});
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
    report.add(
        {"ten runs of 20 ms at once: the tenth starts", median(ours), "us", {}, kPool, median(peer), 4});
}

} // namespace bench
