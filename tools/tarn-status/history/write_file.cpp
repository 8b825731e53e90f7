#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "tools/common/standard_output.h"
#include "tools/tarn-status/history/plot.h"

namespace tarnstatus {

namespace {

[[noreturn]] void fail(const std::string& file, int error)
{
    throw tools::WriteError(file + ": " + std::strerror(error));
}

// Takes the descriptor. 0, or what went wrong.
int writeAll(int descriptor, const std::string& content)
{
    int error = 0;
    for (std::size_t done = 0; done < content.size() && error == 0;) {
        const ssize_t count = ::write(descriptor, content.data() + done, content.size() - done);
        if (count >= 0) {
            done += static_cast<std::size_t>(count);
        } else if (errno != EINTR) {
            error = errno;
        }
    }
    if (::close(descriptor) != 0 && error == 0) {
        error = errno;
    }
    return error;
}

mode_t usualMode()
{
    const mode_t mask = ::umask(0);
    ::umask(mask);
    return 0666 & ~mask;
}

} // namespace

void writeFile(const std::string& file, const std::string& content)
{
    struct stat info
    {
    };
    if (::stat(file.c_str(), &info) == 0 && !S_ISREG(info.st_mode)) { // a device, a pipe
        const int descriptor = ::open(file.c_str(), O_WRONLY | O_CLOEXEC | O_NOCTTY);
        const int error = descriptor == -1 ? errno : writeAll(descriptor, content);
        if (error != 0) {
            fail(file, error);
        }
        return;
    }
    std::string beside = file + ".XXXXXX";
    const int descriptor = ::mkostemp(beside.data(), O_CLOEXEC);
    if (descriptor == -1) {
        fail(file, errno);
    }
    ::fchmod(descriptor, usualMode());
    int error = writeAll(descriptor, content);
    if (error == 0 && ::rename(beside.c_str(), file.c_str()) != 0) {
        error = errno;
    }
    if (error != 0) {
        ::unlink(beside.c_str());
        fail(file, error);
    }
}

} // namespace tarnstatus
