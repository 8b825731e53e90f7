#include "tarn/src/usm/usm_codec.h"

#include <cstdlib>
#include <cstring>

#include "tarn/src/usm/net_snmp_library.h"
#include "tarn/src/usm/pdu_conversion.h"
#include "tarn/src/usm/usm_frame.h"

namespace tarn::usm {

namespace {

constexpr std::size_t kShortestEngineId = 5;
constexpr std::size_t kLongestEngineId = 32;
constexpr std::size_t kFirstBuffer = 2048;

int levelOf(bool isPrivate)
{
    return isPrivate ? SNMP_SEC_LEVEL_AUTHPRIV : SNMP_SEC_LEVEL_AUTHNOPRIV;
}

// What Net-SNMP takes from a session when it makes or reads a message; it is never opened.
netsnmp_session sessionTemplate()
{
    netsnmp_session session{};
    session.version = SNMP_VERSION_3;
    session.securityModel = SNMP_SEC_MODEL_USM;
    session.isAuthoritative = SNMP_SESS_NONAUTHORITATIVE;
    session.rcvMsgMaxSize = UsmCodec::kLargestMessage;
    session.sndMsgMaxSize = SNMP_MAX_MSG_SIZE;
    return session;
}

u_int sizeOf(const std::string& text)
{
    return static_cast<u_int>(text.size());
}

const u_char* bytesOf(const std::string& text)
{
    return reinterpret_cast<const u_char*>(text.data());
}

UsmReport reportOf(int type)
{
    switch (type) {
    case SNMPERR_UNKNOWN_ENG_ID:
        return UsmReport::UnknownEngine;
    case SNMPERR_NOT_IN_TIME_WINDOW:
        return UsmReport::NotInTimeWindow;
    case SNMPERR_UNKNOWN_USER_NAME:
        return UsmReport::UnknownUser;
    case SNMPERR_AUTHENTICATION_FAILURE:
        return UsmReport::WrongDigest;
    case SNMPERR_UNSUPPORTED_SEC_LEVEL:
        return UsmReport::UnsupportedLevel;
    case SNMPERR_DECRYPTION_ERR:
        return UsmReport::DecryptionError;
    default:
        return UsmReport::Other;
    }
}

} // namespace

// Loan is what Net-SNMP knows of one user at one engine, while it lives.
class UsmCodec::Loan final
{
public:
    Loan(const NetSnmpLibrary& library, const UsmKeys& keys, const UsmEngine& engine, TimePoint now)
        : m_library(library), m_id(engine.id), m_name(keys.name), m_authProtocol(keys.authProtocol),
          m_privProtocol(keys.privProtocol), m_authKey(engine.authKey), m_privKey(engine.privKey)
    {
        if (m_privProtocol.empty()) {
            m_privProtocol = {1, 3, 6, 1, 6, 3, 10, 1, 2, 1}; // usmNoPrivProtocol
        }
        m_user.engineID = reinterpret_cast<u_char*>(m_id.data());
        m_user.engineIDLen = m_id.size();
        m_user.name = m_name.data();
        m_user.secName = m_name.data();
        m_user.authProtocol = m_authProtocol.data();
        m_user.authProtocolLen = m_authProtocol.size();
        m_user.authKey = m_authKey.data();
        m_user.authKeyLen = m_authKey.size();
        m_user.privProtocol = m_privProtocol.data();
        m_user.privProtocolLen = m_privProtocol.size();
        m_user.privKey = m_privKey.data();
        m_user.privKeyLen = m_privKey.size();
        m_user.userStatus = RS_ACTIVE;
        m_user.userStorageType = ST_READONLY;
        m_library.addUser(&m_user);
        const auto passed = std::chrono::duration_cast<std::chrono::seconds>(now - engine.learnt).count();
        m_library.setEngineTime(bytesOf(m_id), sizeOf(m_id), engine.boots,
                                engine.time + static_cast<std::uint32_t>(passed), engine.isAuthentic);
    }
    ~Loan()
    {
        m_library.freeEngineTimes();
        m_library.removeUser(&m_user);
    }
    Loan(const Loan&) = delete;
    Loan& operator=(const Loan&) = delete;

private:
    const NetSnmpLibrary& m_library;
    std::string m_id;
    std::string m_name;
    std::vector<oid> m_authProtocol;
    std::vector<oid> m_privProtocol;
    Bytes m_authKey;
    Bytes m_privKey;
    usmUser m_user{};
};

bool UsmCodec::localize(const UsmKeys& keys, UsmEngine& engine) const
{
    if (engine.id.size() < kShortestEngineId || engine.id.size() > kLongestEngineId) {
        return false;
    }
    const auto make = [&](const Bytes& key, Bytes& out) {
        out.assign(USM_AUTH_KU_LEN, 0);
        std::size_t size = out.size();
        const bool made =
            m_library->generateKul(keys.authProtocol.data(), static_cast<u_int>(keys.authProtocol.size()),
                                   bytesOf(engine.id), engine.id.size(), key.data(), key.size(), out.data(),
                                   &size) == SNMPERR_SUCCESS;
        out.resize(size);
        return made;
    };
    return make(keys.authKey, engine.authKey) &&
           (keys.privProtocol.empty() || make(keys.privKey, engine.privKey));
}

std::string UsmCodec::probe(UsmIds ids) const
{
    snmp::Pdu empty;
    empty.requestId = ids.request;
    const OwnedPdu pdu = toNetSnmp(*m_library, empty);
    if (!pdu) {
        return {};
    }
    pdu->msgid = ids.message;
    pdu->securityModel = SNMP_SEC_MODEL_USM;
    pdu->securityLevel = SNMP_SEC_LEVEL_NOAUTH;
    pdu->securityName = ::strdup("");
    pdu->contextName = ::strdup("");
    return build(*pdu);
}

std::string UsmCodec::request(const UsmKeys& keys, const UsmEngine& engine, const snmp::Pdu& request,
                              std::int32_t messageId, TimePoint now) const
{
    const Loan loan(*m_library, keys, engine, now);
    const OwnedPdu pdu = toNetSnmp(*m_library, request);
    if (!pdu) {
        return {};
    }
    pdu->msgid = messageId;
    pdu->securityModel = SNMP_SEC_MODEL_USM;
    pdu->securityLevel = levelOf(!keys.privProtocol.empty());
    pdu->securityName = ::strdup(keys.name.c_str());
    pdu->securityNameLen = keys.name.size();
    pdu->contextName = ::strdup(keys.context.c_str());
    pdu->contextNameLen = keys.context.size();
    pdu->securityEngineID = static_cast<u_char*>(std::malloc(engine.id.size()));
    if (pdu->securityEngineID != nullptr) {
        std::memcpy(pdu->securityEngineID, engine.id.data(), engine.id.size());
        pdu->securityEngineIDLen = engine.id.size();
    }
    return build(*pdu);
}

std::string UsmCodec::build(netsnmp_pdu& pdu) const
{
    netsnmp_session session = sessionTemplate();
    std::size_t room = kFirstBuffer; // Net-SNMP makes it larger where it is not enough
    std::size_t length = 0;
    auto* buffer = static_cast<u_char*>(std::malloc(room));
    const bool isBuilt = buffer != nullptr && pdu.securityName != nullptr && pdu.contextName != nullptr &&
                         m_library->build(&buffer, &room, &length, &session, &pdu) == SNMPERR_SUCCESS &&
                         length <= room;
    const std::unique_ptr<u_char, decltype(&std::free)> owned(buffer, &std::free);
    return isBuilt ? std::string(reinterpret_cast<const char*>(buffer) + room - length, length)
                   : std::string();
}

UsmMessage UsmCodec::read(snmp::ByteView bytes, const UsmKeys& keys, UsmEngine* engine, TimePoint now) const
{
    UsmMessage message;
    const bool isReadable = bytes.size <= kLargestMessage && isWholeMessage(bytes);
    const OwnedPdu pdu(isReadable ? m_library->createPdu(SNMP_MSG_RESPONSE) : nullptr, m_library->freePdu);
    if (!pdu) {
        return message;
    }
    netsnmp_session session = sessionTemplate();
    const Loan loan(*m_library, keys, engine != nullptr ? *engine : message.engine, now);
    Bytes copy(bytes.data, bytes.data + bytes.size); // decrypted in place
    std::size_t length = copy.size();
    const int error = m_library->parse(pdu.get(), copy.data(), &length, nullptr, &session);
    message.ids = {static_cast<std::int32_t>(pdu->msgid), static_cast<std::int32_t>(pdu->reqid)};
    if (error == SNMPERR_USM_NOTINTIMEWINDOW) {
        message.kind = UsmMessage::Kind::OutOfTime; // found out after its authenticity
    } else if (error == SNMPERR_SUCCESS) {
        take(*pdu, keys, engine, now, message);
    }
    return message;
}

// What Net-SNMP has read and, where the message says that it is authentic, found to be so.
void UsmCodec::take(netsnmp_pdu& pdu, const UsmKeys& keys, UsmEngine* engine, TimePoint now,
                    UsmMessage& message) const
{
    const std::string name(pdu.securityName, pdu.securityNameLen);
    message.isProtected = pdu.securityLevel == levelOf(!keys.privProtocol.empty()) && name == keys.name;
    message.engine.id.assign(reinterpret_cast<const char*>(pdu.securityEngineID), pdu.securityEngineIDLen);
    message.engine.learnt = now;
    m_library->getEngineTime(bytesOf(message.engine.id), sizeOf(message.engine.id), &message.engine.boots,
                             &message.engine.time, FALSE);
    if (pdu.command == SNMP_MSG_REPORT) {
        message.kind = UsmMessage::Kind::Report;
        message.report = reportOf(m_library->reportType(&pdu));
    } else if (pdu.command == SNMP_MSG_RESPONSE) {
        message.kind = UsmMessage::Kind::Response;
        message.pdu = fromNetSnmp(pdu, kMaxBindings);
    }
    const bool isAuthentic = pdu.securityLevel != SNMP_SEC_LEVEL_NOAUTH && name == keys.name;
    if (engine != nullptr && isAuthentic && message.engine.id == engine->id) {
        engine->boots = message.engine.boots;
        engine->time = message.engine.time;
        engine->learnt = now;
        engine->isAuthentic = true;
    }
}

} // namespace tarn::usm
