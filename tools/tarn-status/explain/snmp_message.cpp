#include "tools/tarn-status/explain/snmp_message.h"

#include <algorithm>

namespace tarnstatus {

using tarn::snmp::BerReader;
using tarn::snmp::ByteView;
using tarn::snmp::Oid;
using tarn::snmp::Pdu;
using tarn::snmp::PduType;
using tarn::snmp::ValueType;

namespace {

constexpr std::int32_t kVersion3 = 3;
constexpr std::int32_t kUserBased = 3; // the security model
constexpr std::int32_t kLargestMessage = 65507;
constexpr char kReportable[] = "\x04";

ByteView viewOf(const std::string& octets)
{
    return {reinterpret_cast<const std::uint8_t*>(octets.data()), octets.size()};
}

// Content of fewer than 128 octets, as everything in a discovery is.
std::string element(std::uint8_t tag, const std::string& content)
{
    return std::string(1, static_cast<char>(tag)) + static_cast<char>(content.size()) + content;
}

std::string integer(std::int32_t number)
{
    std::string octets;
    for (int shift = 24; shift >= 0; shift -= 8) {
        octets += static_cast<char>(static_cast<std::uint32_t>(number) >> shift & 0xFF);
    }
    // The shortest form: no octet that only repeats the sign (X.690 8.3.2).
    while (octets.size() > 1 && octets[0] == 0 && (octets[1] & 0x80) == 0) {
        octets.erase(0, 1);
    }
    return element(tarn::snmp::kTagInteger, octets);
}

std::string text(const std::string& octets)
{
    return element(tarn::snmp::kTagOctetString, octets);
}

std::string sequence(const std::string& content)
{
    return element(tarn::snmp::kTagSequence, content);
}

bool isNumber(ByteView content, std::int32_t number)
{
    std::int32_t read = 0;
    return tarn::snmp::readInt32(content, read) && read == number;
}

} // namespace

Pdu nextRequest(const Oid& name, std::int32_t requestId)
{
    Pdu pdu;
    pdu.type = PduType::GetNextRequest;
    pdu.requestId = requestId;
    pdu.varbinds.push_back({name, {}});
    return pdu;
}

std::optional<Pdu> answerIn(const std::string& octets, tarn::snmp::Version version, std::int32_t requestId)
{
    std::optional<tarn::snmp::Message> message = tarn::snmp::decodeMessage(viewOf(octets));
    if (!message || message->version != version || message->pdu.type != PduType::Response ||
        message->pdu.requestId != requestId) {
        return std::nullopt;
    }
    return std::move(message->pdu);
}

bool isBelow(const Pdu& answer, const Oid& name)
{
    if (answer.errorStatus != 0 || answer.varbinds.empty()) {
        return false;
    }
    const tarn::snmp::Varbind& first = answer.varbinds.front();
    return first.value.type < ValueType::NoSuchObject && first.name.size() > name.size() &&
           std::equal(name.begin(), name.end(), first.name.begin());
}

std::string discovery(std::int32_t messageId)
{
    const std::string header =
        sequence(integer(messageId) + integer(kLargestMessage) + text(kReportable) + integer(kUserBased));
    const std::string nobody =
        text(sequence(text("") + integer(0) + integer(0) + text("") + text("") + text("")));
    const std::string nothing = element(static_cast<std::uint8_t>(PduType::GetRequest),
                                        integer(messageId) + integer(0) + integer(0) + sequence(""));
    return sequence(integer(kVersion3) + header + nobody + sequence(text("") + text("") + nothing));
}

bool namesEngine(const std::string& octets, std::int32_t messageId)
{
    constexpr std::size_t kShortestName = 5;
    constexpr std::size_t kLongestName = 32;
    BerReader outer(viewOf(octets));
    BerReader message(outer.element(tarn::snmp::kTagSequence));
    const ByteView version = message.element(tarn::snmp::kTagInteger);
    BerReader header(message.element(tarn::snmp::kTagSequence));
    const ByteView number = header.element(tarn::snmp::kTagInteger);
    BerReader wrapped(message.element(tarn::snmp::kTagOctetString));
    BerReader security(wrapped.element(tarn::snmp::kTagSequence));
    const ByteView engine = security.element(tarn::snmp::kTagOctetString);
    return !security.failed() && isNumber(version, kVersion3) && isNumber(number, messageId) &&
           engine.size >= kShortestName && engine.size <= kLongestName;
}

} // namespace tarnstatus
