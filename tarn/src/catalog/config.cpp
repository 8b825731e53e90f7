#include "tarn/src/catalog/config.h"

#include <algorithm>
#include <charconv>

#include "tarn/src/base/json_input.h"
#include "tarn/src/catalog/configured_user.h"

namespace tarn::catalog {

using engine::IppSettings;
using engine::PrinterAddress;
using engine::UsmUser;
using engine::VersionChoice;

namespace {

constexpr std::size_t kLargestText = 16u << 20;
constexpr std::uint16_t kSnmpPort = 161;

std::uint32_t maskOf(unsigned bits)
{
    return bits == 0 ? 0 : ~std::uint32_t{0} << (32 - bits);
}

std::optional<unsigned> parseBits(const std::string& text)
{
    unsigned bits = 0;
    const char* const end = text.data() + text.size();
    const std::from_chars_result read = std::from_chars(text.data(), end, bits);
    const bool isWhole = read.ec == std::errc() && read.ptr == end && text.size() <= 2;
    return isWhole && bits <= 32 ? std::optional(bits) : std::nullopt;
}

} // namespace

Config::Config()
{
    m_default.port = kSnmpPort;
    m_default.version = VersionChoice::Auto;
    m_default.community = std::make_shared<const std::string>("public");
    auto user = std::make_shared<UsmUser>();
    user->isFromSnmpConf = true;
    m_snmpConfUser = std::move(user);
}

void Config::parse(const std::string& text, ConfigComplaints& complaints)
{
    std::string why;
    const std::optional<Json::Value> root = parseJson(text, kLargestText, &why);
    if (!root || !root->isObject()) {
        complaints.add(root ? "no JSON object" : why);
        return;
    }
    const std::vector<std::string> kKeys = {"default", "addresses", "users"};
    for (const std::string& key : root->getMemberNames()) {
        if (std::find(kKeys.begin(), kKeys.end(), key) == kKeys.end()) {
            complaints.add((*root)[key], {},
                           "unknown key " + ConfigComplaints::quoted(key) + meantInstead(key, kKeys));
        }
    }
    Config fresh;
    fresh.readUsers((*root)["users"], complaints); // before those who name them
    if (const Json::Value& value = (*root)["default"]; !value.isNull()) {
        ConfigEntry entry = fresh.readEntry(value, {"default"}, complaints);
        entry.fillFrom(fresh.m_default);
        fresh.m_default = entry;
    }
    fresh.readAddresses((*root)["addresses"], complaints);
    std::stable_sort(fresh.m_networks.begin(), fresh.m_networks.end(),
                     [](const Network& a, const Network& b) { return a.bits > b.bits; });
    *this = std::move(fresh);
}

void Config::readUsers(const Json::Value& users, ConfigComplaints& complaints)
{
    if (users.isNull()) {
        return;
    }
    if (!users.isObject()) {
        complaints.add(users, {"users"}, "is no object");
        return;
    }
    for (const std::string& name : users.getMemberNames()) {
        m_users[name] = parseUser(name, users[name], complaints);
    }
}

void Config::readAddresses(const Json::Value& addresses, ConfigComplaints& complaints)
{
    if (addresses.isNull()) {
        return;
    }
    if (!addresses.isObject()) {
        complaints.add(addresses, {"addresses"}, "is no object");
        return;
    }
    for (const std::string& key : addresses.getMemberNames()) {
        readAddress(key, addresses[key], complaints);
    }
}

void Config::readAddress(const std::string& key, const Json::Value& value, ConfigComplaints& complaints)
{
    const std::vector<std::string> where = {"addresses", key};
    const std::size_t slash = key.find('/');
    const std::optional<std::uint32_t> address = engine::parseIpv4(key.substr(0, slash));
    const std::optional<unsigned> bits =
        slash == std::string::npos ? std::optional<unsigned>(32) : parseBits(key.substr(slash + 1));
    if (!address || !bits) {
        complaints.add(value, where, "is no IPv4 address or network");
        return;
    }
    ConfigEntry entry = readEntry(value, where, complaints);
    if (slash == std::string::npos) {
        m_addresses[*address] = std::move(entry);
    } else {
        m_networks.push_back({*address & maskOf(*bits), *bits, std::move(entry)});
    }
}

ConfigEntry Config::readEntry(const Json::Value& value, const std::vector<std::string>& where,
                              ConfigComplaints& complaints) const
{
    ConfigEntry entry = ConfigEntry::read(value, where, complaints);
    if (entry.user && m_users.count(*entry.user) == 0) {
        complaints.add(value["user"], where, R"("user" is none of the "users")");
    }
    return entry;
}

void Config::withholdUsers()
{
    for (auto& entry : m_users) {
        entry.second.reset();
    }
}

Config::UserPtr Config::userOf(const ConfigEntry& entry) const
{
    if (*entry.version != VersionChoice::V3) {
        return nullptr;
    }
    if (!entry.user) {
        return m_snmpConfUser;
    }
    return userNamed(*entry.user);
}

Config::UserPtr Config::userNamed(const std::string& name) const
{
    const auto found = m_users.find(name);
    return found != m_users.end() ? found->second : nullptr;
}

PrinterAddress Config::addressFor(std::uint32_t address) const
{
    ConfigEntry entry;
    if (const auto found = m_addresses.find(address); found != m_addresses.end()) {
        entry = found->second;
    }
    for (const Network& network : m_networks) {
        if ((address & maskOf(network.bits)) == network.address) {
            entry.fillFrom(network.entry);
        }
    }
    entry.fillFrom(m_default);
    std::shared_ptr<const IppSettings> ipp;
    if (entry.ipp || entry.ippPort || entry.ippPath) {
        const IppSettings usual;
        ipp = std::make_shared<const IppSettings>(IppSettings{entry.ipp.value_or(usual.choice),
                                                              entry.ippPort.value_or(usual.port),
                                                              entry.ippPath.value_or(usual.path)});
    }
    return {{address, *entry.port}, *entry.version, entry.community, std::move(ipp), userOf(entry)};
}

} // namespace tarn::catalog
