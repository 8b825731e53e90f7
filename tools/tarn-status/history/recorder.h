#pragma once

#include <set>
#include <string>

#include "tools/tarn-status/history/database.h"
#include "tools/tarn-status/history/history.h"
#include "tools/tarn-status/printer_access.h"

namespace tarnstatus {

// Recorder adds one look to the database, inside of a transaction of its caller's.
class Recorder final
{
public:
    Recorder(Database& database, UnixTime now);

    void removeBefore(UnixTime time);
    // Of two readings of the same printer in a look the first counts.
    void add(const Reading& reading);

private:
    std::int64_t printerOf(const Reading& reading);
    std::int64_t suppliesOf(const std::string& list);
    void addEntry(std::int64_t printer, std::int64_t supplies, int pages, const std::string& levels);

    Database& m_database;
    const UnixTime m_now;
    std::set<std::int64_t> m_added;
    Statement m_bySerial;
    Statement m_byAddress;
    Statement m_insertPrinter;
    Statement m_updatePrinter;
    Statement m_findSupplies;
    Statement m_insertSupplies;
    Statement m_lastEntry;
    Statement m_insertEntry;
};

} // namespace tarnstatus
