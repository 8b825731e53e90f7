#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "tarn/src/device/alert_texts.h"
#include "tarn/src/ipp/ipp_attributes.h"

namespace tarn::ipp {

// What the keywords of printer-state-reasons mean, as data (RFC 8011 5.4.12, PWG 5100.9, IANA's registry).

// What a reason says beside its alert.
enum class ReasonEffect : unsigned char
{
    None,
    PaperLow,
    TrayEmpty, // of one tray at least
    PaperOut,  // paper is waited for
    SupplyLow,
    SupplyEmpty,
    PowerSave,
    WarmUp,
    Offline, // the one who says it does not reach the printer
};

struct Reason
{
    const char* keyword;
    int code;          // of device::findAlertText; 0: none
    const char* alert; // keyword of the alert where there is no code; null: no alert, ever
    const char* text;  // its Chinese text
    ReasonEffect effect;
    bool stopsPrinter; // unless a suffix says that it does not
};

// The row of a keyword without suffix; null for one that nobody registered.
const Reason* findReason(std::string_view keyword);

// A keyword and the suffix that tells how bad it is.
struct ReasonWord
{
    std::string keyword;
    enum class Suffix : unsigned char
    {
        None,
        Report,
        Warning,
        Error,
    } suffix = Suffix::None;
};
ReasonWord splitReason(std::string_view reason);

// What the printer gives as printer-state-reasons, less what is no reason: "none", and the bookkeeping of a
// scheduler ("cups-...").
std::vector<ReasonWord> reasonWords(const IppAttributes& attributes);

// The alert of a keyword that is made like the standard's ("stapler-empty", "input-manual-input-request");
// null when it is not.
const device::AlertText* alertLike(std::string_view keyword);

} // namespace tarn::ipp
