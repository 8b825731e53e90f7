#pragma once

#include "tools/tarn-status/explain/finding.h"
#include "tools/tarn-status/explain/questions.h"

namespace tarnstatus {

// Asks over IPP; where nothing that can be used comes in plain alone or encrypted alone, the other way round,
// too.
Finding askIpp(const Questions& questions);

} // namespace tarnstatus
