#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "tarn/src/snmp/pdu.h"

namespace tarn::snmp {

// A view of bytes that came from, or go to, the network.
struct ByteView
{
    const std::uint8_t* data = nullptr;
    std::size_t size = 0;
};

// The BER encoding of a v1 or v2c message (RFC 1157, RFC 3416, X.690 restricted as RFC 3417 section 8 says).
std::string encodeMessage(const Message& message);

// The message, or nothing when the bytes are no whole, well-formed v1/v2c message. Never reads past the view,
// never allocates more than a small multiple of its size. Long-form and non-minimal lengths are accepted.
std::optional<Message> decodeMessage(ByteView bytes);

} // namespace tarn::snmp
