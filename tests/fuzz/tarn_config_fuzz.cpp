#include <cstdint>
#include <cstdlib>
#include <string>

#include "tarn/src/catalog/config.h"

// Any text configures every address with something usable, and what is complained about stays one line.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string text(reinterpret_cast<const char*>(data), size);
    tarn::catalog::Config config;
    tarn::catalog::ConfigComplaints complaints(text);
    config.parse(text, complaints);
    for (const std::uint32_t address : {0u, 0x0A000001u, 0x7F2A0001u, 0xC0A80114u, 0xFFFFFFFFu}) {
        const tarn::engine::PrinterAddress how = config.addressFor(address);
        const bool isV3 = how.version == tarn::engine::VersionChoice::V3;
        if (how.endpoint.address != address || how.endpoint.port == 0 || !how.community ||
            (how.user && !isV3) || (isV3 && !how.user && complaints.isEmpty()) ||
            (how.user && !how.user->isFromSnmpConf && how.user->authPassword.size() < 8)) {
            std::abort();
        }
        const bool ippUsable =
            !how.ipp || (how.ipp->port != 0 && (how.ipp->path.empty() || how.ipp->path.front() == '/') &&
                         how.ipp->path.find_first_of(" \r\n") == std::string::npos);
        if (!ippUsable) {
            std::abort();
        }
    }
    const std::vector<std::string> lines = complaints.lines();
    for (const std::string& line : lines) {
        if (line.empty() || line.find_first_of("\r\n\033") != std::string::npos) {
            std::abort();
        }
    }
    return lines.size() > tarn::catalog::ConfigComplaints::kMost + 1 ? -1 : 0;
}
