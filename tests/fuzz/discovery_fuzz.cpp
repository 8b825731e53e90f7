#include <cstdint>
#include <cstdlib>
#include <string>

#include "tools/tarn-status/explain/snmp_message.h"

namespace {

constexpr std::int32_t kId = 0x12345678;

} // namespace

// Whatever comes back to a discovery: what counts as an engine bears our number and is version 3's, so that
// it is no answer of the older versions, and stays one with octets behind it.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string octets(reinterpret_cast<const char*>(data), size);
    const bool named = tarnstatus::namesEngine(octets, kId);
    if (named &&
        (tarnstatus::namesEngine(octets, kId + 1) || !tarnstatus::namesEngine(octets + "behind", kId))) {
        std::abort();
    }
    for (const auto version : {tarn::snmp::Version::V1, tarn::snmp::Version::V2c}) {
        const std::optional<tarn::snmp::Pdu> answer = tarnstatus::answerIn(octets, version, kId);
        if (answer && (named || answer->requestId != kId)) {
            std::abort();
        }
        if (answer && tarnstatus::isBelow(*answer, {1, 3, 6}) && answer->varbinds.empty()) {
            std::abort();
        }
    }
    return 0;
}
