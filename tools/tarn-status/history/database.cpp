#include "tools/tarn-status/history/database.h"

#include <fcntl.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "tools/common/file_error.h"
#include "tools/common/standard_output.h"

namespace tarnstatus {

namespace {

constexpr int kBusyMs = 5000;          // another one records for a moment
constexpr int kLongestValue = 1 << 20; // bytes of one value or row
constexpr mode_t kMode = 0600;

// SQLite would make the file as the umask says.
void create(const std::string& file)
{
    const int descriptor = ::open(file.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOCTTY | O_NONBLOCK, kMode);
    if (descriptor == -1) {
        throw tools::WriteError(file + ": " + std::strerror(errno));
    }
    ::close(descriptor);
}

// Throws where it is none.
off_t sizeOfRegularFile(const std::string& file)
{
    struct stat info
    {
    };
    if (::stat(file.c_str(), &info) != 0) {
        throw tools::FileError(file + ": " + std::strerror(errno));
    }
    if (!S_ISREG(info.st_mode)) {
        throw tools::FileError(file + " is no regular file");
    }
    return info.st_size;
}

} // namespace

Database::Database(const std::string& file, Access access) : m_file(file)
{
    if (access == Access::Create) {
        create(file);
    }
    m_wasEmpty = sizeOfRegularFile(file) == 0;
    try {
        open(access);
    } catch (...) {
        sqlite3_close(m_handle);
        throw;
    }
}

Database::~Database()
{
    sqlite3_close(m_handle);
}

void Database::open(Access access)
{
    // Readers, too, open it for writing where they may: what a killed writer left is rolled back.
    const int flags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX;
    int code = sqlite3_open_v2(m_file.c_str(), &m_handle, flags, nullptr);
    if (code == SQLITE_CANTOPEN && access == Access::Read) {
        sqlite3_close(m_handle);
        m_handle = nullptr;
        code =
            sqlite3_open_v2(m_file.c_str(), &m_handle, SQLITE_OPEN_READONLY | SQLITE_OPEN_NOMUTEX, nullptr);
    }
    if (code != SQLITE_OK) {
        fail(code);
    }
    restrict();
}

// Whatever the file holds, it gets nothing run and nothing huge read.
void Database::restrict()
{
    sqlite3_extended_result_codes(m_handle, 1);
    sqlite3_busy_timeout(m_handle, kBusyMs);
    sqlite3_limit(m_handle, SQLITE_LIMIT_LENGTH, kLongestValue);
    sqlite3_db_config(m_handle, SQLITE_DBCONFIG_DEFENSIVE, 1, nullptr);
    sqlite3_db_config(m_handle, SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0, nullptr);
    execute("PRAGMA cell_size_check = ON");
    execute("PRAGMA mmap_size = 0");
}

void Database::execute(const char* sql)
{
    Statement(*this, sql).run();
}

std::int64_t Database::integerOf(const char* sql)
{
    Statement statement(*this, sql);
    return statement.step() ? statement.integer(0) : 0;
}

std::int64_t Database::lastRowId() const
{
    return sqlite3_last_insert_rowid(m_handle);
}

void Database::fail(int code) const
{
    switch (code & 0xff) {
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
        throw tools::FileError(m_file + " is in use by another program");
    case SQLITE_CORRUPT:
    case SQLITE_NOTADB:
    case SQLITE_FORMAT:
    case SQLITE_TOOBIG:
    case SQLITE_SCHEMA:
    case SQLITE_ERROR:
        throw tools::FileError(m_file + " is damaged, or no history of tarn-status (" +
                               sqlite3_errstr(code & 0xff) + ")");
    case SQLITE_FULL:
        throw tools::WriteError(m_file + ": " + std::strerror(ENOSPC));
    case SQLITE_READONLY:
        throw tools::WriteError(m_file + " cannot be written");
    case SQLITE_IOERR:
        throw tools::WriteError(m_file + ": " + sqlite3_errstr(code));
    default:
        throw tools::FileError(m_file + ": " + sqlite3_errstr(code));
    }
}

Statement::Statement(Database& database, const char* sql) : m_database(database)
{
    if (const int code = sqlite3_prepare_v2(database.handle(), sql, -1, &m_handle, nullptr);
        code != SQLITE_OK) {
        database.fail(code);
    }
}

Statement::~Statement()
{
    sqlite3_finalize(m_handle);
}

Statement& Statement::bind(int parameter, std::int64_t value)
{
    if (const int code = sqlite3_bind_int64(m_handle, parameter, value); code != SQLITE_OK) {
        m_database.fail(code);
    }
    return *this;
}

Statement& Statement::bind(int parameter, const std::string& value)
{
    const int code = sqlite3_bind_text(m_handle, parameter, value.data(), static_cast<int>(value.size()),
                                       SQLITE_TRANSIENT);
    if (code != SQLITE_OK) {
        m_database.fail(code);
    }
    return *this;
}

Statement& Statement::bindNull(int parameter)
{
    if (const int code = sqlite3_bind_null(m_handle, parameter); code != SQLITE_OK) {
        m_database.fail(code);
    }
    return *this;
}

bool Statement::step()
{
    const int code = sqlite3_step(m_handle);
    if (code == SQLITE_ROW) {
        return true;
    }
    reset();
    if (code != SQLITE_DONE) {
        m_database.fail(code);
    }
    return false;
}

void Statement::run()
{
    while (step()) {
    }
}

void Statement::reset()
{
    sqlite3_reset(m_handle);
}

std::int64_t Statement::integer(int column) const
{
    return sqlite3_column_int64(m_handle, column);
}

std::optional<std::int64_t> Statement::optionalInteger(int column) const
{
    if (sqlite3_column_type(m_handle, column) != SQLITE_INTEGER) {
        return std::nullopt;
    }
    return integer(column);
}

std::string Statement::text(int column) const
{
    const auto* const bytes = reinterpret_cast<const char*>(sqlite3_column_text(m_handle, column));
    return bytes == nullptr
               ? std::string()
               : std::string(bytes, static_cast<std::size_t>(sqlite3_column_bytes(m_handle, column)));
}

Transaction::Transaction(Database& database) : m_database(database)
{
    m_database.execute("BEGIN IMMEDIATE");
}

Transaction::~Transaction()
{
    if (m_isOpen && sqlite3_get_autocommit(m_database.handle()) == 0) {
        sqlite3_exec(m_database.handle(), "ROLLBACK", nullptr, nullptr, nullptr);
    }
}

void Transaction::commit()
{
    m_database.execute("COMMIT");
    m_isOpen = false;
}

} // namespace tarnstatus
