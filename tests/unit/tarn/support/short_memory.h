#pragma once

#include <cstdint>
#include <string>

namespace tarn::test {

// While it lives, one in so many of the allocations by operator new fails, by chance and the same for the
// same seed: those of the present thread or, with the other constructor, those of all threads of that name.
// The operators of the whole program are replaced by those that this needs.
class ShortMemory final
{
public:
    ShortMemory(std::uint32_t seed, unsigned oneIn);
    ShortMemory(std::string thread, unsigned oneIn);
    ~ShortMemory();
    ShortMemory(const ShortMemory&) = delete;
    ShortMemory& operator=(const ShortMemory&) = delete;

    // By any of them, since the program began.
    static std::uint64_t failures();

private:
    const bool m_isOfThread;
};

} // namespace tarn::test
