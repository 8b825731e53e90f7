#pragma once

#include <cstdint>

// The tags of SNMP's values (X.690, RFC 2578 7.1, RFC 3416 3).
namespace tarn::snmp {

constexpr std::uint8_t tagInteger = 0x02;
constexpr std::uint8_t tagOctetString = 0x04;
constexpr std::uint8_t tagNull = 0x05;
constexpr std::uint8_t tagObjectId = 0x06;
constexpr std::uint8_t tagSequence = 0x30;
constexpr std::uint8_t tagIpAddress = 0x40;
constexpr std::uint8_t tagCounter32 = 0x41;
constexpr std::uint8_t tagGauge32 = 0x42;
constexpr std::uint8_t tagTimeTicks = 0x43;
constexpr std::uint8_t tagOpaque = 0x44;
constexpr std::uint8_t tagCounter64 = 0x46;
constexpr std::uint8_t tagUInteger32 = 0x47; // RFC 1442; old agents still send it
constexpr std::uint8_t tagNoSuchObject = 0x80;
constexpr std::uint8_t tagNoSuchInstance = 0x81;
constexpr std::uint8_t tagEndOfMibView = 0x82;

} // namespace tarn::snmp
