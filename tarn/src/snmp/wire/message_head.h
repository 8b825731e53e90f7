#pragma once

#include <cstdint>

#include "tarn/src/snmp/wire/ber.h"

namespace tarn::snmp {

// What stands before the bindings of a v1 or v2c message, where it stands. Who judges a datagram, compares it
// or decodes it begins with the same head, read once. Beyond the letter of the standard, because agents send
// it: long-form and non-minimal lengths, integers with redundant leading octets, octets after the message.
struct MessageHead
{
    // How far it is well formed. A part's fields are set when it and all before it were read.
    enum class Part : std::uint8_t
    {
        Nothing,
        Version,
        Community,
        Type,
        Whole,
    };

    Part read = Part::Nothing;
    std::int64_t version = 0; // any number: other protocols' messages begin alike
    ByteView community;
    std::uint8_t type = 0; // tag of the PDU
    // of Part::Whole
    ByteView requestIdContent;
    std::int32_t requestId = 0;
    ByteView behindRequestId; // to the end of the PDU
    std::int32_t errorStatus = 0;
    std::int32_t errorIndex = 0;
    ByteView bindings;

    bool isWhole() const { return read == Part::Whole; }
};

void readHead(ByteView bytes, MessageHead& head);
inline MessageHead readHead(ByteView bytes)
{
    MessageHead head;
    readHead(bytes, head);
    return head;
}

} // namespace tarn::snmp
