#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace tarn::engine {

// An IPv4 address and a UDP port, both in host byte order.
struct Endpoint
{
    std::uint32_t address = 0;
    std::uint16_t port = 0;

    bool operator==(const Endpoint& other) const { return address == other.address && port == other.port; }
};

struct EndpointHash
{
    std::size_t
    operator()(const Endpoint& endpoint) const noexcept // or tables would keep it beside each entry
    {
        const std::uint64_t key = std::uint64_t{endpoint.address} << 16 | endpoint.port;
        return static_cast<std::size_t>((key * 0x9E3779B97F4A7C15u) >> 16);
    }
};

// Four decimal octets; leading zeros do not make them octal ("01.2.3.040" is 1.2.3.40).
std::optional<std::uint32_t> parseIpv4(std::string_view text);

// Whether a single device can have the address: not "this network", multicast, reserved or broadcast.
bool isUnicast(std::uint32_t address);

std::string formatIpv4(std::uint32_t address);

} // namespace tarn::engine
