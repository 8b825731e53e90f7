#include "tools/tarn-status/explain/usm_way.h"

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

Came cameOf(UsmReport report)
{
    switch (report) {
    case UsmReport::UnknownUser:
        return Came::UnknownUser;
    case UsmReport::WrongDigest:
        return Came::WrongPassword;
    case UsmReport::UnsupportedLevel:
        return Came::WrongLevel;
    case UsmReport::DecryptionError:
        return Came::WrongPrivacy;
    case UsmReport::UnknownEngine:
    case UsmReport::NotInTimeWindow:
    case UsmReport::Other:
        break;
    }
    return Came::OtherReport;
}

// One agent and one user.
class UserSession final
{
public:
    UserSession(const UsmCodec& codec, const UsmKeys& keys, const Questions& questions)
        : m_codec(codec), m_keys(keys), m_questions(questions), m_udp(questions.address, questions.port)
    {
    }

    // Learns the agent's engine: Came::Engine.
    Came discover()
    {
        const UsmIds ids = newIds();
        const Came came = m_udp.exchange(
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
        return came == Came::Found ? Came::Engine : came;
    }

    // Came::Found when it is answered. An agent whose clock is not known yet says it once.
    Came ask(const Oid& name, std::optional<Pdu>& answer)
    {
        Came came = askOnce(name, answer);
        return came == Came::Engine ? askOnce(name, answer) : came;
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

    // Came::Engine: it told its clock, and is to be asked again.
    Came askOnce(const Oid& name, std::optional<Pdu>& answer)
    {
        const UsmIds ids = newIds();
        Came said = Came::Found;
        const auto isAnswer = [&](const std::string& octets) {
            UsmMessage message = read(octets, &m_engine);
            if (message.ids.message != ids.message) {
                return false;
            }
            if (message.kind == UsmMessage::Kind::Report) {
                said = message.report == UsmReport::NotInTimeWindow ? Came::Engine : cameOf(message.report);
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
        const Came came = m_udp.exchange(request, isAnswer, until());
        return came == Came::Found ? said : came;
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
Came withoutAnswer(Came came)
{
    return came == Came::Silent || came == Came::Garbage ? Came::WrongPrivacy : came;
}

void runSession(UserSession& session, Finding& finding)
{
    finding.came = session.discover();
    if (finding.came != Came::Engine) {
        return;
    }
    std::optional<Pdu> answer;
    const Came came = session.ask(kSystemDescription, answer);
    if (!answer) {
        finding.came = came == Came::Engine ? Came::OtherReport : withoutAnswer(came);
        return;
    }
    finding.detail = textOf(*answer);
    const auto askNext = [&session](const Oid& name) {
        std::optional<Pdu> next;
        session.ask(name, next);
        return next;
    };
    finding.came = hasPrinterObjects(askNext, finding.detail) ? Came::Printer : Came::NotPrinter;
}

} // namespace

Finding askAsUser(const Questions& questions)
{
    Finding finding{Way::Snmp3, Came::NoUser};
    if (!questions.user) {
        return finding;
    }
    const std::unique_ptr<UsmCodec> codec = UsmCodec::start(kNetSnmp, finding.detail);
    if (!codec) {
        finding.came = Came::NoLibrary;
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
