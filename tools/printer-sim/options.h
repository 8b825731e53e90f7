#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tools/printer-sim/agent.h"
#include "tools/printer-sim/fault_plan.h"

namespace printersim {

// FILE[@ADDRESS][*COUNT] of the command line.
struct SourceArgument
{
    std::string file;
    std::optional<std::uint32_t> address; // nothing: the one behind the last printer's
    std::uint32_t count = 1;
};

struct Options
{
    enum class Action
    {
        Run,
        Help,
        Version,
    };

    Action action = Action::Run;
    std::uint16_t port = 161;
    std::uint16_t webPort = 80;              // 0: no pages
    std::uint32_t firstAddress = 0x7F000002; // 127.0.0.2
    bool oneSocket = false;
    bool control = false;
    std::uint32_t seed = 1;
    AgentSettings agent;
    FaultPlan faults;
    std::vector<SourceArgument> sources;
};

// What the command line asks for. Throws tools::UsageError.
Options parseOptions(const std::vector<std::string>& arguments);

std::string helpText();

} // namespace printersim
