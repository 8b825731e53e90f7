#include "tarn/src/usm/usm_frame.h"

#include <initializer_list>

namespace tarn::usm {

using snmp::BerReader;
using snmp::kTagInteger;
using snmp::kTagObjectId;
using snmp::kTagOctetString;
using snmp::kTagSequence;

namespace {

void skip(BerReader& reader, std::initializer_list<std::uint8_t> tags)
{
    for (const std::uint8_t tag : tags) {
        reader.element(tag);
    }
}

// Down to the bindings.
bool isWholePdu(snmp::ByteView bytes)
{
    BerReader pdu(bytes);
    skip(pdu, {kTagInteger, kTagInteger, kTagInteger});
    BerReader bindings(pdu.element(kTagSequence));
    while (!bindings.atEnd()) {
        BerReader binding(bindings.element(kTagSequence));
        std::uint8_t tag = 0;
        binding.element(kTagObjectId);
        binding.anyElement(tag);
        if (binding.failed()) {
            return false;
        }
    }
    return !pdu.failed() && !bindings.failed();
}

bool isWholeScopedPdu(snmp::ByteView bytes)
{
    BerReader scoped(bytes);
    skip(scoped, {kTagOctetString, kTagOctetString});
    std::uint8_t tag = 0;
    const snmp::ByteView pdu = scoped.anyElement(tag);
    return !scoped.failed() && isWholePdu(pdu);
}

} // namespace

bool isWholeMessage(snmp::ByteView bytes)
{
    BerReader outer(bytes);
    BerReader message(outer.element(kTagSequence));
    message.element(kTagInteger);
    BerReader header(message.element(kTagSequence));
    skip(header, {kTagInteger, kTagInteger, kTagOctetString, kTagInteger});
    BerReader wrapped(message.element(kTagOctetString));
    BerReader security(wrapped.element(kTagSequence));
    skip(security,
         {kTagOctetString, kTagInteger, kTagInteger, kTagOctetString, kTagOctetString, kTagOctetString});
    std::uint8_t tag = 0;
    const snmp::ByteView data = message.anyElement(tag);
    if (message.failed() || header.failed() || security.failed()) {
        return false;
    }
    return tag == kTagOctetString || (tag == kTagSequence && isWholeScopedPdu(data));
}

} // namespace tarn::usm
