#include <cstdint>
#include <cstdlib>
#include <string>

#include "tarn/src/catalog/config.h"

// Any text is refused with a reason and without a trace, or configures every address with something usable.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    tarn::catalog::Config config;
    std::string why;
    const bool taken = config.parse(std::string(reinterpret_cast<const char*>(data), size), why);
    for (const std::uint32_t address : {0u, 0x0A000001u, 0x7F2A0001u, 0xC0A80114u, 0xFFFFFFFFu}) {
        const tarn::engine::PrinterAddress how = config.addressFor(address);
        const bool isV3 = how.version == tarn::engine::VersionChoice::V3;
        if (how.endpoint.address != address || how.endpoint.port == 0 || !how.community ||
            isV3 != (how.user != nullptr) ||
            (how.user && !how.user->isFromSnmpConf && how.user->authPassword.size() < 8) ||
            (!taken && (how.endpoint.port != 161 || *how.community != "public" || why.empty()))) {
            std::abort();
        }
        const bool ippUsable = !how.ipp || (taken && how.ipp->port != 0 &&
                                            (how.ipp->path.empty() || how.ipp->path.front() == '/') &&
                                            how.ipp->path.find_first_of(" \r\n") == std::string::npos);
        if (!ippUsable) {
            std::abort();
        }
    }
    return 0;
}
