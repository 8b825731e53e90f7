#pragma once

#include <cstdlib>
#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "tools/tarn-status/history/store.h"
#include "tools/tarn-status/printer_access.h"

// A directory of the test's own, gone with it.
class Directory final
{
public:
    Directory()
    {
        std::string name = std::filesystem::temp_directory_path() / "kel-history-XXXXXX";
        m_path = ::mkdtemp(name.data());
    }
    ~Directory() { std::filesystem::remove_all(m_path); }
    Directory(const Directory&) = delete;
    Directory& operator=(const Directory&) = delete;
    std::string file(const std::string& name = "state/tarn/history.db") const { return m_path / name; }

private:
    std::filesystem::path m_path;
};

// What a printer with these toners says; -1 is a level that it does not know.
inline tarnstatus::Reading readingOf(const std::string& name, int pages,
                                     const std::vector<std::pair<std::string, int>>& toners,
                                     const std::string& serial = "S1", const std::string& ip = "10.0.0.1")
{
    tarnstatus::Reading reading;
    reading.printer = {name, ip};
    reading.online = true;
    reading.serial = serial;
    reading.model = "Orion C4000";
    reading.pages = pages;
    reading.detail["supplies"] = Json::Value(Json::arrayValue);
    for (const auto& [colour, level] : toners) {
        Json::Value supply;
        supply["class"] = "toner";
        supply["colour"] = colour;
        supply["description"] = colour + " cartridge";
        supply["percent"] = level < 0 ? Json::Value() : Json::Value(level);
        reading.detail["supplies"].append(supply);
    }
    return reading;
}

inline tarnstatus::History onlyHistory(tarnstatus::HistoryStore& store, tarnstatus::UnixTime since = 0)
{
    const auto printers = store.printers();
    return printers.size() == 1 ? store.historyOf(printers.front(), since) : tarnstatus::History();
}
