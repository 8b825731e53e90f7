#include "tarn/src/device/device_status.h"

#include <tuple>

namespace tarn::device {

namespace {

auto fields(const Supply& s)
{
    return std::tie(s.kind, s.color, s.receptacle, s.type, s.colorText, s.description, s.levelKind,
                    s.percent);
}

auto fields(const Tray& t)
{
    return std::tie(t.name, t.levelKind, t.percent, t.level, t.capacity, t.unit, t.available, t.empty);
}

auto fields(const Alert& a)
{
    return std::tie(a.code, a.keyword, a.text, a.severity, a.place);
}

auto fields(const DeviceStatus& d)
{
    return std::tie(d.model, d.serialNumber, d.description, d.location, d.activity, d.powerSave,
                    d.needsAttention, d.supplies, d.trays, d.alerts, d.totalPages, d.paperLow, d.paperOut,
                    d.tonerLow, d.tonerOut);
}

} // namespace

bool operator==(const Supply& left, const Supply& right)
{
    return fields(left) == fields(right);
}

bool operator==(const Tray& left, const Tray& right)
{
    return fields(left) == fields(right);
}

bool operator==(const Alert& left, const Alert& right)
{
    return fields(left) == fields(right);
}

bool operator==(const DeviceStatus& left, const DeviceStatus& right)
{
    return fields(left) == fields(right);
}

} // namespace tarn::device
