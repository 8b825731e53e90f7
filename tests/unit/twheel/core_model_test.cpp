// The core against the simplest model of it that can be right: a table of expiries. Time is made up.
#include <algorithm>
#include <cstdlib>
#include <map>
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
        while (!m_runs.empty()) {
            finishOne();
        }
        releaseAll(m_core);
        EXPECT_EQ(m_core.check(), "");
        EXPECT_EQ(m_core.count(), 0U);
        EXPECT_EQ(m_destroyed, m_nextId - 1);
    }

    void step()
    {
        switch (below(8)) {
        case 0:
        case 1:
            scheduleOne();
            break;
        case 2:
            cancelOne();
            break;
        case 3:
        case 4:
            advance();
            break;
        case 5:
        case 6:
            startSome();
            break;
        default:
            finishOne();
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
        Released released;
        m_core.cancel(*chosen->second, released);
        const bool wasScheduled = m_expiries.erase(id) != 0;
        EXPECT_EQ(bool(released), wasScheduled && m_running[id] == 0);
        m_expectedDestroyed += released ? 1 : 0;
        if (below(2) == 0) {
            m_handles.erase(chosen);
        }
    }

    void advance()
    {
        const Tick event = m_core.nextEvent();
        const bool toEvent = event != kNever && event > m_now && below(2) == 0;
        m_now = toEvent ? event - below(2) : m_now + distance();
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

    void startSome()
    {
        const auto before = [](const auto& a, const auto& b) {
            const auto key = [](const Entry& entry) {
                return std::make_pair(entry.queuedBy == 0 ? ~std::uint64_t{0} : entry.queuedBy, entry.expiry);
            };
            return key(a.second) < key(b.second);
        };
        for (Tick left = below(20); left > 0; --left) {
            const auto next = std::min_element(m_expiries.begin(), m_expiries.end(), before);
            Task* task = m_core.start(m_now);
            if (next == m_expiries.end() || next->second.queuedBy == 0) {
                EXPECT_EQ(task, nullptr);
                return;
            }
            ASSERT_NE(task, nullptr);
            const int id = idOf(*task);
            const auto taken = m_expiries.find(id);
            ASSERT_NE(taken, m_expiries.end()) << "runs though cancelled or over";
            EXPECT_EQ(taken->second.queuedBy, next->second.queuedBy);
            EXPECT_EQ(taken->second.expiry, next->second.expiry);
            ++m_running[id];
            m_runs.push_back(task);
            Entry& entry = taken->second;
            if (entry.period == 0) {
                m_expiries.erase(taken);
                continue;
            }
            entry.queuedBy = 0;
            // Not computed as the core does it.
            entry.expiry += (m_now - entry.expiry + entry.period) / entry.period * entry.period;
            EXPECT_GT(entry.expiry, m_now);
        }
    }

    void finishOne()
    {
        if (m_runs.empty()) {
            return;
        }
        const std::size_t chosen = below(m_runs.size());
        Task* task = m_runs[chosen];
        m_runs.erase(m_runs.begin() + long(chosen));
        const int id = idOf(*task);
        Released released;
        m_core.finish(*task, released);
        --m_running[id];
        EXPECT_EQ(bool(released), m_running[id] == 0 && m_expiries.count(id) == 0);
        m_expectedDestroyed += released ? 1 : 0;
    }

    std::mt19937_64 m_random;
    Tasks m_tasks;
    Tick m_now;
    TaskCore m_core;
    // What is scheduled and not running only.
    std::map<int, Entry> m_expiries;
    std::map<int, boost::shared_ptr<Task>> m_handles;
    std::map<int, int> m_running;
    std::vector<Task*> m_runs;
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
