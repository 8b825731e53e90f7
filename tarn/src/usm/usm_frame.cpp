#include "tarn/src/usm/usm_frame.h"

#include <initializer_list>

namespace tarn::usm {

using snmp::BerReader;
using snmp::tagInteger;
using snmp::tagObjectId;
using snmp::tagOctetString;
using snmp::tagSequence;

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
    skip(pdu, {tagInteger, tagInteger, tagInteger});
    BerReader bindings(pdu.element(tagSequence));
    while (!bindings.atEnd()) {
        BerReader binding(bindings.element(tagSequence));
        std::uint8_t tag = 0;
        binding.element(tagObjectId);
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
    skip(scoped, {tagOctetString, tagOctetString});
    std::uint8_t tag = 0;
    const snmp::ByteView pdu = scoped.anyElement(tag);
    return !scoped.failed() && isWholePdu(pdu);
}

} // namespace

bool isWholeMessage(snmp::ByteView bytes)
{
    BerReader outer(bytes);
    BerReader message(outer.element(tagSequence));
    message.element(tagInteger);
    BerReader header(message.element(tagSequence));
    skip(header, {tagInteger, tagInteger, tagOctetString, tagInteger});
    BerReader wrapped(message.element(tagOctetString));
    BerReader security(wrapped.element(tagSequence));
    skip(security, {tagOctetString, tagInteger, tagInteger, tagOctetString, tagOctetString, tagOctetString});
    std::uint8_t tag = 0;
    const snmp::ByteView data = message.anyElement(tag);
    if (message.failed() || header.failed() || security.failed()) {
        return false;
    }
    return tag == tagOctetString || (tag == tagSequence && isWholeScopedPdu(data));
}

} // namespace tarn::usm
