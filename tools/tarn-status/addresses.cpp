#include "tools/tarn-status/addresses.h"

#include <arpa/inet.h>
#include <netdb.h>

#include <algorithm>
#include <charconv>
#include <cstring>
#include <memory>

namespace tarnstatus {

namespace {

constexpr std::size_t kLongestHostName = 253;
constexpr char kHostNameLetters[] = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789-_.";

std::string dotted(in_addr address)
{
    char text[INET_ADDRSTRLEN];
    return inet_ntop(AF_INET, &address, text, sizeof text);
}

} // namespace

AddressKind kindOfAddress(const std::string& text)
{
    in_addr parsed{};
    if (inet_pton(AF_INET, text.c_str(), &parsed) == 1) {
        return AddressKind::Ipv4;
    }
    if (text.find(':') != std::string::npos) {
        return AddressKind::Ipv6;
    }
    // Whatever inet_aton() takes, such as "0x7f.1", the name service would not look up but calculate.
    if (text.find_first_not_of("0123456789.") == std::string::npos || inet_aton(text.c_str(), &parsed) != 0) {
        return AddressKind::Digits;
    }
    const bool isHostName = text.size() <= kLongestHostName && text.front() != '-' && text.front() != '.' &&
                            text.find_first_not_of(kHostNameLetters) == std::string::npos;
    return isHostName ? AddressKind::HostName : AddressKind::Other;
}

std::string lookUp(const std::string& hostName, std::string& why)
{
    addrinfo wanted{};
    wanted.ai_family = AF_INET;
    wanted.ai_socktype = SOCK_DGRAM;
    addrinfo* found = nullptr;
    if (const int error = getaddrinfo(hostName.c_str(), nullptr, &wanted, &found); error != 0) {
        why = error == EAI_SYSTEM ? std::strerror(errno) : gai_strerror(error);
        return {};
    }
    const std::unique_ptr<addrinfo, decltype(&freeaddrinfo)> owner(found, freeaddrinfo);
    sockaddr_in address{};
    std::memcpy(&address, found->ai_addr, std::min<std::size_t>(found->ai_addrlen, sizeof address));
    return dotted(address.sin_addr);
}

std::vector<std::string> hostsOf(const std::string& network)
{
    const std::size_t slash = network.find('/');
    in_addr parsed{};
    if (inet_pton(AF_INET, network.substr(0, slash).c_str(), &parsed) != 1) {
        return {};
    }
    unsigned bits = 24;
    if (slash != std::string::npos) {
        const std::string text = network.substr(slash + 1);
        const char* const end = text.data() + text.size();
        const std::from_chars_result read = std::from_chars(text.data(), end, bits);
        if (text.size() != 2 || read.ec != std::errc() || read.ptr != end) {
            return {};
        }
    }
    if (bits < 24 || bits > 32) {
        return {};
    }
    const std::uint32_t size = 1u << (32 - bits);
    const std::uint32_t first = ntohl(parsed.s_addr) & ~(size - 1);
    const std::uint32_t edge = size > 2 ? 1 : 0; // the network's own and its broadcast address
    std::vector<std::string> hosts;
    for (std::uint32_t i = edge; i < size - edge; ++i) {
        hosts.push_back(dotted({htonl(first + i)}));
    }
    return hosts;
}

} // namespace tarnstatus
