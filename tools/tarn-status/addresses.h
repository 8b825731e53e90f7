#pragma once

#include <string>
#include <vector>

namespace tarnstatus {

// What a word of the command line names.
enum class AddressKind
{
    Ipv4,     // dotted, four octets in decimal without leading zeros
    HostName, // to be looked up
    Digits,   // digits and dots, or another spelling of a number: no address, and never looked up
    Ipv6,
    Other, // holds what no host name has
};

AddressKind kindOfAddress(const std::string& text);

// The first IPv4 address of a host name, dotted. Empty, and why says it, when there is none; waits for the
// name service.
std::string lookUp(const std::string& hostName, std::string& why);

// The hosts of a network written as address/bits, bits from 24 to 32, without its own and its broadcast
// address; of a plain address the 254 hosts around it. Empty when the text is no such network.
std::vector<std::string> hostsOf(const std::string& network);

} // namespace tarnstatus
