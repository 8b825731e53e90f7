#include "tarn/src/engine/reply_digest.h"

#include <cstring>

#include "tarn/src/engine/ber_view.h"

namespace tarn::engine {

namespace {

using snmp::ByteView;

// Multiply and fold, eight octets at a time: quick, and good enough among the answers of one printer to one
// question.
std::uint64_t mixed(std::uint64_t hash, const std::uint8_t* data, std::size_t size)
{
    constexpr std::uint64_t kMultiplier = 0x9E3779B97F4A7C15u;
    const auto fold = [&](std::uint64_t word) {
        hash = (hash ^ word) * kMultiplier;
        hash ^= hash >> 32;
    };
    fold(size);
    for (; size >= 8; data += 8, size -= 8) {
        std::uint64_t word = 0;
        std::memcpy(&word, data, 8);
        fold(word);
    }
    std::uint64_t last = 0;
    std::memcpy(&last, data, size);
    fold(last);
    return hash != kNoAnswer ? hash : 1;
}

// The contents of the PDU of a message.
std::optional<ByteView> pduOf(ByteView message)
{
    std::optional<BerElement> whole = takeElement(message);
    if (!whole || whole->tag != kBerSequence || !takeElement(whole->body) || !takeElement(whole->body)) {
        return std::nullopt;
    }
    const std::optional<BerElement> pdu = takeElement(whole->body);
    return pdu ? std::optional(pdu->body) : std::nullopt;
}

// The value of the first variable; rest is what follows the request id in the PDU.
std::optional<BerElement> firstValue(ByteView rest)
{
    if (!takeElement(rest) || !takeElement(rest)) { // error-status, error-index
        return std::nullopt;
    }
    std::optional<BerElement> list = takeElement(rest);
    std::optional<BerElement> first = list ? takeElement(list->body) : std::nullopt;
    if (!first || !takeElement(first->body)) {
        return std::nullopt;
    }
    return takeElement(first->body);
}

} // namespace

std::optional<ReplyDigest> digestOf(ByteView message)
{
    std::optional<ByteView> pdu = pduOf(message);
    if (!pdu || !takeElement(*pdu)) {
        return std::nullopt;
    }
    const std::optional<BerElement> value = firstValue(*pdu);
    if (!value) {
        return std::nullopt;
    }
    const std::uint8_t* const end = message.data + message.size;
    ReplyDigest digest;
    if (value->tag == kBerTimeTicks) {
        digest.upTime = integerOf(*value).value_or(-1);
    }
    if (digest.upTime < 0) {
        digest.hash = mixed(0, pdu->data, static_cast<std::size_t>(end - pdu->data));
        return digest;
    }
    const std::uint8_t* const after = value->body.data + value->body.size;
    digest.hash = mixed(0, pdu->data, static_cast<std::size_t>(value->body.data - pdu->data));
    digest.hash = mixed(digest.hash, after, static_cast<std::size_t>(end - after));
    return digest;
}

bool replaceRequestId(std::string& message, std::int32_t id)
{
    std::optional<ByteView> pdu =
        pduOf({reinterpret_cast<const std::uint8_t*>(message.data()), message.size()});
    const std::optional<BerElement> old = pdu ? takeElement(*pdu) : std::nullopt;
    if (!old || old->tag != kBerInteger || old->body.size != 4 || id < kLeastRequestId) {
        return false;
    }
    const auto at = static_cast<std::size_t>(reinterpret_cast<const char*>(old->body.data) - message.data());
    for (std::size_t i = 0; i < 4; ++i) {
        message[at + i] = static_cast<char>(static_cast<std::uint32_t>(id) >> (24 - 8 * i));
    }
    return true;
}

} // namespace tarn::engine
