#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "tarn/src/base/clock.h"
#include "tarn/src/base/mutex.h"
#include "tarn/src/base/wakeup_fd.h"
#include "tarn/src/usb/usb_bus.h"
#include "tarn/src/usb/usb_inventory.h"

namespace tarn::usb {

// InventoryThread runs a UsbInventory in a thread of its own, where it may wait for devices, and hands over what
// it sees.
//
// Invariants
//  (1) take() gives the newest sightings, each only once, and none from before the last look().
//  (2) descriptor() is readable when there is something to take.
//  (3) The bus is opened when somebody first looks, and closed when nobody does any more. Where that fails,
//      or memory runs out, it is opened again after kShortestPause, then twice as long, up to kLongestPause.
// Threading: any thread, but for start() and the destructor, which are the owner's. Ownership: borrows the
// clock, which must outlive it.
class InventoryThread final
{
public:
    static constexpr std::chrono::milliseconds kShortestPause{500};
    static constexpr std::chrono::milliseconds kLongestPause{60000};

    InventoryThread(const Clock& clock, UsbBusMaker openBus, std::string ippUsbDirectory);
    // Ends the thread, whatever it waits for.
    ~InventoryThread();
    InventoryThread(const InventoryThread&) = delete;
    InventoryThread& operator=(const InventoryThread&) = delete;

    // False when the system gives no thread or no descriptor.
    bool start();
    // Tells the thread to end, and does not wait for that; nothing is looked at or asked any more.
    void endSoon() TARN_EXCLUDES(m_mutex);
    int descriptor() const { return m_toTake.descriptor(); }

    // Begins or ends to watch the bus.
    void look(bool on) TARN_EXCLUDES(m_mutex);
    // The machine slept: what came and went meanwhile was not told.
    void lookAgain() TARN_EXCLUDES(m_mutex);
    // Asks the printer how it is, unless that is ordered already.
    void ask(const std::string& key) TARN_EXCLUDES(m_mutex);
    std::optional<std::vector<Sighting>> take() TARN_EXCLUDES(m_mutex);

private:
    // What the thread is to do next; generation changes with each look().
    struct Orders
    {
        std::uint64_t generation = 0;
        bool lookAgain = false;
        std::set<std::string> asks;
    };

    void loop() TARN_EXCLUDES(m_mutex);
    bool awaitOrders(Orders& out) TARN_EXCLUDES(m_mutex);
    bool watch(const Orders& first) TARN_EXCLUDES(m_mutex);
    bool refresh(Orders& orders) TARN_EXCLUDES(m_mutex);
    bool step(UsbBus& bus, Orders& orders) TARN_EXCLUDES(m_mutex);
    void post(std::uint64_t generation) TARN_EXCLUDES(m_mutex);
    void pause(std::uint64_t generation) TARN_EXCLUDES(m_mutex);
    std::shared_ptr<UsbBus> openBus() TARN_EXCLUDES(m_mutex);
    void interrupt() TARN_REQUIRES(m_mutex);

    // constant after start()
    const UsbBusMaker m_openBus;
    WakeupFd m_toTake; // there are sightings
    std::thread m_thread;

    // the thread's
    UsbInventory m_inventory;
    bool m_complained = false;
    std::chrono::milliseconds m_pause = kShortestPause;

    Mutex m_mutex;
    CondVar m_ordered;
    bool m_stopping TARN_GUARDED_BY(m_mutex) = false;
    bool m_looking TARN_GUARDED_BY(m_mutex) = false;
    Orders m_orders TARN_GUARDED_BY(m_mutex);
    std::shared_ptr<UsbBus> m_bus TARN_GUARDED_BY(m_mutex); // to interrupt it
    std::optional<std::vector<Sighting>> m_sightings TARN_GUARDED_BY(m_mutex);
};

} // namespace tarn::usb
