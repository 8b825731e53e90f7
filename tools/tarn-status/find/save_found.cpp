#include "tools/tarn-status/find/save_found.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <set>

#include "printer/json_io.h"
#include "printer/store_file.h"
#include "tools/common/file_error.h"
#include "tools/common/standard_output.h"
#include "tools/tarn-status/find/announcement.h"
#include "tools/tarn-status/waiting.h"

namespace tarnstatus {

namespace {

using morvik::kel::StoreFile;

constexpr std::chrono::milliseconds kPatience{3000}; // as the program has it
// What the program's editor writes of a printer whose model is to be detected.
constexpr char kManufacturer[] = "MORVIK";
constexpr char kDetectModel[] = "自动识别";

// Whether an instance of the program runs, or that cannot be told. Its lock is only looked at.
bool mayBeRunning(const std::string& programLock)
{
    const int descriptor = ::open(programLock.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
    if (descriptor < 0) {
        return errno != ENOENT;
    }
    struct flock lock = {};
    lock.l_type = F_WRLCK;
    lock.l_whence = SEEK_SET;
    const bool isFree = ::fcntl(descriptor, F_GETLK, &lock) == 0 && lock.l_type == F_UNLCK;
    ::close(descriptor);
    return !isFree;
}

[[noreturn]] void failToWrite(const std::string& file)
{
    throw tools::WriteError(file + ": " + std::strerror(errno));
}

// ListFile is the list on disk while it is locked.
class ListFile final
{
public:
    ListFile(const std::string& name, const std::string& programLock)
        : m_name(name), m_target(resolved(name)), m_isNew(::access(name.c_str(), F_OK) != 0)
    {
        demandFree(programLock);
        takeLock();
        m_isNew = ::access(name.c_str(), F_OK) != 0; // it may have been made meanwhile
        demandFree(programLock);                     // and the program been started
    }

    // The list; empty where there is none yet.
    Json::Value read() const
    {
        Json::Value root(Json::arrayValue);
        if (m_isNew) {
            return root;
        }
        std::string text;
        const StoreFile file = StoreFile::open(m_name, O_RDONLY);
        if (!file.isOpen() || !file.isRegular() || !file.readAll(text)) {
            throw tools::FileError(m_name + " cannot be read");
        }
        const bool isUnfinished = ::access((m_name + ".journal").c_str(), F_OK) == 0;
        const bool isEmpty = text.empty() && !isUnfinished;
        if (!isEmpty && (!morvik::kel::readJson(text, root) || !(root.isArray() || root.isNull()))) {
            throw tools::FileError(m_name + (isUnfinished
                                                 ? " is not whole: kel completes it when it is started"
                                                 : " is no list of printers"));
        }
        return root.isNull() ? Json::Value(Json::arrayValue) : root; // so the program writes an empty one
    }

    void replaceBy(const Json::Value& list, bool hadPrinters) const
    {
        const std::string fresh = m_target + ".new";
        ::unlink(fresh.c_str()); // what a killed one left of it
        const StoreFile file =
            StoreFile::open(fresh, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW, m_isNew ? 0666 : 0600);
        if (!file.isOpen() || !file.replaceContent(morvik::kel::writeJson(list))) {
            const int code = errno;
            if (file.isOpen()) {
                ::unlink(fresh.c_str());
            }
            errno = code;
            failToWrite(fresh);
        }
        takeOwnerAndMode(file);
        if (hadPrinters) {
            keepPrevious();
        }
        if (::rename(fresh.c_str(), m_target.c_str()) != 0) {
            const int code = errno;
            ::unlink(fresh.c_str());
            errno = code;
            failToWrite(m_name);
        }
        morvik::kel::syncDirectoryOf(m_target);
    }

private:
    static std::string resolved(const std::string& name)
    {
        char path[PATH_MAX];
        if (::realpath(name.c_str(), path) != nullptr) {
            return path;
        }
        const int code = errno;
        struct stat data = {};
        if (::lstat(name.c_str(), &data) == 0 && S_ISLNK(data.st_mode)) {
            throw tools::FileError(name + " is a link that leads to no file: " + std::strerror(code));
        }
        return name;
    }

    void demandFree(const std::string& programLock) const
    {
        if (!m_isNew && mayBeRunning(programLock)) {
            throw tools::FileError(m_name + " may be in use: kel is running. Quit it, or name a new file");
        }
    }

    void takeLock()
    {
        const std::string name = m_name + ".lock";
        constexpr int kFlags = O_RDONLY | O_CREAT | O_NOFOLLOW;
        m_lock = std::make_unique<StoreFile>(StoreFile::open(name, kFlags | O_EXCL, 0600));
        if (m_lock->isOpen()) {
            // Root adds to a user's list: the lock is the user's. One that was there is whoever's it is.
            m_lock->takeOwnerOf(StoreFile::open(m_target, O_RDONLY));
        } else {
            m_lock = std::make_unique<StoreFile>(StoreFile::open(name, kFlags, 0600));
        }
        if (!m_lock->isOpen()) {
            failToWrite(name);
        }
        if (!m_lock->lock(LOCK_EX, kPatience)) {
            throw tools::FileError(m_name + " is being saved by somebody else");
        }
    }

    // Of the file that is replaced. Root adds to a user's list: it stays the user's. Where it is not ours to
    // give away, it is whoever's runs us.
    void takeOwnerAndMode(const StoreFile& file) const
    {
        if (const StoreFile old = StoreFile::open(m_target, O_RDONLY); !m_isNew && old.isOpen()) {
            file.takeOwnerOf(old);
            file.takeModeOf(old);
        }
    }

    // As the program keeps it; that it cannot is no reason not to save.
    void keepPrevious() const
    {
        const std::string previous = m_name + ".previous";
        const std::string link = previous + ".new";
        ::unlink(link.c_str());
        if (::link(m_target.c_str(), link.c_str()) == 0 && ::rename(link.c_str(), previous.c_str()) != 0) {
            ::unlink(link.c_str());
        }
    }

    const std::string m_name;
    const std::string m_target; // where links lead
    bool m_isNew;
    std::unique_ptr<StoreFile> m_lock;
};

// Names and addresses that a list has.
struct Taken
{
    std::set<std::string> names;
    std::set<std::string> addresses;

    explicit Taken(const Json::Value& list)
    {
        for (const Json::Value& entry : list) {
            if (entry.isObject()) {
                names.insert(morvik::kel::stringMember(entry, "printerName"));
                addresses.insert(morvik::kel::stringMember(entry, "ip"));
            }
        }
    }

    // The program knows its printers by name.
    std::string unused(const std::string& name)
    {
        std::string tried = name;
        for (int i = 2; !names.insert(tried).second; ++i) {
            tried = name + " (" + std::to_string(i) + ')';
        }
        return tried;
    }
};

// What it calls itself, else its model, else its address.
std::string nameOf(const Reading& reading)
{
    const NamedPrinter& printer = reading.printer;
    const std::string name = oneLine(printer.name != printer.ip ? printer.name : reading.model, kLongestName);
    return name.empty() ? printer.ip : name;
}

} // namespace

Saved addToList(const std::string& file, const std::vector<Reading>& found, const std::string& programLock)
{
    const ListFile onDisk(file, programLock);
    Json::Value list = onDisk.read();
    const bool hadPrinters = !list.empty();
    Taken taken(list);
    Saved saved;
    for (const Reading& reading : found) {
        if (reading.printer.origin != NamedPrinter::Origin::Named) {
            continue;
        }
        if (!taken.addresses.insert(reading.printer.ip).second) {
            ++saved.known;
            continue;
        }
        Json::Value entry;
        entry["printerName"] = taken.unused(nameOf(reading));
        entry["manufacturer"] = kManufacturer;
        entry["model"] = kDetectModel;
        entry["ip"] = reading.printer.ip;
        list.append(entry);
        ++saved.added;
    }
    if (saved.added != 0) {
        onDisk.replaceBy(list, hadPrinters);
    }
    return saved;
}

void saveFound(const std::vector<Reading>& found, const std::string& file)
{
    const Saved saved = addToList(file, found);
    complain(file + ": " + std::to_string(saved.added) + " added, " + std::to_string(saved.known) +
             " there already");
}

} // namespace tarnstatus
