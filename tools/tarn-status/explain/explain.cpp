// With config/ and find/ one of the places of this tool that look behind the C interface, whose functions
// tell what a printer says, and not why it says nothing.
#include "tools/tarn-status/explain/explain.h"

#include <arpa/inet.h>

#include <algorithm>
#include <future>

#include "tools/common/standard_output.h"
#include "tools/tarn-status/addresses.h"
#include "tools/tarn-status/explain/ipp_probe.h"
#include "tools/tarn-status/explain/report.h"
#include "tools/tarn-status/explain/snmp_probe.h"
#include "tools/tarn-status/explain/udp_session.h"
#include "tools/tarn-status/explain/usb_probe.h"
#include "tools/tarn-status/judgement.h"
#include "tools/tarn-status/screen.h"

namespace tarnstatus {

using tarn::engine::VersionChoice;

namespace {

std::chrono::milliseconds since(SteadyClock::time_point begin)
{
    return std::chrono::duration_cast<std::chrono::milliseconds>(SteadyClock::now() - begin);
}

std::string userOf(const Questions& questions, const ExplainOptions& options)
{
    return questions.user && !questions.user->isFromSnmpConf ? questions.user->name
                                                             : options.user.value_or("");
}

Asked askedAs(const ReportContext& context)
{
    const VersionChoice version = context.questions.version;
    Asked asked;
    asked.first = version == VersionChoice::V1   ? Probe::Snmp1
                  : version == VersionChoice::V3 ? Probe::Snmp3
                                                 : Probe::Snmp2c;
    asked.anyVersion = version == VersionChoice::Auto;
    asked.isTried = context.options.triesOtherwise();
    return asked;
}

// One explanation under way: rows are written as they come.
class Explanation final
{
public:
    Explanation(const ExplainOptions& options, std::chrono::milliseconds patience) : m_patience(patience)
    {
        m_context.language = languageOfEnvironment();
        m_context.options = options;
        m_context.columns = std::clamp<std::size_t>(sizeOfOutput().columns, 40, 100);
    }

    int run()
    {
        tools::writeOut(headOf(m_context));
        if (findAddress()) {
            prepare();
            if (findRoute()) {
                askPrinter();
            }
        }
        askUsb([this](const Finding& finding) { tell(finding); });
        return conclude();
    }

private:
    void tell(const Finding& finding)
    {
        if (finding.outcome == ProbeOutcome::NoRights) {
            m_context.group = finding.detail;
        }
        m_findings.push_back(finding);
        tools::writeOut(rowOf(finding, m_context));
    }

    bool findAddress()
    {
        m_context.address = m_context.options.address;
        if (kindOfAddress(m_context.options.address) != AddressKind::HostName) {
            return true;
        }
        const auto begin = SteadyClock::now();
        std::string why;
        const std::string found = lookUp(m_context.options.address, why);
        tell({Probe::Name, found.empty() ? ProbeOutcome::UnknownName : ProbeOutcome::Found, since(begin),
              found});
        m_context.address = found;
        return !found.empty();
    }

    void prepare()
    {
        in_addr address{};
        ::inet_pton(AF_INET, m_context.address.c_str(), &address);
        const tarn::catalog::Config config = tarn::catalog::Config::load();
        m_context.questions = questionsFor(ntohl(address.s_addr), m_context.options, config);
        m_context.questions.patience = m_patience;
        m_context.user = userOf(m_context.questions, m_context.options);
    }

    bool findRoute()
    {
        const UdpSession udp(m_context.questions.address, m_context.questions.port);
        Finding finding{Probe::Route, udp.state()};
        if (finding.outcome == ProbeOutcome::Found) {
            finding.detail = say(m_context.language, "from ", "来自 ") + udp.ownAddress();
        }
        tell(finding);
        return finding.outcome == ProbeOutcome::Found;
    }

    // IPP meanwhile: both may take seconds.
    void askPrinter()
    {
        std::future<Finding> ipp =
            std::async(std::launch::async, [questions = m_context.questions] { return askIpp(questions); });
        askSnmp(m_context.questions, [this](const Finding& finding) { tell(finding); });
        tell(ipp.get());
    }

    int conclude()
    {
        const std::vector<Cause> causes = causesOf(m_findings, askedAs(m_context));
        std::string text;
        for (const Cause cause : causes) {
            text += '\n' + textOf(cause, m_context);
        }
        tools::writeOut(text);
        return static_cast<int>(works(causes) ? Condition::Fine : Condition::Unreachable);
    }

    const std::chrono::milliseconds m_patience;
    ReportContext m_context;
    std::vector<Finding> m_findings;
};

} // namespace

int explain(const ExplainOptions& options, std::chrono::milliseconds patience)
{
    return Explanation(options, patience).run();
}

} // namespace tarnstatus
