#pragma once

#include <string>
#include <vector>

#include "tarn/src/device/alert_texts.h"
#include "tarn/src/device/state_words.h"
#include "tarn/src/ipp/ipp_attributes.h"

namespace tarn::ipp {

// One value of printer-alert (PWG 5100.9: the columns of prtAlertTable) with its printer-alert-description.
struct AlertRow
{
    const device::AlertText* known =
        nullptr; // of its code; null for "other", "unknown" and codes of their own
    device::Severity severity = device::Severity::Other; // where it is missing or unknown, too
    device::StateText state = device::StateText::None;   // what it says when it is no alert but a state
    std::string text;

    // Without a code it has to be at least a warning, and in words that are no state.
    bool isAlert() const
    {
        return known != nullptr ||
               (severity != device::Severity::Other && !text.empty() && state == device::StateText::None);
    }
};

std::vector<AlertRow> alertRows(const IppAttributes& attributes);

} // namespace tarn::ipp
