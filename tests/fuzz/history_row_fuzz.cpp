#include <cstdint>
#include <cstdlib>
#include <string>

#include "tools/tarn-status/history/report.h"
#include "tools/tarn-status/history/row_text.h"

// What a line of the input says of supplies, the next one of their levels: a history in which each entry has
// a level for each supply, and which can be shown.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    using namespace tarnstatus;
    std::string text(reinterpret_cast<const char*>(data), size);
    History history;
    history.printer.name = cleanText(text);
    HistoryReader reader(history);
    std::int64_t time = 0;
    while (!text.empty()) {
        const std::size_t first = text.find('\n');
        const std::size_t second = first == std::string::npos ? first : text.find('\n', first + 1);
        const std::string levels =
            first == std::string::npos ? "" : text.substr(first + 1, second - first - 1);
        ++time;
        reader.add(time, time * 1000003, levels, text.substr(0, first));
        text = second == std::string::npos ? "" : text.substr(second + 1);
    }
    history.printer.seen = time;
    reader.finish(0);
    for (const Entry& entry : history.entries) {
        if (entry.levels.size() != history.supplies.size()) {
            std::abort();
        }
    }
    if (historyTable(history, Language::English).find('\x1b') != std::string::npos) {
        std::abort();
    }
    historyCsv(history);
    return 0;
}
