#include "tarn/src/snmp/codec.h"

#include <algorithm>
#include <limits>

#include "tarn/src/snmp/ber_tags.h"

namespace tarn::snmp {

namespace {

std::optional<ValueType> typeOf(std::uint8_t tag)
{
    switch (tag) {
    case tagInteger:
        return ValueType::Integer;
    case tagOctetString:
        return ValueType::OctetString;
    case tagNull:
        return ValueType::Null;
    case tagObjectId:
        return ValueType::ObjectId;
    case tagIpAddress:
        return ValueType::IpAddress;
    case tagCounter32:
        return ValueType::Counter32;
    case tagGauge32:
    case tagUInteger32:
        return ValueType::Gauge32;
    case tagTimeTicks:
        return ValueType::TimeTicks;
    case tagOpaque:
        return ValueType::Opaque;
    case tagCounter64:
        return ValueType::Counter64;
    case tagNoSuchObject:
        return ValueType::NoSuchObject;
    case tagNoSuchInstance:
        return ValueType::NoSuchInstance;
    case tagEndOfMibView:
        return ValueType::EndOfMibView;
    default:
        return std::nullopt;
    }
}

// ---- reading: the one place that touches received bytes ----

// Reader walks over a view and never past its end. After the first fault it is failed for good and yields
// nothing more, so callers may check once, at the end.
class Reader final
{
public:
    explicit Reader(ByteView bytes) : m_at(bytes.data), m_end(bytes.data + bytes.size) {}

    bool failed() const { return m_failed; }
    bool atEnd() const { return m_failed || m_at == m_end; }

    // The content of the next element, which must carry this tag.
    ByteView element(std::uint8_t tag)
    {
        std::uint8_t found = 0;
        const ByteView content = anyElement(found);
        if (m_failed || found != tag) {
            return fail();
        }
        return content;
    }

    ByteView anyElement(std::uint8_t& tag)
    {
        if (m_failed || m_at == m_end) {
            return fail();
        }
        tag = *m_at++;
        const std::optional<std::size_t> length = readLength();
        if (!length || *length > static_cast<std::size_t>(m_end - m_at)) {
            return fail();
        }
        const ByteView content{m_at, *length};
        m_at += *length;
        return content;
    }

    ByteView fail()
    {
        m_failed = true;
        return ByteView{};
    }

private:
    // X.690 8.1.3; the indefinite form (0x80) is not allowed by RFC 3417 section 8.
    std::optional<std::size_t> readLength()
    {
        if (m_at == m_end) {
            return std::nullopt;
        }
        const std::uint8_t first = *m_at++;
        if ((first & 0x80) == 0) {
            return first;
        }
        const std::size_t octets = first & 0x7F;
        if (octets == 0 || octets > static_cast<std::size_t>(m_end - m_at)) {
            return std::nullopt;
        }
        std::size_t length = 0;
        for (std::size_t i = 0; i < octets; ++i) {
            if (length > (std::numeric_limits<std::uint32_t>::max() >> 8)) {
                return std::nullopt;
            }
            length = (length << 8) | *m_at++;
        }
        return length;
    }

    const std::uint8_t* m_at;
    const std::uint8_t* m_end;
    bool m_failed = false;
};

// Two's complement of any width whose value fits 64 bits.
std::optional<std::int64_t> signedOf(ByteView content)
{
    if (content.size == 0) {
        return std::nullopt;
    }
    const std::uint8_t fill = (content.data[0] & 0x80) != 0 ? 0xFF : 0x00;
    std::uint64_t number = fill != 0 ? ~std::uint64_t{0} : 0;
    for (std::size_t i = 0; i < content.size; ++i) {
        if (i + 8 < content.size && content.data[i] != fill) {
            return std::nullopt;
        }
        number = (number << 8) | content.data[i];
    }
    return static_cast<std::int64_t>(number);
}

// Unsigned of any width whose value fits 64 bits; a set top bit without a leading zero is no sign.
std::optional<std::int64_t> unsignedOf(ByteView content)
{
    if (content.size == 0) {
        return std::nullopt;
    }
    std::uint64_t number = 0;
    for (std::size_t i = 0; i < content.size; ++i) {
        if ((number >> 56) != 0) {
            return std::nullopt;
        }
        number = (number << 8) | content.data[i];
    }
    return static_cast<std::int64_t>(number);
}

std::optional<std::int64_t> narrowUnsignedOf(ByteView content)
{
    const std::optional<std::int64_t> number = unsignedOf(content);
    if (number && *number >= 0 && *number <= std::numeric_limits<std::uint32_t>::max()) {
        return number;
    }
    // A negative number in five octets or more: the agent sign-extended a counter with its top bit set.
    const std::optional<std::int64_t> extended = signedOf(content);
    if (extended && *extended < 0 && *extended >= std::numeric_limits<std::int32_t>::min()) {
        return *extended & 0xFFFFFFFF;
    }
    return std::nullopt;
}

// Hands the sub-identifiers to take, one after another; false when the content is no identifier.
template <typename Take>
bool readOid(ByteView content, Take take)
{
    if (content.size == 0) {
        take(0);
        take(0);
        return true;
    }
    if ((content.data[content.size - 1] & 0x80) != 0) {
        return false; // the last sub-identifier does not end
    }
    std::size_t count = 0;
    std::uint64_t number = 0;
    for (std::size_t i = 0; i < content.size; ++i) {
        number = (number << 7) | (content.data[i] & 0x7F);
        if (number > std::uint64_t{std::numeric_limits<std::uint32_t>::max()} + 80) {
            return false;
        }
        if ((content.data[i] & 0x80) != 0) {
            continue;
        }
        if (count == 0) { // X.690 8.19.4: two sub-identifiers in one
            const std::uint64_t root = number < 40 ? 0 : (number < 80 ? 1 : 2);
            take(static_cast<std::uint32_t>(root));
            ++count;
            number -= root * 40;
        }
        if (number > std::numeric_limits<std::uint32_t>::max() || count >= 128) {
            return false;
        }
        take(static_cast<std::uint32_t>(number));
        ++count;
        number = 0;
    }
    return true;
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
        return narrowUnsignedOf(content);
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
bool nextBinding(Reader& list, Binding& binding)
{
    if (list.atEnd()) {
        return false;
    }
    Reader pair(list.element(tagSequence));
    if (list.failed()) {
        return false;
    }
    std::uint8_t tag = 0;
    binding.name = pair.element(tagObjectId);
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
    Reader list(content);
    Binding binding;
    // Roughly right, and bounded by what there is: most bindings take some twenty octets.
    varbinds.reserve(std::min(maxVarbinds, content.size / 16));
    while (nextBinding(list, binding)) {
        std::optional<Oid> name = oidOf(binding.name);
        if (varbinds.size() == maxVarbinds || !name) {
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

bool decodeInt32(ByteView content, std::int32_t& number)
{
    const std::optional<std::int64_t> wide = signedOf(content);
    if (!wide || *wide < std::numeric_limits<std::int32_t>::min() ||
        *wide > std::numeric_limits<std::int32_t>::max()) {
        return false;
    }
    number = static_cast<std::int32_t>(*wide);
    return true;
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

// A message but for its bindings.
struct Head
{
    Version version = Version::V2c;
    ByteView community;
    PduType type = PduType::Response;
    std::int32_t requestId = 0;
    std::int32_t errorStatus = 0;
    std::int32_t errorIndex = 0;
    ByteView bindings;
};

bool readPdu(std::uint8_t tag, ByteView content, Head& head)
{
    if (!isPduTag(tag)) {
        return false;
    }
    head.type = static_cast<PduType>(tag);
    Reader fields(content);
    const ByteView requestId = fields.element(tagInteger);
    const ByteView errorStatus = fields.element(tagInteger);
    const ByteView errorIndex = fields.element(tagInteger);
    head.bindings = fields.element(tagSequence);
    return !fields.failed() && fields.atEnd() && decodeInt32(requestId, head.requestId) &&
           decodeInt32(errorStatus, head.errorStatus) && decodeInt32(errorIndex, head.errorIndex);
}

bool readHead(ByteView bytes, Head& head)
{
    if (bytes.data == nullptr) {
        return false;
    }
    Reader outer(bytes);
    Reader body(outer.element(tagSequence));
    if (outer.failed()) {
        return false;
    }
    const std::optional<std::int64_t> version = signedOf(body.element(tagInteger));
    head.community = body.element(tagOctetString);
    std::uint8_t pduTag = 0;
    const ByteView pdu = body.anyElement(pduTag);
    if (body.failed() || !body.atEnd() || !version ||
        (*version != static_cast<std::int64_t>(Version::V1) &&
         *version != static_cast<std::int64_t>(Version::V2c))) {
        return false;
    }
    head.version = static_cast<Version>(*version);
    return readPdu(pduTag, pdu, head);
}

} // namespace

std::optional<Message> decodeMessage(ByteView bytes)
{
    Head head;
    if (!readHead(bytes, head)) {
        return std::nullopt;
    }
    Message message;
    message.version = head.version;
    message.community = bytesOf(head.community);
    message.pdu.type = head.type;
    message.pdu.requestId = head.requestId;
    message.pdu.errorStatus = head.errorStatus;
    message.pdu.errorIndex = head.errorIndex;
    if (!decodeVarbinds(head.bindings, message.pdu.varbinds)) {
        return std::nullopt;
    }
    return message;
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

std::size_t takeBindings(ByteView answer, Binding* bindings, std::size_t most)
{
    Head head;
    if (!readHead(answer, head) || head.type != PduType::Response || head.errorStatus != 0) {
        return 0;
    }
    Reader list(head.bindings);
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
