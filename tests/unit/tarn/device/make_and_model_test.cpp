#include "tarn/src/device/make_and_model.h"

#include <gtest/gtest.h>

#include "tarn/src/device/device_id.h"

namespace tarn::device {
namespace {

TEST(MakeAndModelTest, MakerStandsBeforeAModelThatDoesNotNameIt)
{
    EXPECT_EQ(makeAndModel("Acme", "Jet 5"), "Acme Jet 5");
    EXPECT_EQ(makeAndModel("", "Jet 5"), "Jet 5");
    EXPECT_EQ(makeAndModel("Acme", ""), "");
    EXPECT_EQ(makeAndModel("Acme Inc.", "Jet 5"), "Acme Inc. Jet 5");
    EXPECT_EQ(makeAndModel("Acme", "Super Acme 5"), "Acme Super Acme 5");
}

TEST(MakeAndModelTest, MakerStandsOnceWhateverItsCaseAndPunctuation)
{
    EXPECT_EQ(makeAndModel("ACME", "Acme Jet 5"), "Acme Jet 5");
    EXPECT_EQ(makeAndModel("Acme", "AcmeJet 5"), "AcmeJet 5");
    EXPECT_EQ(makeAndModel("North-Western", "NORTH WESTERN Jet 5"), "NORTH WESTERN Jet 5");
    EXPECT_EQ(makeAndModel("Acme", "Acme_Jet_5"), "Acme_Jet_5");
    EXPECT_EQ(makeAndModel("Büro", "BÜRO 5"), "BÜRO 5");
}

TEST(MakeAndModelTest, OneWordOfTheMakersNameNamesIt)
{
    EXPECT_EQ(makeAndModel("Acme Industries, Ltd.", "Acme Jet 5"), "Acme Jet 5");
    EXPECT_EQ(makeAndModel("GREAT ACME CORP.", "Acme Jet 5"), "Acme Jet 5");
    EXPECT_EQ(makeAndModel("Acme Co., Ltd.", "Co 5"), "Acme Co., Ltd. Co 5") << "a legal form is no name";
}

TEST(MakeAndModelTest, InitialsNameTheMaker)
{
    EXPECT_EQ(makeAndModel("North-Western", "NW Jet 5"), "NW Jet 5");
    EXPECT_EQ(makeAndModel("North-Western Company", "NW Jet 5"), "NW Jet 5");
    EXPECT_EQ(makeAndModel("North-Western", "NWX 5"), "North-Western NWX 5");
    EXPECT_EQ(makeAndModel("Acme", "A 5"), "Acme A 5") << "one letter is no name";
}

TEST(MakeAndModelTest, MakerThatStandsTwiceInOneTextStandsOnce)
{
    EXPECT_EQ(withMakerOnce("Acme ACME Jet 5"), "ACME Jet 5");
    EXPECT_EQ(withMakerOnce("Acme Inc. Acme Jet 5"), "Acme Jet 5");
    EXPECT_EQ(withMakerOnce("North-Western NW Jet 5"), "NW Jet 5");
    EXPECT_EQ(withMakerOnce("Great Acme GREAT ACME Jet 5"), "GREAT ACME Jet 5");
    EXPECT_EQ(withMakerOnce("Büro büro 5"), "büro 5");
    EXPECT_EQ(makeAndModel("Acme", "Acme Acme Jet 5"), "Acme Jet 5");
}

TEST(MakeAndModelTest, WhatIsNoRepeatedMakerStays)
{
    for (const char* text : {"", " ", "Acme", "Acme Jet 5", "Acme Jet 5 Jet", "500 500 Series",
                             "Big Jet BJ 5", "...", "Co. Co. 5"}) {
        EXPECT_EQ(withMakerOnce(text), text);
    }
}

TEST(MakeAndModelTest, DeviceIdWithoutAModelIsCalledByItsDescription)
{
    EXPECT_EQ(makeAndModel(parseDeviceId("MFG:Acme;MDL:Jet 5;DES:A jet;")), "Acme Jet 5");
    EXPECT_EQ(makeAndModel(parseDeviceId("MFG:Acme;DES:Acme Jet 5;")), "Acme Jet 5");
    EXPECT_EQ(makeAndModel(parseDeviceId("MFG:Acme;")), "");
}

} // namespace
} // namespace tarn::device
