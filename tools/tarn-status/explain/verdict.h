#pragma once

#include <vector>

#include "tools/tarn-status/explain/finding.h"

namespace tarnstatus {

// Why a printer is not read, or that it is.
enum class Cause
{
    Works,           // as the configuration file has it
    WorksSlowly,     // it did not answer at first
    WorksInVersion1, // and in no other
    WorksAsTried,
    WorksByIpp,
    UnknownName,
    NoNetwork,
    NoHost,
    Forbidden,
    Refused, // on the way, or the host is there all the same
    NotOneHost,
    NoSocket,
    Version1Alone,
    Version2cAlone,
    CommunityWorks, // and version 3 was asked for
    NotPrinter,
    NoSnmp,          // the port is closed
    WrongCommunity,  // SNMP is spoken
    SilenceOfNobody, // neither answers: nobody is there, or the community is another one
    SilenceOfHost,   // the host is there: SNMP is off, or the community is another one
    NoAnswerOfSnmp,
    UserUnknown,
    UserPassword,
    UserPrivacy,
    UserLevel,
    UserReport,
    UserMissing,
    NoNetSnmp,
    IppWantsTls,
    IppWantsPlain,
    IppIsNoIpp,
    IppSwitchedOff,
    NoIppLibrary,
    UsbRights,
};

struct Asked
{
    Probe first = Probe::Snmp2c; // of the versions of SNMP
    bool anyVersion = true;      // whichever is answered will do
    bool isTried = false;        // with what the command line says
};

// The causes, the most important one first; never empty. Pure.
std::vector<Cause> causesOf(const std::vector<Finding>& findings, const Asked& asked);

// Whether the printer is reached as it was asked.
bool works(const std::vector<Cause>& causes);

} // namespace tarnstatus
