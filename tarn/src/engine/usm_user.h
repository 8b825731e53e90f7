#pragma once

#include <cstdint>
#include <string>

namespace tarn::engine {

// Somebody whom agents of SNMPv3 know: the User-based Security Model, RFC 3414.
struct UsmUser
{
    enum class Auth : std::uint8_t
    {
        Md5,
        Sha,
        Sha256, // RFC 7860
    };

    // Name, protocols and passwords are those that Net-SNMP's own snmp.conf names; nothing else here counts.
    bool isFromSnmpConf = false;
    std::string name{};
    Auth auth = Auth::Sha;
    std::string authPassword{};
    bool isPrivate = false; // encrypted with AES, RFC 3826
    std::string privPassword{};
    std::string context{};
};

} // namespace tarn::engine
