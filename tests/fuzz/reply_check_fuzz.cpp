#include <cstdint>
#include <cstdlib>
#include <string>

#include "tarn/src/snmp/wire/codec.h"
#include "tarn/src/snmp/wire/reply_check.h"
#include "tarn/src/snmp/wire/reply_digest.h"

// ReplyCheck reads the head of a message, the codec all of it: what the codec decodes ReplyCheck must judge by
// the very same version, community, type and id.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    using tarn::snmp::examineReply;
    using tarn::snmp::Verdict;
    const tarn::snmp::ByteView bytes{data, size};
    const tarn::snmp::MessageHead head = tarn::snmp::readHead(bytes);
    examineReply(head, {tarn::snmp::Version::V2c, "public", 7});
    tarn::snmp::digestOf(head);
    std::string copy(reinterpret_cast<const char*>(data), size);
    if (tarn::snmp::replaceRequestId(copy, tarn::snmp::kLeastRequestId) && copy.size() != size) {
        std::abort();
    }
    const auto message = tarn::snmp::decodeMessage(bytes);
    if (!message) {
        return 0;
    }
    const Verdict verdict =
        examineReply(head, {message->version, message->community, message->pdu.requestId});
    const bool response = message->pdu.type == tarn::snmp::PduType::Response;
    if (verdict != (response ? Verdict::Accepted : Verdict::NotAResponse)) {
        std::abort();
    }
    return 0;
}
