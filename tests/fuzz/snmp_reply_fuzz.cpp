#include <cstdint>
#include <cstdlib>

#include "tarn/src/snmp/wire/codec.h"

namespace {

using namespace tarn::snmp;

bool sameValue(const Value& a, const Value& b)
{
    return a.type == b.type && a.number == b.number && a.bytes == b.bytes && a.oid == b.oid;
}

bool same(const Message& a, const Message& b)
{
    if (a.version != b.version || a.community != b.community || a.pdu.type != b.pdu.type ||
        a.pdu.requestId != b.pdu.requestId || a.pdu.errorStatus != b.pdu.errorStatus ||
        a.pdu.errorIndex != b.pdu.errorIndex || a.pdu.varbinds.size() != b.pdu.varbinds.size()) {
        return false;
    }
    for (std::size_t i = 0; i < a.pdu.varbinds.size(); ++i) {
        if (a.pdu.varbinds[i].name != b.pdu.varbinds[i].name ||
            !sameValue(a.pdu.varbinds[i].value, b.pdu.varbinds[i].value)) {
            return false;
        }
    }
    return true;
}

} // namespace

// Any octets are refused, or are a message that comes back through its own encoding.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::optional<Message> message = decodeMessage({data, size});
    if (!message) {
        return 0;
    }
    const std::string encoded = encodeMessage(*message);
    const std::optional<Message> again =
        decodeMessage({reinterpret_cast<const std::uint8_t*>(encoded.data()), encoded.size()});
    if (message->pdu.varbinds.size() > kMaxVarbinds || !again || !same(*message, *again)) {
        std::abort();
    }
    return 0;
}
