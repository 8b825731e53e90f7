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
#include <sys/stat.h>
#include <umockdev-1.0/umockdev.h>
#include <unistd.h>

#include <cstdio>
#include <iostream>
#include <mutex>
#include <sstream>
#include <string>
#include <vector>

#include "tests/support/usb_testbed_printer.h"

namespace {

using namespace usb_testbed;

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

// mode in octal, group as a number; empty: as it is.
bool setRights(UMockdevTestbed* testbed, const std::string& node, const std::string& mode,
               const std::string& group)
{
    gchar* const root = umockdev_testbed_get_root_dir(testbed);
    const std::string file = root + node;
    g_free(root);
    if (!group.empty() &&
        ::chown(file.c_str(), static_cast<uid_t>(-1), static_cast<gid_t>(std::stoul(group))) != 0) {
        return false;
    }
    return mode.empty() || ::chmod(file.c_str(), static_cast<mode_t>(std::stoul(mode, nullptr, 8))) == 0;
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
        const std::lock_guard<std::mutex> lock(printers().mutex);
        printers().byName[name] = printer;
    }
    UMockdevIoctlBase* handler = handlerFor(name);
    if (umockdev_testbed_attach_ioctl(testbed, node, handler, nullptr) == 0 || !add(testbed, description)) {
        return false;
    }
    g_object_unref(handler);
    bool done = setRights(testbed, node, mode, group);
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
        const std::lock_guard<std::mutex> lock(printers().mutex);
        const auto found = printers().byName.find(name);
        if (found == printers().byName.end()) {
            return false;
        }
        printer = std::move(found->second);
        printers().byName.erase(found);
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
    const std::lock_guard<std::mutex> lock(printers().mutex);
    const auto found = printers().byName.find(fields[1]);
    if (found == printers().byName.end()) {
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
