#include "bench/twheel/engines.h"

#ifdef KEL_HAVE_QT
#include <algorithm>
#include <chrono>
#include <deque>
#include <thread>

#include <QCoreApplication>
#include <QEventLoop>
#include <QObject>
#include <QTimerEvent>

namespace bench {

namespace {

// Timers of a QObject, as QTimer uses them, in the event loop of a thread of their own where they are to run.
class Qt5 final : public EngineOf<Qt5, int>
{
public:
    Qt5()
    {
        // The dispatcher of the main thread is there once an application is.
        static int count = 1;
        static char name[] = "twheel_bench";
        static char* arguments[] = {name, nullptr};
        static QCoreApplication application(count, arguments);
    }
    ~Qt5() override
    {
        m_stop = true;
        if (m_thread.joinable()) {
            m_thread.join();
        }
    }
    std::string name() const override { return "Qt"; }
    // It looks through half of all timers for each.
    std::size_t pairsInARound(std::size_t pending) const override
    {
        return pending >= 1000000 ? 20 : pending >= 100000 ? 200 : 20000;
    }

    // In order of time: each one started before others of the list moves all of them.
    void fill(const std::vector<long>& delays) override
    {
        std::vector<long> sorted = delays;
        std::sort(sorted.begin(), sorted.end());
        EngineOf::fill(sorted);
    }
    int start(long delay) { return m_object.startTimer(int(delay), Qt::PreciseTimer); }
    void stop(int timer) { m_object.killTimer(timer); }
    void startPeriodic(const std::vector<long>& delays, long period, Lateness& lateness) override
    {
        std::vector<long> sorted = delays;
        std::sort(sorted.begin(), sorted.end());
        m_thread = std::thread([this, sorted, period, &lateness] { loop(sorted, period, lateness); });
    }

private:
    class Runner final : public QObject
    {
    public:
        Runner(Lateness& lateness, long period) : m_ticking(lateness, period, period)
        {
            startTimer(int(period), Qt::PreciseTimer);
        }

    protected:
        void timerEvent(QTimerEvent*) override { m_ticking.tick(); }

    private:
        Ticking m_ticking;
    };

    // A timer of Qt has no first delay other than its period: each is started when that makes it due in time.
    void loop(const std::vector<long>& delays, long period, Lateness& lateness)
    {
        QEventLoop events;
        // Left behind on purpose: each object that goes looks through all timers of the thread, which takes
        // minutes; the thread's end drops the timers themselves.
        auto& runners = *new std::deque<Runner>;
        const std::int64_t begin = monotonicNs();
        while (!m_stop) {
            const auto passed = long((monotonicNs() - begin) / 1'000'000);
            while (runners.size() < delays.size() && delays[runners.size()] - delays.front() <= passed) {
                runners.emplace_back(lateness, period);
            }
            if (runners.size() < delays.size()) {
                events.processEvents();
                std::this_thread::sleep_for(std::chrono::microseconds(500));
            } else {
                events.processEvents(QEventLoop::WaitForMoreEvents);
            }
        }
    }

    QObject m_object;
    std::atomic<bool> m_stop{false};
    std::thread m_thread;
};

} // namespace

std::unique_ptr<Engine> makeQt()
{
    return std::make_unique<Qt5>();
}

} // namespace bench
#else
std::unique_ptr<bench::Engine> bench::makeQt()
{
    return nullptr;
}
#endif
