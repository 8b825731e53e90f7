#include <cstdint>
#include <string_view>

#include "tarn/src/ipp/cups_library.h"
#include "tests/fuzz/ipp_checks.h"

// The octets of a response, as they come from a printer, through libcups into statuses.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const tarn::ipp::CupsLibrary* const cups = tarn::ipp::CupsLibrary::system();
    if (cups == nullptr) {
        std::abort(); // nothing would be tested
    }
    const std::string_view octets(reinterpret_cast<const char*>(data), size);
    if (const std::optional<tarn::ipp::IppReply> reply = tarn::ipp::decodeIpp(*cups, octets)) {
        for (const tarn::ipp::IppAttributes& printer : reply->printers) {
            checkIppStatus(printer);
        }
    }
    return 0;
}
