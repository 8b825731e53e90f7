#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace tarn::device {

// The protocol-free status of one printer. Texts are valid UTF-8. Unknown, absent and zero stay distinct.

enum class Activity // what the printer is doing
{
    Unknown,
    Other,
    Idle,
    Printing,
    WarmUp,
};

enum class SupplyColor
{
    None,  // not a colorant: waste, drum, fuser, staples ...
    Black, // matte and photo black too; colorText says which
    Cyan,
    Magenta,
    Yellow,
    Red,
    TriColor, // cyan, magenta and yellow in one cartridge
    Other,    // light cyan, light black, white ...; colorText says which
};

enum class SupplyKind
{
    Toner, // whatever marks paper: toner, ink, wax, ribbon
    Drum,
    Developer,
    Fuser,
    Transfer,
    Cleaner,
    Waste,
    Staples,
    Other,
};

enum class LevelKind
{
    Unknown,   // the printer does not say (-2, no row, no capacity)
    Some,      // some is left, it does not say how much (-3)
    Unlimited, // no restriction (-1)
    Percent,
};

struct Supply
{
    SupplyKind kind = SupplyKind::Other;
    SupplyColor color = SupplyColor::None;
    bool receptacle = false; // filled rather than consumed
    std::string type;        // the standard's keyword (prtMarkerSuppliesType), e.g. "tonerCartridge"
    std::string colorText;
    std::string description;
    LevelKind levelKind = LevelKind::Unknown;
    int percent = 0; // 0..100 when levelKind is Percent: of what is left, or of the room left in a receptacle
};

struct Tray
{
    std::string name;
    LevelKind levelKind = LevelKind::Unknown;
    int percent = 0;
    std::int64_t level = -2; // as the printer says; -2 unknown, -3 at least one sheet
    std::int64_t capacity = -2;
    std::string unit; // of both, the standard's keyword, e.g. "sheets"; empty when the printer does not say
    bool available = true; // false: broken, off-line or status unknown
    bool empty = false;
};

enum class Severity
{
    Other,
    Warning,
    Critical,
};

struct Alert
{
    int code = 0;        // prtAlertCode, or 0 for one derived from an error bit
    std::string keyword; // language-neutral, e.g. "jam", "coverOpen"
    std::string text;    // Chinese, or the device's own where the code is unknown; never holds "-"
    Severity severity = Severity::Other;
    std::string place; // e.g. tray name; may be empty
};

struct DeviceStatus
{
    std::string model;
    std::string serialNumber;
    std::string description; // what the device says of itself
    std::string location;
    Activity activity = Activity::Unknown;
    bool powerSave = false;
    bool needsAttention = false; // it has stopped, or will not start, until somebody does something
    std::vector<Supply> supplies;
    std::vector<Tray> trays;
    std::vector<Alert> alerts;              // worst first, one per kind and place
    std::optional<std::int64_t> totalPages; // impressions or sheets, as the printer counts them
    bool paperLow = false;
    bool paperOut = false;
    bool tonerLow = false;
    bool tonerOut = false;
};

bool operator==(const Supply& left, const Supply& right);
bool operator==(const Tray& left, const Tray& right);
bool operator==(const Alert& left, const Alert& right);
bool operator==(const DeviceStatus& left, const DeviceStatus& right);
inline bool operator!=(const DeviceStatus& left, const DeviceStatus& right)
{
    return !(left == right);
}

} // namespace tarn::device
