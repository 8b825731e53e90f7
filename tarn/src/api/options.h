#pragma once

#include <string_view>

namespace tarn::api {

// Options is what tarn_setOptions said so far. A value; the defaults are those of a program that never calls
// it.
struct Options
{
    bool acceptsList = true;      // enable_set_printer_list
    bool usesNetwork = true;      // enable_backends names "sm"
    bool usesIpp = true;          // enable_ipp
    bool usesUsb = true;          // enable_backends names "smusb"
    bool findsUsbPrinters = true; // enable_usb_printer_discovery
    bool findsCupsQueues = false; // enable_cups_printer
    bool usesCache = true;        // enable_cache
    bool writesCache = true;      // enable_cache_writing

    // Takes over what the document says; what it leaves out, or says in another type, stays as it was. False,
    // and nothing changes, when it is no JSON object or larger than 1 MiB.
    [[nodiscard]] bool parse(std::string_view text);

    bool discoversUsb() const { return usesUsb && findsUsbPrinters; }
    bool discoversCups() const { return findsCupsQueues; }
    bool keepsCache() const { return usesCache && writesCache; }
};

} // namespace tarn::api
