#include <boost/make_shared.hpp>

#include "bench/twheel/engines.h"
#include "twheel/task_scheduler.h"

namespace bench {

namespace {

class Nothing final : public twheel::TwheelRunnable
{
public:
    void run() override {}
};

class TickingRunnable final : public twheel::TwheelRunnable
{
public:
    explicit TickingRunnable(const Ticking& ticking) : m_ticking(ticking) {}
    void run() override { m_ticking.tick(); }

private:
    Ticking m_ticking;
};

using Handle = boost::shared_ptr<twheel::TaskHandle>;

class Ours final : public EngineOf<Ours, Handle>
{
public:
    std::string name() const override { return "twheel"; }
    Handle start(long delay) { return m_scheduler.schedule(delay, m_nothing); }
    static void stop(Handle& handle)
    {
        handle->cancel();
        handle.reset();
    }
    void startPeriodic(const std::vector<long>& delays, long period, Lateness& lateness) override
    {
        for (const long delay : delays) {
            const Ticking ticking(lateness, delay, period);
            m_scheduler.schedule(delay, period, boost::make_shared<TickingRunnable>(ticking));
        }
    }

private:
    boost::shared_ptr<twheel::TwheelRunnable> m_nothing = boost::make_shared<Nothing>();
    twheel::TaskScheduler m_scheduler{10};
};

} // namespace

std::unique_ptr<Engine> makeOurs()
{
    return std::make_unique<Ours>();
}

} // namespace bench
