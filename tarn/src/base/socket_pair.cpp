#include "tarn/src/base/socket_pair.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>

#include <charconv>
#include <cstring>
#include <map>
#include <memory>

namespace tarn {

namespace {

bool isUnixStream(int descriptor)
{
    int domain = 0;
    int type = 0;
    socklen_t size = sizeof domain;
    if (::getsockopt(descriptor, SOL_SOCKET, SO_DOMAIN, &domain, &size) != 0 || domain != AF_UNIX) {
        return false;
    }
    size = sizeof type;
    return ::getsockopt(descriptor, SOL_SOCKET, SO_TYPE, &type, &size) == 0 && type == SOCK_STREAM;
}

// Descriptors of this process by the inodes of their sockets.
std::map<ino_t, int> unixStreams()
{
    std::map<ino_t, int> found;
    const std::unique_ptr<DIR, int (*)(DIR*)> directory(::opendir("/proc/self/fd"), &::closedir);
    for (const dirent* entry = nullptr; directory && (entry = ::readdir(directory.get())) != nullptr;) {
        int descriptor = -1; // of no entry that is no number
        std::from_chars(entry->d_name, entry->d_name + std::strlen(entry->d_name), descriptor);
        struct stat status = {};
        if (isUnixStream(descriptor) && ::fstat(descriptor, &status) == 0) {
            found[status.st_ino] = descriptor;
        }
    }
    return found;
}

} // namespace

void closePairOnExec(const std::function<void()>& make)
{
    const std::map<ino_t, int> before = unixStreams();
    make();
    std::map<ino_t, int> made = unixStreams();
    for (const auto& socket : before) {
        made.erase(socket.first);
    }
    if (made.size() != 2) {
        return;
    }
    for (const auto& socket : made) {
        ::fcntl(socket.second, F_SETFD, FD_CLOEXEC);
    }
}

} // namespace tarn
