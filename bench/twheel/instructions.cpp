// What callgrind counts of the scheduler: scheduling and cancelling as a user does it, and one periodic run
// as a worker does it, without lock, clock and alarm, which it needs once for sixteen runs at most.
#include <cstdio>
#include <cstring>

#include <boost/make_shared.hpp>

#include "twheel/src/scheduler_ref.h"
#include "twheel/src/task_core.h"
#include "twheel/task_scheduler.h"

namespace {

class Nothing final : public twheel::TwheelRunnable
{
public:
    void run() override {}
};

const boost::shared_ptr<twheel::TwheelRunnable> s_nothing = boost::make_shared<Nothing>();

int scheduleAndCancel(int times)
{
    static twheel::TaskScheduler scheduler(1);
    // Left unarmed by a far timer, the alarm would be set by some pairs and not by others.
    static const auto far = scheduler.schedule(600000, s_nothing);
    for (int i = 0; i < times; ++i) {
        scheduler.schedule(700000 + i % 1000, s_nothing)->cancel();
    }
    return times;
}

// Ten thousand tasks a second, ten in each tick.
class Periodic final
{
public:
    Periodic() : m_ref(twheel::SchedulerRef::obtain()), m_core(0)
    {
        for (int i = 0; i < 10000; ++i) {
            auto runnable = s_nothing;
            m_core.schedule(*twheel::Task::make(m_ref, std::move(runnable), 1000), 1 + unsigned(i) % 1000);
        }
    }

    int run(int seconds)
    {
        int runs = 0;
        for (int i = 0; i < seconds * 1000; ++i) {
            ++m_now;
            for (bool more = true; more;) {
                m_core.advance(m_now);
                more = m_core.fill(m_batch, m_now, twheel::Batch::kMost) != 0;
                if (more) {
                    while (twheel::Task* task = m_batch.next()) {
                        twheel::TaskCore::runnable(*task).run();
                        ++runs;
                    }
                    m_core.end(m_batch, m_released);
                }
            }
        }
        return runs;
    }

private:
    twheel::SchedulerRef& m_ref;
    twheel::TaskCore m_core;
    twheel::Batch m_batch;
    twheel::Releases m_released;
    twheel::Tick m_now = 0;
};

Periodic* s_periodic = nullptr;

int runPeriodic(int seconds)
{
    return s_periodic->run(seconds);
}

int (*s_path)(int) = nullptr;

} // namespace

extern "C" __attribute__((noinline)) int countedInstructions(int times)
{
    return s_path(times);
}

int main(int argc, char** argv)
{
    if (argc != 3 || std::strcmp(argv[1], "--instructions") != 0) {
        std::fputs("usage: twheel_instructions --instructions schedule-cancel|periodic-run\n", stderr);
        return 2;
    }
    int times = 0;
    if (std::strcmp(argv[2], "schedule-cancel") == 0) {
        s_path = scheduleAndCancel;
        times = 20000;
        scheduleAndCancel(100);
    } else if (std::strcmp(argv[2], "periodic-run") == 0) {
        // Until the process ends.
        s_periodic = new Periodic;
        s_path = runPeriodic;
        times = 2;
        runPeriodic(1);
    } else {
        return 2;
    }
    std::printf("%d\n", countedInstructions(times));
    return 0;
}
