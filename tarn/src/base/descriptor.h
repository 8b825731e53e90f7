#pragma once

#include <unistd.h>

#include <utility>

namespace tarn {

// Descriptor owns a descriptor of the system, and closes it on every way out.
// Threading: one thread at a time.
class Descriptor final
{
public:
    Descriptor() = default;
    // What a system call gave; negative for none.
    explicit Descriptor(int fd) : m_fd(fd) {}
    ~Descriptor() { close(); }
    Descriptor(Descriptor&& other) noexcept : m_fd(std::exchange(other.m_fd, -1)) {}
    Descriptor& operator=(Descriptor&& other) noexcept
    {
        std::swap(m_fd, other.m_fd);
        return *this;
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    int get() const { return m_fd; }
    bool isOpen() const { return m_fd >= 0; }
    void close()
    {
        if (isOpen()) {
            ::close(std::exchange(m_fd, -1));
        }
    }

private:
    int m_fd = -1;
};

} // namespace tarn
