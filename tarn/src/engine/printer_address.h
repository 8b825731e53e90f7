#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "tarn/src/engine/endpoint.h"
#include "tarn/src/engine/usm_user.h"

namespace tarn::engine {

enum class VersionChoice : unsigned char
{
    Auto, // v2c first, v1 for an agent that does not answer that
    V1,
    V2c,
    V3,
};

enum class IppChoice : unsigned char
{
    Auto,  // plain first, encrypted where the printer wants that
    Plain, // ipp
    Tls,   // ipps
    Off,   // it is never connected to
};

// How one printer is asked over IPP.
struct IppSettings
{
    IppChoice choice = IppChoice::Auto;
    std::uint16_t port = 631;
    std::string path; // empty: the usual ones in turn
};

// Where and how one printer is asked: what each back-end is told of it. The engine hands it through and looks
// at none of it.
struct PrinterAddress
{
    Endpoint endpoint; // over SNMP
    VersionChoice version = VersionChoice::Auto;
    std::shared_ptr<const std::string> community; // never null; shared by all that have the same
    std::shared_ptr<const IppSettings> ipp{};     // null: the defaults
    std::shared_ptr<const UsmUser> user{};        // of V3; null: none that may be used
};

} // namespace tarn::engine
