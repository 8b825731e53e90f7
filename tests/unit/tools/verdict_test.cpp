#include "tools/tarn-status/explain/verdict.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tools/tarn-status/explain/cause_texts.h"

namespace tarnstatus {
namespace {

using testing::ElementsAre;

const Asked kUsual;

Asked askedIn(Way version)
{
    return {version, false, false};
}

std::vector<Finding> silentSnmp()
{
    return {{Way::Route, Came::Found},
            {Way::Snmp2c, Came::Silent},
            {Way::Snmp1, Came::Silent},
            {Way::Snmp3, Came::Silent}};
}

std::vector<Finding> with(std::vector<Finding> findings, std::initializer_list<Finding> more)
{
    findings.insert(findings.end(), more);
    return findings;
}

TEST(Verdict, SilenceHasTwoCausesUntilVersion3Answers)
{
    EXPECT_THAT(causesOf(with(silentSnmp(), {{Way::Ipp, Came::Silent}}), kUsual),
                ElementsAre(Cause::SilenceOfNobody));
    EXPECT_THAT(causesOf(with(silentSnmp(), {{Way::Ipp, Came::PortClosed}}), kUsual),
                ElementsAre(Cause::SilenceOfHost));
    std::vector<Finding> spoken = silentSnmp();
    spoken.back().came = Came::Engine;
    EXPECT_THAT(causesOf(with(spoken, {{Way::Ipp, Came::PortClosed}}), kUsual),
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
    EXPECT_THAT(causesOf({{Way::Name, Came::UnknownName}}, kUsual), ElementsAre(Cause::UnknownName));
    EXPECT_THAT(causesOf({{Way::Route, Came::NoNetwork}}, kUsual), ElementsAre(Cause::NoNetwork));
    EXPECT_THAT(
        causesOf({{Way::Route, Came::Found}, {Way::Snmp2c, Came::NoHost}, {Way::Ipp, Came::Silent}}, kUsual),
        ElementsAre(Cause::NoHost));
    EXPECT_THAT(causesOf({{Way::Snmp2c, Came::Forbidden}, {Way::Ipp, Came::Silent}}, kUsual),
                ElementsAre(Cause::Forbidden));
    EXPECT_THAT(causesOf({{Way::Snmp2c, Came::Refused}, {Way::Ipp, Came::Silent}}, kUsual),
                ElementsAre(Cause::Refused));
}

TEST(Verdict, PrinterThatAnswersInAnotherVersionThanAskedIn)
{
    const std::vector<Finding> old = {
        {Way::Snmp2c, Came::Silent}, {Way::Snmp1, Came::Printer}, {Way::Snmp2c, Came::Silent, {}, "", true}};
    EXPECT_THAT(causesOf(old, askedIn(Way::Snmp2c)), ElementsAre(Cause::Version1Alone));
    EXPECT_FALSE(works({Cause::Version1Alone}));
    EXPECT_THAT(causesOf(old, kUsual), ElementsAre(Cause::WorksInVersion1));
    EXPECT_TRUE(works({Cause::WorksInVersion1}));
    const std::vector<Finding> fresh = {{Way::Snmp1, Came::Silent}, {Way::Snmp2c, Came::Printer}};
    EXPECT_THAT(causesOf(fresh, askedIn(Way::Snmp1)), ElementsAre(Cause::Version2cAlone));
    EXPECT_THAT(causesOf({{Way::Snmp3, Came::NoUser}, {Way::Snmp2c, Came::Printer}}, askedIn(Way::Snmp3)),
                ElementsAre(Cause::CommunityWorks, Cause::UserMissing));
}

TEST(Verdict, PrinterThatSleptIsNotTakenForOneOfVersion1)
{
    const std::vector<Finding> woken = {
        {Way::Snmp2c, Came::Silent}, {Way::Snmp1, Came::Printer}, {Way::Snmp2c, Came::Printer, {}, "", true}};
    EXPECT_THAT(causesOf(woken, kUsual), ElementsAre(Cause::WorksSlowly));
}

TEST(Verdict, IppInSnmpsPlaceWorksAndSnmpsCauseIsTold)
{
    const std::vector<Cause> causes = causesOf(
        {{Way::Route, Came::Found}, {Way::Snmp2c, Came::PortClosed}, {Way::Ipp, Came::PrinterByTls}}, kUsual);
    EXPECT_THAT(causes, ElementsAre(Cause::WorksByIpp, Cause::NoSnmp));
    EXPECT_TRUE(works(causes));
}

TEST(Verdict, WhoAnswersIppIsThereWhateverSnmpCameTo)
{
    for (const auto& [came, cause] :
         {std::pair{Came::NoHost, Cause::Refused}, std::pair{Came::NoNetwork, Cause::Refused},
          std::pair{Came::Refused, Cause::Refused}, std::pair{Came::Forbidden, Cause::Forbidden}}) {
        EXPECT_THAT(
            causesOf({{Way::Route, Came::Found}, {Way::Snmp2c, came}, {Way::Ipp, Came::Printer}}, kUsual),
            ElementsAre(Cause::WorksByIpp, cause));
    }
}

TEST(Verdict, IppsOwnCausesFollowSnmps)
{
    for (const auto& [came, cause] :
         {std::pair{Came::TlsOnly, Cause::IppWantsTls}, std::pair{Came::PlainOnly, Cause::IppWantsPlain},
          std::pair{Came::NoIpp, Cause::IppIsNoIpp}, std::pair{Came::SwitchedOff, Cause::IppSwitchedOff},
          std::pair{Came::NoLibrary, Cause::NoIppLibrary}}) {
        EXPECT_THAT(causesOf({{Way::Snmp2c, Came::PortClosed}, {Way::Ipp, came}}, kUsual),
                    ElementsAre(Cause::NoSnmp, cause));
    }
}

TEST(Verdict, UsersEachHaveTheirCause)
{
    for (const auto& [came, cause] :
         {std::pair{Came::UnknownUser, Cause::UserUnknown},
          std::pair{Came::WrongPassword, Cause::UserPassword},
          std::pair{Came::WrongPrivacy, Cause::UserPrivacy}, std::pair{Came::WrongLevel, Cause::UserLevel},
          std::pair{Came::OtherReport, Cause::UserReport}}) {
        EXPECT_THAT(causesOf({{Way::Snmp3, came}, {Way::Ipp, Came::PortClosed}}, askedIn(Way::Snmp3)),
                    ElementsAre(cause));
    }
}

TEST(Verdict, RightsOnUsbAreSaidBesideAnythingElse)
{
    EXPECT_THAT(causesOf({{Way::Snmp2c, Came::Printer}, {Way::Usb, Came::NoRights}}, kUsual),
                ElementsAre(Cause::Works, Cause::UsbRights));
}

TEST(Verdict, WhatTheCommandLineSaysIsToGoIntoTheFile)
{
    EXPECT_THAT(causesOf({{Way::Snmp2c, Came::Printer}}, Asked{Way::Snmp2c, true, true}),
                ElementsAre(Cause::WorksAsTried));
}

} // namespace
} // namespace tarnstatus
