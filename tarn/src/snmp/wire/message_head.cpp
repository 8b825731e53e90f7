#include "tarn/src/snmp/wire/message_head.h"

namespace tarn::snmp {

namespace {

bool readPdu(ByteView content, MessageHead& head)
{
    BerReader fields(content);
    head.requestIdContent = fields.element(kTagInteger);
    head.behindRequestId = fields.rest();
    const ByteView errorStatus = fields.element(kTagInteger);
    const ByteView errorIndex = fields.element(kTagInteger);
    head.bindings = fields.element(kTagSequence);
    return !fields.failed() && fields.atEnd() && readInt32(head.requestIdContent, head.requestId) &&
           readInt32(errorStatus, head.errorStatus) && readInt32(errorIndex, head.errorIndex);
}

} // namespace

void readHead(ByteView bytes, MessageHead& head)
{
    head = MessageHead();
    if (bytes.data == nullptr) {
        return;
    }
    BerReader outer(bytes);
    BerReader body(outer.element(kTagSequence));
    const std::optional<std::int64_t> version = signedOf(body.element(kTagInteger));
    if (outer.failed() || body.failed() || !version) {
        return;
    }
    head.version = *version;
    head.read = MessageHead::Part::Version;
    head.community = body.element(kTagOctetString);
    if (body.failed()) {
        return;
    }
    head.read = MessageHead::Part::Community;
    const ByteView pdu = body.anyElement(head.type);
    if (body.failed() || !body.atEnd()) {
        return;
    }
    head.read = readPdu(pdu, head) ? MessageHead::Part::Whole : MessageHead::Part::Type;
}

} // namespace tarn::snmp
