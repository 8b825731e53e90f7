#include "tarn/src/device/picture_field.h"

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

const char* fieldName(PictureField field)
{
    constexpr const char* names[kPictureFieldCount] = {
        "model", "serial", "description", "location", "state", "alerts", "supplies", "trays", "counters"};
    return names[static_cast<std::size_t>(field)];
}

bool tells(const DeviceStatus& picture, PictureField field)
{
    switch (field) {
    case PictureField::Model:
        return !picture.model.empty();
    case PictureField::SerialNumber:
        return !picture.serialNumber.empty();
    case PictureField::Description:
        return !picture.description.empty();
    case PictureField::Location:
        return !picture.location.empty();
    case PictureField::State:
    case PictureField::Alerts: // none is something said, too
        return picture.activity != Activity::Unknown || !picture.alerts.empty();
    case PictureField::Supplies:
        return !picture.supplies.empty();
    case PictureField::Trays:
        return !picture.trays.empty();
    case PictureField::Counters:
        return picture.totalPages.has_value();
    }
    return false;
}

bool takeMissing(DeviceStatus& picture, const DeviceStatus& other, PictureField field)
{
    switch (field) {
    case PictureField::Model:
        return takeText(picture.model, other.model);
    case PictureField::SerialNumber:
        return takeText(picture.serialNumber, other.serialNumber);
    case PictureField::Description:
        return takeText(picture.description, other.description);
    case PictureField::Location:
        return takeText(picture.location, other.location);
    case PictureField::Supplies:
        return takeLevels(picture.supplies, other.supplies);
    case PictureField::Trays:
        return takeLevels(picture.trays, other.trays);
    case PictureField::Counters:
        if (picture.totalPages || !other.totalPages) {
            return false;
        }
        picture.totalPages = other.totalPages;
        return true;
    case PictureField::State:
    case PictureField::Alerts:
        break;
    }
    return false;
}

} // namespace tarn::device
