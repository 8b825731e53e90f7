#pragma once

#include <string>

#include "tools/printer-sim/simulation.h"

namespace printersim {

// Carries out one command and says what came of it: "ok", "ok " and an answer, or "error: " and a reason.
//   set ADDRESS OID|TAG|VALUE   a row gets a value, or comes
//   unset ADDRESS OID           a row goes
//   off ADDRESS, on ADDRESS     switches a printer off, on (its up-time begins again)
//   faults ADDRESS LIST         as --faults; "none" ends them
//   count ADDRESS               requests that came and answers that went
// ADDRESS may be "all", but for count.
std::string runCommand(const std::string& line, Simulation& simulation, double seconds);

} // namespace printersim
