#pragma once

#include "tarn/src/snmp/wire/ber.h"

namespace tarn::usm {

// Whether these octets are a message of SNMPv3 with the User-based Security Model (RFC 3412 6, RFC 3414 2.4),
// every element inside of the one that it stands in; of an encrypted one up to what is encrypted. Net-SNMP
// trusts some of the inner lengths and reads past the end.
bool isWholeMessage(snmp::ByteView bytes);

} // namespace tarn::usm
