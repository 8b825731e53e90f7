#include "printer/printer_store.h"

#include <boost/filesystem.hpp>

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <utility>

#include "printer/json_io.h"
#include "printer/printer_documents.h"
#include "printer/store_file.h"

namespace morvik::kel {

namespace fs = boost::filesystem;

namespace {

// Another process's save takes milliseconds; who holds the lock for longer is stopped or hostile.
constexpr std::chrono::milliseconds kSavePatience{3000};
constexpr std::chrono::milliseconds kLoadPatience{100};

fs::path pathOf(const std::string& utf8)
{
    return fs::path(utf8);
}

[[noreturn]] void throwStoreError(const std::string& path)
{
    const int code = errno;
    throw fs::filesystem_error("cannot save the printer list", pathOf(path),
                               boost::system::error_code(code, boost::system::generic_category()));
}

bool doesExist(const fs::path& path)
{
    boost::system::error_code ignored;
    return fs::exists(path, ignored);
}

// Whether a text is a whole document, as opposed to what an interrupted write leaves of one: a beginning of
// it, or blocks of zeros.
bool isWhole(const std::string& text)
{
    Json::Value root;
    return readJson(text, root);
}

// What save() writes always ends with its only line feed, so that no part of it passes for the whole.
bool isWholeSave(const std::string& text)
{
    Json::Value root;
    return !text.empty() && text.back() == '\n' && readJson(text, root) && (root.isArray() || root.isNull());
}

std::vector<PrinterContext> parsePrinters(const std::string& text)
{
    std::vector<PrinterContext> printers;
    Json::Value root;
    if (!readJson(text, root) || !root.isArray()) {
        return printers;
    }
    for (const Json::Value& element : root) {
        PrinterContext context(false);
        if (element.isObject()) {
            context.printerName = stringMember(element, "printerName");
            context.manufacturer = stringMember(element, "manufacturer");
            context.model = stringMember(element, "model");
            context.ip = stringMember(element, "ip");
        }
        const PrinterContext& read = context;
        printers.push_back(read); // a copy: texts end at their first NUL from here on
    }
    return printers;
}

} // namespace

PrinterStore::PrinterStore(std::string path) : m_path(std::move(path)), m_journalPath(m_path + ".journal") {}

// Opens what is locked to keep other processes out. A load makes no file: where nobody has saved yet the list
// itself serves.
StoreFile PrinterStore::openLock(Purpose purpose) const
{
    const int create = purpose == Purpose::Save ? O_CREAT : 0;
    StoreFile own = StoreFile::open(m_path + ".lock", O_RDONLY | create | O_NOFOLLOW, 0600);
    if (own.isOpen() && own.isRegular()) {
        return own;
    }
    return StoreFile::open(m_path, O_RDONLY);
}

void PrinterStore::ensureFileExists() const
{
    const fs::path path = pathOf(m_path);
    const fs::path directory = path.parent_path();
    if (!doesExist(directory)) {
        fs::create_directories(directory);
    }
    if (doesExist(path)) {
        return;
    }
    // Not truncated: another process may have created and filled it since we looked.
    const StoreFile file = StoreFile::open(m_path, O_WRONLY | O_CREAT, 0666);
    const StoreFile lock = openLock(Purpose::Load);
    if (!file.isOpen() || !lock.lock(LOCK_EX, kSavePatience)) {
        return;
    }
    if (file.isEmpty() && !file.replaceContent("[]")) {
        return;
    }
    fs::permissions(path, fs::all_all);
}

bool PrinterStore::readStored(std::string& text) const
{
    const StoreFile file = StoreFile::open(m_path, O_RDONLY);
    if (!file.isOpen() || !file.isRegular()) {
        return false;
    }
    const StoreFile lock = openLock(Purpose::Load);
    if (!lock.lock(LOCK_SH, m_hasLoaded ? kLoadPatience : kSavePatience) && m_hasLoaded) {
        text = m_text; // somebody is saving: what we know is better than half a file
        return true;
    }
    return file.readAll(text);
}

const std::vector<PrinterContext>& PrinterStore::load()
{
    ensureFileExists();
    std::string text;
    if (!readStored(text)) {
        text.clear();
    } else if (::access(m_journalPath.c_str(), F_OK) == 0) {
        completeInterruptedSave(text);
    }
    remember(text);
    return m_printers;
}

void PrinterStore::remember(const std::string& text)
{
    if (m_hasLoaded && text == m_text) {
        return;
    }
    m_printers = parsePrinters(text);
    ++m_revision;
    m_text = text;
    m_hasLoaded = true;
}

// False when the file is in another process's hands, which then looks after the journal itself.
bool PrinterStore::completeInterruptedSave(std::string& text) const
{
    const StoreFile writable = StoreFile::open(m_path, O_WRONLY);
    const StoreFile readable = StoreFile::open(m_path, O_RDONLY);
    const StoreFile lock = openLock(Purpose::Load);
    if (!lock.lock(LOCK_EX, kLoadPatience) || !readable.readAll(text)) {
        return false;
    }
    resolveJournal(writable, text);
    return true;
}

// Under the file's lock. text: the file's content, brought up to date.
void PrinterStore::resolveJournal(const StoreFile& file, std::string& text) const
{
    const StoreFile journal = StoreFile::open(m_journalPath, O_RDONLY | O_NOFOLLOW);
    if (!journal.isOpen() || !journal.isRegular()) {
        return;
    }
    if (!isWhole(text)) {
        std::string saved;
        if (!journal.readAll(saved)) {
            return; // what cannot be read now may be the only list there is
        }
        if (isWholeSave(saved)) {
            text = saved;
            if (!file.isOpen() || !file.replaceContent(saved)) {
                return; // the journal stays until the file can be written
            }
        }
    }
    ::unlink(m_journalPath.c_str());
}

PrinterStore::Journal PrinterStore::writeJournal(const std::string& text) const
{
    const StoreFile journal = StoreFile::open(m_journalPath, O_WRONLY | O_CREAT | O_NOFOLLOW, 0600);
    if (!journal.isOpen()) {
        return errno == ENOSPC || errno == EDQUOT || errno == EIO ? Journal::Failed : Journal::NotPossible;
    }
    if (!journal.isRegular()) {
        return Journal::NotPossible;
    }
    if (!journal.replaceContent(text)) {
        const int code = errno;
        ::unlink(m_journalPath.c_str());
        errno = code;
        return Journal::Failed;
    }
    syncDirectoryOf(m_journalPath);
    return Journal::Written;
}

// A list that another one replaces can be had back by hand. That it cannot be kept is no reason not to save.
void PrinterStore::keepPrevious(const StoreFile& file, const std::string& old, const std::string& text) const
{
    if (old == text || parsePrinters(old).empty()) {
        return;
    }
    const std::string previous = m_path + ".previous";
    const std::string fresh = previous + ".new"; // what a killed save left of it is written over
    const StoreFile copy = StoreFile::open(fresh, O_WRONLY | O_CREAT | O_NOFOLLOW, 0600);
    if (!copy.isOpen() || !copy.isRegular()) {
        return;
    }
    // The folder is synced with the journal that follows.
    if (!copy.replaceContent(old) || !copy.takeModeOf(file) ||
        ::rename(fresh.c_str(), previous.c_str()) != 0) {
        ::unlink(fresh.c_str());
    }
}

void PrinterStore::writeInPlace(const StoreFile& file, const std::string& text, const std::string* old,
                                bool journalled) const
{
    if (file.replaceContent(text)) {
        if (journalled) {
            ::unlink(m_journalPath.c_str());
        }
        return;
    }
    const int code = errno;
    // The old list had room a moment ago. Where it has none any more, the journal stays and the next load
    // completes the save.
    if (old != nullptr && file.replaceContent(*old) && journalled) {
        ::unlink(m_journalPath.c_str());
    }
    errno = code;
    throwStoreError(m_path);
}

void PrinterStore::save(const std::vector<PrinterContext>& list)
{
    ensureFileExists();
    const std::string text = networkPrintersText(list);
    const StoreFile file = StoreFile::open(m_path, O_WRONLY);
    const StoreFile lock = openLock(Purpose::Save);
    if (!file.isOpen() || !lock.lock(LOCK_EX, kSavePatience)) {
        throwStoreError(m_path);
    }
    std::string old;
    const StoreFile readable = StoreFile::open(m_path, O_RDONLY);
    const bool hasOld = readable.isOpen() && readable.isRegular() && readable.readAll(old);
    if (hasOld) {
        resolveJournal(file, old);
    }
    if (hasOld) {
        keepPrevious(file, old, text);
    }
    const Journal journal = writeJournal(text);
    if (journal == Journal::Failed) {
        throwStoreError(m_path);
    }
    writeInPlace(file, text, hasOld ? &old : nullptr, journal == Journal::Written);
}

} // namespace morvik::kel
