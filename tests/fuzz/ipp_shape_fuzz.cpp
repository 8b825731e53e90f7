#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "tarn/src/ipp/ipp_shape.h"

// No beginning of a readable message is unreadable, nor is one with anything behind its end.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string_view octets(reinterpret_cast<const char*>(data), size);
    const bool readable = tarn::ipp::isReadableIpp(octets);
    if (readable && size < 8) {
        std::abort();
    }
    for (std::size_t length = 8; readable && length < size; length += 1 + length / 8) {
        if (!tarn::ipp::isReadableIpp(octets.substr(0, length))) {
            std::abort();
        }
    }
    return 0;
}
