#include "tools/tarn-status/explain/verdict.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tools/tarn-status/explain/cause_texts.h"

namespace tarnstatus {
namespace {

using testing::ElementsAre;

const Asked kUsual;

Asked askedIn(Probe version)
{
    return {version, false, false};
}

std::vector<Finding> silentSnmp()
{
    return {{Probe::Route, ProbeOutcome::Found},
            {Probe::Snmp2c, ProbeOutcome::Silent},
            {Probe::Snmp1, ProbeOutcome::Silent},
            {Probe::Snmp3, ProbeOutcome::Silent}};
}

std::vector<Finding> with(std::vector<Finding> findings, std::initializer_list<Finding> more)
{
    findings.insert(findings.end(), more);
    return findings;
}

TEST(Verdict, SilenceHasTwoCausesUntilVersion3Answers)
{
    EXPECT_THAT(causesOf(with(silentSnmp(), {{Probe::Ipp, ProbeOutcome::Silent}}), kUsual),
                ElementsAre(Cause::SilenceOfNobody));
    EXPECT_THAT(causesOf(with(silentSnmp(), {{Probe::Ipp, ProbeOutcome::PortClosed}}), kUsual),
                ElementsAre(Cause::SilenceOfHost));
    std::vector<Finding> spoken = silentSnmp();
    spoken.back().outcome = ProbeOutcome::Engine;
    EXPECT_THAT(causesOf(with(spoken, {{Probe::Ipp, ProbeOutcome::PortClosed}}), kUsual),
                ElementsAre(Cause::WrongCommunity));
}

TEST(Verdict, BothCausesOfSilenceAreNamedInBothLanguages)
{
    for (const Cause cause : {Cause::SilenceOfNobody, Cause::SilenceOfHost}) {
        const std::string english = causeText(cause).causeIn(Language::English);
        EXPECT_THAT(english, testing::AllOf(testing::HasSubstr("SNMP"), testing::HasSubstr("off"),
                                            testing::HasSubstr("community")));
        const std::string chinese = causeText(cause).causeIn(Language::Chinese);
        EXPECT_THAT(chinese, testing::AllOf(testing::HasSubstr("未启用"), testing::HasSubstr("团体名")));
    }
}

TEST(Verdict, EveryCauseHasATextOfItsOwn)
{
    for (int i = 0; i <= static_cast<int>(Cause::UsbRights); ++i) {
        const CauseText& text = causeText(static_cast<Cause>(i));
        EXPECT_EQ(static_cast<int>(text.cause), i);
        for (const Language language : {Language::English, Language::Chinese}) {
            EXPECT_GT(std::string(text.causeIn(language)).size(), 10u) << i;
            EXPECT_GT(std::string(text.deedIn(language)).size(), 10u) << i;
        }
    }
}

TEST(Verdict, WhatKeepsFromAskingComesFirst)
{
    EXPECT_THAT(causesOf({{Probe::Name, ProbeOutcome::UnknownName}}, kUsual),
                ElementsAre(Cause::UnknownName));
    EXPECT_THAT(causesOf({{Probe::Route, ProbeOutcome::NoNetwork}}, kUsual), ElementsAre(Cause::NoNetwork));
    EXPECT_THAT(causesOf({{Probe::Route, ProbeOutcome::Found},
                          {Probe::Snmp2c, ProbeOutcome::NoHost},
                          {Probe::Ipp, ProbeOutcome::Silent}},
                         kUsual),
                ElementsAre(Cause::NoHost));
    EXPECT_THAT(
        causesOf({{Probe::Snmp2c, ProbeOutcome::Forbidden}, {Probe::Ipp, ProbeOutcome::Silent}}, kUsual),
        ElementsAre(Cause::Forbidden));
    EXPECT_THAT(
        causesOf({{Probe::Snmp2c, ProbeOutcome::Refused}, {Probe::Ipp, ProbeOutcome::Silent}}, kUsual),
        ElementsAre(Cause::Refused));
}

TEST(Verdict, PrinterThatAnswersInAnotherVersionThanAskedIn)
{
    const std::vector<Finding> old = {{Probe::Snmp2c, ProbeOutcome::Silent},
                                      {Probe::Snmp1, ProbeOutcome::Printer},
                                      {Probe::Snmp2c, ProbeOutcome::Silent, {}, "", true}};
    EXPECT_THAT(causesOf(old, askedIn(Probe::Snmp2c)), ElementsAre(Cause::Version1Alone));
    EXPECT_FALSE(works({Cause::Version1Alone}));
    EXPECT_THAT(causesOf(old, kUsual), ElementsAre(Cause::WorksInVersion1));
    EXPECT_TRUE(works({Cause::WorksInVersion1}));
    const std::vector<Finding> fresh = {{Probe::Snmp1, ProbeOutcome::Silent},
                                        {Probe::Snmp2c, ProbeOutcome::Printer}};
    EXPECT_THAT(causesOf(fresh, askedIn(Probe::Snmp1)), ElementsAre(Cause::Version2cAlone));
    EXPECT_THAT(causesOf({{Probe::Snmp3, ProbeOutcome::NoUser}, {Probe::Snmp2c, ProbeOutcome::Printer}},
                         askedIn(Probe::Snmp3)),
                ElementsAre(Cause::CommunityWorks, Cause::UserMissing));
}

TEST(Verdict, PrinterThatSleptIsNotTakenForOneOfVersion1)
{
    const std::vector<Finding> woken = {{Probe::Snmp2c, ProbeOutcome::Silent},
                                        {Probe::Snmp1, ProbeOutcome::Printer},
                                        {Probe::Snmp2c, ProbeOutcome::Printer, {}, "", true}};
    EXPECT_THAT(causesOf(woken, kUsual), ElementsAre(Cause::WorksSlowly));
}

TEST(Verdict, IppInSnmpsPlaceWorksAndSnmpsCauseIsTold)
{
    const std::vector<Cause> causes = causesOf({{Probe::Route, ProbeOutcome::Found},
                                                {Probe::Snmp2c, ProbeOutcome::PortClosed},
                                                {Probe::Ipp, ProbeOutcome::PrinterByTls}},
                                               kUsual);
    EXPECT_THAT(causes, ElementsAre(Cause::WorksByIpp, Cause::NoSnmp));
    EXPECT_TRUE(works(causes));
}

TEST(Verdict, WhoAnswersIppIsThereWhateverSnmpCameTo)
{
    for (const auto& [outcome, cause] :
         {std::pair{ProbeOutcome::NoHost, Cause::Refused}, std::pair{ProbeOutcome::NoNetwork, Cause::Refused},
          std::pair{ProbeOutcome::Refused, Cause::Refused},
          std::pair{ProbeOutcome::Forbidden, Cause::Forbidden}}) {
        EXPECT_THAT(causesOf({{Probe::Route, ProbeOutcome::Found},
                              {Probe::Snmp2c, outcome},
                              {Probe::Ipp, ProbeOutcome::Printer}},
                             kUsual),
                    ElementsAre(Cause::WorksByIpp, cause));
    }
}

TEST(Verdict, IppsOwnCausesFollowSnmps)
{
    for (const auto& [outcome, cause] : {std::pair{ProbeOutcome::TlsOnly, Cause::IppWantsTls},
                                         std::pair{ProbeOutcome::PlainOnly, Cause::IppWantsPlain},
                                         std::pair{ProbeOutcome::NoIpp, Cause::IppIsNoIpp},
                                         std::pair{ProbeOutcome::SwitchedOff, Cause::IppSwitchedOff},
                                         std::pair{ProbeOutcome::NoLibrary, Cause::NoIppLibrary}}) {
        EXPECT_THAT(causesOf({{Probe::Snmp2c, ProbeOutcome::PortClosed}, {Probe::Ipp, outcome}}, kUsual),
                    ElementsAre(Cause::NoSnmp, cause));
    }
}

TEST(Verdict, UsersEachHaveTheirCause)
{
    for (const auto& [outcome, cause] : {std::pair{ProbeOutcome::UnknownUser, Cause::UserUnknown},
                                         std::pair{ProbeOutcome::WrongPassword, Cause::UserPassword},
                                         std::pair{ProbeOutcome::WrongPrivacy, Cause::UserPrivacy},
                                         std::pair{ProbeOutcome::WrongLevel, Cause::UserLevel},
                                         std::pair{ProbeOutcome::OtherReport, Cause::UserReport}}) {
        EXPECT_THAT(causesOf({{Probe::Snmp3, outcome}, {Probe::Ipp, ProbeOutcome::PortClosed}},
                             askedIn(Probe::Snmp3)),
                    ElementsAre(cause));
    }
}

TEST(Verdict, RightsOnUsbAreSaidBesideAnythingElse)
{
    EXPECT_THAT(
        causesOf({{Probe::Snmp2c, ProbeOutcome::Printer}, {Probe::Usb, ProbeOutcome::NoRights}}, kUsual),
        ElementsAre(Cause::Works, Cause::UsbRights));
}

TEST(Verdict, WhatTheCommandLineSaysIsToGoIntoTheFile)
{
    EXPECT_THAT(causesOf({{Probe::Snmp2c, ProbeOutcome::Printer}}, Asked{Probe::Snmp2c, true, true}),
                ElementsAre(Cause::WorksAsTried));
}

} // namespace
} // namespace tarnstatus
