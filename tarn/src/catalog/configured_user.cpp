#include "tarn/src/catalog/configured_user.h"

#include "tarn/src/catalog/config_members.h"

namespace tarn::catalog {

using engine::UsmUser;

namespace {

constexpr std::size_t kLongestText = 255;
constexpr std::size_t kLongestName = 32;     // RFC 3414 usmUserName
constexpr std::size_t kShortestPassword = 8; // RFC 3414 11.2

// Without NUL, which Net-SNMP would take for its end.
bool isText(const Json::Value& value)
{
    return value.isString() && value.asString().size() <= kLongestText &&
           value.asString().find('\0') == std::string::npos;
}

bool takePassword(const Json::Value& value, std::string& out)
{
    if (!isText(value) || value.asString().size() < kShortestPassword) {
        return false;
    }
    out = value.asString();
    return true;
}

bool takeAuth(const Json::Value& value, UsmUser& user)
{
    const std::string word = value.isString() ? value.asString() : std::string();
    if (word == "MD5") {
        user.auth = UsmUser::Auth::Md5;
    } else if (word == "SHA") {
        user.auth = UsmUser::Auth::Sha;
    } else if (word == "SHA-256") {
        user.auth = UsmUser::Auth::Sha256;
    } else {
        return false;
    }
    return true;
}

bool takePriv(const Json::Value& value, UsmUser& user)
{
    user.isPrivate = value == "AES";
    return user.isPrivate || value == "none";
}

bool takeContext(const Json::Value& value, UsmUser& user)
{
    user.context = isText(value) ? value.asString() : std::string();
    return isText(value);
}

constexpr char kPasswordWanted[] = "a text of 8 to 255 bytes";

const ConfigMember<UsmUser> kMembers[] = {
    {"auth", R"("MD5", "SHA" or "SHA-256")", takeAuth},
    {"authPassword", kPasswordWanted,
     [](const Json::Value& value, UsmUser& user) { return takePassword(value, user.authPassword); }},
    {"priv", R"("none" or "AES")", takePriv},
    {"privPassword", kPasswordWanted,
     [](const Json::Value& value, UsmUser& user) { return takePassword(value, user.privPassword); }},
    {"context", "a text of at most 255 bytes", takeContext},
};

} // namespace

std::shared_ptr<const UsmUser> parseUser(const std::string& name, const Json::Value& value,
                                         ConfigComplaints& complaints)
{
    const std::vector<std::string> where = {"users", name};
    if (name.empty() || name.size() > kLongestName || name.find('\0') != std::string::npos) {
        complaints.add(value, where, "has no name of 1 to 32 bytes");
        return nullptr;
    }
    if (!value.isObject()) {
        complaints.add(value, where, "is no object");
        return nullptr;
    }
    auto user = std::make_shared<UsmUser>();
    user->name = name;
    // Without encryption its password may be as it likes: nobody asks for it.
    const auto isUnused = [&](const std::string& key) {
        return key == "privPassword" && value["priv"] != "AES";
    };
    if (!readMembers(value, where, kMembers, *user, complaints, isUnused)) {
        return nullptr;
    }
    if (user->authPassword.empty() || (user->isPrivate && user->privPassword.empty())) {
        complaints.add(value, where,
                       user->authPassword.empty() ? "has no authPassword" : "has no privPassword");
        return nullptr;
    }
    return user;
}

} // namespace tarn::catalog
