#pragma once

#include <cstddef>

namespace tarn {

// Asks for the object's memory ahead: of thousands of printers one is cold when its turn comes, and its turn
// would wait for several lines of it one after the other.
inline void prefetch(const void* object, std::size_t size)
{
    constexpr std::size_t kLine = 64;
    for (std::size_t at = 0; at < size; at += kLine) {
        __builtin_prefetch(static_cast<const char*>(object) + at, 1);
    }
}

} // namespace tarn
