#pragma once

#include <libusb-1.0/libusb.h>

#include <string>

#include "tarn/src/base/shared_object.h"

namespace tarn::usb {

// libusb 1.0, bound at run time: its functions, under their names without "libusb_".
//
// Threading: as libusb says of each.
class LibusbLibrary final
{
public:
    explicit LibusbLibrary(const char* soname = kSoname);
    LibusbLibrary(const LibusbLibrary&) = delete;
    LibusbLibrary& operator=(const LibusbLibrary&) = delete;

    bool isUsable() const { return m_object.isUsable(); }
    std::string complaint() const { return m_object.complaint(); }

    static constexpr const char kSoname[] = "libusb-1.0.so.0";

private:
    SharedObject m_object;

public:
    decltype(&libusb_init) init = nullptr;
    decltype(&libusb_exit) exit = nullptr;
    decltype(&libusb_has_capability) has_capability = nullptr;
    decltype(&libusb_hotplug_register_callback) hotplug_register_callback = nullptr;
    decltype(&libusb_get_device_list) get_device_list = nullptr;
    decltype(&libusb_free_device_list) free_device_list = nullptr;
    decltype(&libusb_get_bus_number) get_bus_number = nullptr;
    decltype(&libusb_get_device_address) get_device_address = nullptr;
    decltype(&libusb_get_port_numbers) get_port_numbers = nullptr;
    decltype(&libusb_open) open = nullptr;
    decltype(&libusb_close) close = nullptr;
    decltype(&libusb_kernel_driver_active) kernel_driver_active = nullptr;
    decltype(&libusb_alloc_transfer) alloc_transfer = nullptr;
    decltype(&libusb_free_transfer) free_transfer = nullptr;
    decltype(&libusb_submit_transfer) submit_transfer = nullptr;
    decltype(&libusb_cancel_transfer) cancel_transfer = nullptr;
    decltype(&libusb_handle_events_timeout_completed) handle_events_timeout_completed = nullptr;
    decltype(&libusb_interrupt_event_handler) interrupt_event_handler = nullptr;
};

} // namespace tarn::usb
