#include "tarn/src/usm/usm_peer.h"

namespace tarn::usm {

namespace {

const char* complaintOf(UsmReport report)
{
    switch (report) {
    case UsmReport::UnknownUser:
        return "it does not know the user";
    case UsmReport::WrongDigest:
        return "wrong authentication password or protocol";
    case UsmReport::UnsupportedLevel:
        return "the user may not ask at this security level there";
    case UsmReport::DecryptionError:
        return "wrong privacy password or protocol";
    case UsmReport::UnknownEngine:
    case UsmReport::NotInTimeWindow:
    case UsmReport::Other:
        break;
    }
    return "it reports an error that we do not know";
}

} // namespace

// Positive, and always of four octets, as some agents cannot do others.
UsmIds UsmPeer::newIds()
{
    const auto id = [this] { return static_cast<std::int32_t>((m_random.next() & 0x3FFFFFFF) | 0x01000000); };
    return {id(), id()};
}

UsmPeer::Step UsmPeer::ask(const UsmQuestion& question, TimePoint now)
{
    const bool isNew = !m_isOpen || m_ticket != question.ticket;
    if (isNew) {
        m_pdu = question.pdu; // first: without memory nothing is open
        m_ticket = question.ticket;
        m_isOpen = true;
        m_asked = 0;
    }
    if (isNew || question.isToAbsent) {
        m_request = newIds();
        m_probe = newIds();
    }
    ++m_asked;
    m_steps = 0;
    m_read = 0;
    // An agent that was exchanged, or whose clock went back, may say nothing at all to what we believe of it.
    return !m_engine || m_asked % 3 == 0 ? sendProbe() : sendRequest(now);
}

UsmPeer::Step UsmPeer::sendProbe()
{
    if (++m_steps > kMostSteps) {
        return {};
    }
    Step step;
    step.send = m_codec.probe(m_probe);
    return step;
}

UsmPeer::Step UsmPeer::sendRequest(TimePoint now)
{
    if (++m_steps > kMostSteps) {
        return {};
    }
    Step step;
    m_pdu.requestId = m_request.request;
    step.send = m_codec.request(*m_keys, *m_engine, m_pdu, m_request.message, now);
    return step;
}

UsmPeer::Step UsmPeer::receive(snmp::ByteView bytes, TimePoint now)
{
    if (!m_isOpen || ++m_read > kMostRead) {
        return {};
    }
    UsmMessage message = m_codec.read(bytes, *m_keys, m_engine ? &*m_engine : nullptr, now);
    if (message.kind == UsmMessage::Kind::Unreadable) {
        return {};
    }
    if (message.ids.message == m_probe.message) {
        return discovered(message, now);
    }
    if (!m_engine || message.ids.message != m_request.message) {
        return {};
    }
    switch (message.kind) {
    case UsmMessage::Kind::OutOfTime:
        return sendProbe(); // the agent's clock went back: it has to be learnt anew
    case UsmMessage::Kind::Report:
        return reported(message, now);
    case UsmMessage::Kind::Response:
        if (message.isProtected && message.engine.id == m_engine->id &&
            message.ids.request == m_request.request) {
            m_isOpen = false;
            Step step;
            step.answer = std::move(message.pdu);
            return step;
        }
        break;
    case UsmMessage::Kind::Unreadable:
        break;
    }
    return {};
}

// The agent named its engine. That is not authentic, and cannot be: whoever else made it up gets a request
// that he cannot read, and none of his answers is taken.
UsmPeer::Step UsmPeer::discovered(UsmMessage& message, TimePoint now)
{
    if (message.kind != UsmMessage::Kind::Report || message.report != UsmReport::UnknownEngine ||
        !m_codec.localize(*m_keys, message.engine)) {
        return {};
    }
    m_engine = std::move(message.engine);
    return sendRequest(now);
}

UsmPeer::Step UsmPeer::reported(const UsmMessage& message, TimePoint now)
{
    switch (message.report) {
    case UsmReport::NotInTimeWindow: // the report, where authentic, has set the clock
        return m_engine->isAuthentic ? sendRequest(now) : sendProbe();
    case UsmReport::UnknownEngine:
        return sendProbe();
    default: {
        Step step;
        step.complaint = complaintOf(message.report);
        return step;
    }
    }
}

} // namespace tarn::usm
