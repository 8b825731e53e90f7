#include "tarn/src/snmp/wire/ber.h"

namespace tarn::snmp {

bool BerReader::readLongLength(std::size_t& length)
{
    const std::size_t octets = length & 0x7F;
    if (octets == 0 || octets > static_cast<std::size_t>(m_end - m_at)) {
        return false; // 0 octets: the indefinite form, which RFC 3417 8 does not allow
    }
    length = 0;
    for (std::size_t i = 0; i < octets; ++i) {
        if (length > (std::numeric_limits<std::uint32_t>::max() >> 8)) {
            return false;
        }
        length = (length << 8) | *m_at++;
    }
    return true;
}

std::optional<std::int64_t> signedOf(ByteView content)
{
    if (content.size == 0) {
        return std::nullopt;
    }
    const std::uint8_t fill = (content.data[0] & 0x80) != 0 ? 0xFF : 0x00;
    std::size_t at = 0;
    for (; content.size - at > 8; ++at) {
        if (content.data[at] != fill) {
            return std::nullopt;
        }
    }
    std::uint64_t number = fill != 0 ? ~std::uint64_t{0} : 0;
    for (; at < content.size; ++at) {
        number = (number << 8) | content.data[at];
    }
    return static_cast<std::int64_t>(number);
}

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

std::optional<std::int64_t> unsigned32Of(ByteView content)
{
    const std::optional<std::int64_t> number = unsignedOf(content);
    if (number && *number >= 0 && *number <= std::numeric_limits<std::uint32_t>::max()) {
        return number;
    }
    const std::optional<std::int64_t> extended = signedOf(content);
    if (extended && *extended < 0 && *extended >= std::numeric_limits<std::int32_t>::min()) {
        return *extended & 0xFFFFFFFF;
    }
    return std::nullopt;
}

bool readInt32(ByteView content, std::int32_t& number)
{
    const std::optional<std::int64_t> wide = signedOf(content);
    if (!wide || *wide < std::numeric_limits<std::int32_t>::min() ||
        *wide > std::numeric_limits<std::int32_t>::max()) {
        return false;
    }
    number = static_cast<std::int32_t>(*wide);
    return true;
}

bool isMinimalOid(ByteView content)
{
    bool begins = true;
    for (std::size_t i = 0; i < content.size; ++i) {
        if (begins && content.data[i] == 0x80) {
            return false;
        }
        begins = content.data[i] < 0x80;
    }
    return true;
}

std::size_t writeBase128(std::uint64_t number, std::uint8_t* out)
{
    std::size_t size = 1;
    for (std::uint64_t rest = number >> 7; rest > 0; rest >>= 7) {
        ++size;
    }
    for (std::size_t i = size; i > 0; --i, number >>= 7) {
        out[i - 1] = static_cast<std::uint8_t>((number & 0x7F) | (i < size ? 0x80u : 0u));
    }
    return size;
}

} // namespace tarn::snmp
