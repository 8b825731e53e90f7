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
    Packer() { m_bytes.reserve(1024); }

    void add(std::uint64_t number)
    {
        for (; number >= 0x80; number >>= 7) {
            m_bytes += static_cast<char>(number | 0x80);
        }
        m_bytes += static_cast<char>(number);
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
        m_bytes += text;
    }
    // A copy of just the size that it needs.
    std::string packed() const { return m_bytes; }

    // The same, into a text that is kept where it is when its room is about right.
    void packInto(std::string& text) const
    {
        if (text.capacity() < m_bytes.size() || text.capacity() > m_bytes.size() + 64) {
            text = packed();
        } else {
            text = std::string_view(m_bytes);
        }
    }

private:
    std::string m_bytes;
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
    std::string text()
    {
        const auto size = static_cast<std::size_t>(number());
        const std::string_view found = m_rest.substr(0, size);
        m_rest.remove_prefix(found.size());
        return std::string(found);
    }

private:
    std::string_view m_rest;
};

} // namespace tarn
