// A libusb of which the test says how it starts and what is on the bus.
#include "tests/unit/tarn/usb/fake_libusb.h"

#include <libusb-1.0/libusb.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <thread>
#include <utility>

struct libusb_context
{
};
struct libusb_device
{
};
struct libusb_device_handle
{
};

namespace {

FakeLibusb state;
libusb_context context;
libusb_device device;
libusb_device_handle handle;
libusb_device* list[8];
libusb_hotplug_callback_fn changed = nullptr;
void* changedData = nullptr;
libusb_transfer* underWay = nullptr;

libusb_transfer* abandoned = nullptr; // still known, as a real library knows what never came back

void endTransfer()
{
    if (state.isDeaf && underWay != nullptr) {
        abandoned = std::exchange(underWay, nullptr);
    }
    const bool isCancelled = underWay != nullptr && underWay->status == LIBUSB_TRANSFER_CANCELLED;
    if (underWay == nullptr || (state.isSilent && !isCancelled)) {
        std::this_thread::sleep_for(
            std::chrono::milliseconds(abandoned != nullptr || underWay != nullptr ? 5 : 0));
        return;
    }
    libusb_transfer* const ended = std::exchange(underWay, nullptr);
    if (!isCancelled) {
        const auto room = static_cast<std::size_t>(ended->length) - LIBUSB_CONTROL_SETUP_SIZE;
        ended->actual_length = static_cast<int>(
            state.answer.copy(reinterpret_cast<char*>(ended->buffer) + LIBUSB_CONTROL_SETUP_SIZE, room));
    }
    ended->callback(ended);
}

} // namespace

extern "C" {

FakeLibusb* fakeLibusb()
{
    return &state;
}

int libusb_init(libusb_context** out)
{
    *out = &context; // even when it fails
    state.running += state.initError == 0 ? 1 : 0;
    return state.initError;
}
void libusb_exit(libusb_context*)
{
    --state.running;
}
int libusb_has_capability(uint32_t capability)
{
    return capability == LIBUSB_CAP_HAS_HOTPLUG && state.hasHotplug ? 1 : 0;
}
int libusb_hotplug_register_callback(libusb_context*, int, int, int, int, int,
                                     libusb_hotplug_callback_fn callback, void* data,
                                     libusb_hotplug_callback_handle*)
{
    changed = callback;
    changedData = data;
    return state.hotplugError;
}
ssize_t libusb_get_device_list(libusb_context*, libusb_device*** out)
{
    if (state.devices < 0) {
        return state.devices;
    }
    for (libusb_device*& each : list) {
        each = &device;
    }
    *out = list;
    ++state.lists;
    return state.devices;
}
void libusb_free_device_list(libusb_device**, int)
{
    --state.lists;
}
uint8_t libusb_get_bus_number(libusb_device*)
{
    return 200;
}
uint8_t libusb_get_device_address(libusb_device*)
{
    return 1;
}
int libusb_get_port_numbers(libusb_device*, uint8_t* ports, int most)
{
    std::fill_n(ports, std::min(state.depth, most), std::uint8_t{7});
    return state.depth;
}
int libusb_open(libusb_device*, libusb_device_handle** out)
{
    *out = &handle;
    ++state.opened;
    return 0;
}
void libusb_close(libusb_device_handle*)
{
    --state.opened;
}
int libusb_kernel_driver_active(libusb_device_handle*, int)
{
    return state.hasDriver ? 1 : 0;
}
libusb_transfer* libusb_alloc_transfer(int)
{
    ++state.transfers;
    return new libusb_transfer();
}
void libusb_free_transfer(libusb_transfer* transfer)
{
    --state.transfers;
    delete transfer;
}
int libusb_submit_transfer(libusb_transfer* transfer)
{
    underWay = transfer;
    underWay->status = LIBUSB_TRANSFER_COMPLETED;
    return 0;
}
int libusb_cancel_transfer(libusb_transfer* transfer)
{
    transfer->status = LIBUSB_TRANSFER_CANCELLED;
    ++state.cancelled;
    return 0;
}
int libusb_handle_events_timeout_completed(libusb_context*, timeval* longest, int*)
{
    ++state.waits;
    state.longestWaitMs = static_cast<long>(longest->tv_sec * 1000 + longest->tv_usec / 1000);
    if (state.changesAtWait) {
        state.isDismissed = changed(&context, &device, LIBUSB_HOTPLUG_EVENT_DEVICE_ARRIVED, changedData) != 0;
    }
    if (state.atWait) {
        state.atWait();
    }
    endTransfer();
    return 0;
}
void libusb_interrupt_event_handler(libusb_context*)
{
    ++state.interrupts;
}
}
