#include "tarn/src/catalog/configured_user.h"

namespace tarn::catalog {

using engine::UsmUser;

namespace {

constexpr std::size_t kLongestText = 255;
constexpr std::size_t kLongestName = 32;     // RFC 3414 usmUserName
constexpr std::size_t kShortestPassword = 8; // RFC 3414 11.2

// Reads one user; the first complaint ends it.
class UserParser final
{
public:
    UserParser(const std::string& name, std::string& why) : m_where("the user \"" + name + "\""), m_why(why)
    {
    }

    bool parse(const Json::Value& value, UsmUser& user)
    {
        if (!value.isObject()) {
            return complain(m_where + " is no object");
        }
        if (user.name.empty() || user.name.size() > kLongestName ||
            user.name.find('\0') != std::string::npos) {
            return complain(m_where + " has no name of 1 to 32 bytes");
        }
        return authentication(value, user) && privacy(value, user) && text(value, "context", user.context);
    }

private:
    bool authentication(const Json::Value& value, UsmUser& user)
    {
        std::string protocol = "SHA";
        if (!text(value, "auth", protocol)) {
            return false;
        }
        if (protocol == "MD5") {
            user.auth = UsmUser::Auth::Md5;
        } else if (protocol == "SHA") {
            user.auth = UsmUser::Auth::Sha;
        } else if (protocol == "SHA-256") {
            user.auth = UsmUser::Auth::Sha256;
        } else {
            return complain("the auth of " + m_where + R"( is not "MD5", "SHA" or "SHA-256")");
        }
        return password(value, "authPassword", user.authPassword);
    }

    bool privacy(const Json::Value& value, UsmUser& user)
    {
        std::string protocol = "none";
        if (!text(value, "priv", protocol)) {
            return false;
        }
        if (protocol != "none" && protocol != "AES") {
            return complain("the priv of " + m_where + R"( is not "none" or "AES")");
        }
        user.isPrivate = protocol == "AES";
        return !user.isPrivate || password(value, "privPassword", user.privPassword);
    }

    bool password(const Json::Value& value, const char* member, std::string& out)
    {
        if (!text(value, member, out)) {
            return false;
        }
        return out.size() >= kShortestPassword ||
               complain("the " + std::string(member) + " of " + m_where + " has fewer than 8 characters");
    }

    // A text without NUL, which Net-SNMP would take for its end; nothing changes where there is none.
    bool text(const Json::Value& value, const char* member, std::string& out)
    {
        const Json::Value& found = value[member];
        if (found.isNull()) {
            return true;
        }
        if (!found.isString() || found.asString().size() > kLongestText ||
            found.asString().find('\0') != std::string::npos) {
            return complain("the " + std::string(member) + " of " + m_where +
                            " is no text of at most 255 bytes");
        }
        out = found.asString();
        return true;
    }

    bool complain(const std::string& what)
    {
        m_why = what;
        return false;
    }

    const std::string m_where;
    std::string& m_why;
};

} // namespace

std::shared_ptr<const UsmUser> parseUser(const std::string& name, const Json::Value& value, std::string& why)
{
    auto user = std::make_shared<UsmUser>();
    user->name = name;
    if (!UserParser(name, why).parse(value, *user)) {
        return nullptr;
    }
    return user;
}

} // namespace tarn::catalog
