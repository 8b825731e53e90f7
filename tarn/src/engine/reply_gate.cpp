#include "tarn/src/engine/reply_gate.h"

#include <optional>

#include "tarn/src/engine/ber_view.h"

namespace tarn::engine {

namespace {

std::optional<std::int64_t> takeInteger(snmp::ByteView& view)
{
    const std::optional<BerElement> element = takeElement(view);
    return element && element->tag == kBerInteger ? integerOf(*element) : std::nullopt;
}

} // namespace

Verdict examineReply(snmp::ByteView bytes, const ExpectedReply& expected)
{
    std::optional<BerElement> message = takeElement(bytes);
    if (!message || message->tag != kBerSequence) {
        return Verdict::Malformed;
    }
    const std::optional<std::int64_t> version = takeInteger(message->body);
    if (!version) {
        return Verdict::Malformed;
    }
    if (*version != static_cast<std::int64_t>(expected.version)) {
        return Verdict::WrongVersion;
    }
    const std::optional<BerElement> community = takeElement(message->body);
    if (!community || community->tag != kBerOctetString) {
        return Verdict::Malformed;
    }
    const std::string_view said(reinterpret_cast<const char*>(community->body.data), community->body.size);
    if (said != expected.community) {
        return Verdict::WrongCommunity;
    }
    std::optional<BerElement> pdu = takeElement(message->body);
    if (!pdu) {
        return Verdict::Malformed;
    }
    if (pdu->tag != static_cast<std::uint8_t>(snmp::PduType::Response)) {
        return Verdict::NotAResponse;
    }
    const std::optional<std::int64_t> id = takeInteger(pdu->body);
    if (!id) {
        return Verdict::Malformed;
    }
    return *id == expected.requestId ? Verdict::Accepted : Verdict::WrongId;
}

} // namespace tarn::engine
