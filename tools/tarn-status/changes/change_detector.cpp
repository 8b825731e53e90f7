#include "tools/tarn-status/changes/change_detector.h"

namespace tarnstatus {

namespace {

// Printers of one name and address are told apart by their order.
std::string keyOf(const Reading& reading, std::map<std::string, int>& counts)
{
    const std::string name = reading.printer.name + '\n' + reading.printer.ip;
    return name + '\n' + std::to_string(++counts[name]);
}

bool hasFlag(const Reading& reading, const char* flag)
{
    return reading.info.isObject() && reading.info[flag] == "1";
}

} // namespace

bool Debounced::take(bool value, Time now)
{
    if (!m_believed) {
        m_believed = value;
        return false;
    }
    if (value == *m_believed) {
        m_doubtedSince.reset();
        return false;
    }
    if (!m_doubtedSince) {
        m_doubtedSince = now;
        return false;
    }
    if (now - *m_doubtedSince < kHold) {
        return false;
    }
    m_believed = value;
    m_doubtedSince.reset();
    return true;
}

std::vector<Change> ChangeDetector::take(const std::vector<Reading>& readings, Debounced::Time now)
{
    for (auto& [key, printer] : m_printers) {
        printer.isThere = false;
    }
    std::map<std::string, int> counts;
    for (const Reading& reading : readings) {
        Printer& printer = m_printers[keyOf(reading, counts)];
        printer.last = reading;
        printer.isThere = true;
    }
    std::vector<Change> changes;
    for (auto& [key, printer] : m_printers) {
        check(printer, now, changes);
    }
    return changes;
}

void ChangeDetector::check(Printer& printer, Debounced::Time now, std::vector<Change>& changes)
{
    if (!printer.isThere) {
        printer.last.online = false;
        printer.last.state = 2;
    }
    const Reading& reading = printer.last;
    if (printer.online.take(reading.online, now)) {
        changes.push_back({reading.online ? "back" : "offline", reading});
    }
    if (!reading.online) {
        return;
    }
    const bool tonerLow = hasFlag(reading, "lessToner") || hasFlag(reading, "lackToner");
    if (printer.tonerLow.take(tonerLow, now) && tonerLow) {
        changes.push_back({"toner-low", reading});
    }
    const bool outOfPaper = hasFlag(reading, "lackPaper");
    if (printer.outOfPaper.take(outOfPaper, now) && outOfPaper) {
        changes.push_back({"out-of-paper", reading});
    }
}

} // namespace tarnstatus
