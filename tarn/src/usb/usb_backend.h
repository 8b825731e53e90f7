#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tarn/src/base/clock.h"
#include "tarn/src/base/descriptor.h"
#include "tarn/src/engine/backend.h"
#include "tarn/src/usb/inventory_thread.h"
#include "tarn/src/usb/ipp_over_usb.h"
#include "tarn/src/usb/usb_bus.h"

namespace tarn::ipp {
class IppTransport;
}

namespace tarn::usb {

// UsbBackend lists the printers that are plugged in, and keeps their statuses fresh: every two seconds while
// somebody opens them. A printer can be reached for as long as it is plugged in.
//
// Invariants
//  (1) Nothing is loaded and no thread runs before discover() is first told to; nor are they for IPP before
//      a printer is met that ipp-usb serves.
//  (2) Only success is remembered: without a descriptor, a thread, memory or the library it tries again, more
//      and more rarely.
//  (3) A printer's target is touched from the run() that lists it to the one that misses it.
// Threading: engine thread only; devices are waited for by an InventoryThread. Ownership: borrows clock and
// listener, which must outlive it.
class UsbBackend final : public engine::Backend
{
public:
    // What is behind it: the bus, the queue of requests over IPP, the directory of ipp-usb's state files.
    struct Parts
    {
        UsbBusMaker openBus;
        IppOverUsb::QueueMaker makeQueue;
        std::string ippUsbDirectory;
    };
    static Parts realParts(std::shared_ptr<ipp::IppTransport> transport);

    UsbBackend(const Clock& clock, engine::BackendListener& listener, Parts parts);
    ~UsbBackend() override;
    UsbBackend(const UsbBackend&) = delete;
    UsbBackend& operator=(const UsbBackend&) = delete;

    const char* name() const override { return "smusb"; }
    // Nobody names a USB printer.
    void watch(std::shared_ptr<engine::Target> /*target*/) override {}
    void unwatch(const engine::Target& /*target*/) override {}
    void wake(const engine::Target& target) override;
    void networkChanged() override;
    void endSoon() override
    {
        if (m_inventory) {
            m_inventory->endSoon();
        }
    }
    void discover(engine::Discovery discovery, bool on) override;
    void run() override;
    TimePoint nextDeadline() const override;
    int descriptor() const override { return m_poll.get(); }

    static constexpr Milliseconds kInterval{2000};
    static constexpr Milliseconds kShortestPause{1000}; // without a descriptor or thread
    static constexpr Milliseconds kLongestPause{60000};
    static constexpr Milliseconds kUnopened{60000}; // who is not opened for so long is not asked

private:
    struct Printer
    {
        std::shared_ptr<engine::Target> target;
        Sighting sighting;
        TimePoint askAt = kNever; // kNever: it was suspended
    };

    void begin();
    bool makeInventory();
    bool listenTo(int descriptor) const;
    void adopt(const std::vector<Sighting>& sightings);
    void meet(const Sighting& sighting);
    void update(Printer& printer, const Sighting& sighting);
    void dropMissing(const std::vector<Sighting>& sightings);
    void tellRoster();
    void askOrPutAside(Printer& printer, TimePoint now);
    void askOverIpp();

    const Clock& m_clock;
    engine::BackendListener& m_listener;
    const Parts m_parts;
    std::unique_ptr<InventoryThread> m_inventory;
    IppOverUsb m_ipp;
    Descriptor m_poll;       // an epoll of what the inventory and the requests have to say
    bool m_pollsIpp = false; // the answers over IPP are in it
    bool m_on = false;
    TimePoint m_beginAt = kNever;                   // the next try to watch the bus
    Milliseconds m_pause = kShortestPause;          // after it
    std::optional<std::vector<Sighting>> m_pending; // taken, and not wholly adopted yet
    bool m_rosterChanged = false;                   // and the listener does not know
    std::map<std::string, Printer> m_printers;      // by key
};

} // namespace tarn::usb
