#include <cstdint>
#include <cstdlib>
#include <string>

#include "tarn/src/usb/ipp_usb.h"

// Any text names a port that can be connected to, or none; and a port that is named first is the one found.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string text(reinterpret_cast<const char*>(data), size);
    const auto port = tarn::usb::httpPortIn(text);
    if (port && (*port == 0 || text.find("http-port") == std::string::npos ||
                 text.find(std::to_string(*port)) == std::string::npos)) {
        std::abort();
    }
    if (tarn::usb::httpPortIn("http-port = 60123\n" + text) != 60123) {
        std::abort();
    }
    return 0;
}
