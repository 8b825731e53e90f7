#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

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
// entry: an address first, then its networks from the narrowest to the widest, then "default". Unknown
// members are ignored. "auth" is "MD5", "SHA" or "SHA-256", "priv" is "none" or "AES"; when they are missing,
// "SHA" and "none". Version 3 without a "user" is the user of Net-SNMP's snmp.conf.
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

    // From TARN_CONFIG, else $XDG_CONFIG_HOME/tarn/tarn.json. Without a file the defaults; a broken file
    // costs one line on stderr, and the defaults hold.
    static Config load();

    // False, and nothing changes, when the text is no configuration; why then says it in a few words, none of
    // them a password.
    bool parse(const std::string& text, std::string& why);

    bool namesUsers() const { return !m_users.empty(); }
    // The users may not be used: who is asked in the name of one of them has no user any more.
    void withholdUsers();

    // How the printer at that address is asked.
    engine::PrinterAddress addressFor(std::uint32_t address) const;

private:
    // What one entry says; nothing where it says nothing.
    struct Settings
    {
        std::optional<std::uint16_t> port;
        std::optional<engine::VersionChoice> version;
        std::shared_ptr<const std::string> community;
        std::optional<engine::IppChoice> ipp;
        std::optional<std::uint16_t> ippPort;
        std::optional<std::string> ippPath;
        std::optional<std::string> user; // one of m_users

        void fillFrom(const Settings& wider);
    };
    struct Network
    {
        std::uint32_t address;
        unsigned bits;
        Settings settings;
    };
    class Parser;

    using UserPtr = std::shared_ptr<const engine::UsmUser>;
    UserPtr userOf(const Settings& settings) const;

    Settings m_default;
    std::map<std::string, UserPtr> m_users; // null when withheld
    UserPtr m_snmpConfUser;
    std::map<std::uint32_t, Settings> m_addresses;
    std::vector<Network> m_networks; // narrowest first
};

} // namespace tarn::catalog
