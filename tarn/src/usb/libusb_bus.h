#pragma once

#include <atomic>
#include <chrono>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "tarn/src/usb/libusb_library.h"
#include "tarn/src/usb/sysfs.h"
#include "tarn/src/usb/usb_bus.h"

namespace tarn::usb {

// LibusbBus is the bus as libusb shows it. Devices are opened for the time of a question only: an open node
// would keep them from sleeping.
//
// GET_DEVICE_ID is let through by the kernel whoever holds the interface. GET_PORT_STATUS makes the kernel
// take the interface for the one who asks, if it is free, until the node is closed; it is therefore not asked
// while a driver has the interface, and refused as busy while another program has.
class LibusbBus final : public UsbBus
{
public:
    // Null without libusb, or where that finds no bus.
    static std::unique_ptr<UsbBus> open(std::string& why, const char* soname = LibusbLibrary::kSoname,
                                        Sysfs sysfs = Sysfs());

    ~LibusbBus() override;
    LibusbBus(const LibusbBus&) = delete;
    LibusbBus& operator=(const LibusbBus&) = delete;

    std::optional<std::vector<UsbDevice>> devices() override;
    UsbAnswer ask(const UsbDevice& device, Question question) override;
    bool waitForChange(Milliseconds longest) override;
    void interrupt() override;
    void stop() override;

private:
    using Clock = std::chrono::steady_clock;
    // A transfer that libusb has; freed by whoever sees it completed.
    struct Flight;
    class OpenDevice;

    LibusbBus(std::unique_ptr<LibusbLibrary> library, Sysfs sysfs)
        : m_usb(std::move(library)), m_sysfs(std::move(sysfs))
    {
    }

    bool begin(std::string& why);
    void releaseList();
    UsbAnswer transfer(libusb_device_handle* handle, const UsbDevice& device, Question question);
    void await(Flight& flight);
    void handleEvents(Clock::duration longest, int* completed);
    static int LIBUSB_CALL changed(libusb_context* context, libusb_device* device, libusb_hotplug_event event,
                                   void* self);

    const std::unique_ptr<LibusbLibrary> m_usb;
    libusb_context* m_context = nullptr; // constant after begin()
    bool m_hotplug = false;              // constant after begin()
    std::atomic<bool> m_stopped{false};

    // the inventory's thread, which is the only one that handles libusb's events
    Sysfs m_sysfs;
    bool m_changed = false;
    bool m_isUnknown = false; // what is on the bus: the last look failed
    Clock::time_point m_lookedAt{};
    libusb_device** m_list = nullptr;
    std::map<std::pair<std::uint8_t, std::uint8_t>, libusb_device*> m_devices; // by bus and address
};

} // namespace tarn::usb
