#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "tarn/src/base/files.h"
#include "tarn/src/catalog/config_complaints.h"
#include "tarn/src/catalog/config_entry.h"
#include "tarn/src/engine/target.h"

namespace tarn::catalog {

// The configuration file: how printers are asked, by address.
//
//   {
//     "default":   { "port": 161, "version": "auto", "community": "public", "ipp": "auto", "ippPort": 631 },
//     "addresses": {
//       "192.168.1.20": { "version": "1" },
//       "10.2.0.0/16":  { "port": 1161, "community": "printers" },
//       "10.3.0.0/16":  { "version": "3", "user": "monitor" }
//     },
//     "users": {
//       "monitor": { "auth": "SHA-256", "authPassword": "...", "priv": "AES", "privPassword": "...",
//                    "context": "" }
//     }
//   }
//
// "version" is "auto", "1", "2c" or "3"; "ipp" is "auto", "ipp", "ipps" or "off"; "ippPath" names the path
// that is asked there, instead of the usual ones. Members that are missing are taken from the next wider
// entry: an address first, then its networks from the narrowest to the widest, then "default". "auth" is
// "MD5", "SHA" or "SHA-256", "priv" is "none" or "AES"; when they are missing, "SHA" and "none". Version 3
// without a "user" is the user of Net-SNMP's snmp.conf.
//
// A key that is unknown or a value that is wrong is complained about and counts as missing; the rest of the
// file holds. Only a wrong user goes as a whole: who is asked in the name of that one, or of one that is not
// there, has no user, and is not asked in the name of another.
//
// A file that names users holds passwords: its users are used only when nobody but its owner may read or
// write it, and the owner is the present user or root.
//
// Threading: immutable after loading.
class Config final
{
public:
    // Nothing configured: port 161, version auto, community "public".
    Config();

    // The file of configPath(), complaints to stderr, one line each. Throws std::system_error for a file that
    // cannot be read for lack of descriptors or memory.
    static Config load();

    // What the text says. Nothing changes when it is no JSON object, which is a complaint, too.
    void parse(const std::string& text, ConfigComplaints& complaints);

    bool namesUsers() const { return !m_users.empty(); }
    // The users may not be used: who is asked in the name of one of them has no user any more.
    void withholdUsers();

    // The user of that name; null when there is none, or none that may be used.
    std::shared_ptr<const engine::UsmUser> userNamed(const std::string& name) const;

    // How the printer at that address is asked.
    engine::PrinterAddress addressFor(std::uint32_t address) const;

private:
    struct Network
    {
        std::uint32_t address;
        unsigned bits;
        ConfigEntry entry;
    };

    using UserPtr = std::shared_ptr<const engine::UsmUser>;
    UserPtr userOf(const ConfigEntry& entry) const;

    void readUsers(const Json::Value& users, ConfigComplaints& complaints);
    void readAddresses(const Json::Value& addresses, ConfigComplaints& complaints);
    void readAddress(const std::string& key, const Json::Value& value, ConfigComplaints& complaints);
    ConfigEntry readEntry(const Json::Value& value, const std::vector<std::string>& where,
                          ConfigComplaints& complaints) const;

    ConfigEntry m_default;
    std::map<std::string, UserPtr> m_users; // null when wrong or withheld
    UserPtr m_snmpConfUser;
    std::map<std::uint32_t, ConfigEntry> m_addresses;
    std::vector<Network> m_networks; // narrowest first
};

// Where the configuration is: TARN_CONFIG, else $XDG_CONFIG_HOME/tarn/tarn.json; empty where neither is
// known.
std::string configPath();

// A configuration file as it was found.
struct ConfigFile
{
    ReadError error = ReadError::None;
    bool isForTheMoment = false;         // as of FileText
    int errorNumber = 0;                 // as of FileText
    Config config;                       // the defaults where it could not be read
    std::vector<std::string> complaints; // one line each, without the file's name
};
ConfigFile readConfig(const std::string& path);

} // namespace tarn::catalog
