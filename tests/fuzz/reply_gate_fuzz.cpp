#include <cstdint>
#include <cstdlib>

#include "tarn/src/engine/reply_gate.h"
#include "tarn/src/snmp/codec.h"

// The gate reads the head of a message, the codec all of it: what the codec decodes the gate must judge by
// the very same version, community, type and id.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    using tarn::engine::examineReply;
    using tarn::engine::Verdict;
    const tarn::snmp::ByteView bytes{data, size};
    examineReply(bytes, {tarn::snmp::Version::V2c, "public", 7});
    const auto message = tarn::snmp::decodeMessage(bytes);
    if (!message) {
        return 0;
    }
    const Verdict verdict =
        examineReply(bytes, {message->version, message->community, message->pdu.requestId});
    const bool response = message->pdu.type == tarn::snmp::PduType::Response;
    if (verdict != (response ? Verdict::Accepted : Verdict::NotAResponse)) {
        std::abort();
    }
    return 0;
}
