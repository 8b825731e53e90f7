#pragma once

#include <vector>

#include "tools/tarn-status/printer_access.h"

namespace tarnstatus {

// How printers are; the numbers are exit statuses.
enum class Condition
{
    Fine = 0,
    Attention = 1,
    Unreachable = 2,
};

Condition conditionOf(const Reading& reading);
// Of all printers together, the worst; of none: unreachable.
Condition conditionOf(const std::vector<Reading>& readings);

// It has an alert that is a warning or worse, or a paper or toner flag.
bool needsAttention(const Reading& reading);

// Whether what answers is a printer at all.
bool looksLikePrinter(const Reading& reading);

// The state as a word that does not depend on the language: idle, printing, warmup, other, unreachable.
const char* stateWord(int state);

} // namespace tarnstatus
