#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "tarn/src/snmp/wire/codec.h"

namespace tarnstatus {

// The request for the next object behind name.
tarn::snmp::Pdu nextRequest(const tarn::snmp::Oid& name, std::int32_t requestId);

// The answer to a request of that version and number; nothing when the octets are none.
std::optional<tarn::snmp::Pdu> answerIn(const std::string& octets, tarn::snmp::Version version,
                                        std::int32_t requestId);

// Whether the answer's first object lies below name, and is there.
bool isBelow(const tarn::snmp::Pdu& answer, const tarn::snmp::Oid& name);

// The message of SNMPv3 that asks an agent for its engine and bears no user (RFC 3414 4).
std::string discovery(std::int32_t messageId);

// Whether the octets begin as the answer to that does: version, number and an engine's name (RFC 3412 6,
// RFC 3411 SnmpEngineID).
bool namesEngine(const std::string& octets, std::int32_t messageId);

} // namespace tarnstatus
