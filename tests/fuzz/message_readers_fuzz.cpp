#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "tarn/src/snmp/wire/codec.h"
#include "tarn/src/snmp/wire/reply_check.h"
#include "tarn/src/snmp/wire/reply_digest.h"

// Whatever looks at a message (gate, digest, the quick way to its bindings, the decoder) must read the same
// in it, and must read the same in the same message written as carelessly as some agents write.
namespace {

using namespace tarn::snmp;
using tarn::snmp::digestOf;
using tarn::snmp::examineReply;
using tarn::snmp::ReplyDigest;
using tarn::snmp::Verdict;

void require(bool holds)
{
    if (!holds) {
        std::abort();
    }
}

ByteView viewOf(const std::string& bytes)
{
    return {reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()};
}

bool isNumber(ValueType type)
{
    return type == ValueType::Integer || type == ValueType::Counter32 || type == ValueType::Gauge32 ||
           type == ValueType::TimeTicks || type == ValueType::Counter64;
}

// Writes a well-formed message again with lengths of so many octets and integers of so many redundant ones.
class CarelessAgent final
{
public:
    CarelessAgent(std::size_t lengthOctets, std::size_t padding)
        : m_lengthOctets(lengthOctets), m_padding(padding)
    {
    }

    // The elements of a constructed one, written anew.
    std::string rewritten(ByteView elements) const
    {
        std::string out;
        BerReader reader(elements);
        while (!reader.atEnd()) {
            std::uint8_t tag = 0;
            const ByteView content = reader.anyElement(tag);
            require(!reader.failed());
            const bool constructed = (tag & 0x20) != 0;
            out += element(tag, constructed ? rewritten(content) : primitive(tag, content));
        }
        return out;
    }

private:
    std::string primitive(std::uint8_t tag, ByteView content) const
    {
        const std::string octets(reinterpret_cast<const char*>(content.data), content.size);
        const bool isCounter = tag == kTagCounter32 || tag == kTagGauge32 || tag == kTagTimeTicks ||
                               tag == kTagUInteger32 || tag == kTagCounter64;
        if (tag == kTagInteger && !octets.empty()) {
            return std::string(m_padding, (content.data[0] & 0x80) != 0 ? '\xff' : '\0') + octets;
        }
        // One that is sign-extended means another number behind a zero.
        const std::size_t widest = tag == kTagCounter64 ? 8 : 4;
        return isCounter && octets.size() <= widest ? std::string(m_padding, '\0') + octets : octets;
    }
    std::string element(std::uint8_t tag, const std::string& content) const
    {
        std::string out(1, static_cast<char>(tag));
        out.push_back(static_cast<char>(0x80 | m_lengthOctets));
        for (std::size_t i = m_lengthOctets; i > 0; --i) {
            out.push_back(static_cast<char>(i > 4 ? 0 : content.size() >> (8 * (i - 1))));
        }
        return out + content;
    }

    const std::size_t m_lengthOctets; // at least 4
    const std::size_t m_padding;
};

// The gate's verdict follows from the decoded message alone.
void checkGate(const MessageHead& head, const Message& message)
{
    const bool response = message.pdu.type == PduType::Response;
    const Version other = message.version == Version::V1 ? Version::V2c : Version::V1;
    const std::int32_t id = message.pdu.requestId;
    require(examineReply(head, {message.version, message.community, id}) ==
            (response ? Verdict::Accepted : Verdict::NotAResponse));
    require(examineReply(head, {message.version, message.community, id ^ 1}) ==
            (response ? Verdict::WrongId : Verdict::NotAResponse));
    require(examineReply(head, {other, message.community, id}) == Verdict::WrongVersion);
    require(examineReply(head, {message.version, message.community + "x", id}) == Verdict::WrongCommunity);
}

void checkDigest(const MessageHead& head, const Message& message)
{
    const std::optional<ReplyDigest> digest = digestOf(head);
    require(digest.has_value() == !message.pdu.varbinds.empty());
    if (digest) {
        const Value& first = message.pdu.varbinds.front().value;
        require(digest->upTime == (first.type == ValueType::TimeTicks ? first.number : -1));
    }
}

void checkBindings(const MessageHead& head, const Message& message)
{
    static std::array<Binding, kMaxVarbinds> bindings;
    const std::size_t count = takeBindings(head, bindings.data(), bindings.size());
    const bool answer = message.pdu.type == PduType::Response && message.pdu.errorStatus == 0;
    require(count == (answer ? message.pdu.varbinds.size() : 0));
    for (std::size_t i = 0; i < count; ++i) {
        const Value& value = message.pdu.varbinds[i].value;
        require(isWellFormed(bindings[i]) && bindings[i].type == value.type);
        const std::optional<std::int64_t> number = numberIn(bindings[i]);
        require(number.has_value() == isNumber(value.type) && number.value_or(0) == value.number);
    }
}

void checkAll(const MessageHead& head, const Message& message)
{
    checkGate(head, message);
    checkDigest(head, message);
    checkBindings(head, message);
}

// What is no message for the decoder may pass the gate only for what stands behind its head.
void checkRefused(const MessageHead& head)
{
    if (!head.isWhole() || (head.version != 0 && head.version != 1)) {
        return;
    }
    const std::string community(reinterpret_cast<const char*>(head.community.data), head.community.size);
    const Verdict verdict =
        examineReply(head, {static_cast<Version>(head.version), community, head.requestId});
    static std::array<Binding, kMaxVarbinds> bindings;
    const std::size_t count = takeBindings(head, bindings.data(), bindings.size());
    const auto end = bindings.begin() + static_cast<std::ptrdiff_t>(count);
    require(verdict == Verdict::Accepted || verdict == Verdict::NotAResponse);
    require(count == 0 ||
            std::any_of(bindings.begin(), end, [](const Binding& b) { return !isWellFormed(b); }));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const ByteView bytes{data, size};
    const MessageHead head = readHead(bytes);
    const std::optional<Message> message = decodeMessage(bytes);
    if (!message) {
        checkRefused(head);
        return 0;
    }
    checkAll(head, *message);
    BerReader reader(bytes);
    std::uint8_t tag = 0;
    const ByteView body = reader.anyElement(tag);
    const std::string whole(
        reinterpret_cast<const char*>(data),
        static_cast<std::size_t>(body.data + body.size - data)); // without what is behind it
    const std::string plain = encodeMessage(*message);
    for (const std::size_t lengthOctets : {4u, 5u, 9u}) {
        for (const std::size_t padding : {0u, 1u, 9u}) {
            const std::string careless = CarelessAgent(lengthOctets, padding).rewritten(viewOf(whole));
            const std::optional<Message> again = decodeMessage(viewOf(careless));
            require(again && encodeMessage(*again) == plain);
            checkAll(readHead(viewOf(careless)), *again);
        }
    }
    return 0;
}
