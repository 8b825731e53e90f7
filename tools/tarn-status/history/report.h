#pragma once

#include <string>
#include <vector>

#include "tools/tarn-status/history/history.h"
#include "tools/tarn-status/words.h"

namespace tarnstatus {

// "black", "drum cyan": a supply in a few words. The second of the same words gets a number.
std::vector<std::string> supplyNames(const History& history, Language language);

// A line a day: pages printed, counter, levels.
std::string historyTable(const History& history, Language language);
// A row an entry, times in UTC; the same in every language.
std::string historyCsv(const History& history);

// When the toners of these printers are used up.
std::string forecastTable(const std::vector<History>& histories, Language language);
std::string forecastCsv(const std::vector<History>& histories);

} // namespace tarnstatus
