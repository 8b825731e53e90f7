#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "tarn/src/device/device_status.h"

namespace tarn::device {

// What a code of the alert list is to a person.
enum class AlertMeaning : std::uint8_t
{
    Fault,         // reported
    Event,         // something that happened and is over (a cover closed, power up): never reported
    StaleWhenIdle, // devices leave it standing: reported only while the printer neither idles nor prints
    PowerSave,
    WarmUp,
};

struct AlertText
{
    int code;            // PrtAlertCodeTC, IANA-PRINTER-MIB
    const char* keyword; // its label there
    const char* text;    // Chinese, without hyphen
    AlertMeaning meaning;
};

// Null for a code that the list does not have.
const AlertText* findAlertText(int code);
const AlertText* findAlertText(std::string_view keyword); // as the list spells it, whatever the case

// One bit of hrPrinterDetectedErrorState (RFC 2790), counted from the most significant bit of the first
// octet.
struct ErrorBit
{
    int bit;
    const char* keyword;
    const char* text;
    bool stopsPrinter;  // RFC 2790's table gives "down" for it, else "warning"
    int explainedBy[8]; // codes of alerts that say the same more exactly; 0 ends the list
};

constexpr int kErrorBitCount = 15;
const ErrorBit& errorBit(int bit);

// Chinese name of a sub-unit (prtAlertGroup), e.g. "进纸部件"; "打印机" for the others.
const char* alertGroupText(std::int64_t group);

// Adds an alert; where there is one of the same kind, text and place, the worse of their severities remains.
void addAlert(std::vector<Alert>& alerts, Alert alert);
void sortWorstFirst(std::vector<Alert>& alerts); // equal ones keep their order

} // namespace tarn::device
