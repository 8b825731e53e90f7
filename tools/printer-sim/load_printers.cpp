#include "tools/printer-sim/load_printers.h"

#include <set>

#include "tarn/src/base/files.h"
#include "tools/common/file_error.h"
#include "tools/common/option_table.h"
#include "tools/printer-sim/recording.h"
#include "tools/printer-sim/scenario.h"

namespace printersim {

namespace {

constexpr std::size_t kMostFileBytes = 64U << 20;

bool isScenario(const std::string& fileName)
{
    constexpr const char* kEnding = ".json";
    const std::size_t at = fileName.rfind('.');
    return at != std::string::npos && fileName.substr(at) == kEnding;
}

std::shared_ptr<const PrinterKind> readKind(const std::string& file, FaultPlan& faults)
{
    const tarn::FileText read = tarn::readFile(file, kMostFileBytes);
    if (read.error != tarn::ReadError::None) {
        throw tools::FileError(
            file + (read.error == tarn::ReadError::Absent ? ": no such file" : ": cannot be read"));
    }
    try {
        return kindOf(file, read.text, faults);
    } catch (const InputError& error) {
        throw tools::FileError(file +
                               (error.line() > 0 ? ":" + std::to_string(error.line()) : std::string()) +
                               ": " + error.what());
    }
}

} // namespace

std::shared_ptr<const PrinterKind> kindOf(const std::string& fileName, const std::string& text,
                                          FaultPlan& faults)
{
    if (!isScenario(fileName)) {
        return std::make_shared<const PrinterKind>(
            PrinterKind{Mib(parseRecording(text)), Course::constant(1), 0, false});
    }
    const Scenario scenario = parseScenario(text);
    faults = scenario.faults;
    return std::make_shared<const PrinterKind>(
        PrinterKind{Mib(rowsOf(scenario)), scenario.online, scenario.maxMessageSize, scenario.v1Only});
}

std::vector<Printer> loadPrinters(const Options& options)
{
    std::vector<Printer> printers;
    std::set<std::uint32_t> taken;
    std::uint32_t address = options.firstAddress;
    for (const SourceArgument& source : options.sources) {
        FaultPlan faults = options.faults;
        FaultPlan ownFaults;
        const auto kind = readKind(source.file, ownFaults);
        if (ownFaults.any()) {
            faults = ownFaults;
        }
        address = source.address.value_or(address);
        for (std::uint32_t i = 0; i < source.count; ++i, ++address) {
            if ((address >> 24) != 127) {
                throw tools::UsageError("there are no addresses left in 127.0.0.0/8");
            }
            if (!taken.insert(address).second) {
                throw tools::UsageError("two printers at " + addressText(address));
            }
            printers.emplace_back(kind, static_cast<std::uint32_t>(printers.size() + 1), address);
            printers.back().faults = faults;
        }
    }
    return printers;
}

} // namespace printersim
