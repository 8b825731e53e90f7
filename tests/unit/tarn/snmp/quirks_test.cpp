#include "tarn/src/snmp/quirks.h"

#include <gtest/gtest.h>

#include "tarn/src/snmp/columns.h"

namespace tarn::snmp {
namespace {

VendorObject withFormat(VendorFormat format)
{
    return {0, VendorField::Model, "1.3", format, ""};
}

TEST(Quirks, AskOneMakersObjectsAndTheStandardOnes)
{
    const auto objects = vendorObjectsFor("1.3.6.1.4.1.2435.2.3.9.1");
    ASSERT_FALSE(objects.empty());
    for (const VendorObject* object : objects) {
        EXPECT_TRUE(object->enterprise == 2435 || object->enterprise == 0);
    }
}

TEST(Quirks, AskAllWhereNothingTellsTheMaker)
{
    const std::size_t all = vendorObjectsFor("").size();
    EXPECT_EQ(vendorObjectsFor("1.3.6.1.4.1.8072.3.2.10").size(), all);
    EXPECT_EQ(vendorObjectsFor("0.0").size(), all);
    EXPECT_GT(all, vendorObjectsFor("1.3.6.1.4.1.2435.1").size());
    EXPECT_LT(all, 40u); // few enough for any device
    EXPECT_EQ(vendorObjectsFor("1.3.6.1.4.1.55555").size(), 1u);
}

TEST(Quirks, EveryObjectHasAnIdentifierAndASymptom)
{
    for (const VendorObject* object : vendorObjectsFor("")) {
        EXPECT_GT(parseOid(object->oid).size(), 8u) << object->oid;
        EXPECT_STRNE(object->symptom, "");
    }
}

TEST(Quirks, ReadDeviceIdentifiers)
{
    const VendorObject id = withFormat(VendorFormat::DeviceId);
    EXPECT_EQ(vendorText(id, "MFG:Acme;CMD:PJL;MDL:Jet 5;CLS:PRINTER;"), "Jet 5");
    EXPECT_EQ(vendorText(id, "COMMAND SET:;MODEL:Jet 6"), "Jet 6");
    EXPECT_EQ(vendorText(id, "MFG:Acme; MDL: Jet 7 "), "Jet 7");
    EXPECT_EQ(vendorText(id, "XMDL:no;MDL:yes;"), "yes");
    EXPECT_FALSE(vendorText(id, "MFG:Acme;"));
    EXPECT_FALSE(vendorText(id, "MDL:"));
}

TEST(Quirks, ReadPmlTexts)
{
    const VendorObject pml = withFormat(VendorFormat::PmlText);
    EXPECT_EQ(vendorText(pml, std::string("\x01\x15U64969", 8)), "U64969");
    EXPECT_FALSE(vendorText(pml, "\x01\x15"));
    EXPECT_FALSE(vendorText(pml, ""));
}

TEST(Quirks, ReadTheTotalOutOfATagList)
{
    EXPECT_EQ(vendorNumber(std::string("\x00\x01\x04\x00\x00\x03\x6f\xff", 8)), 879);
    EXPECT_EQ(vendorNumber(std::string("\x02\x01\x01\x05\x00\x01\x02\x01\x00\xff", 10)), 256);
    EXPECT_FALSE(vendorNumber(std::string("\x02\x01\x01\x05\xff", 5)));
    EXPECT_FALSE(vendorNumber(std::string("\x00\x01\x04\x00\x00", 5))); // cut
    EXPECT_FALSE(vendorNumber(std::string("\x00\x01\x00\xff", 4)));
    EXPECT_FALSE(vendorNumber(std::string("\x00\x01\x09"
                                          "123456789",
                                          12)));
    EXPECT_FALSE(vendorNumber(""));
}

TEST(Quirks, KnowTextsThatNameNoModel)
{
    for (const char* text :
         {"Generic 28C-1", "ACME Built-in 11b/g/n & 10/100/1000 Print Server",
          "HP ETHERNET MULTI-ENVIRONMENT,SN:1", "Brother NC-8300h, Firmware Ver.1.14",
          "KYOCERA Document Solutions Printing System", "KYOCERA Print I/F", "Linux host 6.1"}) {
        EXPECT_TRUE(namesNoModel(text)) << text;
    }
    for (const char* text : {"Brother MFC-L2710DW series", "Acme Generic 5", "HP Color LaserJet M452nw"}) {
        EXPECT_FALSE(namesNoModel(text)) << text;
    }
}

TEST(Quirks, FindTheModelAmongSerialNumberAndFirmware)
{
    EXPECT_EQ(cleanModel("Acme S5830dn 7XQ1R92 LW62.DN4.P636", ""), "Acme S5830dn");
    EXPECT_EQ(cleanModel("Acme S5830dn ABC-12", "ABC-12"), "Acme S5830dn");
    EXPECT_EQ(cleanModel("ACME MP C2503 1.35 / ACME Network Printer", ""), "ACME MP C2503");
    EXPECT_EQ(cleanModel("Acme AltaJet C8045; SS 100.002, NC 1", ""), "Acme AltaJet C8045");
    EXPECT_EQ(cleanModel("Acme LBP6670 /P", ""), "Acme LBP6670");
    EXPECT_EQ(cleanModel("Acme S58 version NH62.YS.N636 kernel 3.0.0", ""), "Acme S58");
    EXPECT_EQ(cleanModel("Acme MFC-L2710DW series", ""), "Acme MFC-L2710DW series");
    EXPECT_EQ(cleanModel("M2503X99", ""), "M2503X99"); // alone it is the model
    EXPECT_EQ(cleanModel("", ""), "");
    EXPECT_EQ(cleanModel(";;", ""), "");
}

TEST(Quirks, FindTheSerialNumberInADescription)
{
    EXPECT_EQ(serialInDescription("X,SN:VNN3Y98438,FN:1F31B6C"), "VNN3Y98438");
    EXPECT_EQ(serialInDescription("Acme;V11;S/N 8QBBB1"), "8QBBB1");
    EXPECT_EQ(serialInDescription("Serial Number: AB-1234"), "AB-1234");
    EXPECT_EQ(serialInDescription("Acme;NIC;S/N "), "");
    EXPECT_EQ(serialInDescription("Acme SN unknown"), "");
    EXPECT_EQ(serialInDescription("POISN:123456"), ""); // within another word
}

TEST(Quirks, KnowPlaceholdersOfSerialNumbers)
{
    for (const char* text : {"", "XXXXXXXX", "0000000000", "unknown", "N/A", "None"}) {
        EXPECT_TRUE(namesNoSerial(text)) << text;
    }
    EXPECT_FALSE(namesNoSerial("AA8W246177521"));
}

TEST(Quirks, FindTheModelBehindPid)
{
    EXPECT_EQ(modelInDescription("SN:1,SVCID:2,PID:Acme Jet 9"), "Acme Jet 9");
    EXPECT_EQ(modelInDescription("PID:Acme Jet 9,X:1"), "Acme Jet 9");
    EXPECT_EQ(modelInDescription("Acme"), "");
}

} // namespace
} // namespace tarn::snmp
