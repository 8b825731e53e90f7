// USB printers that exist in memory only, for programs that run under umockdev's preload library with the
// UMOCKDEV_DIR that is printed first. Commands come by standard input, a line each, fields separated by tabs:
//
//   plug    NAME  [key=value ...]   plugs a printer in, under a new address
//   set     NAME  [key=value ...]   changes how a printer that is plugged in behaves
//   unplug  NAME                    pulls it out
//   count   NAME                    answers how many control transfers it was sent
//
// Keys of the system's view, for plug only: port (default 1), vid, pid (hexadecimal), manufacturer, product,
// serial (strings; without: none), systemid (what the kernel's driver read), mode (the node's, octal),
// group (the node's, a number). Keys of behaviour: id (a text, its length is put before it), idhex (raw
// octets), status (the port's), driver (who holds the interface: "usblp"), busy (1: another program does),
// stall (1: refuses everything), silent (1: never answers). Each command is answered with "ok" or "error".

#include <glib.h>
#include <linux/usb/ch9.h>
#include <linux/usbdevice_fs.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <umockdev-1.0/umockdev.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <deque>
#include <iostream>
#include <map>
#include <memory>
#include <mutex>
#include <sstream>
#include <string>
#include <vector>

namespace {

using Values = std::map<std::string, std::string>;

std::string hexOf(const std::string& octets)
{
    std::string out;
    char text[3];
    for (const char octet : octets) {
        std::snprintf(text, sizeof text, "%02X", static_cast<unsigned char>(octet));
        out += text;
    }
    return out;
}

std::string octetsOf(const std::string& hex)
{
    std::string out;
    for (std::size_t i = 0; i + 1 < hex.size(); i += 2) {
        out.push_back(static_cast<char>(std::stoi(hex.substr(i, 2), nullptr, 16)));
    }
    return out;
}

// A request that the program gave and has not taken back yet.
struct Urb
{
    UMockdevIoctlData* urb;
    UMockdevIoctlData* buffer;
    bool done;
};

struct Printer
{
    std::string path; // "/sys/devices/..."
    std::string node; // "/dev/bus/usb/001/004"
    Values behaviour;
    unsigned transfers = 0;
    std::map<UMockdevIoctlClient*, std::deque<Urb>> urbs;
};

std::mutex g_mutex; // umockdev answers in a thread of its own
std::map<std::string, Printer> g_printers;

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
        return std::string(1, static_cast<char>(std::stoul(value("status").empty() ? "0" : value("status"), nullptr, 0)));
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
    const std::lock_guard<std::mutex> lock(g_mutex);
    const auto found = g_printers.find(static_cast<const char*>(name));
    const int error = found == g_printers.end()
                          ? ENODEV
                          : carryOut(found->second, client, umockdev_ioctl_client_get_request(client));
    umockdev_ioctl_client_complete(client, error == 0 ? 0 : -1, error);
    return TRUE;
}

void handleVanished(UMockdevIoctlBase* /*handler*/, UMockdevIoctlClient* client, gpointer name)
{
    const std::lock_guard<std::mutex> lock(g_mutex);
    if (const auto found = g_printers.find(static_cast<const char*>(name)); found != g_printers.end()) {
        found->second.urbs.erase(client);
    }
}

// A device with one configuration, one interface of the printer class and two endpoints.
std::string descriptors(unsigned vendor, unsigned product)
{
    const auto low = [](unsigned value) { return static_cast<char>(value & 0xFF); };
    const auto high = [](unsigned value) { return static_cast<char>(value >> 8); };
    const std::string device{18, 1, 0, 2, 0, 0, 0, 64, low(vendor), high(vendor), low(product), high(product),
                             0,  1, 1, 2, 3, 1};
    const std::string configuration{9, 2, 32, 0, 1, 1, 0, static_cast<char>(0xC0), 1};
    const std::string interface {
        9, 4, 0, 0, 2, 7, 1, 2, 0
    };
    const std::string endpoints{7, 5, 1, 2, 64, 0, 0, 7, 5, static_cast<char>(0x82), 2, 64, 0, 0};
    return device + configuration + interface + endpoints;
}

std::string take(Values& values, const char* key, const char* otherwise)
{
    const auto found = values.find(key);
    if (found == values.end()) {
        return otherwise;
    }
    std::string value = std::move(found->second);
    values.erase(found);
    return value;
}

bool add(UMockdevTestbed* testbed, const std::string& description)
{
    GError* error = nullptr;
    if (umockdev_testbed_add_from_string(testbed, description.c_str(), &error) == 0) {
        std::cerr << "usb_testbed: " << error->message << std::endl;
        g_error_free(error);
        return false;
    }
    return true;
}

bool addHub(UMockdevTestbed* testbed)
{
    return add(testbed, "P: /devices/pci0000:00/0000:00:14.0/usb1\n"
                        "N: bus/usb/001/001=" +
                            hexOf(descriptors(0x1d6b, 2)).substr(0, 36) +
                            "\n"
                            "E: DEVNAME=/dev/bus/usb/001/001\nE: DEVTYPE=usb_device\nE: SUBSYSTEM=usb\n"
                            "E: BUSNUM=001\nE: DEVNUM=001\nA: busnum=1\\n\nA: devnum=1\\n\nA: speed=480\\n\n"
                            "A: bConfigurationValue=1\\n\nH: descriptors=" +
                            hexOf(descriptors(0x1d6b, 2)).substr(0, 36) + "\n");
}

std::string describe(const Printer& printer, const std::string& devicePath, unsigned address, Values& values)
{
    char number[4];
    std::snprintf(number, sizeof number, "%03u", address);
    const std::string raw =
        hexOf(descriptors(static_cast<unsigned>(std::stoul(take(values, "vid", "1234"), nullptr, 16)),
                          static_cast<unsigned>(std::stoul(take(values, "pid", "5678"), nullptr, 16))));
    std::string out = "P: " + devicePath + "\nN: " + printer.node.substr(5) + "=" + raw +
                      "\nE: DEVNAME=" + printer.node + "\nE: DEVTYPE=usb_device\nE: SUBSYSTEM=usb\n" +
                      "E: BUSNUM=001\nE: DEVNUM=" + number +
                      "\nA: busnum=1\\n\nA: devnum=" + std::to_string(address) +
                      "\\n\nA: speed=480\\n\nA: bConfigurationValue=1\\n\n";
    for (const char* key : {"manufacturer", "product", "serial"}) {
        if (const std::string text = take(values, key, ""); !text.empty()) {
            out += std::string("A: ") + key + "=" + text + "\\n\n";
        }
    }
    return out + "H: descriptors=" + raw + "\n";
}

// What the command's fields say, from the second on.
Values valuesOf(const std::vector<std::string>& fields)
{
    Values values;
    for (std::size_t i = 2; i < fields.size(); ++i) {
        const std::size_t equals = fields[i].find('=');
        values[fields[i].substr(0, equals)] = equals == std::string::npos ? "" : fields[i].substr(equals + 1);
    }
    return values;
}

bool plug(UMockdevTestbed* testbed, const std::string& name, Values values)
{
    static unsigned address = 1;
    ++address;
    char node[32];
    std::snprintf(node, sizeof node, "/dev/bus/usb/001/%03u", address);
    const std::string port = "1-" + take(values, "port", "1");
    const std::string devicePath = "/devices/pci0000:00/0000:00:14.0/usb1/" + port;
    Printer printer;
    printer.path = "/sys" + devicePath;
    printer.node = node;
    const std::string systemId = take(values, "systemid", "");
    const std::string mode = take(values, "mode", "");
    const std::string group = take(values, "group", "");
    const std::string description = describe(printer, devicePath, address, values);
    printer.behaviour = std::move(values);
    {
        const std::lock_guard<std::mutex> lock(g_mutex);
        g_printers[name] = printer;
    }
    UMockdevIoctlBase* handler = umockdev_ioctl_base_new();
    g_signal_connect(handler, "handle-ioctl", G_CALLBACK(handleIoctl), g_strdup(name.c_str()));
    g_signal_connect(handler, "client-vanished", G_CALLBACK(handleVanished), g_strdup(name.c_str()));
    if (umockdev_testbed_attach_ioctl(testbed, node, handler, nullptr) == 0 || !add(testbed, description)) {
        return false;
    }
    g_object_unref(handler);
    gchar* const root = umockdev_testbed_get_root_dir(testbed);
    const std::string file = std::string(root) + node;
    g_free(root);
    bool done = group.empty() ||
                ::chown(file.c_str(), static_cast<uid_t>(-1), static_cast<gid_t>(std::stoul(group))) == 0;
    done = done &&
           (mode.empty() || ::chmod(file.c_str(), static_cast<mode_t>(std::stoul(mode, nullptr, 8))) == 0);
    if (!systemId.empty()) {
        done = done && add(testbed, "P: " + devicePath + "/" + port +
                                        ":1.0\nE: DEVTYPE=usb_interface\n"
                                        "E: SUBSYSTEM=usb\nA: ieee1284_id=" +
                                        systemId + "\\n\n");
    }
    return done;
}

bool unplug(UMockdevTestbed* testbed, const std::string& name)
{
    Printer printer;
    {
        const std::lock_guard<std::mutex> lock(g_mutex);
        const auto found = g_printers.find(name);
        if (found == g_printers.end()) {
            return false;
        }
        printer = std::move(found->second);
        g_printers.erase(found);
    }
    umockdev_testbed_uevent(testbed, printer.path.c_str(), "remove");
    umockdev_testbed_detach_ioctl(testbed, printer.node.c_str(), nullptr);
    umockdev_testbed_remove_device(testbed, printer.path.c_str());
    return true;
}

bool obey(UMockdevTestbed* testbed, const std::vector<std::string>& fields, std::string& answer)
{
    if (fields.size() < 2) {
        return false;
    }
    if (fields[0] == "plug") {
        return plug(testbed, fields[1], valuesOf(fields));
    }
    if (fields[0] == "unplug") {
        return unplug(testbed, fields[1]);
    }
    const std::lock_guard<std::mutex> lock(g_mutex);
    const auto found = g_printers.find(fields[1]);
    if (found == g_printers.end()) {
        return false;
    }
    if (fields[0] == "count") {
        answer = " " + std::to_string(found->second.transfers);
        return true;
    }
    for (const auto& [key, value] : valuesOf(fields)) {
        if (value.empty()) {
            found->second.behaviour.erase(key);
        } else {
            found->second.behaviour[key] = value;
        }
    }
    return fields[0] == "set";
}

} // namespace

int main()
{
    UMockdevTestbed* testbed = umockdev_testbed_new();
    if (!addHub(testbed)) {
        return 1;
    }
    gchar* const root = umockdev_testbed_get_root_dir(testbed);
    std::cout << root << std::endl;
    g_free(root);
    for (std::string line; std::getline(std::cin, line);) {
        std::vector<std::string> fields;
        std::istringstream stream(line);
        for (std::string field; std::getline(stream, field, '\t');) {
            fields.push_back(field);
        }
        std::string answer;
        const bool done = obey(testbed, fields, answer);
        std::cout << (done ? "ok" : "error") << answer << std::endl;
    }
    g_object_unref(testbed);
    return 0;
}
