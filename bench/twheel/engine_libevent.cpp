#include "bench/twheel/engines.h"

#ifdef KEL_HAVE_LIBEVENT
#include <algorithm>
#include <thread>

#include <event2/event.h>

namespace bench {

namespace {

class Libevent final : public EngineOf<Libevent, event*>
{
public:
    ~Libevent() override
    {
        if (m_thread.joinable()) {
            m_stop = true;
            m_thread.join();
        }
        for (event* timer : m_pending) {
            event_free(timer);
        }
        for (const Periodic& periodic : m_periodic) {
            event_free(periodic.timer);
        }
        event_base_free(m_base);
    }
    std::string name() const override { return "libevent"; }

    event* start(long delay)
    {
        event* timer = event_new(
            m_base, -1, 0, [](evutil_socket_t, short, void*) {}, nullptr);
        const timeval after{delay / 1000, (delay % 1000) * 1000};
        event_add(timer, &after);
        return timer;
    }
    static void stop(event* timer) { event_free(timer); }
    void startPeriodic(const std::vector<long>& delays, long period, Lateness& lateness) override
    {
        m_periodic.resize(delays.size());
        for (std::size_t i = 0; i < delays.size(); ++i) {
            m_periodic[i].ticking = Ticking(lateness, delays[i], period);
            m_periodic[i].timer = event_new(m_base, -1, 0, &Libevent::ticked, &m_periodic[i]);
            const timeval after{delays[i] / 1000, (delays[i] % 1000) * 1000};
            event_add(m_periodic[i].timer, &after);
        }
        m_thread = std::thread([this] {
            while (!m_stop) {
                event_base_loop(m_base, EVLOOP_ONCE);
            }
        });
    }

private:
    struct Periodic
    {
        event* timer = nullptr;
        Ticking ticking;
    };
    // Re-armed by what is left until the next due time: EV_PERSIST drifts.
    static void ticked(evutil_socket_t, short, void* data)
    {
        auto* periodic = static_cast<Periodic*>(data);
        periodic->ticking.tick();
        const double leftNs = double(periodic->ticking.due - stamp()) / stampsPerNs();
        const auto leftUs = long(std::max(leftNs, 0.0) / 1000);
        const timeval after{leftUs / 1'000'000, leftUs % 1'000'000};
        event_add(periodic->timer, &after);
    }

    event_base* m_base = event_base_new();
    std::vector<Periodic> m_periodic;
    std::atomic<bool> m_stop{false};
    std::thread m_thread;
};

} // namespace

std::unique_ptr<Engine> makeLibevent()
{
    return std::make_unique<Libevent>();
}

} // namespace bench
#else
std::unique_ptr<bench::Engine> bench::makeLibevent()
{
    return nullptr;
}
#endif
