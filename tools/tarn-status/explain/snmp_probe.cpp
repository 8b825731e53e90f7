#include "tools/tarn-status/explain/snmp_probe.h"

#include <vector>

#include "tarn/src/base/random.h"
#include "tools/tarn-status/explain/printer_objects.h"
#include "tools/tarn-status/explain/snmp_message.h"
#include "tools/tarn-status/explain/udp_session.h"
#include "tools/tarn-status/explain/usm_probe.h"

namespace tarnstatus {

using tarn::engine::VersionChoice;
using tarn::snmp::Oid;
using tarn::snmp::Pdu;
using tarn::snmp::Version;

namespace {

std::int32_t newId()
{
    static tarn::SystemRandom random;
    return static_cast<std::int32_t>((random.next() & 0x3FFFFFFF) | 0x01000000);
}

bool isAnswer(ProbeOutcome outcome)
{
    return outcome == ProbeOutcome::Printer || outcome == ProbeOutcome::NotPrinter;
}

// Another version may yet be answered.
bool leavesOpen(ProbeOutcome outcome)
{
    return outcome == ProbeOutcome::Silent || outcome == ProbeOutcome::Garbage;
}

std::chrono::milliseconds since(SteadyClock::time_point begin)
{
    return std::chrono::duration_cast<std::chrono::milliseconds>(SteadyClock::now() - begin);
}

// One version of SNMP that knows communities, with a socket of its own.
class CommunityProbe final
{
public:
    CommunityProbe(const Questions& questions, Version version)
        : m_questions(questions), m_version(version), m_udp(questions.address, questions.port)
    {
    }

    // Puts the question, or puts it again.
    Finding ask()
    {
        Finding finding = begun();
        finding.isAgain = m_isAsked;
        m_isAsked = true;
        return conclude(std::move(finding), m_questions.slice(), true);
    }
    // What came meanwhile.
    Finding listen() { return conclude(begun(), std::chrono::milliseconds(0), false); }

private:
    Finding begun() const
    {
        return {m_version == Version::V1 ? Probe::Snmp1 : Probe::Snmp2c, ProbeOutcome::Silent};
    }

    Finding conclude(Finding finding, std::chrono::milliseconds longest, bool isToBeSent)
    {
        const auto begin = isToBeSent ? SteadyClock::now() : m_begin;
        m_begin = begin;
        std::optional<Pdu> answer;
        finding.outcome = exchange(kSystemDescription, m_firstId, longest, isToBeSent, answer);
        finding.took = since(begin);
        if (answer) {
            finding.detail = textOf(*answer);
            finding.outcome = isPrinter(finding.detail) ? ProbeOutcome::Printer : ProbeOutcome::NotPrinter;
        }
        return finding;
    }

    ProbeOutcome exchange(const Oid& name, std::int32_t id, std::chrono::milliseconds longest,
                          bool isToBeSent, std::optional<Pdu>& answer)
    {
        const std::string message =
            tarn::snmp::encodeMessage({m_version, m_questions.community, nextRequest(name, id)});
        return m_udp.exchange(
            isToBeSent ? message : std::string(),
            [&](const std::string& octets) {
                answer = answerIn(octets, m_version, id);
                return answer.has_value();
            },
            SteadyClock::now() + longest);
    }

    bool isPrinter(std::string& detail)
    {
        return hasPrinterObjects(
            [this](const Oid& name) {
                std::optional<Pdu> answer;
                exchange(name, newId(), m_questions.slice(), true, answer);
                return answer;
            },
            detail);
    }

    const Questions& m_questions;
    const Version m_version;
    UdpSession m_udp;
    const std::int32_t m_firstId = newId(); // of repetitions, too: a late answer to the first is an answer
    bool m_isAsked = false;
    SteadyClock::time_point m_begin{};
};

Finding discover(const Questions& questions)
{
    UdpSession udp(questions.address, questions.port);
    const std::int32_t id = newId();
    const auto begin = SteadyClock::now();
    const ProbeOutcome outcome = udp.exchange(
        discovery(id), [id](const std::string& octets) { return namesEngine(octets, id); },
        begin + questions.slice());
    return {Probe::Snmp3, outcome == ProbeOutcome::Found ? ProbeOutcome::Engine : outcome, since(begin)};
}

} // namespace

void askSnmp(const Questions& questions, const Tell& tell)
{
    if (questions.isVersion3()) {
        const Finding finding = askAsUser(questions);
        tell(finding);
        if (finding.outcome != ProbeOutcome::Silent && finding.outcome != ProbeOutcome::NoUser &&
            finding.outcome != ProbeOutcome::NoLibrary) {
            return;
        }
    }
    const bool isV1First = questions.version == VersionChoice::V1;
    CommunityProbe first(questions, isV1First ? Version::V1 : Version::V2c);
    CommunityProbe second(questions, isV1First ? Version::V2c : Version::V1);
    const Finding inFirst = first.ask();
    tell(inFirst);
    if (!leavesOpen(inFirst.outcome)) {
        return;
    }
    const Finding inSecond = second.ask();
    tell(inSecond);
    if (isAnswer(inSecond.outcome)) {
        tell(first.ask()); // it may have slept before, rather than not know that version
        return;
    }
    if (!leavesOpen(inSecond.outcome)) {
        return;
    }
    tell(discover(questions));
    for (CommunityProbe* const probe : {&first, &second}) {
        if (Finding late = probe->listen(); isAnswer(late.outcome)) {
            late.isAgain = true;
            tell(late);
            return;
        }
    }
}

} // namespace tarnstatus
