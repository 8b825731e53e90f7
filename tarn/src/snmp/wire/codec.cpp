#include "tarn/src/snmp/wire/codec.h"

#include <algorithm>

namespace tarn::snmp {

namespace {

std::optional<ValueType> typeOf(std::uint8_t tag)
{
    switch (tag) {
    case kTagInteger:
        return ValueType::Integer;
    case kTagOctetString:
        return ValueType::OctetString;
    case kTagNull:
        return ValueType::Null;
    case kTagObjectId:
        return ValueType::ObjectId;
    case kTagIpAddress:
        return ValueType::IpAddress;
    case kTagCounter32:
        return ValueType::Counter32;
    case kTagGauge32:
    case kTagUInteger32:
        return ValueType::Gauge32;
    case kTagTimeTicks:
        return ValueType::TimeTicks;
    case kTagOpaque:
        return ValueType::Opaque;
    case kTagCounter64:
        return ValueType::Counter64;
    case kTagNoSuchObject:
        return ValueType::NoSuchObject;
    case kTagNoSuchInstance:
        return ValueType::NoSuchInstance;
    case kTagEndOfMibView:
        return ValueType::EndOfMibView;
    default:
        return std::nullopt;
    }
}

std::optional<Oid> oidOf(ByteView content)
{
    Oid oid;
    oid.reserve(content.size + 1 < 129 ? content.size + 1 : 128);
    if (!readOid(content, [&oid](std::uint32_t part) { oid.push_back(part); })) {
        return std::nullopt;
    }
    return oid;
}

std::string bytesOf(ByteView content)
{
    return content.size == 0 ? std::string()
                             : std::string(reinterpret_cast<const char*>(content.data), content.size);
}

std::optional<std::int64_t> numberOf(ValueType type, ByteView content)
{
    switch (type) {
    case ValueType::Integer:
        return signedOf(content);
    case ValueType::Counter32:
    case ValueType::Gauge32:
    case ValueType::TimeTicks:
        return unsigned32Of(content);
    case ValueType::Counter64:
        return unsignedOf(content);
    default:
        return std::nullopt;
    }
}

bool decodeValue(ValueType type, ByteView content, Value& value)
{
    value.type = type;
    switch (type) {
    case ValueType::Integer:
    case ValueType::Counter32:
    case ValueType::Gauge32:
    case ValueType::TimeTicks:
    case ValueType::Counter64: {
        const std::optional<std::int64_t> number = numberOf(type, content);
        value.number = number.value_or(0);
        return number.has_value();
    }
    case ValueType::OctetString:
    case ValueType::IpAddress:
    case ValueType::Opaque:
        value.bytes = bytesOf(content);
        return true;
    case ValueType::ObjectId: {
        std::optional<Oid> oid = oidOf(content);
        if (!oid) {
            return false;
        }
        value.oid = std::move(*oid);
        return true;
    }
    case ValueType::Null:
    case ValueType::NoSuchObject:
    case ValueType::NoSuchInstance:
    case ValueType::EndOfMibView:
        return true; // the exceptions' content is empty by the standard; what else is there says nothing
    }
    return false;
}

// The next binding of a list; false at its end and at its first fault.
bool nextBinding(BerReader& list, Binding& binding)
{
    if (list.atEnd()) {
        return false;
    }
    BerReader pair(list.element(kTagSequence));
    if (list.failed()) {
        return false;
    }
    std::uint8_t tag = 0;
    binding.name = pair.element(kTagObjectId);
    binding.content = pair.anyElement(tag);
    const std::optional<ValueType> type = typeOf(tag);
    if (pair.failed() || !pair.atEnd() || !type) {
        list.fail();
        return false;
    }
    binding.type = *type;
    return true;
}

bool decodeVarbinds(ByteView content, std::vector<Varbind>& varbinds)
{
    BerReader list(content);
    Binding binding;
    // Roughly right, and bounded by what there is: most bindings take some twenty octets.
    varbinds.reserve(std::min(kMaxVarbinds, content.size / 16));
    while (nextBinding(list, binding)) {
        std::optional<Oid> name = oidOf(binding.name);
        if (varbinds.size() == kMaxVarbinds || !name) {
            return false;
        }
        Varbind& varbind = varbinds.emplace_back();
        varbind.name = std::move(*name);
        if (!decodeValue(binding.type, binding.content, varbind.value)) {
            return false;
        }
    }
    return !list.failed();
}

bool isPduTag(std::uint8_t tag)
{
    switch (static_cast<PduType>(tag)) {
    case PduType::GetRequest:
    case PduType::GetNextRequest:
    case PduType::Response:
    case PduType::SetRequest:
    case PduType::GetBulkRequest:
        return true;
    }
    return false;
}

} // namespace

std::optional<Pdu> decodePdu(const MessageHead& head)
{
    if (!head.isWhole() || !isPduTag(head.type)) {
        return std::nullopt;
    }
    Pdu pdu;
    pdu.type = static_cast<PduType>(head.type);
    pdu.requestId = head.requestId;
    pdu.errorStatus = head.errorStatus;
    pdu.errorIndex = head.errorIndex;
    if (!decodeVarbinds(head.bindings, pdu.varbinds)) {
        return std::nullopt;
    }
    return pdu;
}

std::optional<Message> decodeMessage(ByteView bytes)
{
    const MessageHead head = readHead(bytes);
    const bool spoken = head.version == static_cast<std::int64_t>(Version::V1) ||
                        head.version == static_cast<std::int64_t>(Version::V2c);
    std::optional<Pdu> pdu = spoken ? decodePdu(head) : std::nullopt;
    if (!pdu) {
        return std::nullopt;
    }
    return Message{static_cast<Version>(head.version), bytesOf(head.community), std::move(*pdu)};
}

std::optional<Binding> firstBinding(const MessageHead& head)
{
    BerReader list(head.bindings);
    Binding binding;
    return nextBinding(list, binding) ? std::optional(binding) : std::nullopt;
}

std::optional<std::int64_t> numberIn(const Binding& binding)
{
    return numberOf(binding.type, binding.content);
}

bool isWellFormed(const Binding& binding)
{
    const auto ignore = [](std::uint32_t) {};
    switch (binding.type) {
    case ValueType::Integer:
    case ValueType::Counter32:
    case ValueType::Gauge32:
    case ValueType::TimeTicks:
    case ValueType::Counter64:
        return numberIn(binding).has_value() && readOid(binding.name, ignore);
    case ValueType::ObjectId:
        return readOid(binding.content, ignore) && readOid(binding.name, ignore);
    default:
        return readOid(binding.name, ignore);
    }
}

std::size_t takeBindings(const MessageHead& head, Binding* bindings, std::size_t most)
{
    if (!head.isWhole() || head.type != static_cast<std::uint8_t>(PduType::Response) ||
        head.errorStatus != 0) {
        return 0;
    }
    BerReader list(head.bindings);
    std::size_t count = 0;
    Binding binding;
    while (nextBinding(list, binding)) {
        if (count == most) {
            return 0;
        }
        bindings[count++] = binding;
    }
    return list.failed() ? 0 : count;
}

} // namespace tarn::snmp
