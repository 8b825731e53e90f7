#pragma once

#include "tools/tarn-status/explain/finding.h"
#include "tools/tarn-status/explain/questions.h"

namespace tarnstatus {

// Asks over SNMP: in the version that is to be asked in, and while nobody answers in the others, SNMPv3's
// discovery last. Silent versions are listened to until the end: a printer that sleeps answers late.
void askSnmp(const Questions& questions, const Tell& tell);

} // namespace tarnstatus
