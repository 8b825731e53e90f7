#include "tarn/src/base/wakeup_fd.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <cstdint>

namespace tarn {

bool WakeupFd::open()
{
    if (!m_fd.isOpen()) {
        m_fd = Descriptor(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
    }
    return m_fd.isOpen();
}

void WakeupFd::signal() const
{
    const std::uint64_t one = 1;
    // Fails only when the counter is full, and then the descriptor is readable anyway.
    [[maybe_unused]] const ssize_t written = ::write(m_fd.get(), &one, sizeof one);
}

void WakeupFd::clear() const
{
    std::uint64_t count = 0;
    [[maybe_unused]] const ssize_t got = ::read(m_fd.get(), &count, sizeof count);
}

} // namespace tarn
