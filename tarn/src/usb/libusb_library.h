#pragma once

#include <libusb-1.0/libusb.h>

#include "tarn/src/base/shared_object.h"

namespace tarn::usb {

// libusb 1.0, bound at run time: its functions, under their names without "libusb_".
//
// Threading: as libusb says of each.
struct LibusbLibrary final : SharedObject
{
    static constexpr const char kSoname[] = "libusb-1.0.so.0";

    explicit LibusbLibrary(const char* soname = kSoname) : SharedObject(soname) {}

    SharedFunction<decltype(::libusb_init)> init{*this, "libusb_init"};
    SharedFunction<decltype(::libusb_exit)> exit{*this, "libusb_exit"};
    SharedFunction<decltype(::libusb_has_capability)> has_capability{*this, "libusb_has_capability"};
    SharedFunction<decltype(::libusb_hotplug_register_callback)> hotplug_register_callback{
        *this, "libusb_hotplug_register_callback"};
    SharedFunction<decltype(::libusb_get_device_list)> get_device_list{*this, "libusb_get_device_list"};
    SharedFunction<decltype(::libusb_free_device_list)> free_device_list{*this, "libusb_free_device_list"};
    SharedFunction<decltype(::libusb_get_bus_number)> get_bus_number{*this, "libusb_get_bus_number"};
    SharedFunction<decltype(::libusb_get_device_address)> get_device_address{*this,
                                                                             "libusb_get_device_address"};
    SharedFunction<decltype(::libusb_get_port_numbers)> get_port_numbers{*this, "libusb_get_port_numbers"};
    SharedFunction<decltype(::libusb_open)> open{*this, "libusb_open"};
    SharedFunction<decltype(::libusb_close)> close{*this, "libusb_close"};
    SharedFunction<decltype(::libusb_kernel_driver_active)> kernel_driver_active{
        *this, "libusb_kernel_driver_active"};
    SharedFunction<decltype(::libusb_alloc_transfer)> alloc_transfer{*this, "libusb_alloc_transfer"};
    SharedFunction<decltype(::libusb_free_transfer)> free_transfer{*this, "libusb_free_transfer"};
    SharedFunction<decltype(::libusb_submit_transfer)> submit_transfer{*this, "libusb_submit_transfer"};
    SharedFunction<decltype(::libusb_cancel_transfer)> cancel_transfer{*this, "libusb_cancel_transfer"};
    SharedFunction<decltype(::libusb_handle_events_timeout_completed)> handle_events_timeout_completed{
        *this, "libusb_handle_events_timeout_completed"};
    SharedFunction<decltype(::libusb_interrupt_event_handler)> interrupt_event_handler{
        *this, "libusb_interrupt_event_handler"};
};

} // namespace tarn::usb
