#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>

// The Basic Encoding Rules as SNMP uses them (X.690, RFC 3417 8). BerReader and the functions beside it are
// the only code that looks into received octets: whoever reads a part of a message, and whoever reads all of
// it, read the same.
namespace tarn::snmp {

// A view of bytes that came from, or go to, the network.
struct ByteView
{
    const std::uint8_t* data = nullptr;
    std::size_t size = 0;
};

// Tags (X.690 8.1.2, RFC 2578 7.1, RFC 3416 3).
constexpr std::uint8_t kTagInteger = 0x02;
constexpr std::uint8_t kTagOctetString = 0x04;
constexpr std::uint8_t kTagNull = 0x05;
constexpr std::uint8_t kTagObjectId = 0x06;
constexpr std::uint8_t kTagSequence = 0x30;
constexpr std::uint8_t kTagIpAddress = 0x40;
constexpr std::uint8_t kTagCounter32 = 0x41;
constexpr std::uint8_t kTagGauge32 = 0x42;
constexpr std::uint8_t kTagTimeTicks = 0x43;
constexpr std::uint8_t kTagOpaque = 0x44;
constexpr std::uint8_t kTagCounter64 = 0x46;
constexpr std::uint8_t kTagUInteger32 = 0x47; // RFC 1442; old agents still send it
constexpr std::uint8_t kTagNoSuchObject = 0x80;
constexpr std::uint8_t kTagNoSuchInstance = 0x81;
constexpr std::uint8_t kTagEndOfMibView = 0x82;

// BerReader walks over a view and never past its end. After the first fault it is failed for good and yields
// nothing more, so callers may check once, at the end. Definite lengths are taken in any of their forms,
// however many octets they take; the indefinite form is a fault, as is a length above 32 bits.
class BerReader final
{
public:
    explicit BerReader(ByteView bytes) : m_at(bytes.data), m_end(bytes.data + bytes.size) {}

    bool failed() const { return m_failed; }
    bool atEnd() const { return m_failed || m_at == m_end; }
    // What has not been read.
    ByteView rest() const { return {m_at, static_cast<std::size_t>(m_end - m_at)}; }

    // The content of the next element, which must carry this tag.
    ByteView element(std::uint8_t tag)
    {
        std::uint8_t found = 0;
        const ByteView content = anyElement(found);
        return m_failed || found != tag ? fail() : content;
    }
    ByteView anyElement(std::uint8_t& tag)
    {
        if (m_failed || m_end - m_at < 2) {
            return fail();
        }
        tag = m_at[0];
        std::size_t length = m_at[1];
        m_at += 2;
        if (length >= 0x80 && !readLongLength(length)) {
            return fail();
        }
        if (length > static_cast<std::size_t>(m_end - m_at)) {
            return fail();
        }
        const ByteView content{m_at, length};
        m_at += length;
        return content;
    }
    ByteView fail()
    {
        m_failed = true;
        return ByteView{};
    }

private:
    // length: the first octet of the length, then the length (X.690 8.1.3.5).
    bool readLongLength(std::size_t& length);

    const std::uint8_t* m_at;
    const std::uint8_t* m_end;
    bool m_failed = false;
};

// Two's complement of any width whose value fits 64 bits.
std::optional<std::int64_t> signedOf(ByteView content);
// Unsigned of any width whose value fits 64 bits; a set top bit without a leading zero is no sign.
std::optional<std::int64_t> unsignedOf(ByteView content);
// The same of a value that fits 32 bits. A counter that was sign-extended to five octets or more is taken.
std::optional<std::int64_t> unsigned32Of(ByteView content);
// Two's complement of any width whose value fits 32 bits.
bool readInt32(ByteView content, std::int32_t& number);

constexpr std::size_t kMaxSubIdentifiers = 128; // RFC 2578 3.5

// Hands the sub-identifiers to take, one after another; false when the content is no object identifier. Empty
// content is 0.0, as some agents have it.
template <typename Take>
bool readOid(ByteView content, Take take)
{
    constexpr std::uint64_t kMost = std::numeric_limits<std::uint32_t>::max();
    if (content.size == 0) {
        take(0u);
        take(0u);
        return true;
    }
    if ((content.data[content.size - 1] & 0x80) != 0) {
        return false; // the last sub-identifier does not end
    }
    std::size_t count = 0;
    std::uint64_t number = 0;
    for (std::size_t i = 0; i < content.size; ++i) {
        number = (number << 7) | (content.data[i] & 0x7Fu);
        if (number > kMost + 80) {
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
        if (number > kMost || count >= kMaxSubIdentifiers) {
            return false;
        }
        take(static_cast<std::uint32_t>(number));
        ++count;
        number = 0;
    }
    return true;
}

// Whether each sub-identifier takes the fewest octets: only such identifiers can be compared as they stand.
bool isMinimalOid(ByteView content);

// Writes one sub-identifier (X.690 8.19.2) and returns how many octets it takes, at most kMaxBase128.
constexpr std::size_t kMaxBase128 = 10;
std::size_t writeBase128(std::uint64_t number, std::uint8_t* out);

} // namespace tarn::snmp
