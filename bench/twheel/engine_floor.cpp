#include <algorithm>
#include <ctime>
#include <mutex>
#include <thread>

#include <boost/intrusive/list.hpp>
#include <boost/make_shared.hpp>

#include "bench/twheel/engines.h"

namespace bench {

namespace {

constexpr std::int64_t kMs = 1'000'000;

// 64 bytes.
struct Item : boost::intrusive::list_base_hook<>
{
    std::int64_t dueNs = 0;
    char rest[40] = {};
};
using Handle = boost::shared_ptr<Item>;

class Called
{
public:
    explicit Called(const Ticking& ticking) : m_ticking(ticking) {}
    virtual ~Called() = default;
    virtual void run() { m_ticking.tick(); }

private:
    Ticking m_ticking;
};

class Floor final : public EngineOf<Floor, Handle>
{
public:
    ~Floor() override
    {
        m_stop = true;
        if (m_thread.joinable()) {
            m_thread.join();
        }
        m_list.clear();
    }
    std::string name() const override { return "floor"; }

    Handle start(long delay)
    {
        auto item = boost::make_shared<Item>();
        const std::lock_guard<std::mutex> lock(m_mutex);
        item->dueNs = monotonicNs() + delay * kMs;
        m_list.push_back(*item);
        return item;
    }
    void stop(Handle& item)
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_list.erase(m_list.iterator_to(*item));
    }
    void startPeriodic(const std::vector<long>& delays, long period, Lateness& lateness) override
    {
        m_slots.resize(std::size_t(period));
        for (const long delay : delays) {
            m_all.push_back(std::make_unique<Called>(Ticking(lateness, delay, period)));
            // The next whole millisecond, as nothing may run early.
            const std::int64_t due = monotonicNs() / kMs + 1 + delay;
            m_slots[std::size_t(due % period)].push_back(m_all.back().get());
        }
        // When the last is due for the first time; the others have lost a run or two by then.
        m_first = monotonicNs() / kMs + 1 + *std::max_element(delays.begin(), delays.end());
        m_thread = std::thread([this] { loop(); });
    }

private:
    void loop()
    {
        const auto period = std::int64_t(m_slots.size());
        for (std::int64_t ms = m_first; !m_stop; ++ms) {
            const timespec until{ms / 1000, ms % 1000 * kMs};
            clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &until, nullptr);
            const auto& slot = m_slots[std::size_t(ms % period)];
            for (std::size_t i = 0; i < slot.size(); ++i) {
                __builtin_prefetch(slot[std::min(i + 16, slot.size() - 1)], 1);
                slot[i]->run();
            }
        }
    }

    std::mutex m_mutex;
    boost::intrusive::list<Item, boost::intrusive::constant_time_size<false>> m_list;
    std::vector<std::unique_ptr<Called>> m_all;
    std::vector<std::vector<Called*>> m_slots;
    std::int64_t m_first = 0;
    std::atomic<bool> m_stop{false};
    std::thread m_thread;
};

} // namespace

std::unique_ptr<Engine> makeFloor()
{
    return std::make_unique<Floor>();
}

} // namespace bench
