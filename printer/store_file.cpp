#include "printer/store_file.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <thread>

namespace morvik::kel {

StoreFile::~StoreFile()
{
    if (m_descriptor < 0) {
        return;
    }
    const int saved = errno;
    ::close(m_descriptor);
    errno = saved;
}

StoreFile::StoreFile(StoreFile&& other) noexcept : m_descriptor(other.m_descriptor)
{
    other.m_descriptor = -1;
}

StoreFile StoreFile::open(const std::string& path, int flags, unsigned mode)
{
    StoreFile file;
    do {
        file.m_descriptor = ::open(path.c_str(), flags | O_CLOEXEC | O_NONBLOCK | O_NOCTTY, mode);
    } while (file.m_descriptor < 0 && errno == EINTR);
    return file;
}

bool StoreFile::isRegular() const
{
    struct stat data = {};
    return ::fstat(m_descriptor, &data) == 0 && S_ISREG(data.st_mode);
}

bool StoreFile::isEmpty() const
{
    struct stat data = {};
    return ::fstat(m_descriptor, &data) == 0 && data.st_size == 0;
}

bool StoreFile::takeOwnerOf(const StoreFile& other) const
{
    struct stat data = {};
    return ::fstat(other.m_descriptor, &data) == 0 && ::fchown(m_descriptor, data.st_uid, data.st_gid) == 0;
}

bool StoreFile::takeModeOf(const StoreFile& other) const
{
    struct stat data = {};
    return ::fstat(other.m_descriptor, &data) == 0 && ::fchmod(m_descriptor, data.st_mode & 07777) == 0;
}

bool StoreFile::lock(int operation, std::chrono::milliseconds patience) const
{
    const auto deadline = std::chrono::steady_clock::now() + patience;
    while (::flock(m_descriptor, operation | LOCK_NB) != 0) {
        if (errno != EWOULDBLOCK && errno != EINTR) {
            return true; // a file system without such locks: nobody else can hold one either
        }
        if (std::chrono::steady_clock::now() >= deadline) {
            errno = EWOULDBLOCK;
            return false;
        }
        // Short beside the pause between two saves of one program, or a busy one would never be met between
        // them.
        std::this_thread::sleep_for(std::chrono::microseconds(100));
    }
    return true;
}

namespace {

// A file that claims more is read as it comes.
constexpr off_t kMaxReserved = off_t{1} << 26;

} // namespace

bool StoreFile::readAll(std::string& text) const
{
    text.clear();
    if (::lseek(m_descriptor, 0, SEEK_SET) != 0) {
        return false;
    }
    struct stat data = {};
    if (::fstat(m_descriptor, &data) == 0 && data.st_size > 0 && data.st_size < kMaxReserved) {
        text.reserve(static_cast<std::size_t>(data.st_size));
    }
    std::string block(std::size_t{1} << 16, '\0');
    for (;;) {
        const ssize_t count = ::read(m_descriptor, block.data(), block.size());
        if (count == 0) {
            return true;
        }
        if (count > 0) {
            text.append(block, 0, static_cast<std::size_t>(count));
        } else if (errno != EINTR) {
            return false;
        }
    }
}

bool StoreFile::replaceContent(const std::string& text) const
{
    struct stat data = {};
    // Devices cannot be truncated, and need not be.
    if (::fstat(m_descriptor, &data) != 0 || (S_ISREG(data.st_mode) && ::ftruncate(m_descriptor, 0) != 0)) {
        return false;
    }
    std::size_t written = 0;
    while (written < text.size()) {
        const ssize_t count =
            ::pwrite(m_descriptor, text.data() + written, text.size() - written, static_cast<off_t>(written));
        if (count > 0) {
            written += static_cast<std::size_t>(count);
        } else if (count == 0 || errno != EINTR) {
            return false;
        }
    }
    return ::fsync(m_descriptor) == 0 || errno == EINVAL || errno == EROFS;
}

void syncDirectoryOf(const std::string& path)
{
    const std::size_t slash = path.rfind('/');
    const std::string directory = slash == std::string::npos ? "." : path.substr(0, slash + 1);
    const int descriptor = ::open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (descriptor < 0) {
        return;
    }
    ::fsync(descriptor);
    ::close(descriptor);
}

} // namespace morvik::kel
