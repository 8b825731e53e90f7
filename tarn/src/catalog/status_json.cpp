#include "tarn/src/catalog/status_json.h"

#include <algorithm>
#include <string_view>

#include "tarn/src/base/json_append.h"
#include "tarn/src/base/json_input.h"
#include "tarn/src/device/utf8.h"

namespace tarn::catalog {

using namespace device;

namespace {

// What the file calls the values of an enumeration.
class Words final
{
public:
    template <std::size_t count>
    constexpr explicit Words(const char* const (&words)[count]) : m_first(words), m_count(count)
    {
    }
    std::size_t count() const { return m_count; }
    template <typename Index>
    const char* operator[](Index index) const
    {
        const auto place = static_cast<std::size_t>(index);
        return place < m_count ? m_first[place] : "";
    }

private:
    const char* const* m_first;
    std::size_t m_count;
};

// In the order of the enumerations: what is added there is added here.
constexpr const char* kActivityWords[] = {"unknown", "other", "idle", "printing", "warmup"};
constexpr const char* kColorWords[] = {"none",   "black", "cyan",      "magenta",
                                       "yellow", "red",   "tri-color", "other"};
constexpr const char* kKindWords[] = {"toner",   "drum",  "developer", "fuser", "transfer",
                                      "cleaner", "waste", "staples",   "other"};
constexpr const char* kLevelWords[] = {"unknown", "some", "unlimited", "percent"};
constexpr const char* kSeverityWords[] = {"other", "warning", "critical"};
constexpr Words kActivities(kActivityWords);
constexpr Words kColors(kColorWords);
constexpr Words kKinds(kKindWords);
constexpr Words kLevels(kLevelWords);
constexpr Words kSeverities(kSeverityWords);

// Appends members to an object, leaving out what is usual.
class Members final
{
public:
    explicit Members(std::string& out) : m_out(out) { m_out += '{'; }
    ~Members() { m_out += '}'; }
    Members(const Members&) = delete;
    Members& operator=(const Members&) = delete;

    void text(const char* key, const std::string& value)
    {
        if (!value.empty()) {
            appendJsonMember(m_out, key, value);
        }
    }
    void flag(const char* key, bool value, bool usual = false)
    {
        if (value != usual) {
            begin(key) += value ? "true" : "false";
        }
    }
    void number(const char* key, std::int64_t value, std::int64_t usual)
    {
        if (value != usual) {
            begin(key) += std::to_string(value);
        }
    }
    template <typename Enum>
    void word(const char* key, const Words& words, Enum value, Enum usual)
    {
        if (value != usual) {
            appendJsonMember(m_out, key, words[value]);
        }
    }
    template <typename T>
    void list(const char* key, const std::vector<T>& items, void (*append)(std::string& out, const T& item))
    {
        if (items.empty()) {
            return;
        }
        begin(key) += '[';
        for (const T& item : items) {
            m_out += &item == &items.front() ? "" : ",";
            append(m_out, item);
        }
        m_out += ']';
    }

private:
    std::string& begin(const char* key)
    {
        m_out += m_out.back() == '{' ? "\"" : ",\"";
        return (m_out += key) += "\":";
    }

    std::string& m_out;
};

void appendSupply(std::string& out, const Supply& supply)
{
    Members members(out);
    members.word("kind", kKinds, supply.kind, SupplyKind::Other);
    members.word("color", kColors, supply.color, SupplyColor::None);
    members.flag("receptacle", supply.receptacle);
    members.text("type", supply.type);
    members.text("colorText", supply.colorText);
    members.text("description", supply.description);
    members.word("levelKind", kLevels, supply.levelKind, LevelKind::Unknown);
    members.number("percent", supply.percent, 0);
}

void appendTray(std::string& out, const Tray& tray)
{
    Members members(out);
    members.text("name", tray.name);
    members.word("levelKind", kLevels, tray.levelKind, LevelKind::Unknown);
    members.number("percent", tray.percent, 0);
    members.number("level", tray.level, Tray().level);
    members.number("capacity", tray.capacity, Tray().capacity);
    members.text("unit", tray.unit);
    members.flag("available", tray.available, true);
    members.flag("empty", tray.empty);
}

void appendAlert(std::string& out, const Alert& alert)
{
    Members members(out);
    members.number("code", alert.code, 0);
    members.text("keyword", alert.keyword);
    members.text("text", alert.text);
    members.word("severity", kSeverities, alert.severity, Severity::Other);
    members.text("place", alert.place);
}

void read(std::string& out, const Json::Value& value, const char* key)
{
    out = textMember(value, key);
    if (!isValidUtf8(out)) {
        out = tidyText(out);
    }
}

void read(bool& out, const Json::Value& value, const char* key)
{
    if (const Json::Value& member = value[key]; member.isBool()) {
        out = member.asBool();
    }
}

void read(std::int64_t& out, const Json::Value& value, const char* key)
{
    if (const Json::Value& member = value[key]; member.isInt64()) {
        out = member.asInt64();
    }
}

void readPercent(int& out, const Json::Value& value)
{
    std::int64_t number = out;
    read(number, value, "percent");
    out = static_cast<int>(std::clamp<std::int64_t>(number, 0, 100));
}

template <typename Enum>
void read(Enum& out, const Json::Value& value, const char* key, const Words& words)
{
    const std::string said = textMember(value, key);
    for (std::size_t i = 0; i < words.count(); ++i) {
        if (said == words[i]) {
            out = static_cast<Enum>(i);
        }
    }
}

void read(Supply& supply, const Json::Value& value)
{
    read(supply.kind, value, "kind", kKinds);
    read(supply.color, value, "color", kColors);
    read(supply.receptacle, value, "receptacle");
    read(supply.type, value, "type");
    read(supply.colorText, value, "colorText");
    read(supply.description, value, "description");
    read(supply.levelKind, value, "levelKind", kLevels);
    readPercent(supply.percent, value);
}

void read(Tray& tray, const Json::Value& value)
{
    read(tray.name, value, "name");
    read(tray.levelKind, value, "levelKind", kLevels);
    readPercent(tray.percent, value);
    read(tray.level, value, "level");
    read(tray.capacity, value, "capacity");
    read(tray.unit, value, "unit");
    read(tray.available, value, "available");
    read(tray.empty, value, "empty");
}

void read(Alert& alert, const Json::Value& value)
{
    if (const Json::Value& code = value["code"]; code.isInt()) {
        alert.code = code.asInt();
    }
    read(alert.keyword, value, "keyword");
    read(alert.text, value, "text");
    read(alert.severity, value, "severity", kSeverities);
    read(alert.place, value, "place");
}

template <typename T>
void readList(std::vector<T>& items, const Json::Value& value, const char* key)
{
    if (const Json::Value& list = value[key]; list.isArray()) {
        for (const Json::Value& item : list) {
            if (item.isObject()) {
                read(items.emplace_back(), item);
            }
        }
    }
}

} // namespace

std::string statusText(const DeviceStatus& status)
{
    std::string out;
    {
        Members members(out);
        members.text("model", status.model);
        members.text("serial", status.serialNumber);
        members.text("description", status.description);
        members.text("location", status.location);
        members.word("activity", kActivities, status.activity, Activity::Unknown);
        members.flag("powerSave", status.powerSave);
        members.flag("needsAttention", status.needsAttention);
        members.number("pages", status.totalPages.value_or(-1), -1);
        members.flag("paperLow", status.paperLow);
        members.flag("paperOut", status.paperOut);
        members.flag("tonerLow", status.tonerLow);
        members.flag("tonerOut", status.tonerOut);
        members.list("supplies", status.supplies, appendSupply);
        members.list("trays", status.trays, appendTray);
        members.list("alerts", status.alerts, appendAlert);
    }
    return out;
}

DeviceStatus statusOf(const Json::Value& value)
{
    DeviceStatus status;
    if (!value.isObject()) {
        return status;
    }
    read(status.model, value, "model");
    read(status.serialNumber, value, "serial");
    read(status.description, value, "description");
    read(status.location, value, "location");
    read(status.activity, value, "activity", kActivities);
    read(status.powerSave, value, "powerSave");
    read(status.needsAttention, value, "needsAttention");
    std::int64_t pages = -1;
    read(pages, value, "pages");
    status.totalPages = pages < 0 ? std::nullopt : std::optional(pages);
    read(status.paperLow, value, "paperLow");
    read(status.paperOut, value, "paperOut");
    read(status.tonerLow, value, "tonerLow");
    read(status.tonerOut, value, "tonerOut");
    readList(status.supplies, value, "supplies");
    readList(status.trays, value, "trays");
    readList(status.alerts, value, "alerts");
    return status;
}

} // namespace tarn::catalog
