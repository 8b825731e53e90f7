#include "tools/tarn-status/explain/usm_probe.h"

#include "tarn/src/base/clock.h"
#include "tarn/src/base/random.h"
#include "tarn/src/usm/usm_codec.h"
#include "tools/tarn-status/explain/printer_objects.h"
#include "tools/tarn-status/explain/snmp_message.h"
#include "tools/tarn-status/explain/udp_session.h"

namespace tarnstatus {

using tarn::snmp::Oid;
using tarn::snmp::Pdu;
using tarn::usm::UsmCodec;
using tarn::usm::UsmEngine;
using tarn::usm::UsmIds;
using tarn::usm::UsmKeys;
using tarn::usm::UsmMessage;
using tarn::usm::UsmReport;

namespace {

constexpr char kNetSnmp[] = "libnetsnmp.so.40";

ProbeOutcome outcomeOf(UsmReport report)
{
    switch (report) {
    case UsmReport::UnknownUser:
        return ProbeOutcome::UnknownUser;
    case UsmReport::WrongDigest:
        return ProbeOutcome::WrongPassword;
    case UsmReport::UnsupportedLevel:
        return ProbeOutcome::WrongLevel;
    case UsmReport::DecryptionError:
        return ProbeOutcome::WrongPrivacy;
    case UsmReport::UnknownEngine:
    case UsmReport::NotInTimeWindow:
    case UsmReport::Other:
        break;
    }
    return ProbeOutcome::OtherReport;
}

// One agent and one user.
class UserSession final
{
public:
    UserSession(const UsmCodec& codec, const UsmKeys& keys, const Questions& questions)
        : m_codec(codec), m_keys(keys), m_questions(questions), m_udp(questions.address, questions.port)
    {
    }

    // Learns the agent's engine: ProbeOutcome::Engine.
    ProbeOutcome discover()
    {
        const UsmIds ids = newIds();
        const ProbeOutcome outcome = m_udp.exchange(
            m_codec.probe(ids),
            [&](const std::string& octets) {
                UsmMessage message = read(octets, nullptr);
                const bool named = message.kind == UsmMessage::Kind::Report &&
                                   message.report == UsmReport::UnknownEngine &&
                                   message.ids.message == ids.message;
                if (!named || !m_codec.localize(m_keys, message.engine)) {
                    return false;
                }
                m_engine = std::move(message.engine);
                return true;
            },
            until());
        return outcome == ProbeOutcome::Found ? ProbeOutcome::Engine : outcome;
    }

    // ProbeOutcome::Found when it is answered. An agent whose clock is not known yet says it once.
    ProbeOutcome ask(const Oid& name, std::optional<Pdu>& answer)
    {
        ProbeOutcome outcome = askOnce(name, answer);
        return outcome == ProbeOutcome::Engine ? askOnce(name, answer) : outcome;
    }

private:
    static SteadyClock::time_point until(std::chrono::milliseconds longest)
    {
        return SteadyClock::now() + longest;
    }
    SteadyClock::time_point until() const { return until(m_questions.slice()); }

    UsmIds newIds()
    {
        const auto id = [this] {
            return static_cast<std::int32_t>((m_random.next() & 0x3FFFFFFF) | 0x01000000);
        };
        return {id(), id()};
    }

    UsmMessage read(const std::string& octets, UsmEngine* engine) const
    {
        return m_codec.read({reinterpret_cast<const std::uint8_t*>(octets.data()), octets.size()}, m_keys,
                            engine, m_clock.now());
    }

    // ProbeOutcome::Engine: it told its clock, and is to be asked again.
    ProbeOutcome askOnce(const Oid& name, std::optional<Pdu>& answer)
    {
        const UsmIds ids = newIds();
        ProbeOutcome said = ProbeOutcome::Found;
        const auto isAnswer = [&](const std::string& octets) {
            UsmMessage message = read(octets, &m_engine);
            if (message.ids.message != ids.message) {
                return false;
            }
            if (message.kind == UsmMessage::Kind::Report) {
                said = message.report == UsmReport::NotInTimeWindow ? ProbeOutcome::Engine
                                                                    : outcomeOf(message.report);
                return true;
            }
            if (message.kind != UsmMessage::Kind::Response || !message.isProtected ||
                message.ids.request != ids.request) {
                return false;
            }
            answer = std::move(message.pdu);
            return true;
        };
        const std::string request =
            m_codec.request(m_keys, m_engine, nextRequest(name, ids.request), ids.message, m_clock.now());
        const ProbeOutcome outcome = m_udp.exchange(request, isAnswer, until());
        return outcome == ProbeOutcome::Found ? said : outcome;
    }

    const UsmCodec& m_codec;
    const UsmKeys& m_keys;
    const Questions& m_questions;
    const tarn::BootClock m_clock;
    tarn::SystemRandom m_random;
    UdpSession m_udp;
    UsmEngine m_engine;
};

// An agent that names its engine and then does not answer its user threw the question away unread.
ProbeOutcome withoutAnswer(ProbeOutcome outcome)
{
    return outcome == ProbeOutcome::Silent || outcome == ProbeOutcome::Garbage ? ProbeOutcome::WrongPrivacy
                                                                               : outcome;
}

void runSession(UserSession& session, Finding& finding)
{
    finding.outcome = session.discover();
    if (finding.outcome != ProbeOutcome::Engine) {
        return;
    }
    std::optional<Pdu> answer;
    const ProbeOutcome outcome = session.ask(kSystemDescription, answer);
    if (!answer) {
        finding.outcome =
            outcome == ProbeOutcome::Engine ? ProbeOutcome::OtherReport : withoutAnswer(outcome);
        return;
    }
    finding.detail = textOf(*answer);
    const auto askNext = [&session](const Oid& name) {
        std::optional<Pdu> next;
        session.ask(name, next);
        return next;
    };
    finding.outcome =
        hasPrinterObjects(askNext, finding.detail) ? ProbeOutcome::Printer : ProbeOutcome::NotPrinter;
}

} // namespace

Finding askAsUser(const Questions& questions)
{
    Finding finding{Probe::Snmp3, ProbeOutcome::NoUser};
    if (!questions.user) {
        return finding;
    }
    const std::unique_ptr<UsmCodec> codec = UsmCodec::start(kNetSnmp, finding.detail);
    if (!codec) {
        finding.outcome = ProbeOutcome::NoLibrary;
        return finding;
    }
    const std::shared_ptr<const UsmKeys> keys = codec->keysOf(*questions.user, finding.detail);
    if (!keys) {
        return finding;
    }
    finding.detail = keys->name;
    UserSession session(*codec, *keys, questions);
    const auto begin = SteadyClock::now();
    runSession(session, finding);
    finding.took = std::chrono::duration_cast<std::chrono::milliseconds>(SteadyClock::now() - begin);
    return finding;
}

} // namespace tarnstatus
