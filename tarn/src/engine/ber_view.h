#pragma once

#include <cstdint>
#include <optional>

#include "tarn/src/snmp/codec.h"

// The little of X.690 that the engine reads itself, bounded by the view.
namespace tarn::engine {

struct BerElement
{
    std::uint8_t tag = 0;
    snmp::ByteView body;
};

constexpr std::uint8_t kBerInteger = 0x02;
constexpr std::uint8_t kBerOctetString = 0x04;
constexpr std::uint8_t kBerSequence = 0x30;
constexpr std::uint8_t kBerTimeTicks = 0x43;

// Takes one element (X.690 8.1) off the front. Definite lengths only, in any of their forms.
std::optional<BerElement> takeElement(snmp::ByteView& view);

// The value of an integer's contents of at most eight octets.
std::optional<std::int64_t> integerOf(const BerElement& element);

} // namespace tarn::engine
