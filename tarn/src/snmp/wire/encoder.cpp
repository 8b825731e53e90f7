// The writing half of the codec. A message is written from its end to its beginning, so that every length is
// known when its turn comes and nothing is moved or measured twice.
#include <algorithm>
#include <string_view>

#include "tarn/src/snmp/wire/codec.h"

namespace tarn::snmp {

namespace {

std::uint8_t tagOf(ValueType type)
{
    switch (type) {
    case ValueType::Integer:
        return kTagInteger;
    case ValueType::OctetString:
        return kTagOctetString;
    case ValueType::Null:
        return kTagNull;
    case ValueType::ObjectId:
        return kTagObjectId;
    case ValueType::IpAddress:
        return kTagIpAddress;
    case ValueType::Counter32:
        return kTagCounter32;
    case ValueType::Gauge32:
        return kTagGauge32;
    case ValueType::TimeTicks:
        return kTagTimeTicks;
    case ValueType::Opaque:
        return kTagOpaque;
    case ValueType::Counter64:
        return kTagCounter64;
    case ValueType::NoSuchObject:
        return kTagNoSuchObject;
    case ValueType::NoSuchInstance:
        return kTagNoSuchInstance;
    case ValueType::EndOfMibView:
        return kTagEndOfMibView;
    }
    return kTagNull;
}

// Writer fills a buffer from its end. The lengths are always minimal.
class Writer final
{
public:
    // How many octets have been written.
    std::size_t size() const { return m_size; }
    std::string written() const { return std::string(m_buffer.data() + m_buffer.size() - m_size, m_size); }

    void octet(std::uint64_t value)
    {
        if (m_size == m_buffer.size()) {
            grow();
        }
        ++m_size;
        m_buffer[m_buffer.size() - m_size] = static_cast<char>(value);
    }
    void octets(std::string_view text)
    {
        while (m_buffer.size() - m_size < text.size()) {
            grow();
        }
        m_size += text.size();
        std::copy(text.begin(), text.end(), m_buffer.end() - static_cast<std::ptrdiff_t>(m_size));
    }
    // Makes an element of everything since the buffer had that size.
    void head(std::uint8_t tag, std::size_t before)
    {
        std::size_t length = m_size - before;
        if (length < 0x80) {
            octet(length);
        } else {
            std::uint64_t count = 0;
            for (; length > 0; length >>= 8, ++count) {
                octet(length & 0xFF);
            }
            octet(0x80 | count);
        }
        octet(tag);
    }

private:
    void grow()
    {
        std::string larger(m_buffer.size() * 2, '\0');
        std::copy(m_buffer.end() - static_cast<std::ptrdiff_t>(m_size), m_buffer.end(),
                  larger.end() - static_cast<std::ptrdiff_t>(m_size));
        m_buffer.swap(larger);
    }

    std::string m_buffer = std::string(512, '\0'); // our own requests take fewer
    std::size_t m_size = 0;
};

// Two's complement with the fewest octets.
void writeInteger(Writer& out, std::int64_t number)
{
    const std::size_t before = out.size();
    for (;;) {
        const auto last = static_cast<std::uint8_t>(number & 0xFF);
        out.octet(last);
        number >>= 8;
        if ((number == 0 && last < 0x80) || (number == -1 && last >= 0x80)) {
            break;
        }
    }
    out.head(kTagInteger, before);
}

// At least one octet, and a leading zero where the top bit would read as a sign.
void writeUnsigned(Writer& out, std::uint8_t tag, std::uint64_t number)
{
    const std::size_t before = out.size();
    std::uint64_t last = 0;
    do {
        last = number & 0xFF;
        out.octet(last);
        number >>= 8;
    } while (number > 0);
    if (last >= 0x80) {
        out.octet(0);
    }
    out.head(tag, before);
}

void writeText(Writer& out, std::uint8_t tag, std::string_view text)
{
    const std::size_t before = out.size();
    out.octets(text);
    out.head(tag, before);
}

void writeSubIdentifier(Writer& out, std::uint64_t number)
{
    if (number < 0x80) {
        out.octet(number);
        return;
    }
    std::uint8_t octets[kMaxBase128];
    out.octets({reinterpret_cast<const char*>(octets), writeBase128(number, octets)});
}

void writeOidContent(Writer& out, const Oid& oid)
{
    for (std::size_t i = oid.size(); i > 2; --i) {
        writeSubIdentifier(out, oid[i - 1]);
    }
    const std::uint64_t first = oid.empty() ? 0 : oid[0];
    const std::uint64_t second = oid.size() < 2 ? 0 : oid[1];
    writeSubIdentifier(out, first * 40 + second);
}

void writeOid(Writer& out, const Oid& oid)
{
    const std::size_t before = out.size();
    writeOidContent(out, oid);
    out.head(kTagObjectId, before);
}

void writeValue(Writer& out, const Value& value)
{
    switch (value.type) {
    case ValueType::Integer:
        return writeInteger(out, value.number);
    case ValueType::Counter32:
    case ValueType::Gauge32:
    case ValueType::TimeTicks:
    case ValueType::Counter64:
        return writeUnsigned(out, tagOf(value.type), static_cast<std::uint64_t>(value.number));
    case ValueType::OctetString:
    case ValueType::IpAddress:
    case ValueType::Opaque:
        return writeText(out, tagOf(value.type), value.bytes);
    case ValueType::ObjectId:
        return writeOid(out, value.oid);
    case ValueType::Null:
    case ValueType::NoSuchObject:
    case ValueType::NoSuchInstance:
    case ValueType::EndOfMibView:
        return writeText(out, tagOf(value.type), {});
    }
}

} // namespace

std::string encodeOid(const Oid& oid)
{
    Writer out;
    writeOidContent(out, oid);
    return out.written();
}

std::string encodeMessage(const Message& message)
{
    Writer out;
    const Pdu& pdu = message.pdu;
    for (std::size_t i = pdu.varbinds.size(); i > 0; --i) {
        const std::size_t before = out.size();
        writeValue(out, pdu.varbinds[i - 1].value);
        writeOid(out, pdu.varbinds[i - 1].name);
        out.head(kTagSequence, before);
    }
    out.head(kTagSequence, 0);
    writeInteger(out, pdu.errorIndex);
    writeInteger(out, pdu.errorStatus);
    writeInteger(out, pdu.requestId);
    out.head(static_cast<std::uint8_t>(pdu.type), 0);
    writeText(out, kTagOctetString, message.community);
    writeInteger(out, static_cast<std::int64_t>(message.version));
    out.head(kTagSequence, 0);
    return out.written();
}

} // namespace tarn::snmp
