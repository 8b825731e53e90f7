#include "tools/tarn-status/history/history_command.h"

#include <chrono>
#include <cstdio>
#include <cstring>

#include "tools/common/file_error.h"
#include "tools/common/standard_output.h"
#include "tools/tarn-status/history/plot.h"
#include "tools/tarn-status/history/report.h"
#include "tools/tarn-status/history/store.h"
#include "tools/tarn-status/options.h"
#include "tools/tarn-status/session.h"

namespace tarnstatus {

namespace {

UnixTime secondsOf(std::chrono::system_clock::time_point time)
{
    return std::chrono::duration_cast<std::chrono::seconds>(time.time_since_epoch()).count();
}

UnixTime now()
{
    return secondsOf(std::chrono::system_clock::now());
}

bool isCalled(const RecordedPrinter& printer, const std::string& name)
{
    return printer.name == name || printer.ip == name || printer.serial == name;
}

// Of several the one that was seen last.
std::vector<RecordedPrinter> printersCalled(HistoryStore& store, const std::string& name)
{
    std::vector<RecordedPrinter> found;
    std::string others;
    for (const RecordedPrinter& printer : store.printers()) {
        if (name.empty() || (found.empty() && isCalled(printer, name))) {
            found.push_back(printer);
        } else if (isCalled(printer, name)) {
            others += (others.empty() ? "" : ", ") + (printer.serial.empty() ? printer.ip : printer.serial);
        }
    }
    if (found.empty()) {
        throw tools::FileError(historyFile() +
                               (name.empty() ? " has no printers" : " knows no printer " + name));
    }
    if (!others.empty()) {
        std::fprintf(stderr, "tarn-status: %s was also called: %s\n", name.c_str(), others.c_str());
    }
    return found;
}

std::string forecastsOf(HistoryStore& store, const std::vector<RecordedPrinter>& printers, UnixTime since,
                        bool isCsv)
{
    std::vector<History> histories;
    histories.reserve(printers.size());
    for (const RecordedPrinter& printer : printers) {
        histories.push_back(store.historyOf(printer, since));
    }
    return isCsv ? forecastCsv(histories) : forecastTable(histories, languageOfEnvironment());
}

} // namespace

int record(const Options& options)
{
    // First the file: an hour's look at the printers is not for nothing.
    HistoryStore store(historyFile(), HistoryStore::Access::Record);
    const Look look = lookOnce(options);
    return store.record(look.readings, secondsOf(look.time), options.history.keepDays) > 0 ? 0 : 2;
}

int lookBack(const Options& options)
{
    const HistoryOptions& wanted = options.history;
    const UnixTime since = wanted.since.empty() ? 0 : sinceOf(wanted.since, now());
    HistoryStore store(historyFile(), HistoryStore::Access::Read);
    const std::vector<RecordedPrinter> printers = printersCalled(store, wanted.printer);
    const bool isCsv = std::strcmp(options.format->name, "csv") == 0;
    if (wanted.forecast) {
        tools::writeOut(forecastsOf(store, printers, since, isCsv));
        return 0;
    }
    const History history = store.historyOf(printers.front(), since);
    if (history.isCut) {
        std::fprintf(stderr, "tarn-status: %s has more entries than are read: the latest ones follow\n",
                     wanted.printer.c_str());
    }
    if (!wanted.plotFile.empty()) {
        PlotKind kind{};
        plotKindOf(wanted.plotFile, kind);
        writeFile(wanted.plotFile, plotOf(history, kind, languageOfEnvironment()));
        return 0;
    }
    tools::writeOut(isCsv ? historyCsv(history) : historyTable(history, languageOfEnvironment()));
    return 0;
}

} // namespace tarnstatus
