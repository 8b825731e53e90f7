#include <algorithm>
#include <ctime>
#include <thread>

#include "bench/twheel/engines.h"

namespace bench {

namespace {

constexpr std::int64_t kMs = 1'000'000;
constexpr std::size_t kSlots = 4096;

struct Node
{
    Node* next = this;
    Node* prev = this;
    std::int64_t dueMs = 0;
    std::int64_t periodMs = 0;
    void (*call)(void*) = nullptr;
    void* data = nullptr;
};

void unlink(Node& node)
{
    node.next->prev = node.prev;
    node.prev->next = node.next;
}

class PlainWheel final : public EngineOf<PlainWheel, Node*>
{
public:
    ~PlainWheel() override
    {
        m_stop = true;
        if (m_thread.joinable()) {
            m_thread.join();
        }
        for (Node& slot : m_slots) {
            while (slot.next != &slot) {
                stop(slot.next);
            }
        }
    }
    std::string name() const override { return "plain wheel"; }

    Node* start(long delay)
    {
        auto* node = new Node;
        node->dueMs = monotonicNs() / kMs + 1 + delay;
        insert(*node);
        return node;
    }
    static void stop(Node* node)
    {
        unlink(*node);
        delete node;
    }
    void startPeriodic(const std::vector<long>& delays, long period, Lateness& lateness) override
    {
        m_ticking.resize(delays.size());
        const std::int64_t begin = monotonicNs() / kMs;
        for (std::size_t i = 0; i < delays.size(); ++i) {
            m_ticking[i] = Ticking(lateness, delays[i], period);
            Node* node = start(delays[i]);
            node->periodMs = period;
            node->data = &m_ticking[i];
            node->call = [](void* data) { static_cast<Ticking*>(data)->tick(); };
        }
        m_thread = std::thread([this, begin] { loop(begin); });
    }

private:
    void insert(Node& node)
    {
        Node& slot = m_slots[std::size_t(node.dueMs) % kSlots];
        node.next = &slot;
        node.prev = slot.prev;
        slot.prev->next = &node;
        slot.prev = &node;
    }
    void loop(std::int64_t ms)
    {
        for (; !m_stop; ++ms) {
            const timespec until{ms / 1000, ms % 1000 * kMs};
            clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &until, nullptr);
            Node& slot = m_slots[std::size_t(ms) % kSlots];
            for (Node* node = slot.next; node != &slot;) {
                Node& due = *node;
                node = node->next;
                __builtin_prefetch(node, 1);
                if (due.dueMs <= ms) {
                    unlink(due);
                    due.dueMs += due.periodMs;
                    insert(due);
                    due.call(due.data);
                }
            }
        }
    }

    std::vector<Node> m_slots = std::vector<Node>(kSlots);
    std::vector<Ticking> m_ticking;
    std::atomic<bool> m_stop{false};
    std::thread m_thread;
};

} // namespace

std::unique_ptr<Engine> makePlainWheel()
{
    return std::make_unique<PlainWheel>();
}

} // namespace bench
