#include "tests/support/simulated_scheduler.h"

#include <boost/make_shared.hpp>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <limits>
#include <list>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <thread>
#include <vector>

#include "twheel/task_scheduler.h"

namespace {

// For broken programs only.
constexpr std::chrono::seconds patience(20);

struct Task
{
    long due = 0;
    long period = 0; // 0: runs once
    boost::shared_ptr<twheel::TwheelRunnable> runnable;
};
using TaskPtr = std::shared_ptr<Task>;

class Simulation final
{
public:
    TaskPtr add(long delay, long period, boost::shared_ptr<twheel::TwheelRunnable> runnable)
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        auto task = std::make_shared<Task>(Task{m_now + std::max(delay, 0L), period, std::move(runnable)});
        m_tasks.push_back(task);
        return task;
    }
    void cancel(const TaskPtr& task)
    {
        boost::shared_ptr<twheel::TwheelRunnable> dropped; // without the lock: it may hold the last handle
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_tasks.remove(task);
        dropped.swap(task->runnable);
    }
    void advance(long milliseconds)
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        const long target = m_now + milliseconds;
        for (;;) {
            waitUntilIdle(lock);
            const long next = nextEvent();
            if (next > target) {
                break;
            }
            m_now = std::max(m_now, next);
            wake();
            startDue();
        }
        m_now = target;
    }
    void sleep(long milliseconds)
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        const auto self = m_sleepers.insert(m_sleepers.end(), Sleeper{m_now + milliseconds});
        --m_awake;
        m_changed.notify_all();
        m_changed.wait(lock, [&] { return self->isWoken; });
        m_sleepers.erase(self);
    }
    void reset()
    {
        std::vector<std::thread> threads;
        std::list<TaskPtr> tasks; // released without the lock
        {
            std::unique_lock<std::mutex> lock(m_mutex);
            tasks.swap(m_tasks);
            while (!m_sleepers.empty()) {
                m_now = std::max(m_now, nextEvent());
                wake();
                waitUntilIdle(lock);
            }
            threads.swap(m_threads);
        }
        for (std::thread& thread : threads) {
            thread.join();
        }
        for (const TaskPtr& task : tasks) {
            task->runnable.reset(); // what it runs may hold its handle
        }
    }
    long now() const { return locked(m_now); }
    std::size_t runs() const { return locked(m_runs); }
    std::size_t scheduled() const
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return m_tasks.size();
    }

private:
    struct Sleeper
    {
        long until = 0;
        bool isWoken = false;
    };

    template <typename Value>
    Value locked(const Value& value) const
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return value;
    }
    void waitUntilIdle(std::unique_lock<std::mutex>& lock)
    {
        if (!m_changed.wait_for(lock, patience, [this] { return m_awake == 0; })) {
            throw std::runtime_error("a run waits for something else than the clock");
        }
    }
    long nextEvent() const
    {
        long next = std::numeric_limits<long>::max();
        for (const TaskPtr& task : m_tasks) {
            next = std::min(next, task->due);
        }
        for (const Sleeper& sleeper : m_sleepers) {
            next = sleeper.isWoken ? next : std::min(next, sleeper.until);
        }
        return next;
    }
    void wake()
    {
        for (Sleeper& sleeper : m_sleepers) {
            if (sleeper.isWoken || sleeper.until > m_now) {
                continue;
            }
            sleeper.isWoken = true;
            ++m_awake;
        }
        m_changed.notify_all();
    }
    void startDue()
    {
        for (auto place = m_tasks.begin(); place != m_tasks.end();) {
            const TaskPtr task = *place;
            if (task->due > m_now) {
                ++place;
                continue;
            }
            ++m_awake;
            ++m_runs;
            m_threads.emplace_back([this, runnable = task->runnable]() mutable {
                runnable->run();
                runnable.reset();
                const std::lock_guard<std::mutex> lock(m_mutex);
                --m_awake;
                m_changed.notify_all();
            });
            task->due += task->period;
            place = task->period > 0 ? std::next(place) : m_tasks.erase(place);
        }
    }

    mutable std::mutex m_mutex; // guards everything below
    std::condition_variable m_changed;
    long m_now = 0;
    int m_awake = 0; // runs that neither ended nor sleep
    std::size_t m_runs = 0;
    std::list<TaskPtr> m_tasks;
    std::list<Sleeper> m_sleepers;
    std::vector<std::thread> m_threads;
};

// Never destroyed: the registry cancels its tasks while statics are dying.
Simulation& simulation()
{
    static auto* const instance = new Simulation;
    return *instance;
}

class Handle final : public twheel::TaskHandle
{
public:
    explicit Handle(TaskPtr task) : m_task(std::move(task)) {}
    void cancel() override { simulation().cancel(m_task); }

private:
    const TaskPtr m_task;
};

} // namespace

namespace twheel {

class TaskScheduler::Wheel
{
};

TaskScheduler::TaskScheduler(int /*workers*/) {}
TaskScheduler::~TaskScheduler()
{
    simulation().reset();
}

boost::shared_ptr<TaskHandle> TaskScheduler::schedule(long delay, boost::shared_ptr<TwheelRunnable> task)
{
    return boost::make_shared<Handle>(simulation().add(delay, 0, std::move(task)));
}

boost::shared_ptr<TaskHandle> TaskScheduler::schedule(long delay, long period,
                                                      boost::shared_ptr<TwheelRunnable> task)
{
    return boost::make_shared<Handle>(simulation().add(delay, period, std::move(task)));
}

} // namespace twheel

namespace kel_test::simulated {

long now()
{
    return simulation().now();
}
void advance(long milliseconds)
{
    simulation().advance(milliseconds);
}
void sleep(long milliseconds)
{
    simulation().sleep(milliseconds);
}
std::size_t runs()
{
    return simulation().runs();
}
std::size_t scheduled()
{
    return simulation().scheduled();
}
void reset()
{
    simulation().reset();
}

} // namespace kel_test::simulated
