#include "tarn/src/device/status_field.h"

#include <algorithm>

namespace tarn::device {

namespace {

template <typename Level>
bool isKnown(const Level& level)
{
    return level.levelKind != LevelKind::Unknown;
}

// How much a list of supplies or trays tells: nothing, that they exist, or also how full one is.
template <typename Level>
int worth(const std::vector<Level>& levels)
{
    return levels.empty() ? 0 : std::any_of(levels.begin(), levels.end(), isKnown<Level>) ? 2 : 1;
}

bool takeText(std::string& text, const std::string& other)
{
    if (!text.empty() || other.empty()) {
        return false;
    }
    text = other;
    return true;
}

template <typename Level>
bool takeLevels(std::vector<Level>& levels, const std::vector<Level>& other)
{
    if (worth(levels) >= worth(other)) {
        return false;
    }
    levels = other;
    return true;
}

} // namespace

const char* fieldName(StatusField field)
{
    constexpr const char* kNames[kStatusFieldCount] = {
        "model", "serial", "description", "location", "state", "alerts", "supplies", "trays", "counters"};
    return kNames[static_cast<std::size_t>(field)];
}

bool tells(const DeviceStatus& status, StatusField field)
{
    switch (field) {
    case StatusField::Model:
        return !status.model.empty();
    case StatusField::SerialNumber:
        return !status.serialNumber.empty();
    case StatusField::Description:
        return !status.description.empty();
    case StatusField::Location:
        return !status.location.empty();
    case StatusField::State:
    case StatusField::Alerts: // none is something said, too
        return status.activity != Activity::Unknown || !status.alerts.empty();
    case StatusField::Supplies:
        return !status.supplies.empty();
    case StatusField::Trays:
        return !status.trays.empty();
    case StatusField::Counters:
        return status.totalPages.has_value();
    }
    return false;
}

bool takeMissing(DeviceStatus& status, const DeviceStatus& other, StatusField field)
{
    switch (field) {
    case StatusField::Model:
        return takeText(status.model, other.model);
    case StatusField::SerialNumber:
        return takeText(status.serialNumber, other.serialNumber);
    case StatusField::Description:
        return takeText(status.description, other.description);
    case StatusField::Location:
        return takeText(status.location, other.location);
    case StatusField::Supplies:
        return takeLevels(status.supplies, other.supplies);
    case StatusField::Trays:
        return takeLevels(status.trays, other.trays);
    case StatusField::Counters:
        if (status.totalPages || !other.totalPages) {
            return false;
        }
        status.totalPages = other.totalPages;
        return true;
    case StatusField::State:
    case StatusField::Alerts:
        break;
    }
    return false;
}

} // namespace tarn::device
