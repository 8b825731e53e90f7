#include "tools/tarn-status/history/recorder.h"

#include <vector>

#include "tools/tarn-status/history/row_text.h"

namespace tarnstatus {

namespace {

constexpr char kChanges[] = "SELECT total_changes()";

} // namespace

Recorder::Recorder(Database& database, UnixTime now)
    : m_database(database), m_now(now),
      m_bySerial(database,
                 "SELECT id FROM printer WHERE name = ?1 AND (serial = ?3 OR (serial = '' AND ip = ?2)) "
                 "ORDER BY serial = '', seen DESC LIMIT 1"),
      m_byAddress(database, "SELECT id FROM printer WHERE name = ?1 AND ip = ?2 ORDER BY seen DESC LIMIT 1"),
      m_insertPrinter(database,
                      "INSERT INTO printer(name, ip, serial, model, seen) VALUES(?1, ?2, ?3, ?4, ?5)"),
      m_updatePrinter(database, "UPDATE printer SET ip = ?2, serial = iif(?3 = '', serial, ?3), "
                                "model = iif(?4 = '', model, ?4), seen = ?5 WHERE id = ?6"),
      m_findSupplies(database, "SELECT id FROM supplies WHERE list = ?"),
      m_insertSupplies(database, "INSERT INTO supplies(list) VALUES(?)"),
      m_lastEntry(database, "SELECT supplies, pages, levels FROM entry WHERE printer = ? "
                            "ORDER BY time DESC LIMIT 1"),
      m_insertEntry(database, "INSERT OR REPLACE INTO entry(printer, time, supplies, pages, levels) "
                              "VALUES(?, ?, ?, ?, ?)")
{
}

// The last entry before that time still holds at it: it goes only with its printer.
void Recorder::removeBefore(UnixTime time)
{
    const std::int64_t before = m_database.integerOf(kChanges);
    Statement(m_database, "DELETE FROM entry WHERE printer IN (SELECT id FROM printer WHERE seen < ?)")
        .bind(1, time)
        .run();
    Statement(m_database, "DELETE FROM printer WHERE seen < ?").bind(1, time).run();
    std::vector<std::int64_t> printers;
    for (Statement rows(m_database, "SELECT id FROM printer"); rows.step();) {
        printers.push_back(rows.integer(0));
    }
    // One by one: the entries are sorted by printer first.
    Statement entries(m_database, "DELETE FROM entry WHERE printer = ?1 AND time < "
                                  "(SELECT max(time) FROM entry WHERE printer = ?1 AND time <= ?2)");
    for (const std::int64_t printer : printers) {
        entries.bind(1, printer).bind(2, time).run();
    }
    if (m_database.integerOf(kChanges) != before) { // it looks at every entry there is
        Statement(m_database, "DELETE FROM supplies WHERE id NOT IN (SELECT supplies FROM entry)").run();
    }
}

void Recorder::add(const Reading& reading)
{
    const std::int64_t printer = printerOf(reading);
    if (!m_added.insert(printer).second) {
        return;
    }
    const Json::Value& supplies = reading.detail["supplies"];
    addEntry(printer, suppliesOf(listText(supplies)), reading.pages, levelsText(supplies));
}

std::int64_t Recorder::printerOf(const Reading& reading)
{
    const NamedPrinter& named = reading.printer;
    Statement& find = reading.serial.empty() ? m_byAddress : m_bySerial;
    find.bind(1, named.name).bind(2, named.ip);
    if (!reading.serial.empty()) {
        find.bind(3, reading.serial);
    }
    const bool isKnown = find.step();
    const std::int64_t known = isKnown ? find.integer(0) : 0;
    find.reset();
    Statement& write = isKnown ? m_updatePrinter : m_insertPrinter;
    write.bind(1, named.name).bind(2, named.ip).bind(3, reading.serial).bind(4, reading.model).bind(5, m_now);
    if (isKnown) {
        write.bind(6, known);
    }
    write.run();
    return isKnown ? known : m_database.lastRowId();
}

std::int64_t Recorder::suppliesOf(const std::string& list)
{
    m_findSupplies.bind(1, list);
    const bool isKnown = m_findSupplies.step();
    const std::int64_t known = isKnown ? m_findSupplies.integer(0) : 0;
    m_findSupplies.reset();
    if (isKnown) {
        return known;
    }
    m_insertSupplies.bind(1, list).run();
    return m_database.lastRowId();
}

void Recorder::addEntry(std::int64_t printer, std::int64_t supplies, int pages, const std::string& levels)
{
    m_lastEntry.bind(1, printer);
    const bool isSame = m_lastEntry.step() && m_lastEntry.integer(0) == supplies &&
                        m_lastEntry.optionalInteger(1).value_or(-1) == pages && m_lastEntry.text(2) == levels;
    m_lastEntry.reset();
    if (isSame) {
        return;
    }
    m_insertEntry.bind(1, printer).bind(2, m_now).bind(3, supplies).bind(5, levels);
    if (pages >= 0) {
        m_insertEntry.bind(4, pages);
    } else {
        m_insertEntry.bindNull(4);
    }
    m_insertEntry.run();
}

} // namespace tarnstatus
