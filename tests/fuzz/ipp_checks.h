#pragma once

#include <algorithm>
#include <cstdlib>

#include "tarn/src/device/rendering.h"
#include "tarn/src/device/utf8.h"
#include "tarn/src/ipp/ipp_status.h"

// What holds of the status of any attributes.
inline void checkIppStatus(const tarn::ipp::IppAttributes& attributes)
{
    using namespace tarn::device;
    const DeviceStatus status = tarn::ipp::buildStatus(attributes);
    const auto percentOk = [](const auto& item) { return item.percent >= 0 && item.percent <= 100; };
    const std::string message = stateMessage(status);
    const bool sound =
        status.supplies.size() <= 64 && status.trays.size() <= 64 && status.alerts.size() <= 129 &&
        std::all_of(status.supplies.begin(), status.supplies.end(), percentOk) &&
        std::all_of(status.trays.begin(), status.trays.end(), percentOk) &&
        static_cast<std::size_t>(std::count(message.begin(), message.end(), '-')) == status.alerts.size() &&
        isValidUtf8(message) && isValidUtf8(detailDocument(status)) && isValidUtf8(infoDocument(status)) &&
        status.totalPages.value_or(0) >= 0;
    if (!sound) {
        std::abort();
    }
}
