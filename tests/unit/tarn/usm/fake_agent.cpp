#include "tests/unit/tarn/usm/fake_agent.h"

#include <cstdlib>
#include <cstring>

#include "tarn/src/usm/pdu_conversion.h"

namespace tarn::usm {

namespace {

constexpr auto kReport = static_cast<snmp::PduType>(0xA8);

snmp::Pdu textPdu(const std::string& text)
{
    snmp::Pdu pdu;
    pdu.type = snmp::PduType::Response;
    snmp::Value value;
    value.type = snmp::ValueType::OctetString;
    value.bytes = text;
    pdu.varbinds.push_back({{1, 3, 6, 1, 2, 1, 1, 1, 0}, value});
    return pdu;
}

snmp::Pdu reportPdu(unsigned number)
{
    snmp::Pdu pdu;
    pdu.type = kReport;
    snmp::Value value;
    value.type = snmp::ValueType::Counter32;
    value.number = 1;
    pdu.varbinds.push_back({{1, 3, 6, 1, 6, 3, 15, 1, 1, number, 0}, value});
    return pdu;
}

} // namespace

FakeAgent::FakeAgent(const UsmCodec& codec, std::shared_ptr<const UsmKeys> keys, std::string engineId)
    : m_codec(codec), m_keys(std::move(keys))
{
    engine.id = std::move(engineId);
    engine.boots = 3;
    engine.time = 1000;
    engine.isAuthentic = true;
    if (!m_codec.localize(*m_keys, engine)) {
        std::abort();
    }
}

std::string FakeAgent::response(UsmIds ids, TimePoint now, const std::string& text) const
{
    snmp::Pdu pdu = textPdu(text);
    pdu.requestId = ids.request;
    return m_codec.request(*m_keys, engine, pdu, ids.message, now);
}

std::string FakeAgent::protectedReport(unsigned number, UsmIds ids, TimePoint now) const
{
    snmp::Pdu pdu = reportPdu(number);
    pdu.requestId = ids.request;
    return m_codec.request(*m_keys, engine, pdu, ids.message, now);
}

std::string FakeAgent::bareResponse(UsmIds ids) const
{
    return bare(toNetSnmp(m_library, textPdu("forged")).release(), ids);
}

std::string FakeAgent::report(unsigned number, UsmIds ids) const
{
    return bare(toNetSnmp(m_library, reportPdu(number)).release(), ids);
}

std::string FakeAgent::bare(netsnmp_pdu* pdu, UsmIds ids) const
{
    pdu->reqid = ids.request;
    pdu->msgid = ids.message;
    pdu->securityModel = SNMP_SEC_MODEL_USM;
    pdu->securityLevel = SNMP_SEC_LEVEL_NOAUTH;
    pdu->securityName = ::strdup("");
    pdu->contextName = ::strdup("");
    pdu->securityEngineID = static_cast<u_char*>(std::malloc(engine.id.size()));
    std::memcpy(pdu->securityEngineID, engine.id.data(), engine.id.size());
    pdu->securityEngineIDLen = engine.id.size();
    netsnmp_session session{};
    session.version = SNMP_VERSION_3;
    session.securityModel = SNMP_SEC_MODEL_USM;
    session.rcvMsgMaxSize = 65507;
    std::size_t room = 512;
    std::size_t length = 0;
    auto* buffer = static_cast<u_char*>(std::malloc(room));
    m_library.setEngineTime(reinterpret_cast<const u_char*>(engine.id.data()),
                            static_cast<u_int>(engine.id.size()), engine.boots, engine.time, 1);
    std::string message;
    if (m_library.build(&buffer, &room, &length, &session, pdu) == SNMPERR_SUCCESS) {
        message.assign(reinterpret_cast<const char*>(buffer) + room - length, length);
    }
    m_library.freeEngineTimes();
    m_library.freePdu(pdu);
    std::free(buffer);
    return message;
}

// SEQUENCE, version 3, SEQUENCE of msgGlobalData, msgID of four octets.
std::int32_t FakeAgent::messageIdOf(const std::string& message)
{
    const std::size_t at = message.find(std::string("\x02\x01\x03\x30", 4));
    if (at == std::string::npos || message.size() < at + 11 || message.compare(at + 5, 2, "\x02\x04") != 0) {
        return 0;
    }
    std::int32_t id = 0;
    for (std::size_t i = at + 7; i < at + 11; ++i) {
        id = id << 8 | static_cast<unsigned char>(message[i]);
    }
    return id;
}

// msgFlags: reportable, and neither authenticated nor encrypted.
bool FakeAgent::isProbe(const std::string& message)
{
    return message.find(std::string("\x04\x01\x04\x02\x01\x03", 6)) != std::string::npos;
}

} // namespace tarn::usm
