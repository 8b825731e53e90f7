#include "tarn/src/base/random.h"

#include <sys/random.h>

#include <random>

namespace tarn {

std::uint32_t SystemRandom::next()
{
    if (m_left == 0) {
        if (getrandom(m_block, sizeof m_block, 0) != static_cast<ssize_t>(sizeof m_block)) {
            std::random_device device; // no getrandom in this kernel or sandbox
            for (std::uint32_t& word : m_block) {
                word = device();
            }
        }
        m_left = sizeof m_block / sizeof m_block[0];
    }
    return m_block[--m_left];
}

} // namespace tarn
