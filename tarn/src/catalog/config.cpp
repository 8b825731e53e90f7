#include "tarn/src/catalog/config.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include "tarn/src/base/files.h"
#include "tarn/src/base/json_input.h"
#include "tarn/src/catalog/configured_user.h"

namespace tarn::catalog {

using engine::IppChoice;
using engine::IppSettings;
using engine::PrinterAddress;
using engine::UsmUser;
using engine::VersionChoice;

namespace {

constexpr std::size_t kLargestFile = 16u << 20;
constexpr std::uint16_t kSnmpPort = 161;
constexpr std::size_t kLongestCommunity = 255;
constexpr std::size_t kLongestPath = 255;

std::uint32_t maskOf(unsigned bits)
{
    return bits == 0 ? 0 : ~std::uint32_t{0} << (32 - bits);
}

std::optional<unsigned> parseBits(const std::string& text)
{
    if (text.empty() || text.size() > 2 || text.find_first_not_of("0123456789") != std::string::npos) {
        return std::nullopt;
    }
    const unsigned bits = static_cast<unsigned>(std::atoi(text.c_str()));
    return bits <= 32 ? std::optional(bits) : std::nullopt;
}

std::string configPath()
{
    if (const char* path = std::getenv("TARN_CONFIG"); path != nullptr && *path != '\0') {
        return path;
    }
    const std::string directory = xdgDirectory("XDG_CONFIG_HOME", "/.config");
    return directory.empty() ? directory : directory + "/tarn/tarn.json";
}

} // namespace

// Reads one document into a Config; the first complaint ends it.
class Config::Parser final
{
public:
    explicit Parser(std::string& why) : m_why(why) {}

    bool settings(const Json::Value& value, const std::string& where, Settings& out)
    {
        if (!value.isObject()) {
            return complain(where + " is no object");
        }
        return port(value["port"], "port", where, out.port) && version(value["version"], where, out) &&
               community(value["community"], where, out) && ipp(value["ipp"], where, out) &&
               port(value["ippPort"], "ippPort", where, out.ippPort) &&
               ippPath(value["ippPath"], where, out) && user(value["user"], where, out);
    }

    bool entry(const std::string& key, const Json::Value& value, Config& config)
    {
        Settings settings;
        if (!this->settings(value, "\"" + key + "\"", settings) || !knowsUser(settings, config)) {
            return false;
        }
        const std::size_t slash = key.find('/');
        const std::optional<std::uint32_t> address = engine::parseIpv4(key.substr(0, slash));
        if (!address) {
            return complain("\"" + key + "\" is no IPv4 address or network");
        }
        if (slash == std::string::npos) {
            config.m_addresses[*address] = settings;
            return true;
        }
        const std::optional<unsigned> bits = parseBits(key.substr(slash + 1));
        if (!bits) {
            return complain("\"" + key + "\" is no network");
        }
        config.m_networks.push_back({*address & maskOf(*bits), *bits, settings});
        return true;
    }

    bool users(const Json::Value& value, Config& config)
    {
        if (!value.isNull() && !value.isObject()) {
            return complain("\"users\" is no object");
        }
        for (const std::string& name : value.getMemberNames()) {
            std::shared_ptr<const UsmUser> user = parseUser(name, value[name], m_why);
            if (!user) {
                return false;
            }
            config.m_users[name] = std::move(user);
        }
        return true;
    }

    // "default" and "addresses", once all users are known.
    bool places(const Json::Value& root, Config& config)
    {
        if (const Json::Value& value = root["default"]; !value.isNull()) {
            Settings settings;
            if (!this->settings(value, "\"default\"", settings) || !knowsUser(settings, config)) {
                return false;
            }
            settings.fillFrom(config.m_default);
            config.m_default = settings;
        }
        const Json::Value& addresses = root["addresses"];
        if (!addresses.isNull() && !addresses.isObject()) {
            return complain("\"addresses\" is no object");
        }
        for (const std::string& key : addresses.getMemberNames()) {
            if (!entry(key, addresses[key], config)) {
                return false;
            }
        }
        return true;
    }

    bool complain(const std::string& what)
    {
        m_why = what;
        return false;
    }

private:
    bool knowsUser(const Settings& settings, const Config& config)
    {
        return !settings.user || config.m_users.count(*settings.user) != 0 ||
               complain("\"" + *settings.user + "\" is none of the \"users\"");
    }

    bool user(const Json::Value& value, const std::string& where, Settings& out)
    {
        if (value.isNull()) {
            return true;
        }
        if (!value.isString()) {
            return complain("the user of " + where + " is no text");
        }
        out.user = value.asString();
        return true;
    }

    bool port(const Json::Value& value, const char* name, const std::string& where,
              std::optional<std::uint16_t>& out)
    {
        if (value.isNull()) {
            return true;
        }
        if (!value.isUInt() || value.asUInt() == 0 || value.asUInt() > 65535) {
            return complain("the " + std::string(name) + " of " + where + " is not one of 1 to 65535");
        }
        out = static_cast<std::uint16_t>(value.asUInt());
        return true;
    }

    bool version(const Json::Value& value, const std::string& where, Settings& out)
    {
        if (value.isNull()) {
            return true;
        }
        const std::string text = value.isString() ? value.asString() : std::string();
        if (text == "auto") {
            out.version = VersionChoice::Auto;
        } else if (text == "1" || text == "v1") {
            out.version = VersionChoice::V1;
        } else if (text == "2c" || text == "v2c") {
            out.version = VersionChoice::V2c;
        } else if (text == "3" || text == "v3") {
            out.version = VersionChoice::V3;
        } else {
            return complain("the version of " + where + R"( is not "auto", "1", "2c" or "3")");
        }
        return true;
    }

    bool community(const Json::Value& value, const std::string& where, Settings& out)
    {
        if (value.isNull()) {
            return true;
        }
        if (!value.isString() || value.asString().size() > kLongestCommunity) {
            return complain("the community of " + where + " is no text of at most 255 bytes");
        }
        out.community = std::make_shared<const std::string>(value.asString());
        return true;
    }

    bool ipp(const Json::Value& value, const std::string& where, Settings& out)
    {
        if (value.isNull()) {
            return true;
        }
        const std::string text = value.isString() ? value.asString() : std::string();
        if (text == "auto") {
            out.ipp = IppChoice::Auto;
        } else if (text == "ipp") {
            out.ipp = IppChoice::Plain;
        } else if (text == "ipps") {
            out.ipp = IppChoice::Tls;
        } else if (text == "off") {
            out.ipp = IppChoice::Off;
        } else {
            return complain("the ipp of " + where + R"( is not "auto", "ipp", "ipps" or "off")");
        }
        return true;
    }

    // It becomes part of a request line, so that it holds nothing that could end that.
    bool ippPath(const Json::Value& value, const std::string& where, Settings& out)
    {
        if (value.isNull()) {
            return true;
        }
        const std::string text = value.isString() ? value.asString() : std::string();
        const bool plain = std::all_of(text.begin(), text.end(), [](char c) { return c > ' ' && c < 0x7F; });
        if (text.empty() || text.front() != '/' || text.size() > kLongestPath || !plain) {
            return complain("the ippPath of " + where + R"( is no path such as "/ipp/print")");
        }
        out.ippPath = text;
        return true;
    }

    std::string& m_why;
};

void Config::Settings::fillFrom(const Settings& wider)
{
    if (!port) {
        port = wider.port;
    }
    if (!version) {
        version = wider.version;
    }
    if (!community) {
        community = wider.community;
    }
    if (!ipp) {
        ipp = wider.ipp;
    }
    if (!ippPort) {
        ippPort = wider.ippPort;
    }
    if (!ippPath) {
        ippPath = wider.ippPath;
    }
    if (!user) {
        user = wider.user;
    }
}

Config::Config()
{
    m_default.port = kSnmpPort;
    m_default.version = VersionChoice::Auto;
    m_default.community = std::make_shared<const std::string>("public");
    auto user = std::make_shared<UsmUser>();
    user->isFromSnmpConf = true;
    m_snmpConfUser = std::move(user);
}

bool Config::parse(const std::string& text, std::string& why)
{
    Parser parser(why);
    const std::optional<Json::Value> root = parseJson(text, kLargestFile);
    if (!root || !root->isObject()) {
        return parser.complain("no JSON object");
    }
    Config fresh;
    if (!parser.users((*root)["users"], fresh) || !parser.places(*root, fresh)) {
        return false;
    }
    std::stable_sort(fresh.m_networks.begin(), fresh.m_networks.end(),
                     [](const Network& a, const Network& b) { return a.bits > b.bits; });
    *this = std::move(fresh);
    return true;
}

Config Config::load()
{
    Config config;
    const std::string path = configPath();
    if (path.empty()) {
        return config;
    }
    const FileText file = readFile(path, kLargestFile);
    std::string why = "cannot be read";
    if (file.error == ReadError::Absent) {
        return config;
    }
    if (file.error == ReadError::None && config.parse(file.text, why)) {
        const bool isOurs = file.owner == ::geteuid() || file.owner == 0;
        if (config.namesUsers() && (!isOurs || (file.mode & 077) != 0)) {
            std::fprintf(stderr,
                         "tarn: %s: it has users with passwords, its mode is %04o and its owner %u: they are "
                         "not used, as it has to be 0600 and yours or root's\n",
                         path.c_str(), file.mode, file.owner);
            config.withholdUsers();
        }
        return config;
    }
    std::fprintf(stderr, "tarn: %s: %s; using the defaults\n", path.c_str(), why.c_str());
    return config;
}

void Config::withholdUsers()
{
    for (auto& entry : m_users) {
        entry.second.reset();
    }
}

Config::UserPtr Config::userOf(const Settings& settings) const
{
    if (*settings.version != VersionChoice::V3) {
        return nullptr;
    }
    return settings.user ? m_users.at(*settings.user) : m_snmpConfUser;
}

PrinterAddress Config::addressFor(std::uint32_t address) const
{
    Settings settings;
    if (const auto found = m_addresses.find(address); found != m_addresses.end()) {
        settings = found->second;
    }
    for (const Network& network : m_networks) {
        if ((address & maskOf(network.bits)) == network.address) {
            settings.fillFrom(network.settings);
        }
    }
    settings.fillFrom(m_default);
    std::shared_ptr<const IppSettings> ipp;
    if (settings.ipp || settings.ippPort || settings.ippPath) {
        const IppSettings usual;
        ipp = std::make_shared<const IppSettings>(IppSettings{settings.ipp.value_or(usual.choice),
                                                              settings.ippPort.value_or(usual.port),
                                                              settings.ippPath.value_or(usual.path)});
    }
    return {
        {address, *settings.port}, *settings.version, settings.community, std::move(ipp), userOf(settings)};
}

} // namespace tarn::catalog
