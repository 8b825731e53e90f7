#include "tarn/src/usb/libusb_library.h"

namespace tarn::usb {

LibusbLibrary::LibusbLibrary(const char* soname) : m_object(soname)
{
    m_object.bind(init, "libusb_init");
    m_object.bind(exit, "libusb_exit");
    m_object.bind(has_capability, "libusb_has_capability");
    m_object.bind(hotplug_register_callback, "libusb_hotplug_register_callback");
    m_object.bind(get_device_list, "libusb_get_device_list");
    m_object.bind(free_device_list, "libusb_free_device_list");
    m_object.bind(get_bus_number, "libusb_get_bus_number");
    m_object.bind(get_device_address, "libusb_get_device_address");
    m_object.bind(get_port_numbers, "libusb_get_port_numbers");
    m_object.bind(open, "libusb_open");
    m_object.bind(close, "libusb_close");
    m_object.bind(kernel_driver_active, "libusb_kernel_driver_active");
    m_object.bind(alloc_transfer, "libusb_alloc_transfer");
    m_object.bind(free_transfer, "libusb_free_transfer");
    m_object.bind(submit_transfer, "libusb_submit_transfer");
    m_object.bind(cancel_transfer, "libusb_cancel_transfer");
    m_object.bind(handle_events_timeout_completed, "libusb_handle_events_timeout_completed");
    m_object.bind(interrupt_event_handler, "libusb_interrupt_event_handler");
}

} // namespace tarn::usb
