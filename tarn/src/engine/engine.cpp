#include "tarn/src/engine/engine.h"

#include <algorithm>

#include "tarn/src/base/worker_thread.h"

namespace tarn::engine {

namespace {

// Longest sleep: bounds what a clock that jumps can do to us.
constexpr Milliseconds kLongestSleep{60000};

} // namespace

Engine::Engine(const Clock& clock, EngineListener& listener) : m_clock(clock), m_listener(listener) {}

Engine::~Engine()
{
    stop();
}

void Engine::addBackend(std::unique_ptr<Backend> backend)
{
    m_backends.push_back(std::move(backend));
}

bool Engine::start()
{
    m_descriptors.reserve(m_backends.size() + 1);
    if (m_orders.open()) {
        m_thread = workerThread("tarn-engine", [this] { loop(); });
    }
    return m_thread.joinable();
}

void Engine::stop()
{
    if (!m_thread.joinable()) {
        return;
    }
    m_orders.close();
    m_thread.join();
    m_backends.clear();
    m_orders.take(m_taken);
    m_taken.clear();
}

void Engine::watch(const std::string& backend, std::shared_ptr<Target> target)
{
    give({Verb::Watch, backend, std::move(target)});
}

void Engine::unwatch(std::shared_ptr<Target> target)
{
    give({Verb::Unwatch, {}, std::move(target)});
}

void Engine::wake(std::shared_ptr<Target> target)
{
    give({Verb::Wake, {}, std::move(target)});
}

void Engine::discover(Discovery discovery, bool on)
{
    give({on ? Verb::Discover : Verb::DiscoverNoMore, {}, nullptr, discovery});
}

void Engine::targetChanged(Target& target)
{
    for (const auto& backend : m_backends) {
        backend->targetReported(target);
    }
    m_listener.targetChanged(target);
}

void Engine::rosterChanged(Discovery discovery, std::vector<DiscoveredPrinter> roster)
{
    m_listener.rosterChanged(discovery, std::move(roster));
}

void Engine::loop()
{
    while (takeOrders()) {
        const TimePoint next = carryOutAll();
        sleepUntil(std::min(next, runOnce()));
    }
    for (const auto& backend : m_backends) {
        attempt([&] { return backend->endSoon(), kNever; });
    }
}

// Returns what the work does: when it is to be done again.
template <typename Work>
TimePoint Engine::attempt(const Work& work)
{
    try {
        return work();
    } catch (const std::exception&) { // out of memory: some may be found later
        return m_clock.now() + kAfterFailure;
    }
}

// Returns when the next round is due.
TimePoint Engine::runOnce()
{
    TimePoint next = kNever;
    for (const auto& backend : m_backends) {
        next = std::min(next, attempt([&] { return backend->run(), backend->nextDeadline(); }));
    }
    return std::min(next, attempt([&] { return m_listener.housekeeping(m_clock.now()); }));
}

// False when the engine is to end.
bool Engine::takeOrders()
{
    return m_taken.empty() ? m_orders.take(m_taken) : !m_orders.isClosed();
}

// Returns when to go on with what is left of them.
TimePoint Engine::carryOutAll()
{
    return attempt([this] {
        for (; m_nextOrder < m_taken.size(); ++m_nextOrder, m_nextBackend = 0) {
            for (; m_nextBackend < m_backends.size(); ++m_nextBackend) {
                carryOut(m_taken[m_nextOrder], *m_backends[m_nextBackend]);
            }
        }
        m_taken.clear();
        m_nextOrder = 0;
        return kNever;
    });
}

void Engine::carryOut(const Order& order, Backend& backend)
{
    switch (order.verb) {
    case Verb::Watch:
        if (order.backend == backend.name()) {
            backend.watch(order.target);
        }
        break;
    case Verb::Unwatch:
        backend.unwatch(*order.target);
        break;
    case Verb::Wake:
        backend.wake(*order.target);
        break;
    case Verb::Discover:
    case Verb::DiscoverNoMore:
        backend.discover(order.discovery, order.verb == Verb::Discover);
        break;
    }
}

bool Engine::hasBacklog() const
{
    return std::any_of(m_backends.begin(), m_backends.end(),
                       [](const auto& backend) { return backend->hasBacklog(); });
}

void Engine::sleepUntil(TimePoint deadline)
{
    // poll() rather than epoll: a handful of descriptors, of which a back-end may exchange its own at any
    // time.
    m_descriptors.clear();
    if (m_taken.empty()) { // else the deadline is near, and further orders wait
        m_descriptors.push_back({m_orders.descriptor(), POLLIN, 0});
    }
    const TimePoint now = m_clock.now();
    const TimePoint rested = m_wakeupLimiter.woke(now);
    if (rested > now && !hasBacklog()) {
        deadline = rested; // whatever comes until then gathers
    } else {
        for (const auto& backend : m_backends) {
            m_descriptors.push_back({backend->descriptor(), POLLIN, 0}); // poll() passes over -1
        }
    }
    Milliseconds timeout = deadline == kNever ? kLongestSleep : std::min(deadline - now, kLongestSleep);
    timeout = std::max(timeout, Milliseconds(0));
    ::poll(m_descriptors.data(), m_descriptors.size(), static_cast<int>(timeout.count()));
}

} // namespace tarn::engine
