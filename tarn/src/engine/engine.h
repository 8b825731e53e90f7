#pragma once

#include <poll.h>

#include <memory>
#include <string>
#include <thread>
#include <variant>
#include <vector>

#include "tarn/src/base/clock.h"
#include "tarn/src/base/inbox.h"
#include "tarn/src/engine/backend.h"
#include "tarn/src/engine/wakeup_limiter.h"

namespace tarn::engine {

// What the engine tells its owner, on the engine's thread and under no lock of the engine.
class EngineListener : public BackendListener
{
public:
    // Called between two rounds of the loop. Returns when it wants to be called again; kNever for no wish.
    virtual TimePoint housekeeping(TimePoint now) = 0;
};

// Engine is the one I/O thread: it runs the back-ends, sleeps until one of them is due or has something to
// take, and carries out the orders of other threads.
//
// Invariants
//  (1) Back-ends are touched by the engine's thread only, from start() to stop().
//  (2) What other threads order wakes it at once, unless it lacks the memory for what was ordered before;
//      answers and deadlines may gather for WakeupLimiter::kPause.
//  (3) Orders of one thread are carried out in the order given; watch, unwatch and wake never wait.
//  (4) After stop() no thread of the engine runs, and no target is watched.
//  (5) No exception leaves the thread. Who threw, for lack of memory, is tried again kAfterFailure later, an
//      order before those behind it, a back-end beside the others.
//  (6) Every back-end is told what any of them reports, before the listener does.
// Threading: start() and stop() by the owner; those of BackendListener by the back-ends; the others from any
// thread. Ownership: owns the back-ends, whose listener it is; borrows clock and listener, which must outlive
// it.
class Engine final : public BackendListener
{
public:
    Engine(const Clock& clock, EngineListener& listener);
    ~Engine() override;
    Engine(const Engine&) = delete;
    Engine& operator=(const Engine&) = delete;

    static constexpr Milliseconds kAfterFailure{100};

    // Before start().
    void addBackend(std::unique_ptr<Backend> backend);
    // False when the system gives no thread or no descriptor.
    bool start();
    // Ends the thread and waits for it; does nothing when it does not run.
    void stop();

    // The target is watched by the back-ends of that name; of an unknown name nothing comes of it.
    void watch(const std::string& backend, std::shared_ptr<Target> target);
    void unwatch(std::shared_ptr<Target> target);
    void wake(std::shared_ptr<Target> target);
    void discover(Discovery discovery, bool on);

    void targetChanged(Target& target) override;
    void rosterChanged(Discovery discovery, std::vector<DiscoveredPrinter> roster) override;

private:
    enum class Verb
    {
        Watch,
        Unwatch,
        Wake,
        Discover,
        DiscoverNoMore,
    };
    struct Order
    {
        Verb verb;
        std::string backend;            // Watch
        std::shared_ptr<Target> target; // Watch, Unwatch, Wake
        Discovery discovery = Discovery::Usb;
    };

    void give(Order order) { m_orders.put(std::move(order)); }
    void loop();
    TimePoint runOnce();
    template <typename Work>
    TimePoint attempt(const Work& work);
    bool takeOrders();
    TimePoint carryOutAll();
    static void carryOut(const Order& order, Backend& backend);
    void sleepUntil(TimePoint deadline);
    bool hasBacklog() const;

    // constant between start() and stop()
    const Clock& m_clock;
    EngineListener& m_listener;
    std::vector<std::unique_ptr<Backend>> m_backends;
    std::thread m_thread;

    // the engine's thread only
    WakeupLimiter m_wakeupLimiter;
    std::vector<Order> m_taken;        // not yet carried out by everybody
    std::size_t m_nextOrder = 0;       // of them
    std::size_t m_nextBackend = 0;     // that it is for
    std::vector<pollfd> m_descriptors; // with room for all back-ends

    Inbox<Order> m_orders; // closed: the thread is to end
};

} // namespace tarn::engine
