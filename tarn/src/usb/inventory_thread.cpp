#include "tarn/src/usb/inventory_thread.h"

#include <algorithm>
#include <cstdio>
#include <utility>

#include "tarn/src/base/worker_thread.h"
#include "tarn/src/usb/rights.h"

namespace tarn::usb {

namespace {

constexpr Milliseconds kLongestWait{60000};

} // namespace

InventoryThread::InventoryThread(const Clock& clock, UsbBusMaker openBus, std::string ippUsbDirectory)
    : m_openBus(std::move(openBus)), m_inventory(clock, std::move(ippUsbDirectory))
{
}

InventoryThread::~InventoryThread()
{
    if (m_thread.joinable()) {
        endSoon();
        m_thread.join();
    }
}

void InventoryThread::endSoon()
{
    {
        const MutexLock lock(m_mutex);
        m_stopping = true;
        if (m_bus) {
            m_bus->stop();
        }
    }
    m_ordered.notifyAll();
}

bool InventoryThread::start()
{
    if (!m_toTake.open()) {
        return false;
    }
    m_thread = workerThread("tarn-usb", [this] { loop(); });
    return m_thread.joinable();
}

void InventoryThread::look(bool on)
{
    {
        const MutexLock lock(m_mutex);
        m_looking = on;
        m_orders = {m_orders.generation + 1, true, {}};
        m_sightings.reset();
        interrupt();
    }
    m_ordered.notifyAll();
}

void InventoryThread::lookAgain()
{
    const MutexLock lock(m_mutex);
    m_orders.lookAgain = true;
    interrupt();
}

void InventoryThread::ask(const std::string& key)
{
    const MutexLock lock(m_mutex);
    if (m_orders.asks.insert(key).second) {
        interrupt();
    }
}

std::optional<std::vector<Sighting>> InventoryThread::take()
{
    const MutexLock lock(m_mutex);
    m_toTake.clear();
    return std::exchange(m_sightings, std::nullopt);
}

void InventoryThread::interrupt()
{
    if (m_bus) {
        m_bus->interrupt();
    }
}

void InventoryThread::loop()
{
    Orders orders;
    while (awaitOrders(orders)) {
        bool isOver = false;
        try {
            isOver = watch(orders);
        } catch (const std::exception&) { // out of memory
        }
        m_inventory.forgetAll();
        {
            const MutexLock lock(m_mutex);
            m_bus.reset();
        }
        if (!isOver) {
            pause(orders.generation);
        }
    }
}

// Until it is worth another try, or something else is ordered.
void InventoryThread::pause(std::uint64_t generation)
{
    const auto until = std::chrono::steady_clock::now() + m_pause;
    m_pause = std::min(2 * m_pause, kLongestPause);
    const MutexLock lock(m_mutex);
    m_orders.lookAgain = true;
    while (!m_stopping && m_orders.generation == generation && m_ordered.waitUntil(m_mutex, until)) {
    }
}

// Waits until somebody wants to know what is on the bus; false when the thread is to end.
bool InventoryThread::awaitOrders(Orders& out)
{
    const MutexLock lock(m_mutex);
    while (!m_stopping && !m_looking) {
        m_ordered.wait(m_mutex);
    }
    out = std::exchange(m_orders, {m_orders.generation, false, {}});
    return !m_stopping;
}

// Watches the bus for as long as that is wanted. False when it cannot be opened.
bool InventoryThread::watch(const Orders& first)
{
    const std::shared_ptr<UsbBus> bus = openBus();
    if (!bus) {
        return false;
    }
    Orders orders = first;
    m_pause = kShortestPause;
    while (refresh(orders)) {
        if (step(*bus, orders)) {
            post(orders.generation);
        }
    }
    return true;
}

// Adds what was ordered since; false when these orders are no longer those of the day.
bool InventoryThread::refresh(Orders& orders)
{
    const MutexLock lock(m_mutex);
    if (m_stopping || !m_looking || m_orders.generation != orders.generation) {
        return false;
    }
    orders.lookAgain = orders.lookAgain || m_orders.lookAgain;
    orders.asks.merge(m_orders.asks);
    m_orders = {m_orders.generation, false, {}};
    return true;
}

// Does the first thing there is to do, or waits. True when there is something to tell.
bool InventoryThread::step(UsbBus& bus, Orders& orders)
{
    if (orders.lookAgain) {
        orders.lookAgain = false;
        return m_inventory.look(bus);
    }
    if (m_inventory.identifyNext(bus)) {
        return true;
    }
    if (!orders.asks.empty()) {
        const std::string key = *orders.asks.begin();
        orders.asks.erase(orders.asks.begin());
        m_inventory.ask(bus, key);
        return true;
    }
    orders.lookAgain = bus.waitForChange(kLongestWait);
    return false;
}

void InventoryThread::post(std::uint64_t generation)
{
    if (!m_complained && !m_inventory.deniedNode().empty()) {
        m_complained = true;
        std::fprintf(stderr, "tarn: %s\n", rightsComplaint(m_inventory.deniedNode()).c_str());
    }
    std::vector<Sighting> sightings = m_inventory.sightings();
    const MutexLock lock(m_mutex);
    if (m_stopping || m_orders.generation != generation) {
        return;
    }
    m_sightings = std::move(sightings);
    m_toTake.signal();
}

std::shared_ptr<UsbBus> InventoryThread::openBus()
{
    std::string why;
    std::shared_ptr<UsbBus> bus = m_openBus(why);
    if (!bus && !m_complained) {
        m_complained = true;
        std::fprintf(stderr, "tarn: USB printers cannot be found: %s\n", why.c_str());
    }
    const MutexLock lock(m_mutex);
    m_bus = bus;
    return m_stopping ? nullptr : bus;
}

} // namespace tarn::usb
