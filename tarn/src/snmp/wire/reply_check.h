#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "tarn/src/snmp/wire/message_head.h"
#include "tarn/src/snmp/wire/pdu.h"

namespace tarn::snmp {

// What became of a datagram, in the order in which it is examined: the cheap tests first, so that junk costs
// little more than receiving it.
enum class Verdict : std::uint8_t
{
    UnknownSource,  // from an address and port that nobody asks
    NothingAsked,   // from a printer that owes no answer: late, duplicate or forged
    Malformed,      // no SNMP message
    WrongVersion,   // not the version that was asked with
    WrongCommunity, // not the community that was asked with
    NotAResponse,   // a request, a trap
    WrongId,        // answers another request: late, replayed or forged
    Accepted,
};
constexpr std::size_t kVerdicts = 8;

// How many datagrams ended how.
using VerdictCounts = std::array<std::uint64_t, kVerdicts>;

struct ExpectedReply
{
    Version version = Version::V2c;
    std::string_view community;
    std::int32_t requestId = 0;
};

// The rungs from Malformed on. What is accepted may still turn out to be malformed behind its head.
Verdict examineReply(const MessageHead& head, const ExpectedReply& expected);

} // namespace tarn::snmp
