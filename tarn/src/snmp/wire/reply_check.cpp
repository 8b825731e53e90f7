#include "tarn/src/snmp/wire/reply_check.h"

namespace tarn::snmp {

Verdict examineReply(const MessageHead& head, const ExpectedReply& expected)
{
    if (head.read < MessageHead::Part::Version) {
        return Verdict::Malformed;
    }
    if (head.version != static_cast<std::int64_t>(expected.version)) {
        return Verdict::WrongVersion;
    }
    if (head.read < MessageHead::Part::Community) {
        return Verdict::Malformed;
    }
    const std::string_view said(reinterpret_cast<const char*>(head.community.data), head.community.size);
    if (said != expected.community) {
        return Verdict::WrongCommunity;
    }
    if (head.read < MessageHead::Part::Type) {
        return Verdict::Malformed;
    }
    if (head.type != static_cast<std::uint8_t>(PduType::Response)) {
        return Verdict::NotAResponse;
    }
    if (!head.isWhole()) {
        return Verdict::Malformed;
    }
    return head.requestId == expected.requestId ? Verdict::Accepted : Verdict::WrongId;
}

} // namespace tarn::snmp
