#include "tarn/src/device/rendering.h"

#include <json/json.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <limits>

#include "tarn/src/device/supply_words.h"
#include "tarn/src/device/utf8.h"

namespace tarn::device {

namespace {

constexpr int kNoSuchSupply = -1;
constexpr int kLevelWithoutNumber = 101; // the window draws a full bar and no number

const char* summary(const DeviceStatus& status)
{
    if (status.activity == Activity::Printing) {
        return "打印中";
    }
    if (status.activity == Activity::WarmUp) {
        return "预热中";
    }
    if (status.needsAttention) {
        return "需要处理";
    }
    if (status.powerSave) {
        return "节能";
    }
    return status.activity == Activity::Idle ? "就绪" : "在线";
}

const char* activityKeyword(Activity activity)
{
    switch (activity) {
    case Activity::Unknown:
        return "unknown";
    case Activity::Other:
        return "other";
    case Activity::Idle:
        return "idle";
    case Activity::Printing:
        return "printing";
    case Activity::WarmUp:
        return "warmup";
    }
    return "unknown";
}

const char* severityKeyword(Severity severity)
{
    switch (severity) {
    case Severity::Other:
        return "other";
    case Severity::Warning:
        return "warning";
    case Severity::Critical:
        return "critical";
    }
    return "other";
}

bool holds(const Supply& supply, SupplyColor color)
{
    const bool oneOfThree =
        color == SupplyColor::Cyan || color == SupplyColor::Magenta || color == SupplyColor::Yellow;
    return supply.color == color || (supply.color == SupplyColor::TriColor && oneOfThree);
}

// Of two supplies of one colour the emptier known one rules; one without a number counts only when none has
// one.
int tonerLevel(const DeviceStatus& status, SupplyColor color)
{
    int level = kNoSuchSupply;
    for (const Supply& supply : status.supplies) {
        if (supply.kind != SupplyKind::Toner || !holds(supply, color)) {
            continue;
        }
        const int own = supply.levelKind == LevelKind::Percent ? supply.percent : kLevelWithoutNumber;
        level = level == kNoSuchSupply || own < level ? own : level;
    }
    return level;
}

// The reader takes 32 bits: a counter beyond them is shown as the largest it can take.
std::int64_t shownPages(const DeviceStatus& status)
{
    if (!status.totalPages || *status.totalPages < 0) {
        return -1;
    }
    return std::min<std::int64_t>(*status.totalPages, std::numeric_limits<std::int32_t>::max());
}

void appendNumber(std::string& out, std::int64_t number)
{
    std::array<char, 24> digits;
    const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), number).ptr;
    out.append(digits.data(), static_cast<std::size_t>(end - digits.data()));
}

Json::Value levelValue(LevelKind kind, int percent)
{
    switch (kind) {
    case LevelKind::Percent:
        return percent;
    case LevelKind::Some:
    case LevelKind::Unlimited:
        return "some";
    case LevelKind::Unknown:
        break;
    }
    return Json::Value(Json::nullValue);
}

Json::Value supplyObject(const Supply& supply)
{
    Json::Value object(Json::objectValue);
    object["type"] = supply.type;
    object["class"] = kindKeyword(supply.kind);
    object["receptacle"] = supply.receptacle;
    object["colour"] = supply.colorText.empty() ? colorKeyword(supply.color) : supply.colorText;
    object["percent"] = levelValue(supply.levelKind, supply.percent);
    object["description"] = supply.description;
    return object;
}

Json::Value countOrNull(std::int64_t count)
{
    return count < 0 ? Json::Value(Json::nullValue) : Json::Value(static_cast<Json::Int64>(count));
}

Json::Value trayObject(const Tray& tray)
{
    Json::Value object(Json::objectValue);
    object["name"] = tray.name;
    object["percent"] = levelValue(tray.levelKind, tray.percent);
    object["level"] = countOrNull(tray.level);
    object["capacity"] = countOrNull(tray.capacity);
    object["unit"] = tray.unit;
    object["available"] = tray.available;
    object["empty"] = tray.empty;
    return object;
}

Json::Value alertObject(const Alert& alert)
{
    Json::Value object(Json::objectValue);
    object["code"] = alert.keyword;
    object["number"] = alert.code == 0 ? Json::Value(Json::nullValue) : Json::Value(alert.code);
    object["text"] = alert.text;
    object["severity"] = severityKeyword(alert.severity);
    object["place"] = alert.place;
    return object;
}

template <typename T, typename Render>
Json::Value arrayOf(const std::vector<T>& items, Render render)
{
    Json::Value array(Json::arrayValue);
    for (const T& item : items) {
        array.append(render(item));
    }
    return array;
}

std::string written(const Json::Value& value)
{
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "";
    builder["emitUTF8"] = true;
    return Json::writeString(builder, value);
}

const char* flagText(bool flag)
{
    return flag ? "1" : "0";
}

} // namespace

int stateCode(const DeviceStatus& status)
{
    switch (status.activity) {
    case Activity::Idle:
        return 3;
    case Activity::Printing:
        return 4;
    case Activity::WarmUp:
        return 5;
    case Activity::Unknown:
    case Activity::Other:
        break;
    }
    return 1;
}

std::string stateMessage(const DeviceStatus& status)
{
    std::string message = summary(status);
    for (const Alert& alert : status.alerts) {
        message += '-' + itemText(alert.text);
        if (!alert.place.empty()) {
            message += "（" + itemText(alert.place) + "）";
        }
    }
    return message;
}

std::string detailDocument(const DeviceStatus& status)
{
    Json::Value root(Json::objectValue);
    root["schema"] = 1;
    root["model"] = status.model;
    root["serial"] = status.serialNumber;
    root["description"] = status.description;
    root["location"] = status.location;
    root["activity"] = activityKeyword(status.activity);
    root["state"] = stateCode(status);
    root["summary"] = summary(status);
    root["powerSave"] = status.powerSave;
    root["needsAttention"] = status.needsAttention;
    root["supplies"] = arrayOf(status.supplies, supplyObject);
    root["trays"] = arrayOf(status.trays, trayObject);
    root["alerts"] = arrayOf(status.alerts, alertObject);
    root["counters"]["totalPages"] = countOrNull(status.totalPages.value_or(-1));
    root["flags"]["lessPaper"] = status.paperLow;
    root["flags"]["lackPaper"] = status.paperOut;
    root["flags"]["lessToner"] = status.tonerLow;
    root["flags"]["lackToner"] = status.tonerOut;
    return written(root);
}

// Written by hand, members in the order of their names: of ten thousand printers it is rendered a thousand
// times a second. No value needs an escape.
std::string infoDocument(const DeviceStatus& status)
{
    std::string out;
    out.reserve(192);
    out += "{\"CToner\":\"";
    appendNumber(out, tonerLevel(status, SupplyColor::Cyan));
    out += "\",\"KToner\":\"";
    appendNumber(out, tonerLevel(status, SupplyColor::Black));
    out += "\",\"MToner\":\"";
    appendNumber(out, tonerLevel(status, SupplyColor::Magenta));
    out += "\",\"RToner\":\"";
    appendNumber(out, tonerLevel(status, SupplyColor::Red));
    out += "\",\"YToner\":\"";
    appendNumber(out, tonerLevel(status, SupplyColor::Yellow));
    out += "\",\"lackPaper\":\"";
    out += flagText(status.paperOut);
    out += "\",\"lackToner\":\"";
    out += flagText(status.tonerOut);
    out += "\",\"lessPaper\":\"";
    out += flagText(status.paperLow);
    out += "\",\"lessToner\":\"";
    out += flagText(status.tonerLow);
    out += "\",\"totalprint\":\"";
    appendNumber(out, shownPages(status));
    out += "\"}";
    return out;
}

} // namespace tarn::device
