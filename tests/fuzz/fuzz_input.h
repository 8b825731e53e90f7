#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

namespace kel_fuzz {

// Octets that steer a run; behind their end there are zeros.
class Input final
{
public:
    Input(const std::uint8_t* data, std::size_t size) : m_data(data), m_size(size) {}
    bool empty() const { return m_at >= m_size; }
    std::uint8_t octet() { return empty() ? 0 : m_data[m_at++]; }
    // So many, or those that are left.
    std::string octets(std::size_t count)
    {
        std::string out;
        while (count-- > 0 && !empty()) {
            out.push_back(static_cast<char>(octet()));
        }
        return out;
    }

private:
    const std::uint8_t* m_data;
    std::size_t m_size;
    std::size_t m_at = 0;
};

inline void require(bool holds)
{
    if (!holds) {
        std::abort();
    }
}

} // namespace kel_fuzz
