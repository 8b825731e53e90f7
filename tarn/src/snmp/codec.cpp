#include "tarn/src/snmp/codec.h"

#include <limits>

namespace tarn::snmp {

namespace {

constexpr std::uint8_t tagInteger = 0x02;
constexpr std::uint8_t tagOctetString = 0x04;
constexpr std::uint8_t tagNull = 0x05;
constexpr std::uint8_t tagObjectId = 0x06;
constexpr std::uint8_t tagSequence = 0x30;
constexpr std::uint8_t tagUInteger32 = 0x47; // RFC 1442; old agents still send it

struct TagOfType
{
    ValueType type;
    std::uint8_t tag;
};

constexpr TagOfType tagsOfTypes[] = {
    {ValueType::Integer, tagInteger}, {ValueType::OctetString, tagOctetString},
    {ValueType::Null, tagNull},       {ValueType::ObjectId, tagObjectId},
    {ValueType::IpAddress, 0x40},     {ValueType::Counter32, 0x41},
    {ValueType::Gauge32, 0x42},       {ValueType::TimeTicks, 0x43},
    {ValueType::Opaque, 0x44},        {ValueType::Counter64, 0x46},
    {ValueType::NoSuchObject, 0x80},  {ValueType::NoSuchInstance, 0x81},
    {ValueType::EndOfMibView, 0x82},
};

std::uint8_t tagOf(ValueType type)
{
    for (const TagOfType& row : tagsOfTypes) {
        if (row.type == type) {
            return row.tag;
        }
    }
    return tagNull;
}

std::optional<ValueType> typeOf(std::uint8_t tag)
{
    if (tag == tagUInteger32) {
        return ValueType::Gauge32;
    }
    for (const TagOfType& row : tagsOfTypes) {
        if (row.tag == tag) {
            return row.type;
        }
    }
    return std::nullopt;
}

// ---- writing: every piece is built before its header, so lengths are always minimal ----

void appendLength(std::string& out, std::size_t length)
{
    if (length < 0x80) {
        out.push_back(static_cast<char>(length));
        return;
    }
    std::string octets;
    for (; length > 0; length >>= 8) {
        octets.insert(octets.begin(), static_cast<char>(length & 0xFF));
    }
    out.push_back(static_cast<char>(0x80 | octets.size()));
    out += octets;
}

void appendElement(std::string& out, std::uint8_t tag, const std::string& content)
{
    out.push_back(static_cast<char>(tag));
    appendLength(out, content.size());
    out += content;
}

// Two's complement with the fewest octets.
std::string integerContent(std::int64_t number)
{
    std::string content;
    for (int shift = 56; shift >= 0; shift -= 8) {
        content.push_back(static_cast<char>((static_cast<std::uint64_t>(number) >> shift) & 0xFF));
    }
    std::size_t skip = 0;
    while (skip + 1 < content.size()) {
        const auto lead = static_cast<std::uint8_t>(content[skip]);
        const bool nextNegative = (static_cast<std::uint8_t>(content[skip + 1]) & 0x80) != 0;
        if (!((lead == 0x00 && !nextNegative) || (lead == 0xFF && nextNegative))) {
            break;
        }
        ++skip;
    }
    return content.substr(skip);
}

// At least one octet, and a leading zero where the top bit would read as a sign.
std::string unsignedContent(std::uint64_t number)
{
    std::string content;
    do {
        content.insert(content.begin(), static_cast<char>(number & 0xFF));
        number >>= 8;
    } while (number > 0);
    if ((static_cast<std::uint8_t>(content[0]) & 0x80) != 0) {
        content.insert(content.begin(), '\0');
    }
    return content;
}

void appendBase128(std::string& out, std::uint64_t number)
{
    std::string octets(1, static_cast<char>(number & 0x7F));
    for (number >>= 7; number > 0; number >>= 7) {
        octets.insert(octets.begin(), static_cast<char>(0x80 | (number & 0x7F)));
    }
    out += octets;
}

std::string oidContent(const Oid& oid)
{
    std::string content;
    const std::uint64_t first = oid.empty() ? 0 : oid[0];
    const std::uint64_t second = oid.size() < 2 ? 0 : oid[1];
    appendBase128(content, first * 40 + second);
    for (std::size_t i = 2; i < oid.size(); ++i) {
        appendBase128(content, oid[i]);
    }
    return content;
}

void appendValue(std::string& out, const Value& value)
{
    switch (value.type) {
    case ValueType::Integer:
        return appendElement(out, tagInteger, integerContent(value.number));
    case ValueType::Counter32:
    case ValueType::Gauge32:
    case ValueType::TimeTicks:
    case ValueType::Counter64:
        return appendElement(out, tagOf(value.type),
                             unsignedContent(static_cast<std::uint64_t>(value.number)));
    case ValueType::OctetString:
    case ValueType::IpAddress:
    case ValueType::Opaque:
        return appendElement(out, tagOf(value.type), value.bytes);
    case ValueType::ObjectId:
        return appendElement(out, tagObjectId, oidContent(value.oid));
    case ValueType::Null:
    case ValueType::NoSuchObject:
    case ValueType::NoSuchInstance:
    case ValueType::EndOfMibView:
        return appendElement(out, tagOf(value.type), std::string());
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

std::optional<Oid> oidOf(ByteView content)
{
    Oid oid;
    if (content.size == 0) {
        return Oid{0, 0};
    }
    if ((content.data[content.size - 1] & 0x80) != 0) {
        return std::nullopt; // the last sub-identifier does not end
    }
    oid.reserve(content.size + 1 < 129 ? content.size + 1 : 128);
    std::uint64_t number = 0;
    for (std::size_t i = 0; i < content.size; ++i) {
        number = (number << 7) | (content.data[i] & 0x7F);
        if (number > std::uint64_t{std::numeric_limits<std::uint32_t>::max()} + 80) {
            return std::nullopt;
        }
        if ((content.data[i] & 0x80) != 0) {
            continue;
        }
        if (oid.empty()) { // X.690 8.19.4: two sub-identifiers in one
            const std::uint64_t root = number < 40 ? 0 : (number < 80 ? 1 : 2);
            oid.push_back(static_cast<std::uint32_t>(root));
            number -= root * 40;
        }
        if (number > std::numeric_limits<std::uint32_t>::max() || oid.size() >= 128) {
            return std::nullopt;
        }
        oid.push_back(static_cast<std::uint32_t>(number));
        number = 0;
    }
    return oid;
}

std::string bytesOf(ByteView content)
{
    return content.size == 0 ? std::string()
                             : std::string(reinterpret_cast<const char*>(content.data), content.size);
}

bool decodeNumber(Value& value, std::optional<std::int64_t> number)
{
    value.number = number.value_or(0);
    return number.has_value();
}

bool decodeValue(std::uint8_t tag, ByteView content, Value& value)
{
    const std::optional<ValueType> type = typeOf(tag);
    if (!type) {
        return false;
    }
    value.type = *type;
    switch (*type) {
    case ValueType::Integer:
        return decodeNumber(value, signedOf(content));
    case ValueType::Counter32:
    case ValueType::Gauge32:
    case ValueType::TimeTicks:
        return decodeNumber(value, narrowUnsignedOf(content));
    case ValueType::Counter64:
        return decodeNumber(value, unsignedOf(content));
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

bool decodeVarbinds(ByteView content, std::vector<Varbind>& varbinds)
{
    Reader list(content);
    while (!list.atEnd()) {
        if (varbinds.size() == maxVarbinds) {
            return false;
        }
        Reader pair(list.element(tagSequence));
        if (list.failed()) {
            return false;
        }
        std::optional<Oid> name = oidOf(pair.element(tagObjectId));
        std::uint8_t tag = 0;
        const ByteView valueContent = pair.anyElement(tag);
        if (pair.failed() || !pair.atEnd() || !name) {
            return false;
        }
        Varbind& varbind = varbinds.emplace_back();
        varbind.name = std::move(*name);
        if (!decodeValue(tag, valueContent, varbind.value)) {
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

bool decodePdu(std::uint8_t tag, ByteView content, Pdu& pdu)
{
    if (!isPduTag(tag)) {
        return false;
    }
    pdu.type = static_cast<PduType>(tag);
    Reader fields(content);
    const ByteView requestId = fields.element(tagInteger);
    const ByteView errorStatus = fields.element(tagInteger);
    const ByteView errorIndex = fields.element(tagInteger);
    const ByteView varbinds = fields.element(tagSequence);
    return !fields.failed() && fields.atEnd() && decodeInt32(requestId, pdu.requestId) &&
           decodeInt32(errorStatus, pdu.errorStatus) && decodeInt32(errorIndex, pdu.errorIndex) &&
           decodeVarbinds(varbinds, pdu.varbinds);
}

} // namespace

std::string encodeMessage(const Message& message)
{
    std::string varbinds;
    for (const Varbind& varbind : message.pdu.varbinds) {
        std::string pair;
        appendElement(pair, tagObjectId, oidContent(varbind.name));
        appendValue(pair, varbind.value);
        appendElement(varbinds, tagSequence, pair);
    }
    std::string pdu;
    appendElement(pdu, tagInteger, integerContent(message.pdu.requestId));
    appendElement(pdu, tagInteger, integerContent(message.pdu.errorStatus));
    appendElement(pdu, tagInteger, integerContent(message.pdu.errorIndex));
    appendElement(pdu, tagSequence, varbinds);

    std::string body;
    appendElement(body, tagInteger, integerContent(static_cast<std::int64_t>(message.version)));
    appendElement(body, tagOctetString, message.community);
    appendElement(body, static_cast<std::uint8_t>(message.pdu.type), pdu);

    std::string whole;
    appendElement(whole, tagSequence, body);
    return whole;
}

std::optional<Message> decodeMessage(ByteView bytes)
{
    if (bytes.data == nullptr) {
        return std::nullopt;
    }
    Reader outer(bytes);
    Reader body(outer.element(tagSequence));
    if (outer.failed()) {
        return std::nullopt;
    }
    const std::optional<std::int64_t> version = signedOf(body.element(tagInteger));
    const ByteView community = body.element(tagOctetString);
    std::uint8_t pduTag = 0;
    const ByteView pduContent = body.anyElement(pduTag);
    if (body.failed() || !body.atEnd() || !version ||
        (*version != static_cast<std::int64_t>(Version::V1) &&
         *version != static_cast<std::int64_t>(Version::V2c))) {
        return std::nullopt;
    }
    Message message;
    message.version = static_cast<Version>(*version);
    message.community = bytesOf(community);
    if (!decodePdu(pduTag, pduContent, message.pdu)) {
        return std::nullopt;
    }
    return message;
}

} // namespace tarn::snmp
