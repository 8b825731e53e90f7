#include "tools/tarn-status/words.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <iterator>

#include "tools/tarn-status/text.h"

namespace tarnstatus {

namespace {

struct Name
{
    const char* keyword;
    const char* chinese;
};

const Name kClasses[] = {
    {"toner", "碳粉"},   {"drum", "感光鼓"},       {"developer", "显影剂"},
    {"fuser", "定影器"}, {"transfer", "转印部件"}, {"cleaner", "清洁部件"},
    {"waste", "废粉盒"}, {"staples", "装订针"},    {"other", "其他"},
};

const Name kColours[] = {
    {"black", "黑色"}, {"cyan", "青色"}, {"magenta", "品红"}, {"yellow", "黄色"}, {"red", "红色"},
};

template <std::size_t count>
std::string named(const Name (&names)[count], const std::string& keyword, Language language)
{
    if (language == Language::Chinese) {
        for (const Name& name : names) {
            if (keyword == name.keyword) {
                return name.chinese;
            }
        }
    }
    return keyword;
}

// What the library calls a sub-unit where the device gives no text (prtAlertGroup).
const Name kUnits[] = {
    {"general printer", "打印机"},
    {"cover", "机盖"},
    {"input", "进纸部件"},
    {"output", "出纸部件"},
    {"marker", "打印部件"},
    {"marker supplies", "耗材"},
    {"marker colorant", "颜料"},
    {"media path", "走纸通道"},
    {"channel", "通信通道"},
    {"interpreter", "解释器"},
    {"finishing device", "装订部件"},
    {"finishing supply", "装订耗材"},
};
constexpr char kRemark[] = "提示";
constexpr char kTray[] = "纸盒 ";

} // namespace

Language languageOfEnvironment()
{
    for (const char* variable : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
        if (const char* value = std::getenv(variable); value != nullptr && *value != '\0') {
            return std::strncmp(value, "zh", 2) == 0 ? Language::Chinese : Language::English;
        }
    }
    return Language::English;
}

std::string summaryOf(const Reading& reading, Language language)
{
    if (!reading.online) {
        return say(language, "offline", "离线");
    }
    if (language == Language::Chinese) {
        return printable(reading.message.substr(0, reading.message.find('-')));
    }
    const std::string activity = reading.detail.get("activity", "").asString();
    if (activity == "printing") {
        return "printing";
    }
    if (activity == "warmup") {
        return "warming up";
    }
    if (reading.detail["needsAttention"] == true) {
        return "needs attention";
    }
    if (reading.detail["powerSave"] == true) {
        return "power save";
    }
    return activity == "idle" ? "ready" : "online";
}

std::string englishForLibrary(const std::string& text)
{
    if (text.rfind(kTray, 0) == 0) {
        return "tray " + text.substr(std::strlen(kTray));
    }
    for (const Name& colour : kColours) { // the place of a toner's alert
        if (text == colour.chinese) {
            return colour.keyword;
        }
    }
    for (const Name& unit : kUnits) {
        if (text == std::string(unit.chinese) + kRemark) {
            return std::string("note of the ") + unit.keyword;
        }
    }
    return text;
}

std::string alertText(const Json::Value& alert, Language language)
{
    std::string own = printable(alert["text"]);
    if (language == Language::Chinese) {
        return own;
    }
    const char* const english = englishAlert(alert["code"].asString());
    return english != nullptr ? english : englishForLibrary(own);
}

std::string alertPlace(const Json::Value& alert, Language language)
{
    const std::string own = printable(alert["place"]);
    return language == Language::Chinese ? own : englishForLibrary(own);
}

std::string className(const Json::Value& supply, Language language)
{
    return named(kClasses, printable(supply["class"]), language);
}

std::string colourName(const Json::Value& supply, Language language)
{
    const std::string own = printable(supply["colour"]);
    return own == "none" ? std::string() : named(kColours, own, language);
}

std::string trayName(const Json::Value& tray, Language language)
{
    const std::string own = printable(tray["name"]);
    return language == Language::Chinese ? own : englishForLibrary(own);
}

} // namespace tarnstatus
