#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "tarn/src/snmp/wire/codec.h"

namespace tarn::snmp {

constexpr std::uint64_t kNoAnswer = 0; // a hash that no answer has

// What one answer has in common with another that says the same: everything but the request id and, when the
// first variable is a TimeTicks (sysUpTime), its value. Most printers say the same most of the time; whoever
// compares digests need not decode that.
struct ReplyDigest
{
    std::uint64_t hash = kNoAnswer;
    std::int64_t upTime = -1; // hundredths of a second; -1 when it is not the first variable

    bool saysTheSame(const ReplyDigest& other) const
    {
        return hash == other.hash && (upTime < 0) == (other.upTime < 0);
    }
};

// Of a message that passed the gate. Nothing when it has no first variable.
std::optional<ReplyDigest> digestOf(const MessageHead& head);

// Puts the id into an encoded request whose id takes four octets, as all from kLeastRequestId on do. False,
// and nothing changes, when it is not such a request.
bool replaceRequestId(std::string& message, std::int32_t id);
constexpr std::int32_t kLeastRequestId = 0x40000000;
// The same in two steps, of which the first is needed once for many messages that are alike. 0: no such
// request.
std::uint32_t placeOfRequestId(const std::string& message);
void putRequestId(std::string& message, std::uint32_t place, std::int32_t id);

} // namespace tarn::snmp
