#pragma once

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

namespace tarn::test {

// No more than so many descriptors can be had for as long as it lives.
class NoDescriptors final
{
public:
    explicit NoDescriptors(int but = 0)
    {
        ::getrlimit(RLIMIT_NOFILE, &m_before);
        rlimit few = m_before;
        few.rlim_cur = but == 0 ? 0 : static_cast<rlim_t>(freeDescriptor(but)) + 1;
        ::setrlimit(RLIMIT_NOFILE, &few);
    }
    ~NoDescriptors() { ::setrlimit(RLIMIT_NOFILE, &m_before); }
    NoDescriptors(const NoDescriptors&) = delete;
    NoDescriptors& operator=(const NoDescriptors&) = delete;

private:
    // The highest of the next so many.
    static int freeDescriptor(int howMany)
    {
        const int fd = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
        const int highest = howMany > 1 ? freeDescriptor(howMany - 1) : fd;
        ::close(fd);
        return highest;
    }

    rlimit m_before{};
};

} // namespace tarn::test
