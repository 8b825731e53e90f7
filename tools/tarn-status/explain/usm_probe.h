#pragma once

#include "tools/tarn-status/explain/finding.h"
#include "tools/tarn-status/explain/questions.h"

namespace tarnstatus {

// Asks over SNMPv3 in the name of the user.
Finding askAsUser(const Questions& questions);

} // namespace tarnstatus
