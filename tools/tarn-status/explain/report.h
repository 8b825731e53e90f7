#pragma once

#include <string>
#include <vector>

#include "tools/tarn-status/explain/questions.h"
#include "tools/tarn-status/explain/verdict.h"
#include "tools/tarn-status/words.h"

namespace tarnstatus {

// What the texts of a report speak of.
struct ReportContext
{
    Language language = Language::English;
    ExplainOptions options;
    Questions questions;
    std::string address; // dotted
    std::string user;    // as it is known to the agent, or was named
    std::string group;   // whose members may open USB printers
    std::size_t columns = 80;
};

// What stands above the rows.
std::string headOf(const ReportContext& context);

// One line of the table: the probe, what was sent, what came of it, in how long.
std::string rowOf(const Finding& finding, const ReportContext& context);

// The cause, and what to do about it: lines no wider than the terminal.
std::string textOf(Cause cause, const ReportContext& context);

} // namespace tarnstatus
