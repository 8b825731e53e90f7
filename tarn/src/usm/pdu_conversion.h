#pragma once

#include <memory>

#include "tarn/src/snmp/wire/pdu.h"
#include "tarn/src/usm/net_snmp_library.h"

namespace tarn::usm {

using OwnedPdu = std::unique_ptr<netsnmp_pdu, decltype(&::snmp_free_pdu)>;

// The request as Net-SNMP wants it. Null without memory, or when a value is none that a request or response
// can have.
OwnedPdu toNetSnmp(const NetSnmpLibrary& library, const snmp::Pdu& pdu);

// What Net-SNMP read, at most maxBindings variable bindings of it. Values of a type that snmp::Value does not
// know become Null.
snmp::Pdu fromNetSnmp(const netsnmp_pdu& pdu, std::size_t maxBindings);

} // namespace tarn::usm
