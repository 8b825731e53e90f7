#include "bench/twheel/engines.h"

#include <algorithm>
#include <chrono>
#include <ctime>
#include <functional>
#include <future>
#include <mutex>
#include <thread>

#include <boost/asio/io_context.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/intrusive/list.hpp>
#include <boost/make_shared.hpp>

#include "twheel/task_scheduler.h"

#ifdef KEL_HAVE_LIBEVENT
#include <event2/event.h>
#endif
#ifdef KEL_HAVE_LIBUV
#include <uv.h>
#endif

namespace bench {

std::int64_t monotonicNs()
{
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec * 1'000'000'000 + now.tv_nsec;
}

void Lateness::note(std::int64_t lateNs, std::int64_t lost)
{
    const auto bin = std::min<std::size_t>(std::size_t(std::max<std::int64_t>(lateNs, 0) / 1000), kBins - 1);
    m_bins[bin].fetch_add(1, std::memory_order_relaxed);
    if (lost != 0) {
        m_lost.fetch_add(lost, std::memory_order_relaxed);
    }
}

void Lateness::begin()
{
    for (auto& bin : m_bins) {
        bin.store(0, std::memory_order_relaxed);
    }
    m_lost = 0;
}

std::int64_t Lateness::runs() const
{
    std::int64_t sum = 0;
    for (const auto& bin : m_bins) {
        sum += bin.load(std::memory_order_relaxed);
    }
    return sum;
}

double Lateness::percentile(double share) const
{
    const double wanted = double(runs()) * share;
    double sum = 0;
    for (std::size_t bin = 0; bin < kBins; ++bin) {
        sum += m_bins[bin].load(std::memory_order_relaxed);
        if (sum >= wanted) {
            return double(bin) + 1;
        }
    }
    return double(kBins);
}

void Ticking::tick()
{
    const std::int64_t late = monotonicNs() - dueNs;
    const std::int64_t lost = std::max<std::int64_t>(late, 0) / periodNs;
    lateness->note(late, lost);
    dueNs += (lost + 1) * periodNs;
}

namespace {

constexpr std::int64_t kMs = 1'000'000;

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

class Ours final : public Engine
{
public:
    std::string name() const override { return "twheel"; }

    void fill(const std::vector<long>& delays) override
    {
        m_pending.reserve(delays.size());
        for (const long delay : delays) {
            m_pending.push_back(m_scheduler.schedule(delay, m_nothing));
        }
    }
    void pairs(const std::vector<long>& delays) override
    {
        for (const long delay : delays) {
            m_scheduler.schedule(delay, m_nothing)->cancel();
        }
    }
    void replace(const std::vector<std::uint32_t>& victims, const std::vector<long>& delays) override
    {
        for (std::size_t i = 0; i < delays.size(); ++i) {
            m_pending[victims[i]]->cancel();
            m_pending[victims[i]] = m_scheduler.schedule(delays[i], m_nothing);
        }
    }
    void startPeriodic(const std::vector<long>& delays, long period, Lateness& lateness) override
    {
        for (const long delay : delays) {
            const Ticking ticking{&lateness, monotonicNs() + delay * kMs, period * kMs};
            m_scheduler.schedule(delay, period, boost::make_shared<TickingRunnable>(ticking));
        }
    }

private:
    boost::shared_ptr<twheel::TwheelRunnable> m_nothing = boost::make_shared<Nothing>();
    std::vector<boost::shared_ptr<twheel::TaskHandle>> m_pending;
    twheel::TaskScheduler m_scheduler{10};
};

class Floor final : public Engine
{
public:
    std::string name() const override { return "floor"; }

    void fill(const std::vector<long>& delays) override
    {
        m_pending.reserve(delays.size());
        for (const long delay : delays) {
            m_pending.push_back(insert(delay));
        }
    }
    void pairs(const std::vector<long>& delays) override
    {
        for (const long delay : delays) {
            remove(insert(delay));
        }
    }
    void replace(const std::vector<std::uint32_t>& victims, const std::vector<long>& delays) override
    {
        for (std::size_t i = 0; i < delays.size(); ++i) {
            remove(m_pending[victims[i]]);
            m_pending[victims[i]] = insert(delays[i]);
        }
    }
    void startPeriodic(const std::vector<long>&, long, Lateness&) override {}

private:
    // 64 bytes.
    struct Item : boost::intrusive::list_base_hook<>
    {
        std::int64_t dueNs = 0;
        char rest[40] = {};
    };

    boost::shared_ptr<Item> insert(long delay)
    {
        auto item = boost::make_shared<Item>();
        const std::lock_guard<std::mutex> lock(m_mutex);
        item->dueNs = monotonicNs() + delay * kMs;
        m_list.push_back(*item);
        return item;
    }
    void remove(const boost::shared_ptr<Item>& item)
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_list.erase(m_list.iterator_to(*item));
    }

    std::mutex m_mutex;
    boost::intrusive::list<Item, boost::intrusive::constant_time_size<false>> m_list;
    std::vector<boost::shared_ptr<Item>> m_pending;

public:
    ~Floor() override { m_list.clear(); }
};

class Asio final : public Engine
{
public:
    explicit Asio(int threads) : m_context(threads == 0 ? 1 : threads)
    {
        m_pool = threads != 0;
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
    void settle() override
    {
        if (m_pool) {
            // Behind everything queued now; the other threads may still be at the last few.
            std::promise<void> done;
            boost::asio::post(m_context, [&] { done.set_value(); });
            done.get_future().wait();
        }
    }
    std::string name() const override { return m_pool ? "asio 10 threads" : "asio 1 loop"; }

    void fill(const std::vector<long>& delays) override
    {
        m_pending.reserve(delays.size());
        for (const long delay : delays) {
            m_pending.push_back(start(delay));
        }
    }
    void pairs(const std::vector<long>& delays) override
    {
        inLoop([&] {
            for (const long delay : delays) {
                start(delay)->cancel();
            }
        });
    }
    void replace(const std::vector<std::uint32_t>& victims, const std::vector<long>& delays) override
    {
        inLoop([&] {
            for (std::size_t i = 0; i < delays.size(); ++i) {
                m_pending[victims[i]]->cancel();
                m_pending[victims[i]] = start(delays[i]);
            }
        });
    }
    void startPeriodic(const std::vector<long>& delays, long period, Lateness& lateness) override
    {
        for (const long delay : delays) {
            auto timer = std::make_unique<Periodic>(m_context);
            timer->ticking = Ticking{&lateness, monotonicNs() + delay * kMs, period * kMs};
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

    static void arm(Periodic& periodic)
    {
        periodic.timer.async_wait([&periodic](const boost::system::error_code& error) {
            if (!error) {
                periodic.ticking.tick();
                periodic.timer.expires_at(periodic.timer.expiry() +
                                          std::chrono::nanoseconds(periodic.ticking.periodNs));
                arm(periodic);
            }
        });
    }
    // The lone loop is not shared between threads: there the caller is the loop's own thread, as a user would
    // do.
    void inLoop(const std::function<void()>& body)
    {
        if (!m_pool) {
            m_context.stop();
            m_threads.front().join();
            m_threads.clear();
        }
        body();
        if (!m_pool) {
            m_context.restart();
            m_context.poll();
            m_context.restart();
            m_threads.emplace_back([this] { m_context.run(); });
        }
    }
    std::shared_ptr<boost::asio::steady_timer> start(long delay)
    {
        auto timer = std::make_shared<boost::asio::steady_timer>(m_context, std::chrono::milliseconds(delay));
        timer->async_wait([timer](const boost::system::error_code&) {});
        return timer;
    }

    boost::asio::io_context m_context;
    boost::asio::executor_work_guard<boost::asio::io_context::executor_type> m_guard{
        m_context.get_executor()};
    bool m_pool = false;
    std::vector<std::thread> m_threads;
    std::vector<std::shared_ptr<boost::asio::steady_timer>> m_pending;
    std::vector<std::unique_ptr<Periodic>> m_periodic;
};

#ifdef KEL_HAVE_LIBEVENT
timeval toTimeval(long ms)
{
    return {ms / 1000, (ms % 1000) * 1000};
}

class Libevent final : public Engine
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
        event_base_free(m_base);
    }
    std::string name() const override { return "libevent"; }
    void fill(const std::vector<long>& delays) override
    {
        m_pending.reserve(delays.size());
        for (const long delay : delays) {
            m_pending.push_back(start(delay));
        }
    }
    void pairs(const std::vector<long>& delays) override
    {
        for (const long delay : delays) {
            event_free(start(delay));
        }
    }
    void replace(const std::vector<std::uint32_t>& victims, const std::vector<long>& delays) override
    {
        for (std::size_t i = 0; i < delays.size(); ++i) {
            event_free(m_pending[victims[i]]);
            m_pending[victims[i]] = start(delays[i]);
        }
    }
    void startPeriodic(const std::vector<long>& delays, long period, Lateness& lateness) override
    {
        m_ticking.resize(delays.size());
        m_periodMs = period;
        for (std::size_t i = 0; i < delays.size(); ++i) {
            m_ticking[i] = Ticking{&lateness, monotonicNs() + delays[i] * kMs, period * kMs};
            event* timer = event_new(m_base, -1, 0, &Libevent::ticked, nullptr);
            event_assign(timer, m_base, -1, 0, &Libevent::ticked, new Context{timer, &m_ticking[i]});
            const timeval after = toTimeval(delays[i]);
            event_add(timer, &after);
            m_pending.push_back(timer);
        }
        m_thread = std::thread([this] {
            while (!m_stop) {
                event_base_loop(m_base, EVLOOP_ONCE);
            }
        });
    }

private:
    struct Context
    {
        event* timer;
        Ticking* ticking;
    };
    // Re-armed by what is left until the next due time: EV_PERSIST drifts.
    static void ticked(evutil_socket_t, short, void* data)
    {
        auto* context = static_cast<Context*>(data);
        context->ticking->tick();
        const std::int64_t left = std::max<std::int64_t>(context->ticking->dueNs - monotonicNs(), 0);
        const timeval after{left / 1'000'000'000, (left % 1'000'000'000) / 1000};
        event_add(context->timer, &after);
    }
    event* start(long delay)
    {
        event* timer = event_new(
            m_base, -1, 0, [](evutil_socket_t, short, void*) {}, nullptr);
        const timeval after = toTimeval(delay);
        event_add(timer, &after);
        return timer;
    }
    event_base* m_base = event_base_new();
    std::vector<event*> m_pending;
    std::vector<Ticking> m_ticking;
    long m_periodMs = 0;
    std::atomic<bool> m_stop{false};
    std::thread m_thread;
};
#endif

#ifdef KEL_HAVE_LIBUV
class Libuv final : public Engine
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
    void fill(const std::vector<long>& delays) override
    {
        m_pending.reserve(delays.size());
        for (const long delay : delays) {
            m_pending.push_back(start(delay));
        }
    }
    void pairs(const std::vector<long>& delays) override
    {
        for (const long delay : delays) {
            close(start(delay));
            endClosing();
        }
        uv_run(&m_loop, UV_RUN_NOWAIT);
    }
    void replace(const std::vector<std::uint32_t>& victims, const std::vector<long>& delays) override
    {
        for (std::size_t i = 0; i < delays.size(); ++i) {
            close(m_pending[victims[i]]);
            m_pending[victims[i]] = start(delays[i]);
            endClosing();
        }
        uv_run(&m_loop, UV_RUN_NOWAIT);
    }
    void startPeriodic(const std::vector<long>& delays, long period, Lateness& lateness) override
    {
        m_ticking.resize(delays.size());
        for (std::size_t i = 0; i < delays.size(); ++i) {
            uv_update_time(&m_loop);
            m_ticking[i] = Ticking{&lateness, monotonicNs() + delays[i] * kMs, period * kMs};
            auto* timer = new uv_timer_t;
            uv_timer_init(&m_loop, timer);
            timer->data = &m_ticking[i];
            uv_timer_start(
                timer, [](uv_timer_t* due) { static_cast<Ticking*>(due->data)->tick(); },
                std::uint64_t(delays[i]), std::uint64_t(period));
        }
        m_thread = std::thread([this] {
            while (!m_stop) {
                uv_run(&m_loop, UV_RUN_ONCE);
            }
        });
    }

private:
    uv_timer_t* start(long delay)
    {
        auto* timer = new uv_timer_t;
        uv_timer_init(&m_loop, timer);
        uv_timer_start(
            timer, [](uv_timer_t*) {}, std::uint64_t(delay), 0);
        return timer;
    }
    static void close(uv_timer_t* timer)
    {
        uv_close(reinterpret_cast<uv_handle_t*>(timer),
                 [](uv_handle_t* handle) { delete reinterpret_cast<uv_timer_t*>(handle); });
    }
    // Closed handles are only freed by the loop.
    void endClosing()
    {
        if (++m_closed % 64 == 0) {
            uv_run(&m_loop, UV_RUN_NOWAIT);
        }
    }
    uv_loop_t m_loop{};
    unsigned m_closed = 0;
    std::vector<uv_timer_t*> m_pending;
    std::vector<Ticking> m_ticking;
    std::atomic<bool> m_stop{false};
    std::thread m_thread;
};
#endif

} // namespace

std::unique_ptr<Engine> makeOurs()
{
    return std::make_unique<Ours>();
}
std::unique_ptr<Engine> makeFloor()
{
    return std::make_unique<Floor>();
}
std::unique_ptr<Engine> makeAsio(int threads)
{
    return std::make_unique<Asio>(threads);
}
std::unique_ptr<Engine> makeLibevent()
{
#ifdef KEL_HAVE_LIBEVENT
    return std::make_unique<Libevent>();
#else
    return nullptr;
#endif
}
std::unique_ptr<Engine> makeLibuv()
{
#ifdef KEL_HAVE_LIBUV
    return std::make_unique<Libuv>();
#else
    return nullptr;
#endif
}

} // namespace bench
