#include "tarn/src/base/files.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <thread>

namespace tarn {

namespace {

bool writeAll(int fd, std::string_view text)
{
    while (!text.empty()) {
        const ssize_t written = ::write(fd, text.data(), text.size());
        if (written < 0 && errno == EINTR) {
            continue;
        }
        if (written <= 0) {
            return false;
        }
        text.remove_prefix(static_cast<std::size_t>(written));
    }
    return true;
}

constexpr int kAttempts = 100;                         // of a file that others keep removing
constexpr std::chrono::milliseconds kBetweenLooks{10}; // at a turn that another process has
constexpr std::string_view kTemporaryMark = ".tmp.";
constexpr std::string_view kTemporarySuffix = ".tmp.XXXXXX"; // as mkostemp() wants it

bool isTemporaryOf(std::string_view name, std::string_view file)
{
    return name.size() == file.size() + kTemporarySuffix.size() && name.substr(0, file.size()) == file &&
           name.substr(file.size(), kTemporaryMark.size()) == kTemporaryMark;
}

bool makeDirectories(const std::string& directory)
{
    for (std::size_t end = directory.find('/', 1); end != std::string::npos;
         end = directory.find('/', end + 1)) {
        ::mkdir(directory.substr(0, end).c_str(), 0700);
    }
    return ::mkdir(directory.c_str(), 0700) == 0 || errno == EEXIST;
}

// A file beside path that nobody takes for a leftover: its lock is ours and its name still leads to it. name
// becomes its path. Before the lock is on it another process may have removed it: then another is begun.
Descriptor openTemporary(const std::string& path, std::string& name)
{
    for (int attempt = 0; attempt < kAttempts; ++attempt) {
        name = path;
        name += kTemporarySuffix;
        Descriptor file(::mkostemp(name.data(), O_CLOEXEC));
        const bool isTaken =
            file.isOpen() && ::flock(file.get(), LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK;
        struct stat info
        {
        };
        if (!file.isOpen() || (!isTaken && ::fstat(file.get(), &info) == 0 && info.st_nlink > 0)) {
            return file;
        }
    }
    return Descriptor();
}

} // namespace

FileText readFile(const std::string& path, std::size_t maxBytes)
{
    const Descriptor file(
        ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK)); // a FIFO does not hold us up
    FileText none;
    none.error = ReadError::Unreadable;
    if (!file.isOpen()) {
        none.errorNumber = errno;
        none.error = errno == ENOENT || errno == ENOTDIR ? ReadError::Absent : ReadError::Unreadable;
        none.isForTheMoment = errno == EMFILE || errno == ENFILE || errno == ENOMEM;
        return none;
    }
    struct stat info
    {
    };
    if (::fstat(file.get(), &info) != 0 || !S_ISREG(info.st_mode)) {
        return none;
    }
    FileText result;
    result.mode = info.st_mode & 07777;
    result.owner = info.st_uid;
    char buffer[16384];
    for (;;) {
        const ssize_t got = ::read(file.get(), buffer, sizeof buffer);
        if (got < 0 && errno == EINTR) {
            continue;
        }
        if (got < 0 || result.text.size() + static_cast<std::size_t>(got) > maxBytes) {
            return none;
        }
        if (got == 0) {
            return result;
        }
        result.text.append(buffer, static_cast<std::size_t>(got));
    }
}

bool replaceFile(const std::string& path, std::string_view text)
{
    const std::size_t slash = path.rfind('/');
    if (slash == std::string::npos || slash == 0 || !makeDirectories(path.substr(0, slash))) {
        return false;
    }
    std::string temporary;
    const Descriptor file = openTemporary(path, temporary);
    if (!file.isOpen()) {
        return false;
    }
    // Closed behind its new name: with the descriptor the lock ends. A full disk is told by fsync() as by
    // close().
    if (writeAll(file.get(), text) && ::fsync(file.get()) == 0 &&
        std::rename(temporary.c_str(), path.c_str()) == 0) {
        return true;
    }
    ::unlink(temporary.c_str());
    return false;
}

// A lock on the directory: it is there for as long as the file is, whatever the file's name leads to.
FileTurn::FileTurn(const std::string& path, std::chrono::milliseconds patience)
{
    const std::size_t slash = path.rfind('/');
    if (slash == std::string::npos || slash == 0 || !makeDirectories(path.substr(0, slash))) {
        return;
    }
    m_directory = Descriptor(::open(path.substr(0, slash).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    const auto end = std::chrono::steady_clock::now() + patience;
    while (::flock(m_directory.get(), LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK &&
           std::chrono::steady_clock::now() < end) {
        std::this_thread::sleep_for(kBetweenLooks);
    }
}

bool removeLeftovers(const std::string& path)
{
    const std::size_t slash = path.rfind('/');
    if (slash == std::string::npos) {
        return false;
    }
    const std::string directory = path.substr(0, slash + 1);
    const std::unique_ptr<DIR, int (*)(DIR*)> entries(::opendir(directory.c_str()), ::closedir);
    if (!entries) {
        return false;
    }
    while (const dirent* const entry = ::readdir(entries.get())) {
        if (!isTemporaryOf(entry->d_name, std::string_view(path).substr(slash + 1))) {
            continue;
        }
        const std::string leftover = directory + entry->d_name;
        const Descriptor file(::open(leftover.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOFOLLOW));
        if (::flock(file.get(), LOCK_EX | LOCK_NB) == 0) { // not where it could not be opened
            ::unlink(leftover.c_str());
        }
    }
    return true;
}

std::string xdgDirectory(const char* variable, const char* fallback)
{
    if (const char* value = std::getenv(variable); value != nullptr && value[0] == '/') {
        return value;
    }
    const char* home = std::getenv("HOME");
    return home != nullptr && home[0] == '/' ? std::string(home) + fallback : std::string();
}

} // namespace tarn
