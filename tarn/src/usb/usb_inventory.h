#pragma once

#include <deque>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "tarn/src/base/clock.h"
#include "tarn/src/device/device_status.h"
#include "tarn/src/usb/printer_identity.h"
#include "tarn/src/usb/printer_names.h"
#include "tarn/src/usb/usb_bus.h"

namespace tarn::usb {

// What is known of one printer that is plugged in.
struct Sighting
{
    std::string key;  // of this plugging in
    std::string name; // under which it is opened
    PrinterIdentity identity;
    device::DeviceStatus status;
    UsbDevice device;
    std::uint16_t ippPort = 0; // at which ipp-usb serves it on the loopback interface; 0: not at all
    TimePoint lastSeen{};      // when the printer, or the bus of a printer that cannot be asked, said so last
};

// UsbInventory knows the printers on a bus: who they are, what they are called, and how they are.
//
// A question that a device does not take is asked again after 2 s, then twice as long, up to a minute: a
// device that is silent costs a second each time, and one that stalls may stop printing over it.
//
// Invariants
//  (1) A printer is in sightings() from identifyNext() on until the look() that misses it.
//  (2) Names are as PrinterNames says; those present together at first are named in the order of their
//      sockets. A printer has one name from its first device ID on; before, one made of its strings.
// Threading: one thread. Ownership: borrows the clock, which must outlive it.
class UsbInventory final
{
public:
    // ippUsbDirectory: where ipp-usb keeps its state files.
    UsbInventory(const Clock& clock, std::string ippUsbDirectory)
        : m_clock(clock), m_ippUsbDirectory(std::move(ippUsbDirectory))
    {
    }

    // Compares what is known with what is on the bus. True when a printer is gone.
    bool look(UsbBus& bus);
    // Asks the next of the new printers who it is, and how; false when there is none.
    bool identifyNext(UsbBus& bus);
    // Asks a printer how it is, if it is there, and who it is if it did not say yet.
    void ask(UsbBus& bus, const std::string& key);
    void forgetAll();

    // In no particular order.
    std::vector<Sighting> sightings() const;
    // The node of a printer that we had no right to open, if there was one.
    const std::string& deniedNode() const { return m_deniedNode; }

    static constexpr Milliseconds kShortestPause{2000};
    static constexpr Milliseconds kLongestPause{60000};

private:
    // When a question may be asked again.
    struct Patience
    {
        Milliseconds pause{0};
        TimePoint notBefore{};

        void strain(TimePoint now);
    };
    struct Printer
    {
        Sighting sighting;
        device::DeviceId id;
        bool idAnswered = false;
        bool silent = false; // it left the last question without any answer
        std::optional<std::uint8_t> portStatus;
        Patience idPatience;
        Patience statusPatience;
    };

    // Nothing when it is not answered, or too early.
    std::optional<std::string> put(UsbBus& bus, Printer& printer, Question question, Patience& patience);
    void askId(UsbBus& bus, Printer& printer);
    void askStatus(UsbBus& bus, Printer& printer);
    void conclude(Printer& printer);

    const Clock& m_clock;
    const std::string m_ippUsbDirectory;
    PrinterNames m_names;
    std::map<std::string, Printer> m_printers; // by key
    std::deque<UsbDevice> m_new;
    std::string m_deniedNode;
};

} // namespace tarn::usb
