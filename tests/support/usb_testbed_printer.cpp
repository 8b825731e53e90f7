#include "tests/support/usb_testbed_printer.h"

#include <linux/usb/ch9.h>
#include <linux/usbdevice_fs.h>
#include <sys/ioctl.h>

#include <cerrno>
#include <cstddef>
#include <cstring>
#include <iostream>

namespace usb_testbed {

namespace {

std::string octetsOf(const std::string& hex)
{
    std::string out;
    for (std::size_t i = 0; i + 1 < hex.size(); i += 2) {
        out.push_back(static_cast<char>(std::stoi(hex.substr(i, 2), nullptr, 16)));
    }
    return out;
}

bool isSet(const Printer& printer, const char* key)
{
    const auto found = printer.behaviour.find(key);
    return found != printer.behaviour.end() && found->second == "1";
}

std::string answerTo(const Printer& printer, const usb_ctrlrequest& setup)
{
    const auto value = [&printer](const char* key) {
        const auto found = printer.behaviour.find(key);
        return found != printer.behaviour.end() ? found->second : std::string();
    };
    if (setup.bRequest == 1) {
        return std::string(
            1, static_cast<char>(std::stoul(value("status").empty() ? "0" : value("status"), nullptr, 0)));
    }
    if (!value("idhex").empty()) {
        return octetsOf(value("idhex"));
    }
    const std::string id = value("id");
    const std::size_t length = id.size() + 2;
    return std::string{static_cast<char>(length >> 8), static_cast<char>(length & 0xFF)} + id;
}

template <typename T>
void put(UMockdevIoctlData* data, std::size_t offset, T value)
{
    umockdev_ioctl_data_update(data, offset, reinterpret_cast<guint8*>(&value), sizeof value);
}

void finish(Urb& urb, int status, const std::string& answer)
{
    if (!answer.empty()) {
        std::string octets = answer;
        umockdev_ioctl_data_update(urb.buffer, sizeof(usb_ctrlrequest),
                                   reinterpret_cast<guint8*>(octets.data()),
                                   static_cast<gint>(octets.size()));
    }
    put(urb.urb, offsetof(usbdevfs_urb, status), status);
    put(urb.urb, offsetof(usbdevfs_urb, actual_length), static_cast<int>(answer.size()));
    urb.done = true;
}

// Returns the error, or 0.
int submit(Printer& printer, UMockdevIoctlClient* client, UMockdevIoctlData* data)
{
    const auto* const request = reinterpret_cast<const usbdevfs_urb*>(data->data);
    if (request->type != USBDEVFS_URB_TYPE_CONTROL ||
        request->buffer_length < static_cast<int>(sizeof(usb_ctrlrequest))) {
        return EINVAL;
    }
    UMockdevIoctlData* buffer = umockdev_ioctl_data_resolve(
        data, offsetof(usbdevfs_urb, buffer), static_cast<gsize>(request->buffer_length), nullptr);
    usb_ctrlrequest setup;
    std::memcpy(&setup, buffer->data, sizeof setup);
    ++printer.transfers;
    // As the kernel does: who wants the status must be able to have the interface.
    const bool held = isSet(printer, "busy") || printer.behaviour.count("driver") != 0;
    if (setup.bRequestType != 0xA1 || (setup.bRequest == 1 && held)) {
        umockdev_ioctl_data_unref(buffer);
        return EBUSY;
    }
    Urb urb{umockdev_ioctl_data_ref(data), buffer, false};
    if (isSet(printer, "stall")) {
        finish(urb, -EPIPE, "");
    } else if (!isSet(printer, "silent")) {
        finish(urb, 0, answerTo(printer, setup).substr(0, setup.wLength));
    }
    printer.urbs[client].push_back(urb);
    return 0;
}

int reap(Printer& printer, UMockdevIoctlClient* client, UMockdevIoctlData* data)
{
    std::deque<Urb>& urbs = printer.urbs[client];
    for (auto at = urbs.begin(); at != urbs.end(); ++at) {
        if (at->done) {
            umockdev_ioctl_data_set_ptr(data, 0, at->urb);
            umockdev_ioctl_data_unref(at->urb);
            umockdev_ioctl_data_unref(at->buffer);
            urbs.erase(at);
            return 0;
        }
    }
    return EAGAIN;
}

int discard(Printer& printer, UMockdevIoctlClient* client)
{
    gulong wanted = 0;
    std::memcpy(&wanted, umockdev_ioctl_client_get_arg(client)->data, sizeof wanted);
    for (Urb& urb : printer.urbs[client]) {
        if (urb.urb->client_addr == wanted && !urb.done) {
            finish(urb, -ENOENT, "");
            return 0;
        }
    }
    return EINVAL;
}

int getDriver(const Printer& printer, UMockdevIoctlData* data)
{
    const auto driver = printer.behaviour.find("driver");
    if (driver == printer.behaviour.end() && !isSet(printer, "busy")) {
        return ENODATA;
    }
    std::string name = driver != printer.behaviour.end() ? driver->second : "usbfs";
    name.push_back('\0');
    umockdev_ioctl_data_update(data, offsetof(usbdevfs_getdriver, driver),
                               reinterpret_cast<guint8*>(name.data()), static_cast<gint>(name.size()));
    return 0;
}

int carryOut(Printer& printer, UMockdevIoctlClient* client, unsigned long request)
{
    const gsize size = _IOC_SIZE(request);
    UMockdevIoctlData* data =
        size == 0 ? nullptr
                  : umockdev_ioctl_data_resolve(umockdev_ioctl_client_get_arg(client), 0, size, nullptr);
    switch (request) {
    case USBDEVFS_GET_CAPABILITIES:
        put(data, 0, static_cast<guint32>(0));
        return 0;
    case USBDEVFS_SUBMITURB:
        return submit(printer, client, data);
    case USBDEVFS_REAPURB:
    case USBDEVFS_REAPURBNDELAY:
        return reap(printer, client, data);
    case USBDEVFS_DISCARDURB:
        return discard(printer, client);
    case USBDEVFS_GETDRIVER:
        return getDriver(printer, data);
    default: // claiming, detaching, resetting: nobody may
        std::cerr << "usb_testbed: forbidden request " << std::hex << request << std::dec << std::endl;
        return EPERM;
    }
}

gboolean handleIoctl(UMockdevIoctlBase* /*handler*/, UMockdevIoctlClient* client, gpointer name)
{
    const std::lock_guard<std::mutex> lock(printers().mutex);
    const auto found = printers().byName.find(static_cast<const char*>(name));
    const int error = found == printers().byName.end()
                          ? ENODEV
                          : carryOut(found->second, client, umockdev_ioctl_client_get_request(client));
    umockdev_ioctl_client_complete(client, error == 0 ? 0 : -1, error);
    return TRUE;
}

void handleVanished(UMockdevIoctlBase* /*handler*/, UMockdevIoctlClient* client, gpointer name)
{
    const std::lock_guard<std::mutex> lock(printers().mutex);
    if (const auto found = printers().byName.find(static_cast<const char*>(name));
        found != printers().byName.end()) {
        found->second.urbs.erase(client);
    }
}

} // namespace

Printers& printers()
{
    static Printers all;
    return all;
}

UMockdevIoctlBase* handlerFor(const std::string& name)
{
    UMockdevIoctlBase* handler = umockdev_ioctl_base_new();
    g_signal_connect(handler, "handle-ioctl", G_CALLBACK(handleIoctl), g_strdup(name.c_str()));
    g_signal_connect(handler, "client-vanished", G_CALLBACK(handleVanished), g_strdup(name.c_str()));
    return handler;
}

} // namespace usb_testbed
