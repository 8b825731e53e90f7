// The engine's thread itself: when it is woken, and when it lets things gather.
#include "tarn/src/engine/engine.h"

#include <gtest/gtest.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <new>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/eventually.h"
#include "tests/unit/tarn/support/short_memory.h"

namespace tarn::engine::test {
namespace {

using SteadyClock = std::chrono::steady_clock;

TEST(WakeupLimiter, TheFirstWakeUpsComeAtOnce)
{
    WakeupLimiter breath;
    const TimePoint now{Milliseconds(100000)};
    for (int i = 0; i < WakeupLimiter::kAtOnce; ++i) {
        EXPECT_LE(breath.woke(now), now) << i;
    }
    EXPECT_EQ(breath.woke(now), now + WakeupLimiter::kPause);
}

TEST(WakeupLimiter, WhoWakesSeldomNeverWaits)
{
    WakeupLimiter breath;
    TimePoint now{Milliseconds(100000)};
    for (int i = 0; i < 1000; ++i, now += WakeupLimiter::kPause) {
        EXPECT_LE(breath.woke(now), now) << i;
    }
}

TEST(WakeupLimiter, WhoAlwaysHasSomethingToDoPausesEachTime)
{
    WakeupLimiter breath;
    TimePoint now{Milliseconds(100000)};
    for (int i = 0; i < WakeupLimiter::kAtOnce; ++i) {
        breath.woke(now);
    }
    for (int i = 0; i < 1000; ++i) {
        const TimePoint rested = breath.woke(now);
        EXPECT_EQ(rested, now + WakeupLimiter::kPause) << i;
        now = rested;
    }
}

TEST(WakeupLimiter, NobodyPaysLongForALongFlood)
{
    WakeupLimiter breath;
    const TimePoint now{Milliseconds(100000)};
    for (int i = 0; i < 100000; ++i) {
        EXPECT_LE(breath.woke(now), now + WakeupLimiter::kPause) << i;
    }
    const TimePoint later = now + (WakeupLimiter::kAtOnce + 1) * WakeupLimiter::kPause;
    EXPECT_LE(breath.woke(later), later) << "all is forgiven by then";
}

// Its descriptor is readable all the time.
class Chatterbox final : public Backend
{
public:
    explicit Chatterbox(bool hasBacklog) : m_hasBacklog(hasBacklog), m_fd(::eventfd(1, EFD_CLOEXEC)) {}
    ~Chatterbox() override
    {
        ::close(m_fd);
        if (told != nullptr) {
            *told = endings;
        }
    }
    const char* name() const override { return "chatterbox"; }
    void watch(std::shared_ptr<Target>) override { ++watched; }
    void unwatch(const Target&) override {}
    void wake(const Target&) override {}
    void networkChanged() override {}
    void run() override { ++runs; }
    TimePoint nextDeadline() const override { return kNever; }
    int descriptor() const override { return m_fd; }
    bool hasBacklog() const override { return m_hasBacklog; }

    void endSoon() override { ++endings; }

    int endings = 0;
    int* told = nullptr; // where the destructor says how often it was told to end
    std::atomic<int> runs{0};
    std::atomic<int> watched{0};

private:
    const bool m_hasBacklog;
    const int m_fd;
};

class Deaf final : public EngineListener
{
public:
    void targetChanged(Target&) override {}
    void rosterChanged(Discovery, std::vector<DiscoveredPrinter>) override {}
    TimePoint housekeeping(TimePoint) override { return kNever; }
};

struct Running
{
    explicit Running(bool hasBacklog) : engine(clock, listener)
    {
        auto made = std::make_unique<Chatterbox>(hasBacklog);
        chatterbox = made.get();
        engine.addBackend(std::move(made));
        EXPECT_TRUE(engine.start());
    }
    ~Running() { engine.stop(); }

    BootClock clock;
    Deaf listener;
    Chatterbox* chatterbox = nullptr;
    Engine engine;
};

TEST(Engine, WhatComesWithoutEndIsLetGather)
{
    const auto begun = SteadyClock::now();
    Running running(false);
    std::this_thread::sleep_for(std::chrono::milliseconds(600));
    const int runs = running.chatterbox->runs;
    const auto took = std::chrono::duration_cast<Milliseconds>(SteadyClock::now() - begun);
    EXPECT_GT(runs, WakeupLimiter::kAtOnce);
    EXPECT_LE(runs, WakeupLimiter::kAtOnce + took / WakeupLimiter::kPause + 2);
}

TEST(Engine, WhereThereIsNoRoomNothingGathers)
{
    const auto begun = SteadyClock::now();
    Running running(true);
    // More than would be granted in the same time, which what gathers never reaches.
    const auto outran = [&] {
        const auto took = std::chrono::duration_cast<Milliseconds>(SteadyClock::now() - begun);
        return running.chatterbox->runs > WakeupLimiter::kAtOnce + took / WakeupLimiter::kPause + 2;
    };
    while (!outran() && SteadyClock::now() - begun < std::chrono::seconds(30)) {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    EXPECT_TRUE(outran());
}

TEST(Engine, OrdersAreCarriedOutWhileItGathers)
{
    Running running(false);
    while (running.chatterbox->runs <= WakeupLimiter::kAtOnce) {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    running.engine.watch("chatterbox", nullptr);
    const auto limit = SteadyClock::now() + std::chrono::seconds(30);
    while (running.chatterbox->watched == 0 && SteadyClock::now() < limit) {
        std::this_thread::yield();
    }
    EXPECT_EQ(running.chatterbox->watched, 1);
}

TEST(Engine, ItsBackendsAreToldOfTheEndOnceBeforeTheyGo)
{
    int told = 0;
    Running running(false);
    running.chatterbox->told = &told;
    running.engine.stop();
    EXPECT_EQ(told, 1);
}

// Out of memory now and then: at each second thing that it is told to do.
class Forgetful final : public Backend
{
public:
    Forgetful(std::vector<std::string>& done, std::atomic<int>& runs) : m_done(done), m_runs(runs) {}
    const char* name() const override { return "forgetful"; }
    void watch(std::shared_ptr<Target>) override { attempt("watch"); }
    void unwatch(const Target&) override { attempt("unwatch"); }
    void wake(const Target&) override { attempt("wake"); }
    void networkChanged() override {}
    void discover(Discovery, bool on) override { attempt(on ? "discover" : "discover no more"); }
    void endSoon() override { attempt("end soon"); }
    void run() override
    {
        ++m_runs;
        throw std::bad_alloc();
    }
    TimePoint nextDeadline() const override { return kNever; }
    int descriptor() const override { return -1; }

private:
    void attempt(const char* what)
    {
        m_throws = !m_throws;
        if (m_throws) {
            throw std::bad_alloc();
        }
        m_done.emplace_back(what);
    }

    bool m_throws = false;
    std::vector<std::string>& m_done; // the engine's thread's, until that has ended
    std::atomic<int>& m_runs;
};

TEST(Engine, WithoutMemoryNoOrderIsLostOrDoneTwiceAndTheOthersGoOn)
{
    const BootClock clock;
    Deaf listener;
    std::vector<std::string> first;
    std::vector<std::string> second;
    std::atomic<int> firstRuns{0};
    std::atomic<int> secondRuns{0};
    Engine engine(clock, listener);
    engine.addBackend(std::make_unique<Forgetful>(first, firstRuns));
    engine.addBackend(std::make_unique<Forgetful>(second, secondRuns));
    ASSERT_TRUE(engine.start());
    const auto target = std::make_shared<Target>(PrinterAddress{}, unmetSnapshot({}), clock.now());
    engine.watch("forgetful", target);
    engine.wake(target);
    engine.discover(Discovery::Usb, true);
    engine.discover(Discovery::Usb, false);
    engine.unwatch(target);
    // Each order has failed twice: the last one is carried out when nobody keeps its target any more.
    EXPECT_TRUE(kel_test::eventually([&] { return target.use_count() == 1; }));
    engine.stop();
    const std::vector<std::string> all{"watch", "wake", "discover", "discover no more", "unwatch"};
    EXPECT_EQ(first, all);
    EXPECT_EQ(second, all);
    EXPECT_GE(firstRuns, 1);
    EXPECT_GE(secondRuns, firstRuns) << "though the one before it throws";
}

// Never has the memory for anything.
class Hopeless final : public Backend
{
public:
    const char* name() const override { return "hopeless"; }
    void watch(std::shared_ptr<Target>) override { throw std::bad_alloc(); }
    void unwatch(const Target&) override {}
    void wake(const Target&) override {}
    void networkChanged() override {}
    void run() override {}
    TimePoint nextDeadline() const override { return kNever; }
    int descriptor() const override { return -1; }
};

TEST(Engine, WhatCouldNeverBeCarriedOutIsLetGoByStop)
{
    const BootClock clock;
    Deaf listener;
    Engine engine(clock, listener);
    engine.addBackend(std::make_unique<Hopeless>());
    ASSERT_TRUE(engine.start());
    const auto first = std::make_shared<Target>(PrinterAddress{}, unmetSnapshot({}), clock.now());
    const auto second = std::make_shared<Target>(PrinterAddress{}, unmetSnapshot({}), clock.now());
    engine.watch("hopeless", first);
    std::this_thread::sleep_for(std::chrono::milliseconds(20)); // it may be under way, or not yet
    engine.watch("hopeless", second);
    engine.stop();
    EXPECT_EQ(first.use_count(), 1);
    EXPECT_EQ(second.use_count(), 1);
}

TEST(Engine, RunsWithoutAnyMemory)
{
    const tarn::test::ShortMemory memory("tarn-engine", 1);
    Running running(false);
    EXPECT_TRUE(kel_test::eventually([&] { return running.chatterbox->runs > 3; }));
}

} // namespace
} // namespace tarn::engine::test
