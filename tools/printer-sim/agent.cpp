#include "tools/printer-sim/agent.h"

#include <algorithm>

namespace printersim {

using tarn::snmp::ErrorStatus;
using tarn::snmp::Message;
using tarn::snmp::PduType;
using tarn::snmp::Varbind;
using tarn::snmp::Version;

namespace {

// RFC 3416 3, what the reader of answers has no name for.
constexpr std::int32_t kNoAccess = 6;
constexpr std::int32_t kWrongType = 7;
constexpr std::int32_t kNotWritable = 17;

// No varbind is shorter: sequence, name and value with their lengths.
constexpr std::size_t kLeastVarbind = 7;

struct Request
{
    const Message& message;
    Printer& printer;
    double seconds;
    std::size_t maxSize;

    bool isV1() const { return message.version == Version::V1; }
};

Message replyTo(const Message& request)
{
    Message reply;
    reply.version = request.version;
    reply.community = request.community;
    reply.pdu.type = PduType::Response;
    reply.pdu.requestId = request.pdu.requestId;
    return reply;
}

// An error names the varbind, from 1, and hands the request's varbinds back.
Message errorReply(const Request& request, std::int32_t status, std::size_t index)
{
    Message reply = replyTo(request.message);
    reply.pdu.errorStatus = status;
    reply.pdu.errorIndex = static_cast<std::int32_t>(index);
    reply.pdu.varbinds = request.message.pdu.varbinds;
    return reply;
}

std::int32_t code(ErrorStatus status)
{
    return static_cast<std::int32_t>(status);
}

Value exception(ValueType type)
{
    Value value;
    value.type = type;
    return value;
}

// An object that is there without that instance, or none at all (RFC 3416 4.2.1). A scalar's instance is one
// arc, that of a row in these tables at most two.
Value absence(const Request& request, const Oid& name)
{
    const std::ptrdiff_t arcs = name.back() == 0 ? 1 : 2;
    for (std::ptrdiff_t dropped = 1; dropped <= arcs && static_cast<std::size_t>(dropped) < name.size();
         ++dropped) {
        if (request.printer.hasBelow(Oid(name.begin(), name.end() - dropped), request.seconds)) {
            return exception(ValueType::NoSuchInstance);
        }
    }
    return exception(ValueType::NoSuchObject);
}

Message get(const Request& request)
{
    Message reply = replyTo(request.message);
    for (const Varbind& asked : request.message.pdu.varbinds) {
        auto value = request.printer.get(asked.name, request.seconds);
        if (value && request.isV1() && value->type == ValueType::Counter64) {
            value.reset(); // v1 has no such type (RFC 3584 4.1.2.1)
        }
        if (!value && request.isV1()) {
            return errorReply(request, code(ErrorStatus::NoSuchName), reply.pdu.varbinds.size() + 1);
        }
        reply.pdu.varbinds.push_back({asked.name, value ? std::move(*value) : absence(request, asked.name)});
    }
    return reply;
}

// The row behind name; endOfMibView at the end.
Varbind nextOf(const Request& request, const Oid& name)
{
    auto found = request.printer.next(name, request.seconds);
    while (found && request.isV1() && found->value.type == ValueType::Counter64) {
        found = request.printer.next(found->name, request.seconds);
    }
    if (!found) {
        return {name, exception(ValueType::EndOfMibView)};
    }
    return {std::move(found->name), std::move(found->value)};
}

Message getNext(const Request& request)
{
    Message reply = replyTo(request.message);
    for (const Varbind& asked : request.message.pdu.varbinds) {
        Varbind next = nextOf(request, asked.name);
        if (request.isV1() && next.value.type == ValueType::EndOfMibView) {
            return errorReply(request, code(ErrorStatus::NoSuchName), reply.pdu.varbinds.size() + 1);
        }
        reply.pdu.varbinds.push_back(std::move(next));
    }
    return reply;
}

// RFC 3416 4.2.3. Rows are added while they may fit; cutting to the exact size is the caller's.
Message getBulk(const Request& request)
{
    const std::vector<Varbind>& asked = request.message.pdu.varbinds;
    const std::size_t once =
        std::min(asked.size(), static_cast<std::size_t>(std::max(request.message.pdu.errorStatus, 0)));
    const std::int32_t rounds = std::max(request.message.pdu.errorIndex, 0);
    const std::size_t mostVarbinds = request.maxSize / kLeastVarbind + 1;
    Message reply = replyTo(request.message);
    std::vector<Varbind>& out = reply.pdu.varbinds;
    for (std::size_t i = 0; i < once; ++i) {
        out.push_back(nextOf(request, asked[i].name));
    }
    const std::size_t width = asked.size() - once;
    for (std::int32_t round = 0; round < rounds && width > 0 && out.size() < mostVarbinds; ++round) {
        bool anyLeft = false;
        for (std::size_t i = 0; i < width; ++i) {
            const Oid from = round == 0 ? asked[once + i].name : out[out.size() - width].name;
            out.push_back(nextOf(request, from));
            anyLeft = anyLeft || out.back().value.type != ValueType::EndOfMibView;
        }
        if (!anyLeft) {
            break;
        }
    }
    return reply;
}

bool isUnsigned32(ValueType type)
{
    return type == ValueType::Counter32 || type == ValueType::Gauge32;
}

std::int32_t setError(const Request& request, const Varbind& wanted)
{
    const auto present = request.printer.get(wanted.name, request.seconds);
    if (!present) {
        return request.isV1() ? code(ErrorStatus::NoSuchName) : kNotWritable;
    }
    // A counter may be set as either type of 32 bits: command lines have no letter for both.
    if (present->type != wanted.value.type &&
        !(isUnsigned32(present->type) && isUnsigned32(wanted.value.type))) {
        return request.isV1() ? code(ErrorStatus::BadValue) : kWrongType;
    }
    return code(ErrorStatus::NoError);
}

// All or nothing (RFC 3416 4.2.5).
Message set(const Request& request, const AgentSettings& settings)
{
    if (request.message.community != settings.writeCommunity) {
        return errorReply(request, request.isV1() ? code(ErrorStatus::NoSuchName) : kNoAccess, 1);
    }
    const std::vector<Varbind>& wanted = request.message.pdu.varbinds;
    for (std::size_t i = 0; i < wanted.size(); ++i) {
        if (const std::int32_t error = setError(request, wanted[i]); error != 0) {
            return errorReply(request, error, i + 1);
        }
    }
    for (const Varbind& varbind : wanted) {
        Value value = varbind.value;
        value.type = request.printer.get(varbind.name, request.seconds)->type;
        request.printer.set(varbind.name, std::move(value));
    }
    Message reply = replyTo(request.message);
    reply.pdu.varbinds = wanted;
    return reply;
}

// The longest beginning of the answer that fits; without any varbind where not even one does.
std::string cutToSize(Message reply, std::size_t maxSize)
{
    const std::vector<Varbind> all = std::move(reply.pdu.varbinds);
    const auto encodeFirst = [&](std::size_t count) {
        reply.pdu.varbinds.assign(all.begin(), all.begin() + static_cast<std::ptrdiff_t>(count));
        return tarn::snmp::encodeMessage(reply);
    };
    std::size_t fits = 0;
    std::size_t tooMany = all.size();
    while (fits + 1 < tooMany) {
        const std::size_t middle = (fits + tooMany) / 2;
        (encodeFirst(middle).size() <= maxSize ? fits : tooMany) = middle;
    }
    return encodeFirst(fits);
}

std::optional<Message> dispatch(const Request& request, const AgentSettings& settings)
{
    switch (request.message.pdu.type) {
    case PduType::GetRequest:
        return get(request);
    case PduType::GetNextRequest:
        return getNext(request);
    case PduType::SetRequest:
        return set(request, settings);
    case PduType::GetBulkRequest:
        if (!request.isV1()) {
            return getBulk(request);
        }
        break;
    case PduType::Response:
        break;
    }
    return std::nullopt;
}

} // namespace

std::optional<std::string> answer(tarn::snmp::ByteView datagram, Printer& printer, double seconds,
                                  const AgentSettings& settings)
{
    const auto message = tarn::snmp::decodeMessage(datagram);
    if (!message ||
        (message->community != settings.readCommunity && message->community != settings.writeCommunity)) {
        return std::nullopt;
    }
    if ((settings.v1Only || printer.kind().v1Only) && message->version != Version::V1) {
        return std::nullopt;
    }
    const std::size_t ownSize = printer.kind().maxMessageSize;
    const Request request{*message, printer, seconds, ownSize != 0 ? ownSize : settings.maxMessageSize};
    auto reply = dispatch(request, settings);
    if (!reply) {
        return std::nullopt;
    }
    std::string bytes = tarn::snmp::encodeMessage(*reply);
    if (bytes.size() <= request.maxSize) {
        return bytes;
    }
    if (message->pdu.type == PduType::GetBulkRequest) {
        return cutToSize(std::move(*reply), request.maxSize);
    }
    // v1 hands the request's varbinds back, v2c none (RFC 1157 4.1.2, RFC 3416 4.2.1).
    Message tooBig = errorReply(request, code(ErrorStatus::TooBig), 0);
    if (!request.isV1()) {
        tooBig.pdu.varbinds.clear();
    }
    bytes = tarn::snmp::encodeMessage(tooBig);
    return bytes.size() <= request.maxSize ? std::optional<std::string>(bytes) : std::nullopt;
}

} // namespace printersim
