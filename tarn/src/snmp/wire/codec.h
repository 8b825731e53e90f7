#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "tarn/src/snmp/wire/ber.h"
#include "tarn/src/snmp/wire/message_head.h"
#include "tarn/src/snmp/wire/pdu.h"

namespace tarn::snmp {

// The BER encoding of a v1 or v2c message (RFC 1157, RFC 3416, X.690 restricted as RFC 3417 section 8 says).
std::string encodeMessage(const Message& message);
// The contents of an object identifier's element.
std::string encodeOid(const Oid& oid);

// More variable bindings than any answer to our own requests can hold; a message with more is refused.
constexpr std::size_t kMaxVarbinds = 1024;

// The message, or nothing when the bytes are no whole, well-formed v1/v2c message. Never reads past the view,
// never allocates more than a small multiple of its size. Accepted beyond the letter of the standard, because
// agents send it: what MessageHead takes, also behind the head; Counter32 and its like with the sign bit set
// and no leading zero; an empty object identifier (0.0). Refused: indefinite lengths, integers of no octet or
// of more than 64 bits, identifiers of more than 128 sub-identifiers or with one above 32 bits, more than
// kMaxVarbinds bindings, traps and v3.
std::optional<Message> decodeMessage(ByteView bytes);
// The same of a message whose head was read.
std::optional<Pdu> decodePdu(const MessageHead& head);

// One binding of an answer as it arrived, where it arrived.
struct Binding
{
    ByteView name;
    ValueType type = ValueType::Null;
    ByteView content;
};

// The first binding; nothing where there is none, or where it is malformed around its name and value.
std::optional<Binding> firstBinding(const MessageHead& head);

// The bindings of an answer without an error, as many as there are, none of them copied or looked into. Zero
// when it is no such answer, is malformed around its bindings, or has none or more than most of them.
std::size_t takeBindings(const MessageHead& answer, Binding* bindings, std::size_t most);

// Whether decodeMessage() would take it.
bool isWellFormed(const Binding& binding);

// Nothing when it is no number, or none that decodeMessage() would take.
std::optional<std::int64_t> numberIn(const Binding& binding);

} // namespace tarn::snmp
