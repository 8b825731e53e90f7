#pragma once

#include <cstdint>
#include <initializer_list>
#include <string>
#include <vector>

namespace tarn::snmp {

using Oid = std::vector<std::uint32_t>; // at most 128 sub-identifiers; compares lexicographically

enum class ValueType : std::uint8_t
{
    Integer, // RFC 2578 7.1.1, signed 32 bits
    OctetString,
    Null,
    ObjectId,
    IpAddress,
    Counter32,
    Gauge32,
    TimeTicks,
    Opaque,
    Counter64,
    NoSuchObject, // RFC 3416 3, exceptions of v2c
    NoSuchInstance,
    EndOfMibView,
};

struct Value
{
    ValueType type = ValueType::Null;
    std::int64_t number = 0; // Integer, Counter32, Gauge32, TimeTicks, Counter64 (bit pattern)
    std::string bytes;       // OctetString, IpAddress, Opaque
    Oid oid;                 // ObjectId
};

struct Varbind
{
    Oid name;
    Value value;
};

enum class Version : std::uint8_t
{
    V1 = 0,
    V2c = 1,
};

enum class PduType : std::uint8_t
{
    GetRequest = 0xA0,
    GetNextRequest = 0xA1,
    Response = 0xA2,
    SetRequest = 0xA3,
    GetBulkRequest = 0xA5,
};

enum class ErrorStatus : std::int32_t // RFC 3416 3
{
    NoError = 0,
    TooBig = 1,
    NoSuchName = 2,
    BadValue = 3,
    ReadOnly = 4,
    GenErr = 5,
};

struct Pdu
{
    PduType type = PduType::GetRequest;
    std::int32_t requestId = 0;
    std::int32_t errorStatus = 0; // GETBULK: non-repeaters
    std::int32_t errorIndex = 0;  // GETBULK: max-repetitions
    std::vector<Varbind> varbinds;
};

struct Message
{
    Version version = Version::V2c;
    std::string community;
    Pdu pdu;
};

} // namespace tarn::snmp
