#include "tarn/src/engine/reply_gate.h"

#include <optional>

namespace tarn::engine {

namespace {

constexpr std::uint8_t kInteger = 0x02;
constexpr std::uint8_t kOctetString = 0x04;
constexpr std::uint8_t kSequence = 0x30;

struct Element
{
    std::uint8_t tag = 0;
    snmp::ByteView body;
};

// Takes one element (X.690 8.1) off the front. Definite lengths only, in any of their forms.
std::optional<Element> takeElement(snmp::ByteView& view)
{
    if (view.size < 2) {
        return std::nullopt;
    }
    const std::uint8_t tag = view.data[0];
    std::size_t length = view.data[1];
    std::size_t head = 2;
    if (length >= 0x80) {
        const std::size_t octets = length & 0x7F;
        if (octets == 0 || octets > 4 || view.size < 2 + octets) {
            return std::nullopt;
        }
        length = 0;
        for (std::size_t i = 0; i < octets; ++i) {
            length = length << 8 | view.data[head++];
        }
    }
    if (length > view.size - head) {
        return std::nullopt;
    }
    const Element element{tag, {view.data + head, length}};
    view = {view.data + head + length, view.size - head - length};
    return element;
}

std::optional<std::int64_t> takeInteger(snmp::ByteView& view)
{
    const std::optional<Element> element = takeElement(view);
    if (!element || element->tag != kInteger || element->body.size == 0 || element->body.size > 8) {
        return std::nullopt;
    }
    std::uint64_t value = (element->body.data[0] & 0x80) != 0 ? ~std::uint64_t{0} : 0;
    for (std::size_t i = 0; i < element->body.size; ++i) {
        value = value << 8 | element->body.data[i];
    }
    return static_cast<std::int64_t>(value);
}

} // namespace

Verdict examineReply(snmp::ByteView bytes, const ExpectedReply& expected)
{
    std::optional<Element> message = takeElement(bytes);
    if (!message || message->tag != kSequence) {
        return Verdict::Malformed;
    }
    const std::optional<std::int64_t> version = takeInteger(message->body);
    if (!version) {
        return Verdict::Malformed;
    }
    if (*version != static_cast<std::int64_t>(expected.version)) {
        return Verdict::WrongVersion;
    }
    const std::optional<Element> community = takeElement(message->body);
    if (!community || community->tag != kOctetString) {
        return Verdict::Malformed;
    }
    const std::string_view said(reinterpret_cast<const char*>(community->body.data), community->body.size);
    if (said != expected.community) {
        return Verdict::WrongCommunity;
    }
    std::optional<Element> pdu = takeElement(message->body);
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
