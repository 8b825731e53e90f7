// The core against the simplest model of it that can be right: a table of expiries. Time is made up.
#include <algorithm>
#include <cstdlib>
#include <map>
#include <memory>
#include <random>
#include <vector>

#include <gtest/gtest.h>

#include "tests/unit/twheel/core_fixture.h"

namespace twheel::testing {
namespace {

std::uint64_t seedOfThisRun()
{
    const char* given = std::getenv("TWHEEL_SEED");
    return given != nullptr ? std::strtoull(given, nullptr, 10) : std::random_device{}();
}

class CoreModel final
{
public:
    explicit CoreModel(std::uint64_t seed) : m_random(seed), m_now(below(Tick{1} << 45)), m_core(m_now)
    {
        advanceFully(m_core, m_now);
    }

    // Ends every run and releases the rest; then nothing may be left.
    void end()
    {
        while (!m_batches.empty()) {
            endOne();
        }
        releaseAll(m_core);
        EXPECT_EQ(m_core.check(), "");
        EXPECT_EQ(m_core.count(), 0U);
        EXPECT_EQ(m_destroyed, m_nextId - 1);
    }

    void step()
    {
        switch (below(12)) {
        case 0:
        case 1:
        case 2:
            scheduleOne();
            break;
        case 3:
            cancelOne();
            break;
        case 4:
        case 5:
            advance();
            break;
        case 6:
        case 7:
            takeSome();
            break;
        case 8:
        case 9:
            beginOne();
            break;
        case 10:
            endOne();
            break;
        default:
            recall();
            break;
        }
        EXPECT_EQ(m_core.count(), m_expiries.size());
    }

    void check()
    {
        EXPECT_EQ(m_core.check(), "");
        EXPECT_EQ(m_destroyed, m_expectedDestroyed);
    }

private:
    struct Entry
    {
        Tick expiry;
        Tick period;
        // In the queue: which step put it there.
        std::uint64_t queuedBy = 0;
    };

    // One that a worker took: what the entry was before that, so that it can go back.
    struct Taken
    {
        int id;
        Entry before;
        bool finished = false;
    };
    struct Worker
    {
        Batch batch;
        std::vector<Taken> taken;
        std::size_t begun = 0;
        bool recalled = false;
    };

    Tick below(Tick limit) { return std::uniform_int_distribution<Tick>(0, limit - 1)(m_random); }
    // All magnitudes alike, and often next to a slot's edge.
    Tick distance()
    {
        const Tick value = Tick{1} << below(46);
        return below(3) == 0 ? value - below(2) : below(value) + below(2);
    }

    void scheduleOne()
    {
        const int id = m_nextId++;
        const Tick period = below(2) == 0 ? 0 : 1 + distance();
        const Tick expiry = below(8) == 0 ? m_now - below(std::min<Tick>(m_now, 100)) : m_now + distance();
        auto task = m_tasks.make(period, id, &m_destroyed);
        m_handles[id] = task;
        m_running[id] = 0;
        if (below(4) == 0) {
            m_core.keepUp(m_now);
        }
        const bool atOnce = expiry <= m_now;
        m_core.schedule(*task, expiry);
        m_expiries[id] = Entry{expiry, period, atOnce ? ++m_generation : 0};
    }

    void cancelOne()
    {
        if (m_handles.empty()) {
            return;
        }
        const auto chosen = std::next(m_handles.begin(), long(below(m_handles.size())));
        const int id = chosen->first;
        if (std::any_of(m_batches.begin(), m_batches.end(), [&](const auto& worker) {
                return std::any_of(worker->taken.begin() + long(worker->begun), worker->taken.end(),
                                   [&](const Taken& taken) { return taken.id == id; });
            })) {
            recallInModel();
        }
        bool finishedOne = false;
        for (const auto& worker : m_batches) {
            for (std::size_t i = 0; i + 1 < worker->begun; ++i) {
                if (worker->taken[i].id == id && !worker->taken[i].finished) {
                    worker->taken[i].finished = true;
                    --m_running[id];
                    finishedOne = true;
                }
            }
        }
        Released released;
        m_core.cancel(*chosen->second, released);
        const bool wasScheduled = m_expiries.erase(id) != 0;
        EXPECT_EQ(bool(released), (wasScheduled || finishedOne) && m_running[id] == 0);
        m_expectedDestroyed += released ? 1 : 0;
        if (below(2) == 0) {
            m_handles.erase(chosen);
        }
    }

    void advance()
    {
        const Tick event = m_core.nextEvent();
        const bool toEvent = event != kNever && event > m_now && below(2) == 0;
        const Tick before = m_now;
        m_now = toEvent ? event - below(2) : m_now + distance();
        if (m_now != before) {
            recallInModel();
        }
        advanceFully(m_core, m_now);
        ++m_generation;
        Tick earliest = kNever;
        for (auto& [id, entry] : m_expiries) {
            if (entry.queuedBy == 0 && entry.expiry <= m_now) {
                entry.queuedBy = m_generation;
            }
            if (entry.queuedBy == 0) {
                earliest = std::min(earliest, entry.expiry);
            }
        }
        EXPECT_LE(m_core.nextEvent(), earliest);
        EXPECT_GT(m_core.nextEvent(), m_now);
        EXPECT_EQ(m_core.nextEvent() == kNever, earliest == kNever);
    }

    // Who is to come next by the model, or the end of the table.
    std::map<int, Entry>::iterator nextInModel()
    {
        const auto key = [](const Entry& entry) {
            return std::make_pair(entry.queuedBy == 0 ? ~std::uint64_t{0} : entry.queuedBy, entry.expiry);
        };
        const auto next =
            std::min_element(m_expiries.begin(), m_expiries.end(),
                             [&](const auto& a, const auto& b) { return key(a.second) < key(b.second); });
        return next == m_expiries.end() || next->second.queuedBy == 0 ? m_expiries.end() : next;
    }

    void takeSome()
    {
        auto worker = std::make_unique<Worker>();
        const auto most = unsigned(1 + below(Batch::kMost));
        worker->batch.since = std::int64_t(m_now);
        const unsigned size = m_core.fill(worker->batch, m_now, most);
        for (unsigned i = 0; i < size; ++i) {
            const auto next = nextInModel();
            ASSERT_NE(next, m_expiries.end()) << "takes what is not due";
            // The order among equals is the core's own.
            const auto taken = m_expiries.find(idOf(*worker->batch.taken(i)));
            ASSERT_NE(taken, m_expiries.end()) << "takes what is cancelled or over";
            EXPECT_EQ(taken->second.queuedBy, next->second.queuedBy);
            EXPECT_EQ(taken->second.expiry, next->second.expiry);
            worker->taken.push_back({taken->first, taken->second});
            takeFromModel(taken);
        }
        EXPECT_TRUE(size == most || nextInModel() == m_expiries.end()) << "leaves what is due";
        if (size > 0) {
            m_batches.push_back(std::move(worker));
        }
    }

    void takeFromModel(std::map<int, Entry>::iterator taken)
    {
        Entry& entry = taken->second;
        if (entry.period == 0) {
            m_expiries.erase(taken);
            return;
        }
        entry.queuedBy = 0;
        // Not computed as the core does it.
        entry.expiry += (m_now - entry.expiry + entry.period) / entry.period * entry.period;
        EXPECT_GT(entry.expiry, m_now);
    }

    void begin(Worker& worker)
    {
        Task* task = worker.batch.next();
        ASSERT_EQ(task != nullptr, worker.begun < worker.taken.size());
        if (task != nullptr) {
            const int id = idOf(*task);
            EXPECT_EQ(id, worker.taken[worker.begun].id) << "runs though cancelled, over or not its turn";
            ++m_running[id];
            ++worker.begun;
        }
    }

    void beginOne()
    {
        if (!m_batches.empty()) {
            begin(*m_batches[below(m_batches.size())]);
        }
    }

    void endOne()
    {
        if (m_batches.empty()) {
            return;
        }
        const auto chosen = m_batches.begin() + long(below(m_batches.size()));
        Worker& worker = **chosen;
        while (worker.begun < worker.taken.size() && !::testing::Test::HasFailure()) {
            begin(worker);
        }
        EXPECT_EQ(worker.batch.next(), nullptr);
        Releases released;
        m_core.end(worker.batch, released);
        EXPECT_EQ(released.size(), finishInModel(worker, worker.begun));
        m_batches.erase(chosen);
    }

    // How many have let go of their runnables by that.
    std::size_t finishInModel(Worker& worker, std::size_t end)
    {
        std::size_t released = 0;
        for (std::size_t i = 0; i < end; ++i) {
            Taken& taken = worker.taken[i];
            if (!taken.finished) {
                taken.finished = true;
                released += --m_running[taken.id] == 0 && m_expiries.count(taken.id) == 0 ? 1 : 0;
            }
        }
        m_expectedDestroyed += int(released);
        return released;
    }

    void recall()
    {
        if (below(2) == 0) {
            m_core.recallAll();
            recallInModel();
            return;
        }
        const auto since = std::int64_t(m_now + below(2));
        const bool slow = std::any_of(m_batches.begin(), m_batches.end(), [&](const auto& worker) {
            return worker->batch.since < since && !worker->recalled;
        });
        Releases released;
        EXPECT_EQ(m_core.recallSlow(since, released), slow);
        if (slow) {
            recallInModel();
            std::size_t expected = 0;
            for (const auto& worker : m_batches) {
                expected += finishInModel(*worker, std::max<std::size_t>(worker->begun, 1) - 1);
            }
            EXPECT_EQ(released.size(), expected);
        }
    }

    void recallInModel()
    {
        for (const auto& worker : m_batches) {
            for (; worker->taken.size() > worker->begun; worker->taken.pop_back()) {
                m_expiries[worker->taken.back().id] = worker->taken.back().before;
            }
            worker->recalled = true;
        }
    }

    std::mt19937_64 m_random;
    Tasks m_tasks;
    Tick m_now;
    TaskCore m_core;
    // What is scheduled and not running only.
    std::map<int, Entry> m_expiries;
    std::map<int, boost::shared_ptr<Task>> m_handles;
    std::map<int, int> m_running;
    std::vector<std::unique_ptr<Worker>> m_batches;
    std::uint64_t m_generation = 0;
    int m_nextId = 1;
    int m_destroyed = 0;
    int m_expectedDestroyed = 0;
};

TEST(TaskCoreModel, behavesLikeATableOfExpiriesUnderRandomUse)
{
    const std::uint64_t seed = seedOfThisRun();
    SCOPED_TRACE("TWHEEL_SEED=" + std::to_string(seed));
    RecordProperty("seed", std::to_string(seed));
    std::mt19937_64 seeds(seed);
    for (int round = 0; round < 60 && !::testing::Test::HasFailure(); ++round) {
        CoreModel model(seeds());
        for (int i = 0; i < 2000 && !::testing::Test::HasFailure(); ++i) {
            model.step();
            // The walk through all slots is slow; what it would find stays broken.
            if (i % 20 == 0) {
                model.check();
            }
        }
        model.check();
        model.end();
    }
}

} // namespace
} // namespace twheel::testing
