#pragma once

#include <umockdev-1.0/umockdev.h>

#include <deque>
#include <map>
#include <mutex>
#include <string>

namespace usb_testbed {

using Values = std::map<std::string, std::string>;

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

// The printers that are plugged in, by name. umockdev puts requests to them in a thread of its own.
struct Printers
{
    std::mutex mutex;
    std::map<std::string, Printer> byName;
};
Printers& printers();

// Lets the printer of that name answer what programs ask of its node.
UMockdevIoctlBase* handlerFor(const std::string& name);

} // namespace usb_testbed
