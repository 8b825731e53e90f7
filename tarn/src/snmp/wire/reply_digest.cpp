#include "tarn/src/snmp/wire/reply_digest.h"

#include <cstring>

namespace tarn::snmp {

namespace {

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

} // namespace

std::optional<ReplyDigest> digestOf(const MessageHead& head)
{
    const std::optional<Binding> first = firstBinding(head);
    if (!first) {
        return std::nullopt;
    }
    const ByteView& said = head.behindRequestId;
    ReplyDigest digest;
    if (first->type == ValueType::TimeTicks) {
        digest.upTime = numberIn(*first).value_or(-1);
    }
    if (digest.upTime < 0) {
        digest.hash = mixed(0, said.data, said.size);
        return digest;
    }
    const std::uint8_t* const end = said.data + said.size;
    const std::uint8_t* const after = first->content.data + first->content.size;
    digest.hash = mixed(0, said.data, static_cast<std::size_t>(first->content.data - said.data));
    digest.hash = mixed(digest.hash, after, static_cast<std::size_t>(end - after));
    return digest;
}

std::uint32_t placeOfRequestId(const std::string& message)
{
    const MessageHead head =
        readHead({reinterpret_cast<const std::uint8_t*>(message.data()), message.size()});
    const ByteView& id = head.requestIdContent;
    if (!head.isWhole() || id.size != 4) {
        return 0;
    }
    return static_cast<std::uint32_t>(reinterpret_cast<const char*>(id.data) - message.data());
}

void putRequestId(std::string& message, std::uint32_t place, std::int32_t id)
{
    for (std::size_t i = 0; i < 4; ++i) {
        message[place + i] = static_cast<char>(static_cast<std::uint32_t>(id) >> (24 - 8 * i));
    }
}

bool replaceRequestId(std::string& message, std::int32_t id)
{
    const std::uint32_t place = id < kLeastRequestId ? 0 : placeOfRequestId(message);
    if (place != 0) {
        putRequestId(message, place, id);
    }
    return place != 0;
}

} // namespace tarn::snmp
