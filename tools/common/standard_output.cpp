#include "tools/common/standard_output.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace tools {

void reserveStandardDescriptors()
{
    for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (::fcntl(descriptor, F_GETFD) == -1) {
            // The lowest that is free is that one. Opened the wrong way round, so that its use is an error.
            const int opened = ::open("/dev/null", descriptor == STDIN_FILENO ? O_WRONLY : O_RDONLY);
            static_cast<void>(opened);
        }
    }
}

void writeOut(const std::string& text)
{
    std::size_t done = 0;
    while (done < text.size()) {
        const ssize_t count = ::write(STDOUT_FILENO, text.data() + done, text.size() - done);
        if (count >= 0) {
            done += static_cast<std::size_t>(count);
        } else if (errno == EAGAIN || errno == EWOULDBLOCK) {
            pollfd waiting{STDOUT_FILENO, POLLOUT, 0}; // somebody shares a terminal with us, and set it so
            ::poll(&waiting, 1, -1);
        } else if (errno != EINTR) {
            throw WriteError(std::string("standard output: ") + std::strerror(errno));
        }
    }
}

} // namespace tools
