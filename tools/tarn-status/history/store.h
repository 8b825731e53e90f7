#pragma once

#include <string>
#include <vector>

#include "tools/tarn-status/history/database.h"
#include "tools/tarn-status/history/history.h"
#include "tools/tarn-status/printer_access.h"

namespace tarnstatus {

// $XDG_STATE_HOME/tarn/history.db, or below ~/.local/state. Throws tools::FileError where neither is known.
std::string historyFile();

// HistoryStore is the database of what printers said in the past.
//
// Invariants
//  (1) A printer is the name that it was given, and its serial number: another device in its place begins a
//      history of its own.
//  (2) A printer has an entry where its pages or levels are not those of the entry before.
//  (3) A look is recorded whole or not at all, and none that is earlier than the last.
//
// Errors: those of Database; a file that is somebody else's is left as it is.
class HistoryStore final
{
public:
    enum class Access
    {
        Read,
        Record, // makes the file and its directory where they are not there
    };

    HistoryStore(const std::string& file, Access access);

    // Adds what the printers that answered say, and removes what is older than so many days before the look
    // before this one: a clock that jumps ahead for once removes nothing. Returns how many printers answered.
    int record(const std::vector<Reading>& readings, UnixTime now, int keepDays);

    // All of them, the one that was seen last first.
    std::vector<RecordedPrinter> printers();
    // From that time on, with the state at that time as the first entry.
    History historyOf(const RecordedPrinter& printer, UnixTime since = 0);

private:
    void prepare(Access access);
    void makeTables();
    void demandOwnTables();

    Database m_database;
};

} // namespace tarnstatus
