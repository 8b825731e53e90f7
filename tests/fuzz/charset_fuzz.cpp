#include <cstdint>
#include <cstdlib>
#include <string>

#include "tarn/src/device/utf8.h"
#include "tarn/src/snmp/mib/charset.h"

// Two octets of charset number, then a text: whatever it is, valid UTF-8 comes out, without control
// characters.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (size < 2) {
        return 0;
    }
    const std::string octets(reinterpret_cast<const char*>(data) + 2, size - 2);
    const std::string text = tarn::snmp::decodeText(octets, data[0] * 256 + data[1]);
    bool tidy = tarn::device::isValidUtf8(text);
    for (const char c : text) {
        tidy = tidy && (static_cast<std::uint8_t>(c) >= 0x20 && c != 0x7F);
    }
    if (!tidy || (!text.empty() && (text.front() == ' ' || text.back() == ' '))) {
        std::abort();
    }
    return 0;
}
