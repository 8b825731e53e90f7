#include "tarn/src/catalog/config_entry.h"

#include <algorithm>

#include "tarn/src/catalog/config_members.h"

namespace tarn::catalog {

using engine::IppChoice;
using engine::VersionChoice;

namespace {

constexpr std::size_t kLongestCommunity = 255;
constexpr std::size_t kLongestPath = 255;

std::string textOf(const Json::Value& value)
{
    return value.isString() ? value.asString() : std::string();
}

bool takePort(const Json::Value& value, std::optional<std::uint16_t>& out)
{
    if (!value.isUInt() || value.asUInt() == 0 || value.asUInt() > 65535) {
        return false;
    }
    out = static_cast<std::uint16_t>(value.asUInt());
    return true;
}

template <typename Choice>
struct Word
{
    const char* word;
    Choice choice;
};

template <typename Choice, std::size_t count>
bool takeWord(const Json::Value& value, const Word<Choice> (&words)[count], std::optional<Choice>& out)
{
    const std::string text = textOf(value);
    const auto* const found = std::find_if(std::begin(words), std::end(words),
                                           [&](const Word<Choice>& word) { return text == word.word; });
    if (found == std::end(words)) {
        return false;
    }
    out = found->choice;
    return true;
}

bool takeVersion(const Json::Value& value, ConfigEntry& entry)
{
    static constexpr Word<VersionChoice> kWords[] = {
        {"auto", VersionChoice::Auto}, {"1", VersionChoice::V1},    {"v1", VersionChoice::V1},
        {"2c", VersionChoice::V2c},    {"v2c", VersionChoice::V2c}, {"3", VersionChoice::V3},
        {"v3", VersionChoice::V3},
    };
    return takeWord(value, kWords, entry.version);
}

bool takeIpp(const Json::Value& value, ConfigEntry& entry)
{
    static constexpr Word<IppChoice> kWords[] = {{"auto", IppChoice::Auto},
                                                 {"ipp", IppChoice::Plain},
                                                 {"ipps", IppChoice::Tls},
                                                 {"off", IppChoice::Off}};
    return takeWord(value, kWords, entry.ipp);
}

bool takeCommunity(const Json::Value& value, ConfigEntry& entry)
{
    if (!value.isString() || value.asString().size() > kLongestCommunity) {
        return false;
    }
    entry.community = std::make_shared<const std::string>(value.asString());
    return true;
}

// It becomes part of a request line, so that it holds nothing that could end that.
bool takeIppPath(const Json::Value& value, ConfigEntry& entry)
{
    const std::string text = textOf(value);
    const bool plain = std::all_of(text.begin(), text.end(), [](char c) { return c > ' ' && c < 0x7F; });
    if (text.empty() || text.front() != '/' || text.size() > kLongestPath || !plain) {
        return false;
    }
    entry.ippPath = text;
    return true;
}

bool takeUser(const Json::Value& value, ConfigEntry& entry)
{
    if (!value.isString()) {
        return false;
    }
    entry.user = value.asString();
    return true;
}

const ConfigMember<ConfigEntry> kMembers[] = {
    {"port", "a number from 1 to 65535",
     [](const Json::Value& value, ConfigEntry& entry) { return takePort(value, entry.port); }},
    {"version", R"("auto", "1", "2c" or "3")", takeVersion},
    {"community", "a text of at most 255 bytes", takeCommunity},
    {"ipp", R"("auto", "ipp", "ipps" or "off")", takeIpp},
    {"ippPort", "a number from 1 to 65535",
     [](const Json::Value& value, ConfigEntry& entry) { return takePort(value, entry.ippPort); }},
    {"ippPath", R"(a path such as "/ipp/print")", takeIppPath},
    {"user", R"(the name of one of the "users")", takeUser},
};

template <typename T>
void fill(T& own, const T& wider)
{
    if (!own) {
        own = wider;
    }
}

} // namespace

void ConfigEntry::fillFrom(const ConfigEntry& wider)
{
    fill(port, wider.port);
    fill(version, wider.version);
    fill(community, wider.community);
    fill(ipp, wider.ipp);
    fill(ippPort, wider.ippPort);
    fill(ippPath, wider.ippPath);
    fill(user, wider.user);
}

ConfigEntry ConfigEntry::read(const Json::Value& value, const std::vector<std::string>& where,
                              ConfigComplaints& complaints)
{
    ConfigEntry entry;
    if (!value.isObject()) {
        complaints.add(value, where, "is no object");
        return entry;
    }
    readMembers(value, where, kMembers, entry, complaints, [](const std::string&) { return false; });
    return entry;
}

} // namespace tarn::catalog
