#include "tools/tarn-status/explain/verdict.h"

#include <algorithm>
#include <optional>

namespace tarnstatus {

namespace {

class Findings final
{
public:
    explicit Findings(const std::vector<Finding>& all) : m_all(all) {}

    bool any(Way way, std::initializer_list<Came> cames) const { return find({way}, cames) != nullptr; }
    bool anySnmp(std::initializer_list<Came> cames) const { return find(kSnmp, cames) != nullptr; }
    // The way by which SNMP's first printer answered, a repetition before what it repeats.
    const Finding* printer() const
    {
        const Finding* found = nullptr;
        for (const Finding& finding : m_all) {
            const bool isSnmp = std::find(kSnmp.begin(), kSnmp.end(), finding.way) != kSnmp.end();
            if (isSnmp && finding.came == Came::Printer && (found == nullptr || finding.isAgain)) {
                found = &finding;
            }
        }
        return found;
    }
    const Finding* find(const std::vector<Way>& ways, std::initializer_list<Came> cames) const
    {
        for (const Finding& finding : m_all) {
            if (std::find(ways.begin(), ways.end(), finding.way) != ways.end() &&
                std::find(cames.begin(), cames.end(), finding.came) != cames.end()) {
                return &finding;
            }
        }
        return nullptr;
    }

private:
    inline static const std::vector<Way> kSnmp = {Way::Snmp2c, Way::Snmp1, Way::Snmp3};
    const std::vector<Finding>& m_all;
};

// Nothing when the address can be reached as far as this machine knows.
std::optional<Cause> causeBefore(const Findings& findings)
{
    if (findings.any(Way::Name, {Came::UnknownName})) {
        return Cause::UnknownName;
    }
    for (const auto& [came, cause] :
         {std::pair{Came::NoNetwork, Cause::NoNetwork}, std::pair{Came::NoHost, Cause::NoHost},
          std::pair{Came::Forbidden, Cause::Forbidden}, std::pair{Came::Refused, Cause::Refused},
          std::pair{Came::NotOneHost, Cause::NotOneHost}, std::pair{Came::NoSocket, Cause::NoSocket}}) {
        if (findings.any(Way::Route, {came}) || findings.anySnmp({came})) {
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
    if (printer.way == asked.first || asked.anyVersion) {
        if (asked.isTried) {
            return Cause::WorksAsTried;
        }
        const bool isOld = printer.way == Way::Snmp1 && asked.first != Way::Snmp1;
        return isOld ? Cause::WorksInVersion1 : printer.isAgain ? Cause::WorksSlowly : Cause::Works;
    }
    if (asked.first == Way::Snmp3) {
        return Cause::CommunityWorks;
    }
    return printer.way == Way::Snmp1 ? Cause::Version1Alone : Cause::Version2cAlone;
}

std::optional<Cause> causeOfUser(const Findings& findings)
{
    for (const auto& [came, cause] :
         {std::pair{Came::UnknownUser, Cause::UserUnknown},
          std::pair{Came::WrongPassword, Cause::UserPassword},
          std::pair{Came::WrongPrivacy, Cause::UserPrivacy}, std::pair{Came::WrongLevel, Cause::UserLevel},
          std::pair{Came::OtherReport, Cause::UserReport}, std::pair{Came::NoUser, Cause::UserMissing},
          std::pair{Came::NoLibrary, Cause::NoNetSnmp}}) {
        if (findings.any(Way::Snmp3, {came})) {
            return cause;
        }
    }
    return std::nullopt;
}

Cause causeOfSnmp(const Findings& findings)
{
    if (findings.anySnmp({Came::PortClosed})) {
        return Cause::NoSnmp;
    }
    if (const std::optional<Cause> user = causeOfUser(findings)) {
        return *user;
    }
    if (findings.anySnmp({Came::NotPrinter})) {
        return Cause::NotPrinter;
    }
    if (findings.any(Way::Snmp3, {Came::Engine})) {
        return Cause::WrongCommunity;
    }
    if (findings.anySnmp({Came::Garbage})) {
        return Cause::NoAnswerOfSnmp;
    }
    const bool isThere = findings.any(Way::Ipp, {Came::Printer, Came::PrinterByTls, Came::TlsOnly,
                                                 Came::PlainOnly, Came::NoIpp, Came::PortClosed});
    return isThere ? Cause::SilenceOfHost : Cause::SilenceOfNobody;
}

std::optional<Cause> causeOfIpp(const Findings& findings)
{
    for (const auto& [came, cause] :
         {std::pair{Came::TlsOnly, Cause::IppWantsTls}, std::pair{Came::PlainOnly, Cause::IppWantsPlain},
          std::pair{Came::NoIpp, Cause::IppIsNoIpp}, std::pair{Came::SwitchedOff, Cause::IppSwitchedOff},
          std::pair{Came::NoLibrary, Cause::NoIppLibrary}}) {
        if (findings.any(Way::Ipp, {came})) {
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
    const bool answersIpp = findings.any(Way::Ipp, {Came::Printer, Came::PrinterByTls});
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
    if (findings.any(Way::Usb, {Came::NoRights})) {
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
