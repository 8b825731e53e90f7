#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "tarn/src/usb/descriptors.h"

// Whatever a device says of itself: a bounded number of printer interfaces, and the one that is asked is
// among them, of the configuration that is active.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    using namespace tarn::usb;
    const auto found = readDescriptors(std::string_view(reinterpret_cast<const char*>(data), size));
    if (!found) {
        return 0;
    }
    if (size < 18 || found->printers.size() > kMostInterfaces || found->printers.size() > size / 9) {
        std::abort();
    }
    for (unsigned active = 0; active < 256; ++active) {
        const PrinterInterface* chosen = printerInterface(*found, static_cast<std::uint8_t>(active));
        bool possible = false;
        bool among = chosen == nullptr;
        for (const PrinterInterface& printer : found->printers) {
            possible = possible || active == 0 || printer.configuration == active;
            among = among || chosen == &printer;
        }
        if (!among || possible != (chosen != nullptr) ||
            (chosen != nullptr && active != 0 && chosen->configuration != active)) {
            std::abort();
        }
    }
    return 0;
}
