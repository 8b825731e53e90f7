#include "tarn/src/ipp/ipp_shape.h"

#include <array>

namespace tarn::ipp {

namespace {

// RFC 8010 3.5
constexpr unsigned kEndOfAttributes = 0x03;
constexpr unsigned kFirstValueTag = 0x10;
constexpr unsigned kBegCollection = 0x34;
constexpr unsigned kEndCollection = 0x37;
constexpr unsigned kMemberName = 0x4A;
constexpr unsigned kExtension = 0x7F; // followed by a tag of four octets; no printer has one
constexpr std::size_t kHeader = 8;

// Counts as it goes through the octets of a message.
class Shape final
{
public:
    explicit Shape(std::string_view octets) : m_octets(octets) {}

    bool isReadable()
    {
        m_at = kHeader;
        while (m_at < m_octets.size()) {
            const unsigned tag = octet(m_at++);
            if (tag == kEndOfAttributes) {
                return m_depth == 0; // libcups ends but the innermost collection by it, and reads on
            }
            if (tag == kExtension || (tag < kFirstValueTag ? !group() : !value(tag))) {
                return false;
            }
        }
        return m_octets.size() >= kHeader; // cut off: libcups says the same
    }

private:
    // False when it is one too many.
    bool group() { return ++m_attributes <= IppBounds::kMostAttributes; }

    // False when it is one too many, or stands where libcups would read other octets of it.
    bool value(unsigned tag)
    {
        std::size_t nameLength = 0;
        std::size_t valueLength = 0;
        if (!skip(nameLength)) {
            return true; // the end of what there is
        }
        if (tag == kEndCollection && nameLength != 0) {
            return false; // libcups expects none, and does not pass over it
        }
        if (!skip(valueLength)) {
            return true;
        }
        if (tag == kEndCollection) {
            m_depth -= m_depth > 0 ? 1 : 0;
            return true;
        }
        const bool member = tag == kMemberName && m_depth > 0;
        if (nameLength > 0 || member) {
            ++m_attributes;
            m_values[m_depth] = 0;
        }
        m_values[m_depth] += member ? 0 : 1;
        if (m_values[m_depth] > IppBounds::kMostValues || m_attributes > IppBounds::kMostAttributes) {
            return false;
        }
        return tag != kBegCollection || descend();
    }

    bool descend()
    {
        if (m_depth == IppBounds::kDeepestNesting) {
            return false;
        }
        m_values[++m_depth] = 0;
        return true;
    }

    // Over two octets of length and as many octets.
    bool skip(std::size_t& length)
    {
        if (m_octets.size() - m_at < 2) {
            m_at = m_octets.size();
            return false;
        }
        length = octet(m_at) << 8 | octet(m_at + 1);
        m_at += 2;
        if (m_octets.size() - m_at < length) {
            m_at = m_octets.size();
            return false;
        }
        m_at += length;
        return true;
    }

    unsigned octet(std::size_t at) const { return static_cast<unsigned char>(m_octets[at]); }

    const std::string_view m_octets;
    std::size_t m_at = 0;
    std::size_t m_depth = 0;
    std::size_t m_attributes = 0;
    std::array<std::size_t, IppBounds::kDeepestNesting + 1> m_values{}; // of the last attribute of each level
};

} // namespace

bool isReadableIpp(std::string_view octets)
{
    return Shape(octets).isReadable();
}

} // namespace tarn::ipp
