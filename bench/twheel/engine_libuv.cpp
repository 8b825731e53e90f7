#include "bench/twheel/engines.h"

#ifdef KEL_HAVE_LIBUV
#include <thread>

#include <uv.h>

namespace bench {

namespace {

class Libuv final : public EngineOf<Libuv, uv_timer_t*>
{
public:
    Libuv() { uv_loop_init(&m_loop); }
    ~Libuv() override
    {
        if (m_thread.joinable()) {
            m_stop = true;
            m_thread.join();
        }
        uv_walk(
            &m_loop,
            [](uv_handle_t* handle, void*) {
                if (uv_is_closing(handle) == 0) {
                    close(reinterpret_cast<uv_timer_t*>(handle));
                }
            },
            nullptr);
        uv_run(&m_loop, UV_RUN_DEFAULT);
        uv_loop_close(&m_loop);
    }
    std::string name() const override { return "libuv"; }

    uv_timer_t* start(long delay)
    {
        return start(delay, 0, [](uv_timer_t*) {});
    }
    // Closed handles are only freed by the loop.
    void stop(uv_timer_t* timer)
    {
        close(timer);
        if (++m_closed % 64 == 0) {
            uv_run(&m_loop, UV_RUN_NOWAIT);
        }
    }
    void runPending() override { uv_run(&m_loop, UV_RUN_NOWAIT); }
    void startPeriodic(const std::vector<long>& delays, long period, Lateness& lateness) override
    {
        m_ticking.resize(delays.size());
        for (std::size_t i = 0; i < delays.size(); ++i) {
            uv_update_time(&m_loop);
            m_ticking[i] = Ticking(lateness, delays[i], period);
            uv_timer_t* timer =
                start(delays[i], period, [](uv_timer_t* due) { static_cast<Ticking*>(due->data)->tick(); });
            timer->data = &m_ticking[i];
        }
        m_thread = std::thread([this] {
            while (!m_stop) {
                uv_run(&m_loop, UV_RUN_ONCE);
            }
        });
    }

private:
    uv_timer_t* start(long delay, long period, uv_timer_cb call)
    {
        auto* timer = new uv_timer_t;
        uv_timer_init(&m_loop, timer);
        uv_timer_start(timer, call, std::uint64_t(delay), std::uint64_t(period));
        return timer;
    }
    static void close(uv_timer_t* timer)
    {
        uv_close(reinterpret_cast<uv_handle_t*>(timer),
                 [](uv_handle_t* handle) { delete reinterpret_cast<uv_timer_t*>(handle); });
    }

    uv_loop_t m_loop{};
    unsigned m_closed = 0;
    std::vector<Ticking> m_ticking;
    std::atomic<bool> m_stop{false};
    std::thread m_thread;
};

} // namespace

std::unique_ptr<Engine> makeLibuv()
{
    return std::make_unique<Libuv>();
}

} // namespace bench
#else
std::unique_ptr<bench::Engine> bench::makeLibuv()
{
    return nullptr;
}
#endif
