#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace tarn {

// Numbers and texts one after another in one string: how what is kept for thousands of printers is kept.
// For memory only: nothing that comes from outside is ever read this way.
class Packer final
{
public:
    void add(std::uint64_t number)
    {
        char* at = roomFor(kLongestNumber);
        for (; number >= 0x80; number >>= 7) {
            *at++ = static_cast<char>(number | 0x80);
        }
        *at++ = static_cast<char>(number);
        m_size = static_cast<std::size_t>(at - m_buffer.data());
    }
    // Small magnitudes of either sign take one octet.
    void addSigned(std::int64_t number)
    {
        const auto bits = static_cast<std::uint64_t>(number);
        add((bits << 1) ^ (number < 0 ? ~std::uint64_t{0} : 0));
    }
    void add(std::string_view text)
    {
        add(static_cast<std::uint64_t>(text.size()));
        char* const at = roomFor(text.size());
        text.copy(at, text.size());
        m_size += text.size();
    }
    std::string_view bytes() const { return std::string_view(m_buffer).substr(0, m_size); }
    // A copy of just the size that it needs.
    std::string packed() const { return std::string(bytes()); }

    // The same, into a text that is kept where it is when its room is about right.
    void packInto(std::string& text) const
    {
        if (text.capacity() < m_size || text.capacity() > m_size + 64) {
            text = packed();
        } else {
            text = bytes();
        }
    }

private:
    static constexpr std::size_t kLongestNumber = 10;

    char* roomFor(std::size_t octets)
    {
        if (m_buffer.size() - m_size < octets) {
            m_buffer.resize(m_buffer.size() * 2 + octets);
        }
        return m_buffer.data() + m_size;
    }

    std::string m_buffer = std::string(1024, '\0');
    std::size_t m_size = 0;
};

// Reads in the order in which a Packer added. Behind the end there are zeros and empty texts.
class Unpacker final
{
public:
    explicit Unpacker(std::string_view bytes) : m_rest(bytes) {}

    bool atEnd() const { return m_rest.empty(); }
    std::uint64_t number()
    {
        std::uint64_t number = 0;
        for (unsigned shift = 0; shift < 64 && !m_rest.empty(); shift += 7) {
            const auto octet = static_cast<std::uint8_t>(m_rest.front());
            m_rest.remove_prefix(1);
            number |= static_cast<std::uint64_t>(octet & 0x7F) << shift;
            if (octet < 0x80) {
                break;
            }
        }
        return number;
    }
    std::int64_t signedNumber()
    {
        const std::uint64_t bits = number();
        return static_cast<std::int64_t>((bits >> 1) ^ ((bits & 1) != 0 ? ~std::uint64_t{0} : 0));
    }
    // Valid for as long as the bytes are.
    std::string_view view()
    {
        const auto size = static_cast<std::size_t>(number());
        const std::string_view found = m_rest.substr(0, size);
        m_rest.remove_prefix(found.size());
        return found;
    }
    std::string text() { return std::string(view()); }

private:
    std::string_view m_rest;
};

} // namespace tarn
