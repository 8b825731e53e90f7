#include "tools/tarn-status/history/store.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <set>

#include "tools/common/file_error.h"
#include "tools/common/standard_output.h"
#include "tools/tarn-status/history/recorder.h"
#include "tools/tarn-status/history/row_text.h"
#include "tools/tarn-status/rfc3339.h"

namespace tarnstatus {

namespace {

constexpr int kApplicationId = 0x5441524e; // "TARN"
constexpr int kVersion = 1;
constexpr std::int64_t kMostPrinters = 100000;
constexpr std::int64_t kMostEntries = 200000; // 22 years of a change in each hour
constexpr mode_t kDirectoryMode = 0700;

// The entries of one printer stand together, in the order of time. Levels are percentages of the supplies
// that the row in "supplies" names, with blanks between them and "-" where none is known.
const char* const kTables[] = {
    "CREATE TABLE printer(id INTEGER PRIMARY KEY, name TEXT NOT NULL, ip TEXT NOT NULL, model TEXT NOT NULL,"
    " serial TEXT NOT NULL, seen INTEGER NOT NULL, UNIQUE(name, ip, serial))",
    "CREATE TABLE supplies(id INTEGER PRIMARY KEY, list TEXT NOT NULL UNIQUE)",
    "CREATE TABLE entry(printer INTEGER NOT NULL, time INTEGER NOT NULL, supplies INTEGER NOT NULL,"
    " pages INTEGER, levels TEXT NOT NULL, PRIMARY KEY(printer, time)) WITHOUT ROWID",
};

void makeDirectories(const std::string& file)
{
    for (std::size_t at = file.find('/', 1); at != std::string::npos; at = file.find('/', at + 1)) {
        const std::string directory = file.substr(0, at);
        if (::mkdir(directory.c_str(), kDirectoryMode) != 0 && errno != EEXIST) {
            throw tools::WriteError(directory + ": " + std::strerror(errno));
        }
    }
}

std::string prepared(const std::string& file, HistoryStore::Access access)
{
    if (access == HistoryStore::Access::Record) {
        makeDirectories(file);
    }
    return file;
}

std::string dateOf(UnixTime time)
{
    return rfc3339(std::chrono::system_clock::time_point(std::chrono::seconds(time))).substr(0, 19) + "Z";
}

} // namespace

std::string historyFile()
{
    // An XDG directory that is not absolute is none.
    if (const char* state = std::getenv("XDG_STATE_HOME"); state != nullptr && *state == '/') {
        return std::string(state) + "/tarn/history.db";
    }
    if (const char* home = std::getenv("HOME"); home != nullptr && *home == '/') {
        return std::string(home) + "/.local/state/tarn/history.db";
    }
    throw tools::FileError("neither XDG_STATE_HOME nor HOME names a directory");
}

HistoryStore::HistoryStore(const std::string& file, Access access)
    : m_database(prepared(file, access),
                 access == Access::Record ? Database::Access::Create : Database::Access::Read)
{
    prepare(access);
}

void HistoryStore::prepare(Access access)
{
    // To SQLite a file of a few octets, whatever they are, is an empty database, too.
    if (m_database.wasEmpty() && access == Access::Record) {
        makeTables();
    }
    if (m_database.integerOf("PRAGMA application_id") != kApplicationId) {
        throw tools::FileError(m_database.file() + " is no history of tarn-status");
    }
    if (m_database.integerOf("PRAGMA user_version") != kVersion) {
        throw tools::FileError(m_database.file() + " is of another version of tarn-status");
    }
    demandOwnTables();
}

void HistoryStore::makeTables()
{
    Transaction transaction(m_database);
    if (m_database.integerOf("SELECT count(*) FROM sqlite_schema") == 0) { // nobody else was quicker
        for (const char* const table : kTables) {
            m_database.execute(table);
        }
        m_database.execute(("PRAGMA application_id = " + std::to_string(kApplicationId)).c_str());
        m_database.execute(("PRAGMA user_version = " + std::to_string(kVersion)).c_str());
    }
    transaction.commit();
}

// Another definition, a view or a trigger would have us run what somebody else wrote.
void HistoryStore::demandOwnTables()
{
    std::size_t own = 0;
    Statement rows(m_database, "SELECT type, sql FROM sqlite_schema WHERE sql IS NOT NULL");
    while (rows.step()) {
        const std::string sql = rows.text(1);
        own += std::any_of(std::begin(kTables), std::end(kTables),
                           [&sql](const char* table) { return sql == table; })
                   ? 1
                   : 0;
        if (rows.text(0) == "trigger" || rows.text(0) == "view") {
            own = std::size(kTables) + 1;
            break;
        }
    }
    if (own != std::size(kTables)) {
        throw tools::FileError(m_database.file() + " does not have the tables of a history of tarn-status");
    }
}

int HistoryStore::record(const std::vector<Reading>& readings, UnixTime now, int keepDays)
{
    Transaction transaction(m_database);
    const std::int64_t before = m_database.integerOf("SELECT max(seen) FROM printer");
    if (now < before) {
        throw tools::WriteError("the clock is at " + dateOf(now) + ", before the last entry of " +
                                m_database.file() + " (" + dateOf(before) + "): nothing was recorded");
    }
    Recorder recorder(m_database, now);
    recorder.removeBefore((before != 0 ? before : now) - keepDays * kDay);
    int answered = 0;
    for (const Reading& reading : readings) {
        if (reading.online) {
            recorder.add(reading);
            ++answered;
        }
    }
    transaction.commit();
    return answered;
}

std::vector<RecordedPrinter> HistoryStore::printers()
{
    Statement rows(m_database,
                   "SELECT id, name, ip, model, serial, seen FROM printer ORDER BY seen DESC, id LIMIT ?");
    rows.bind(1, kMostPrinters);
    std::vector<RecordedPrinter> printers;
    while (rows.step()) {
        printers.push_back({rows.integer(0), cleanText(rows.text(1)), cleanText(rows.text(2)),
                            cleanText(rows.text(3)), cleanText(rows.text(4)),
                            plausibleTime(rows.integer(5))});
    }
    return printers;
}

History HistoryStore::historyOf(const RecordedPrinter& printer, UnixTime since)
{
    History history;
    history.printer = printer;
    HistoryReader reader(history);
    Statement rows(
        m_database,
        "SELECT time, pages, levels, list FROM (SELECT * FROM entry WHERE printer = ?1 AND time <= ?2 AND "
        "time >= coalesce((SELECT max(time) FROM entry WHERE printer = ?1 AND time <= ?3), 0) "
        "ORDER BY time DESC LIMIT ?4) AS e LEFT JOIN supplies ON supplies.id = e.supplies ORDER BY time");
    rows.bind(1, printer.id).bind(2, printer.seen).bind(3, since).bind(4, kMostEntries);
    while (rows.step()) {
        reader.add(rows.integer(0), rows.optionalInteger(1), rows.text(2), rows.text(3));
    }
    history.isCut = static_cast<std::int64_t>(history.entries.size()) == kMostEntries;
    reader.finish(since);
    return history;
}

} // namespace tarnstatus
