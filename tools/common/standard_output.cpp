#include "tools/common/standard_output.h"

#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace tools {

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
