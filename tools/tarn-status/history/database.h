#pragma once

#include <cstdint>
#include <optional>
#include <string>

struct sqlite3;
struct sqlite3_stmt;

namespace tarnstatus {

// Database is an SQLite file that may have been damaged or made by somebody else: limits and checks are set
// accordingly.
//
// Errors: tools::FileError where the file cannot be opened or read, is damaged or locked, tools::WriteError
// where it cannot be written; both name the file.
// Threading: one thread.
class Database final
{
public:
    enum class Access
    {
        Read,
        Create, // with the mode 0600 where it is not there
    };

    Database(const std::string& file, Access access);
    ~Database();
    Database(const Database&) = delete;
    Database& operator=(const Database&) = delete;

    void execute(const char* sql);
    std::int64_t lastRowId() const;
    std::int64_t integerOf(const char* sql);
    // It had no octet when it was opened.
    bool wasEmpty() const { return m_wasEmpty; }
    const std::string& file() const { return m_file; }
    sqlite3* handle() const { return m_handle; }

    [[noreturn]] void fail(int code) const;

private:
    void open(Access access);
    void restrict();

    const std::string m_file;
    bool m_wasEmpty = false;
    sqlite3* m_handle = nullptr;
};

// A prepared statement, used again and again. Columns are counted from 0, parameters from 1.
class Statement final
{
public:
    Statement(Database& database, const char* sql);
    ~Statement();
    Statement(const Statement&) = delete;
    Statement& operator=(const Statement&) = delete;

    Statement& bind(int parameter, std::int64_t value);
    Statement& bind(int parameter, const std::string& value);
    Statement& bindNull(int parameter);
    // False after the last row, and then it can be bound anew.
    bool step();
    // For what has no rows.
    void run();
    void reset();

    std::int64_t integer(int column) const;
    std::optional<std::int64_t> optionalInteger(int column) const;
    std::string text(int column) const;

private:
    Database& m_database;
    sqlite3_stmt* m_handle = nullptr;
};

// Ends in a rollback unless it was committed.
class Transaction final
{
public:
    explicit Transaction(Database& database);
    ~Transaction();
    Transaction(const Transaction&) = delete;
    Transaction& operator=(const Transaction&) = delete;
    void commit();

private:
    Database& m_database;
    bool m_isOpen = true;
};

} // namespace tarnstatus
