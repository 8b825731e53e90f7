#include "tools/tarn-status/explain/verdict.h"

#include <algorithm>
#include <optional>

namespace tarnstatus {

namespace {

class Findings final
{
public:
    explicit Findings(const std::vector<Finding>& all) : m_all(all) {}

    bool any(Probe probe, std::initializer_list<ProbeOutcome> outcomes) const
    {
        return find({probe}, outcomes) != nullptr;
    }
    bool anySnmp(std::initializer_list<ProbeOutcome> outcomes) const
    {
        return find(kSnmp, outcomes) != nullptr;
    }
    // The probe by which SNMP's first printer answered, a repetition before what it repeats.
    const Finding* printer() const
    {
        const Finding* found = nullptr;
        for (const Finding& finding : m_all) {
            const bool isSnmp = std::find(kSnmp.begin(), kSnmp.end(), finding.probe) != kSnmp.end();
            if (isSnmp && finding.outcome == ProbeOutcome::Printer && (found == nullptr || finding.isAgain)) {
                found = &finding;
            }
        }
        return found;
    }
    const Finding* find(const std::vector<Probe>& probes, std::initializer_list<ProbeOutcome> outcomes) const
    {
        for (const Finding& finding : m_all) {
            if (std::find(probes.begin(), probes.end(), finding.probe) != probes.end() &&
                std::find(outcomes.begin(), outcomes.end(), finding.outcome) != outcomes.end()) {
                return &finding;
            }
        }
        return nullptr;
    }

private:
    inline static const std::vector<Probe> kSnmp = {Probe::Snmp2c, Probe::Snmp1, Probe::Snmp3};
    const std::vector<Finding>& m_all;
};

// Nothing when the address can be reached as far as this machine knows.
std::optional<Cause> causeBefore(const Findings& findings)
{
    if (findings.any(Probe::Name, {ProbeOutcome::UnknownName})) {
        return Cause::UnknownName;
    }
    for (const auto& [outcome, cause] : {std::pair{ProbeOutcome::NoNetwork, Cause::NoNetwork},
                                         std::pair{ProbeOutcome::NoHost, Cause::NoHost},
                                         std::pair{ProbeOutcome::Forbidden, Cause::Forbidden},
                                         std::pair{ProbeOutcome::Refused, Cause::Refused},
                                         std::pair{ProbeOutcome::NotOneHost, Cause::NotOneHost},
                                         std::pair{ProbeOutcome::NoSocket, Cause::NoSocket}}) {
        if (findings.any(Probe::Route, {outcome}) || findings.anySnmp({outcome})) {
            return cause;
        }
    }
    return std::nullopt;
}

// Why SNMP got nowhere while IPP is answered: the host is there, and so is a way to it.
Cause causeBesideIpp(Cause before)
{
    return before == Cause::NoHost || before == Cause::NoNetwork ? Cause::Refused : before;
}

Cause causeOfPrinter(const Finding& printer, const Asked& asked)
{
    if (printer.probe == asked.first || asked.anyVersion) {
        if (asked.isTried) {
            return Cause::WorksAsTried;
        }
        const bool isOld = printer.probe == Probe::Snmp1 && asked.first != Probe::Snmp1;
        return isOld ? Cause::WorksInVersion1 : printer.isAgain ? Cause::WorksSlowly : Cause::Works;
    }
    if (asked.first == Probe::Snmp3) {
        return Cause::CommunityWorks;
    }
    return printer.probe == Probe::Snmp1 ? Cause::Version1Alone : Cause::Version2cAlone;
}

std::optional<Cause> causeOfUser(const Findings& findings)
{
    for (const auto& [outcome, cause] : {std::pair{ProbeOutcome::UnknownUser, Cause::UserUnknown},
                                         std::pair{ProbeOutcome::WrongPassword, Cause::UserPassword},
                                         std::pair{ProbeOutcome::WrongPrivacy, Cause::UserPrivacy},
                                         std::pair{ProbeOutcome::WrongLevel, Cause::UserLevel},
                                         std::pair{ProbeOutcome::OtherReport, Cause::UserReport},
                                         std::pair{ProbeOutcome::NoUser, Cause::UserMissing},
                                         std::pair{ProbeOutcome::NoLibrary, Cause::NoNetSnmp}}) {
        if (findings.any(Probe::Snmp3, {outcome})) {
            return cause;
        }
    }
    return std::nullopt;
}

Cause causeOfSnmp(const Findings& findings)
{
    if (findings.anySnmp({ProbeOutcome::PortClosed})) {
        return Cause::NoSnmp;
    }
    if (const std::optional<Cause> user = causeOfUser(findings)) {
        return *user;
    }
    if (findings.anySnmp({ProbeOutcome::NotPrinter})) {
        return Cause::NotPrinter;
    }
    if (findings.any(Probe::Snmp3, {ProbeOutcome::Engine})) {
        return Cause::WrongCommunity;
    }
    if (findings.anySnmp({ProbeOutcome::Garbage})) {
        return Cause::NoAnswerOfSnmp;
    }
    const bool isThere =
        findings.any(Probe::Ipp, {ProbeOutcome::Printer, ProbeOutcome::PrinterByTls, ProbeOutcome::TlsOnly,
                                  ProbeOutcome::PlainOnly, ProbeOutcome::NoIpp, ProbeOutcome::PortClosed});
    return isThere ? Cause::SilenceOfHost : Cause::SilenceOfNobody;
}

std::optional<Cause> causeOfIpp(const Findings& findings)
{
    for (const auto& [outcome, cause] : {std::pair{ProbeOutcome::TlsOnly, Cause::IppWantsTls},
                                         std::pair{ProbeOutcome::PlainOnly, Cause::IppWantsPlain},
                                         std::pair{ProbeOutcome::NoIpp, Cause::IppIsNoIpp},
                                         std::pair{ProbeOutcome::SwitchedOff, Cause::IppSwitchedOff},
                                         std::pair{ProbeOutcome::NoLibrary, Cause::NoIppLibrary}}) {
        if (findings.any(Probe::Ipp, {outcome})) {
            return cause;
        }
    }
    return std::nullopt;
}

} // namespace

std::vector<Cause> causesOf(const std::vector<Finding>& all, const Asked& asked)
{
    const Findings findings(all);
    std::vector<Cause> causes;
    const bool answersIpp = findings.any(Probe::Ipp, {ProbeOutcome::Printer, ProbeOutcome::PrinterByTls});
    if (const std::optional<Cause> before = causeBefore(findings); before && !answersIpp) {
        causes.push_back(*before);
    } else if (const Finding* const printer = findings.printer()) {
        causes.push_back(causeOfPrinter(*printer, asked));
        const std::optional<Cause> ofUser = causeOfUser(findings);
        if (ofUser && causes.front() == Cause::CommunityWorks) {
            causes.push_back(*ofUser);
        }
    } else {
        const Cause ofSnmp = before ? causeBesideIpp(*before) : causeOfSnmp(findings);
        if (answersIpp) {
            causes.push_back(Cause::WorksByIpp);
        }
        causes.push_back(ofSnmp);
        if (const std::optional<Cause> ofIpp = causeOfIpp(findings)) {
            causes.push_back(*ofIpp);
        }
    }
    if (findings.any(Probe::Usb, {ProbeOutcome::NoRights})) {
        causes.push_back(Cause::UsbRights);
    }
    return causes;
}

bool works(const std::vector<Cause>& causes)
{
    const Cause first = causes.front();
    return first == Cause::Works || first == Cause::WorksSlowly || first == Cause::WorksInVersion1 ||
           first == Cause::WorksAsTried || first == Cause::WorksByIpp;
}

} // namespace tarnstatus
