#pragma once

#include <cstdint>

namespace tarn {

// Random is the seam for request ids and jitter.
// Threading: one thread.
class Random
{
public:
    virtual ~Random() = default;
    virtual std::uint32_t next() = 0;
    // Uniform enough for jitter: 0 .. bound - 1; 0 when bound is 0.
    std::uint32_t below(std::uint32_t bound)
    {
        return static_cast<std::uint32_t>((std::uint64_t{next()} * bound) >> 32);
    }
};

// Taken from the system in blocks: a request id that a stranger can foresee would let him answer for a
// printer.
class SystemRandom final : public Random
{
public:
    std::uint32_t next() override;

private:
    std::uint32_t m_block[64] = {};
    unsigned m_left = 0;
};

} // namespace tarn
