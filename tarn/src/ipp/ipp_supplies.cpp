// Supplies and trays: what is in the printer.
#include <algorithm>
#include <array>
#include <charconv>

#include "tarn/src/device/supply_types.h"
#include "tarn/src/device/supply_words.h"
#include "tarn/src/device/utf8.h"
#include "tarn/src/ipp/ipp_status.h"
#include "tarn/src/ipp/keyed_text.h"

namespace tarn::ipp {

namespace {

using device::LevelKind;
using device::Supply;
using device::SupplyColor;
using device::SupplyKind;

constexpr std::size_t kMostSupplies = 64;
constexpr std::size_t kMostTrays = 64;
constexpr std::int64_t kUnitPercent = 19; // PrtCapacityUnitTC

device::ColorSaid named(SupplyColor color)
{
    return {color, device::colorKeyword(color)};
}

// The channels of "RRGGBB", of "RGB", or of "RRGGBBAA"; nothing for another text.
std::optional<std::array<int, 3>> channelsOf(std::string_view hex)
{
    std::array<int, 3> channels{};
    const std::size_t digits = hex.size() == 3 ? 1 : 2;
    if (hex.size() != 3 && hex.size() != 6 && hex.size() != 8) {
        return std::nullopt;
    }
    for (std::size_t i = 0; i < channels.size(); ++i) {
        const char* const begin = hex.data() + digits * i;
        const std::from_chars_result end = std::from_chars(begin, begin + digits, channels[i], 16);
        if (end.ec != std::errc() || end.ptr != begin + digits) {
            return std::nullopt;
        }
        channels[i] *= digits == 1 ? 0x11 : 1;
    }
    return channels;
}

// The nearest of the colours of ink; what is too pale to tell is Other.
device::ColorSaid colorFromChannels(const std::array<int, 3>& rgb, const std::string& hex)
{
    constexpr int kDark = 0x50;
    constexpr int kHigh = 0x70; // magenta of process inks is #E4007F
    constexpr int kLow = 0x60;
    const auto is = [&](bool red, bool green, bool blue) {
        const std::array<bool, 3> wanted = {red, green, blue};
        for (std::size_t i = 0; i < rgb.size(); ++i) {
            if (wanted[i] ? rgb[i] < kHigh : rgb[i] > kLow) {
                return false;
            }
        }
        return true;
    };
    if (std::max({rgb[0], rgb[1], rgb[2]}) <= kDark) {
        return named(SupplyColor::Black);
    }
    if (is(false, true, true)) {
        return named(SupplyColor::Cyan);
    }
    if (is(true, false, true)) {
        return named(SupplyColor::Magenta);
    }
    if (is(true, true, false)) {
        return named(SupplyColor::Yellow);
    }
    if (is(true, false, false)) {
        return named(SupplyColor::Red);
    }
    return {SupplyColor::Other, hex};
}

// marker-colors: "#RRGGBB", several of these joined for a cartridge of several colours, a name, or "none".
device::ColorSaid colorOfMarker(const std::string& text)
{
    if (text.find('#') == std::string::npos) {
        return device::colorFromColorant(text);
    }
    std::vector<device::ColorSaid> said;
    std::string_view rest = text;
    while (!rest.empty() && said.size() < 8) {
        rest.remove_prefix(std::min(rest.find_first_not_of("# ,;+"), rest.size()));
        const std::string_view hex = rest.substr(0, rest.find_first_of("# ,;+"));
        if (const std::optional<std::array<int, 3>> channels = channelsOf(hex)) {
            said.push_back(colorFromChannels(*channels, '#' + std::string(hex)));
        }
        rest.remove_prefix(hex.size());
    }
    if (said.size() <= 1) {
        return said.empty() ? device::ColorSaid() : said.front();
    }
    const auto has = [&](SupplyColor color) {
        return std::any_of(said.begin(), said.end(), [&](const auto& one) { return one.color == color; });
    };
    const bool three =
        said.size() == 3 && has(SupplyColor::Cyan) && has(SupplyColor::Magenta) && has(SupplyColor::Yellow);
    return three ? named(SupplyColor::TriColor) : device::ColorSaid{SupplyColor::Other, text};
}

// What both ways of telling of a supply have in common.
struct Told
{
    std::string description;
    std::string type;
    device::ColorSaid color;
    bool receptacle = false;
};

// The standard's keyword in any case, joined or not, or its number.
const device::SupplyType* typeOf(const std::string& said)
{
    std::int64_t number = 0;
    const char* const end = said.data() + said.size();
    if (const auto read = std::from_chars(said.data(), end, number);
        read.ec == std::errc() && read.ptr == end) {
        return device::findSupplyType(number);
    }
    const std::string keyword = camelCase(said);
    if (const device::SupplyType* const same = device::findSupplyType(keyword)) {
        return same;
    }
    for (std::int64_t type = 1; const device::SupplyType* const row = device::findSupplyType(type); ++type) {
        if (device::folded(row->keyword) == device::folded(keyword)) {
            return row;
        }
    }
    return nullptr;
}

bool saysReceptacle(const KeyedText& keys)
{
    constexpr int kReceptacleThatIsFilled = 4; // PrtMarkerSuppliesClassTC
    return device::folded(camelCase(keys.text("class"))) == U"receptaclethatisfilled" ||
           keys.number("class") == kReceptacleThatIsFilled;
}

bool saysPercent(const KeyedText& keys)
{
    const std::string unit = keys.text("unit");
    return device::folded(unit) == U"percent" || unit == "%" || keys.number("unit") == kUnitPercent ||
           keys.isPercentage("level");
}

Supply supplyOf(const Told& told)
{
    Supply supply;
    supply.description = told.description;
    supply.color = told.color.color;
    supply.colorText = told.color.color == SupplyColor::None ? std::string() : told.color.text;
    const device::SupplyType* const type = typeOf(told.type);
    if (type == nullptr) { // a type of their own names the thing all the same: "imaging-drum", "ink-tank"
        Supply worded = supply;
        worded.description += ' ' + told.type;
        std::replace(worded.description.begin(), worded.description.end(), '-', ' ');
        supply.kind = device::kindOf(type, told.receptacle, worded);
    } else {
        supply.kind = device::kindOf(type, told.receptacle, supply);
    }
    supply.receptacle = told.receptacle || supply.kind == SupplyKind::Waste;
    supply.type = type == nullptr ? "unknown" : type->keyword;
    return supply;
}

void setLevel(Supply& supply, const device::Level& level)
{
    supply.levelKind = level.kind;
    supply.percent = level.percent;
}

// PWG 5100.13 printer-supply: the columns of prtMarkerSuppliesTable, whose level of a receptacle is the room
// that is left.
Supply supplyFromKeys(const IppAttributes& attributes, std::size_t index)
{
    const KeyedText keys(attributes.values("printer-supply")[index].text);
    Told told;
    told.description = attributes.textAt("printer-supply-description", index);
    told.type = keys.text("type");
    told.receptacle = saysReceptacle(keys);
    const std::string colorant = keys.text("colorantname");
    told.color = device::colorFromColorant(colorant);
    if (told.color.color == SupplyColor::None) {
        told.color = device::colorFromDescription(told.description);
    }
    const bool fits = attributes.count("marker-colors") == attributes.count("printer-supply");
    if (told.color.color == SupplyColor::None && colorant.empty() &&
        fits) { // else it says "no-color", "unknown"
        told.color = colorOfMarker(attributes.textAt("marker-colors", index));
    }
    Supply supply = supplyOf(told);
    const std::optional<std::int64_t> level = keys.number("level");
    const bool percent = saysPercent(keys);
    // Without unit and capacity a level that can be a percentage is one.
    const bool bare = !keys.number("maxcapacity") && keys.text("unit").empty() && level && *level <= 100;
    setLevel(supply, device::levelOf(level, keys.number("maxcapacity"),
                                     percent || bare ? std::optional(kUnitPercent) : std::nullopt));
    return supply;
}

// The names, of which some devices send all in one value.
std::vector<std::string> markerNames(const IppAttributes& attributes, std::size_t markers)
{
    std::vector<std::string> names;
    for (std::size_t i = 0; i < attributes.count("marker-names"); ++i) {
        names.push_back(attributes.textAt("marker-names", i));
    }
    const bool joined =
        names.size() == 1 && markers > 1 &&
        static_cast<std::size_t>(std::count(names[0].begin(), names[0].end(), ',')) == markers - 1;
    if (joined) {
        const std::string all = std::move(names[0]);
        names.clear();
        for (std::size_t at = 0; at <= all.size();) {
            const std::size_t comma = std::min(all.find(',', at), all.size());
            const std::size_t begin = std::min(all.find_first_not_of(' ', at), comma);
            names.push_back(all.substr(begin, comma - begin));
            at = comma + 1;
        }
    }
    return names;
}

// The level that the marker attributes give: per cent, of a receptacle how full it is.
device::Level markerLevel(const IppAttributes& attributes, std::size_t index, bool receptacle)
{
    std::optional<std::int64_t> level = attributes.numberAt("marker-levels", index);
    if (level == -1) {
        level = -2; // "unavailable" here, where the MIB has "no restriction"
    }
    if (receptacle && level && *level >= 0) {
        level = 100 - std::min<std::int64_t>(*level, 100);
    }
    return device::levelOf(level, std::nullopt, kUnitPercent);
}

Supply supplyFromMarker(const IppAttributes& attributes, const std::vector<std::string>& names,
                        std::size_t index)
{
    Told told;
    told.description = index < names.size() ? names[index] : std::string();
    told.type = attributes.textAt("marker-types", index);
    told.color = device::colorFromDescription(told.description);
    if (told.color.color == SupplyColor::None) {
        told.color = colorOfMarker(attributes.textAt("marker-colors", index));
    }
    Supply supply = supplyOf(told);
    setLevel(supply, markerLevel(attributes, index, supply.receptacle));
    return supply;
}

std::vector<Supply> suppliesFromMarkers(const IppAttributes& attributes)
{
    const std::size_t markers = std::max(attributes.count("marker-levels"), attributes.count("marker-types"));
    const std::vector<std::string> names = markerNames(attributes, markers);
    std::vector<Supply> supplies;
    const std::size_t count = std::min(std::max(names.size(), markers), kMostSupplies);
    for (std::size_t i = 0; i < count; ++i) {
        supplies.push_back(supplyFromMarker(attributes, names, i));
    }
    return supplies;
}

std::vector<Supply> suppliesFromKeys(const IppAttributes& attributes)
{
    std::vector<Supply> supplies;
    const std::size_t count = std::min(attributes.count("printer-supply"), kMostSupplies);
    for (std::size_t i = 0; i < count; ++i) {
        supplies.push_back(supplyFromKeys(attributes, i));
    }
    return supplies;
}

} // namespace

std::vector<Supply> buildSupplies(const IppAttributes& attributes)
{
    std::vector<Supply> supplies = suppliesFromKeys(attributes);
    std::vector<Supply> markers = suppliesFromMarkers(attributes);
    if (supplies.empty()) {
        supplies = std::move(markers);
    } else if (supplies.size() == markers.size()) {
        for (std::size_t i = 0; i < supplies.size(); ++i) {
            const bool sameColor = supplies[i].color == markers[i].color ||
                                   supplies[i].color == SupplyColor::None ||
                                   markers[i].color == SupplyColor::None;
            if (!sameColor) {
                continue; // in another order
            }
            if (supplies[i].levelKind == LevelKind::Unknown) {
                setLevel(supplies[i], {markers[i].levelKind, markers[i].percent});
            }
            if (supplies[i].description.empty()) {
                supplies[i].description = markers[i].description;
            }
        }
    }
    device::colorTheOnlyToner(supplies);
    return supplies;
}

std::vector<device::Tray> buildTrays(const IppAttributes& attributes)
{
    std::vector<device::Tray> trays;
    const std::vector<IppValue>& values = attributes.values("printer-input-tray");
    for (std::size_t i = 0; i < std::min(values.size(), kMostTrays); ++i) {
        const KeyedText keys(values[i].text);
        device::Tray tray;
        tray.name = keys.text("name");
        if (tray.name.empty()) {
            tray.name = "纸盒 " + std::to_string(i + 1);
        }
        tray.level = keys.number("level").value_or(-2);
        tray.capacity = keys.number("maxcapacity").value_or(-2);
        tray.unit = keys.text("unit");
        const device::Level level = device::levelOf(
            tray.level, tray.capacity, saysPercent(keys) ? std::optional(kUnitPercent) : std::nullopt);
        tray.levelKind = level.kind;
        tray.percent = level.percent;
        tray.available = device::subUnitAvailable(keys.number("status"));
        tray.empty = tray.level == 0;
        trays.push_back(std::move(tray));
    }
    return trays;
}

} // namespace tarn::ipp
