#include "tools/printer-sim/control.h"

#include <sstream>

#include "tools/printer-sim/recording.h"

namespace printersim {

namespace {

std::string setRow(Printer& printer, const std::string& argument, double seconds)
{
    const Row row = parseRecordingLine(argument, 1);
    const auto value = row.source({seconds, seconds, 1, printer.address()});
    printer.set(row.name, *value);
    return {};
}

std::string unsetRow(Printer& printer, const std::string& argument)
{
    const auto oid = parseOid(argument);
    if (!oid) {
        return "no object identifier";
    }
    printer.unset(*oid);
    return {};
}

std::string setFaults(Printer& printer, const std::string& argument)
{
    FaultPlan plan;
    const std::string wrong = argument == "none" ? std::string() : parseFaults(argument, plan);
    if (!wrong.empty()) {
        return "unknown fault " + wrong;
    }
    printer.faults = plan;
    return {};
}

// The reason why it could not be done; empty when it was.
std::string apply(const std::string& command, Printer& printer, const std::string& argument, double seconds)
{
    if (command == "set") {
        return setRow(printer, argument, seconds);
    }
    if (command == "unset") {
        return unsetRow(printer, argument);
    }
    if (command == "faults") {
        return setFaults(printer, argument);
    }
    if (command == "on") {
        printer.switchOn(seconds);
    } else if (command == "off") {
        printer.switchOff();
    } else {
        return "unknown command " + command;
    }
    return {};
}

std::string applyToAll(const std::string& command, Simulation& simulation, const std::string& argument,
                       double seconds)
{
    for (Printer& printer : simulation.printers()) {
        if (std::string reason = apply(command, printer, argument, seconds); !reason.empty()) {
            return reason;
        }
    }
    return {};
}

std::string countText(const Simulation::Counters& counters)
{
    return "ok requests=" + std::to_string(counters.requests) +
           " answers=" + std::to_string(counters.answers);
}

} // namespace

std::string runCommand(const std::string& line, Simulation& simulation, double seconds)
{
    std::istringstream words(line);
    std::string command;
    std::string target;
    std::string argument;
    words >> command >> target >> std::ws;
    std::getline(words, argument);
    std::string reason;
    try {
        const auto address = parseAddress(target);
        Printer* printer = address ? simulation.find(*address) : nullptr;
        if (command == "count" && printer != nullptr) {
            return countText(simulation.counters(*address));
        }
        if (printer != nullptr) {
            reason = apply(command, *printer, argument, seconds);
        } else if (target == "all" && command != "count") {
            reason = applyToAll(command, simulation, argument, seconds);
        } else {
            reason = "no printer at \"" + target + "\"";
        }
    } catch (const InputError& error) {
        reason = error.what();
    }
    return reason.empty() ? "ok" : "error: " + reason;
}

} // namespace printersim
