#include "bench/tarn_engine/answers.h"

#include <optional>

#include "tarn/src/snmp/wire/codec.h"

namespace bench {

namespace {

constexpr const char* kChangingLevel = "1.3.6.1.2.1.43.11.1.1.9.1.1";

// Where the four octets of the request id are; nothing for an id of another size.
std::optional<std::size_t> idOffset(const std::string& message)
{
    std::size_t at = 0;
    const auto header = [&](bool skipContents) {
        const auto length = at + 1 < message.size() ? static_cast<unsigned char>(message[at + 1]) : 0u;
        at += 2;
        std::size_t size = length;
        if (length > 0x80) {
            size = 0;
            for (unsigned i = length & 0x7F; i > 0 && at < message.size(); --i) {
                size = size << 8 | static_cast<unsigned char>(message[at++]);
            }
        }
        at += skipContents ? size : 0;
    };
    header(false); // message
    header(true);  // version
    header(true);  // community
    header(false); // PDU
    if (at + 6 > message.size() || message[at] != 2 || message[at + 1] != 4) {
        return std::nullopt;
    }
    return at + 2;
}

} // namespace

Answers::Answers(const std::string& recording, std::size_t printers, unsigned changesPercent)
    : m_agents{kel::testing::RecordedAgent::fromFile(recording),
               kel::testing::RecordedAgent::fromFile(recording)},
      m_changed(printers, false), m_changesPercent(changesPercent)
{
    m_agents[0].setInteger(kChangingLevel, 4000);
    m_agents[1].setInteger(kChangingLevel, 3950);
}

const std::string& Answers::answerTo(const std::string& request, std::size_t printer)
{
    m_random ^= m_random << 13;
    m_random ^= m_random >> 7;
    m_random ^= m_random << 17;
    if (m_random % 100 < m_changesPercent) {
        m_changed[printer] = !m_changed[printer];
    }
    const std::size_t which = m_changed[printer] ? 1 : 0;
    const std::optional<std::size_t> id = idOffset(request);
    if (!id) {
        return m_answer = made(request, which);
    }
    m_request = request;
    m_request.replace(*id, 4, "\x40\0\0\0", 4);
    Known& known = m_known[m_request][which];
    if (known.bytes.empty()) {
        known.bytes = made(m_request, which);
        known.id = idOffset(known.bytes).value_or(0);
    }
    m_answer = known.bytes;
    return m_answer.replace(known.id, 4, request, *id, 4);
}

std::string Answers::made(const std::string& request, std::size_t which)
{
    auto message =
        tarn::snmp::decodeMessage({reinterpret_cast<const std::uint8_t*>(request.data()), request.size()});
    if (!message) {
        return "?";
    }
    const std::int32_t id = message->pdu.requestId;
    message->pdu = m_agents[which].answer(message->pdu);
    message->pdu.requestId = id;
    return tarn::snmp::encodeMessage(*message);
}

} // namespace bench
