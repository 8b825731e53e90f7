#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <string>

namespace tarnstatus {

// What is tried of an address, in that order.
enum class Probe
{
    Name,
    Route,
    Snmp2c,
    Snmp1,
    Snmp3,
    Ipp,
    Usb,
};

// What came of it.
enum class ProbeOutcome
{
    Found, // the address of the name; the address that packets leave from
    UnknownName,
    NoNetwork,  // no route from here
    NoHost,     // a router, or this machine's own look for it, says that nobody has the address
    Forbidden,  // this machine's own filter refuses
    Refused,    // somebody on the way does
    NotOneHost, // the address is a network's, or of another kind
    NoSocket,

    Printer,
    NotPrinter,
    Garbage, // something that answers otherwise
    PortClosed,
    Silent,

    Engine, // SNMPv3 is spoken; nobody was named
    UnknownUser,
    WrongPassword,
    WrongPrivacy,
    WrongLevel,
    OtherReport,
    NoUser, // none that may be asked in the name of
    NoLibrary,

    PrinterByTls,
    TlsOnly,   // it was to be asked in plain, and answers encrypted alone
    PlainOnly, // the other way round
    NoIpp,     // connected, and no answer of IPP's
    SwitchedOff,

    NoBus,
    NoneAttached,
    Attached, // it says who it is
    NoRights,
    Busy,
    Mute,
};

struct Finding
{
    Probe probe = Probe::Name;
    ProbeOutcome outcome = ProbeOutcome::Silent;
    std::optional<std::chrono::milliseconds> took{};
    std::string detail{}; // what the other side says of itself, or the name that matters
    bool isAgain = false; // the question was put a second time
};

// Where findings go, one after the other.
using Tell = std::function<void(const Finding&)>;

} // namespace tarnstatus
