#include <algorithm>
#include <chrono>
#include <functional>
#include <future>
#include <thread>

#include <boost/asio/io_context.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/steady_timer.hpp>

#include "bench/twheel/engines.h"

namespace bench {

namespace {

using Handle = std::shared_ptr<boost::asio::steady_timer>;

class Asio final : public EngineOf<Asio, Handle>
{
public:
    explicit Asio(int threads) : m_context(threads == 0 ? 1 : threads), m_pool(threads != 0)
    {
        for (int i = 0; i < std::max(threads, 1); ++i) {
            m_threads.emplace_back([this] { m_context.run(); });
        }
    }
    ~Asio() override
    {
        m_context.stop();
        for (auto& thread : m_threads) {
            thread.join();
        }
    }
    void runPending() override
    {
        if (m_pool) {
            // Behind everything queued now; the other threads may still be at the last few.
            std::promise<void> done;
            boost::asio::post(m_context, [&] { done.set_value(); });
            done.get_future().wait();
        }
    }
    std::string name() const override { return m_pool ? "asio 10 threads" : "asio 1 loop"; }

    Handle start(long delay)
    {
        auto timer = std::make_shared<boost::asio::steady_timer>(m_context, std::chrono::milliseconds(delay));
        timer->async_wait([timer](const boost::system::error_code&) {});
        return timer;
    }
    static void stop(Handle& timer) { timer->cancel(); }
    void pairs(const std::vector<long>& delays) override
    {
        inLoop([&] { EngineOf::pairs(delays); });
    }
    void replace(const std::vector<std::uint32_t>& victims, const std::vector<long>& delays) override
    {
        inLoop([&] { EngineOf::replace(victims, delays); });
    }
    void startPeriodic(const std::vector<long>& delays, long period, Lateness& lateness) override
    {
        m_period = std::chrono::milliseconds(period);
        for (const long delay : delays) {
            auto timer = std::make_unique<Periodic>(m_context);
            timer->ticking = Ticking(lateness, delay, period);
            timer->timer.expires_after(std::chrono::milliseconds(delay));
            arm(*timer);
            m_periodic.push_back(std::move(timer));
        }
    }

private:
    struct Periodic
    {
        explicit Periodic(boost::asio::io_context& context) : timer(context) {}
        boost::asio::steady_timer timer;
        Ticking ticking;
    };

    void arm(Periodic& periodic)
    {
        periodic.timer.async_wait([this, &periodic](const boost::system::error_code& error) {
            if (!error) {
                periodic.ticking.tick();
                periodic.timer.expires_at(periodic.timer.expiry() + m_period);
                arm(periodic);
            }
        });
    }
    // The lone loop is not shared between threads: there the caller is the loop's own thread, as a user would
    // do.
    void inLoop(const std::function<void()>& body)
    {
        if (m_pool) {
            body();
            return;
        }
        m_context.stop();
        m_threads.front().join();
        m_threads.clear();
        body();
        m_context.restart();
        m_context.poll();
        m_context.restart();
        m_threads.emplace_back([this] { m_context.run(); });
    }

    boost::asio::io_context m_context;
    boost::asio::executor_work_guard<boost::asio::io_context::executor_type> m_guard{
        m_context.get_executor()};
    const bool m_pool;
    std::chrono::milliseconds m_period{0};
    std::vector<std::thread> m_threads;
    std::vector<std::unique_ptr<Periodic>> m_periodic;
};

} // namespace

std::unique_ptr<Engine> makeAsio(int threads)
{
    return std::make_unique<Asio>(threads);
}

} // namespace bench
