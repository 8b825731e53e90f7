// The history of tarn-status: how large it becomes, how long a look takes to be added, and what reading
// costs.
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <random>
#include <string>

#include "bench/report.h"
#include "tools/tarn-status/history/forecast.h"
#include "tools/tarn-status/history/report.h"
#include "tools/tarn-status/history/store.h"

namespace {

using namespace tarnstatus;

constexpr UnixTime kBegin = 1700000000 / kDay * kDay;
constexpr int kYears = 2;
constexpr int kKeepDays = 800;
constexpr double kMegabyte = 1e6;

double secondsSince(std::chrono::steady_clock::time_point begin)
{
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
}

// Printers whose counter goes up from look to look, and with it, now and then, a level down.
class Fleet final
{
public:
    explicit Fleet(int count) : m_printers(static_cast<std::size_t>(count))
    {
        for (int i = 0; i < count; ++i) {
            Reading& reading = m_printers[static_cast<std::size_t>(i)];
            reading.printer = {"printer-" + std::to_string(i), "10.0.0." + std::to_string(i)};
            reading.online = true;
            reading.model = "Orion C4000";
            reading.serial = "ORC40" + std::to_string(10000 + i);
            reading.pages = 1000 * i;
            for (const char* const colour : {"black", "cyan", "magenta", "yellow", "none"}) {
                Json::Value supply;
                supply["class"] = std::string(colour) == "none" ? "waste" : "toner";
                supply["colour"] = colour;
                supply["description"] = std::string(colour) + " cartridge of the C4000 series";
                supply["percent"] = 100;
                reading.detail["supplies"].append(supply);
            }
        }
    }

    const std::vector<Reading>& next()
    {
        for (Reading& reading : m_printers) {
            reading.pages += 1 + static_cast<int>(m_random() % 20);
            for (Json::Value& supply : reading.detail["supplies"]) {
                if (m_random() % 15 == 0) {
                    supply["percent"] = (supply["percent"].asInt() + 100) % 101;
                }
            }
        }
        return m_printers;
    }

    const std::vector<Reading>& same() const { return m_printers; }

private:
    std::vector<Reading> m_printers;
    std::mt19937 m_random{17};
};

void recordYears(HistoryStore& store, Fleet& fleet)
{
    for (int day = 0; day < kYears * 365; ++day) {
        for (int hour = 8; hour <= 18; ++hour) { // at night only the time of the last answer changes
            const UnixTime time = kBegin + day * kDay + hour * 3600;
            store.record(hour < 18 ? fleet.next() : fleet.same(), time, kKeepDays);
        }
    }
}

void measureYears(bench::Report& report, const std::string& file)
{
    HistoryStore store(file, HistoryStore::Access::Record);
    Fleet fleet(50);
    recordYears(store, fleet);
    const auto size = static_cast<double>(std::filesystem::file_size(file));
    report.add({"history of 50 printers over two years", size / kMegabyte, "MB", 20, "", 0, {}});
    const auto begin = std::chrono::steady_clock::now();
    std::vector<History> histories;
    for (const RecordedPrinter& printer : store.printers()) {
        histories.push_back(store.historyOf(printer));
    }
    const std::string text = forecastTable(histories, Language::English);
    report.add({"forecast of 50 printers over two years", secondsSince(begin), "s", {}, "", 0, {}});
    if (histories.size() != 50 || histories[0].entries.size() != kYears * 365U * 10U || text.empty()) {
        throw std::runtime_error("not everything was recorded");
    }
}

void measureTransaction(bench::Report& report, const std::string& file)
{
    Fleet fleet(1000);
    std::vector<double> firsts;
    std::vector<double> changes;
    for (int round = 0; round < 5; ++round) {
        std::filesystem::remove(file);
        HistoryStore store(file, HistoryStore::Access::Record);
        for (std::vector<double>* const times : {&firsts, &changes}) {
            const std::vector<Reading>& readings = fleet.next();
            const auto begin = std::chrono::steady_clock::now();
            store.record(readings, kBegin + static_cast<UnixTime>(changes.size() + firsts.size()), kKeepDays);
            times->push_back(secondsSince(begin));
        }
    }
    report.add({"first look at 1000 printers", bench::median(firsts), "s", 1, "", 0, {}});
    report.add({"another look at 1000 printers, all changed", bench::median(changes), "s", 1, "", 0, {}});
}

} // namespace

int main(int argc, char** argv)
{
    const auto options = bench::benchOptions(argc, argv, 0);
    if (!options) {
        return 2;
    }
    // Eight thousand looks wait for the disk as often, which is not what is measured there: they go to
    // memory.
    std::string directory = std::filesystem::temp_directory_path() / "kel-history-bench-XXXXXX";
    std::string inMemory = "/dev/shm/kel-history-bench-XXXXXX";
    if (::mkdtemp(directory.data()) == nullptr) {
        return 1;
    }
    const bool hasMemory = ::mkdtemp(inMemory.data()) != nullptr;
    int status = 1;
    try {
        bench::Report report;
        measureTransaction(report, directory + "/thousand.db");
        measureYears(report, (hasMemory ? inMemory : directory) + "/years.db");
        status = !options->json.empty() && !report.write(options->json) ? 1 : report.isGood() ? 0 : 3;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
    }
    std::filesystem::remove_all(directory);
    if (hasMemory) {
        std::filesystem::remove_all(inMemory);
    }
    return status;
}
