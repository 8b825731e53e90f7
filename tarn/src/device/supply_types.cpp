#include "tarn/src/device/supply_types.h"

#include <algorithm>
#include <iterator>

#include "tarn/src/device/supply_words.h"

namespace tarn::device {

namespace {

// Each type at the place of its number less one.
constexpr SupplyType kSupplyTypes[] = {
    {1, "other", SupplyKind::Other, false},
    {2, "unknown", SupplyKind::Other, false},
    {3, "toner", SupplyKind::Toner, true},
    {4, "wasteToner", SupplyKind::Waste, true},
    {5, "ink", SupplyKind::Toner, true},
    {6, "inkCartridge", SupplyKind::Toner, true},
    {7, "inkRibbon", SupplyKind::Toner, true},
    {8, "wasteInk", SupplyKind::Waste, true},
    {9, "opc", SupplyKind::Drum, true},
    {10, "developer", SupplyKind::Developer, true},
    {11, "fuserOil", SupplyKind::Fuser, true},
    {12, "solidWax", SupplyKind::Toner, true},
    {13, "ribbonWax", SupplyKind::Toner, true},
    {14, "wasteWax", SupplyKind::Waste, true},
    {15, "fuser", SupplyKind::Fuser, true},
    {16, "coronaWire", SupplyKind::Other, true},
    {17, "fuserOilWick", SupplyKind::Fuser, true},
    {18, "cleanerUnit", SupplyKind::Cleaner, true},
    {19, "fuserCleaningPad", SupplyKind::Cleaner, true},
    {20, "transferUnit", SupplyKind::Transfer, true},
    {21, "tonerCartridge", SupplyKind::Toner, true},
    {22, "fuserOiler", SupplyKind::Fuser, true},
    {23, "water", SupplyKind::Other, true},
    {24, "wasteWater", SupplyKind::Waste, true},
    {25, "glueWaterAdditive", SupplyKind::Other, true},
    {26, "wastePaper", SupplyKind::Waste, true},
    {27, "bindingSupply", SupplyKind::Other, true},
    {28, "bandingSupply", SupplyKind::Other, true},
    {29, "stitchingWire", SupplyKind::Staples, true},
    {30, "shrinkWrap", SupplyKind::Other, true},
    {31, "paperWrap", SupplyKind::Other, true},
    {32, "staples", SupplyKind::Staples, true},
    {33, "inserts", SupplyKind::Other, true},
    {34, "covers", SupplyKind::Other, true},
    {35, "matteToner", SupplyKind::Toner, true},
    {36, "matteInk", SupplyKind::Toner, true},
};

constexpr bool areInOrder()
{
    std::int64_t expected = 1;
    for (const SupplyType& row : kSupplyTypes) {
        if (row.type != expected++) {
            return false;
        }
    }
    return true;
}
static_assert(areInOrder());

constexpr std::int64_t kUnitPercent = 19;

} // namespace

const SupplyType* findSupplyType(std::optional<std::int64_t> type)
{
    const bool isListed = type && *type >= 1 && *type <= static_cast<std::int64_t>(std::size(kSupplyTypes));
    return isListed ? &kSupplyTypes[*type - 1] : nullptr;
}

const SupplyType* findSupplyType(std::string_view keyword)
{
    const auto* const found = std::find_if(std::begin(kSupplyTypes), std::end(kSupplyTypes),
                                           [&](const SupplyType& row) { return keyword == row.keyword; });
    return found == std::end(kSupplyTypes) ? nullptr : found;
}

// The type column says toner of drums and waste boxes too, so words that name a part overrule it; a
// receptacle never marks paper. Without a useful type the words decide alone.
SupplyKind kindOf(const SupplyType* type, bool receptacle, const Supply& supply)
{
    const std::optional<SupplyKind> part = partFromDescription(supply.description);
    if (type != nullptr && type->says) {
        if (type->kind != SupplyKind::Toner) {
            return type->kind;
        }
        if (part) {
            return *part;
        }
        return receptacle ? SupplyKind::Waste : SupplyKind::Toner;
    }
    if (part) {
        return *part;
    }
    if (receptacle) {
        return SupplyKind::Waste;
    }
    const bool marks = supply.color != SupplyColor::None || namesMarkingMaterial(supply.description);
    return marks ? SupplyKind::Toner : SupplyKind::Other;
}

Level levelOf(std::optional<std::int64_t> level, std::optional<std::int64_t> max,
              std::optional<std::int64_t> unit)
{
    if (!level) {
        return Level{};
    }
    if (*level < 0) {
        switch (*level) {
        case -1:
            return Level{LevelKind::Unlimited, 0};
        case -3:
            return Level{LevelKind::Some, 0};
        default:
            return Level{};
        }
    }
    const std::int64_t capacity = unit == kUnitPercent ? 100 : max.value_or(-2);
    constexpr std::int64_t kLargest = 0xFFFFFFFF; // of any 32-bit type that agents use
    if (capacity <= 0 || capacity > kLargest) {
        return Level{}; // of how much is not known: a level alone makes no percentage
    }
    if (*level > capacity + capacity / 10) {
        return Level{LevelKind::Some, 0}; // pages or grams against a capacity in percent
    }
    const std::int64_t percent = (*level * 200 + capacity) / (capacity * 2); // rounded to the nearest
    return Level{LevelKind::Percent, static_cast<int>(std::min<std::int64_t>(percent, 100))};
}

bool subUnitAvailable(std::optional<std::int64_t> status)
{
    if (!status) {
        return true; // nothing speaks against it
    }
    const std::int64_t availability = *status & 7;
    const bool offline = (*status & 32) != 0;
    return *status >= 0 && availability != 3 && availability != 5 && !offline;
}

// A printer with one toner and no word of its colour prints black.
void colorTheOnlyToner(std::vector<Supply>& supplies)
{
    Supply* only = nullptr;
    for (Supply& supply : supplies) {
        if (supply.kind == SupplyKind::Toner) {
            if (only != nullptr) {
                return;
            }
            only = &supply;
        }
    }
    if (only != nullptr && only->color == SupplyColor::None) {
        only->color = SupplyColor::Black;
        only->colorText = device::colorKeyword(SupplyColor::Black);
    }
}

} // namespace tarn::device
