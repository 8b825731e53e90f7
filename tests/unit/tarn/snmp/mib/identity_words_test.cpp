#include "tarn/src/snmp/mib/identity_words.h"

#include <gtest/gtest.h>

namespace tarn::snmp {
namespace {

TEST(IdentityWords, KnowTextsThatNameNoPrinter)
{
    for (const char* text : {"ACME Built-in 11b/g/n & 10/100/1000 Print Server",
                             "HP ETHERNET MULTI-ENVIRONMENT,SN:1",
                             "HP JETDIRECT,J7934G",
                             "Brother NC-8300h, Firmware Ver.1.14",
                             "NC-6800h",
                             "KYOCERA Print I/F",
                             "KYOCERA Printer I/F IB-21G Ver 1.3.3",
                             "IBM NPS 530/532Print serverV5.36",
                             "Linux host 6.1",
                             "OKI OkiLAN 8100e Rev.02.68 10/100BASE Ethernet PrintServer: Attached to C3200n",
                             "ZebraNet PrintServer II",
                             "ZebraNet Wired PS",
                             "AXIS 5400+",
                             "Acme PS110, Print Server V1.0",
                             "Type-B 10Base-T/100Base-TX",
                             "Lexmark MarkNet N4050e",
                             "",
                             " ; ",
                             "---",
                             "unknown",
                             "N/A"}) {
        EXPECT_EQ(gradeModel(text), ModelGrade::None) << text;
    }
}

TEST(IdentityWords, KnowTextsThatManyPrintersShare)
{
    for (const char* text : {"Generic 28C-1", "KYOCERA Document Solutions Printing System", "Printer",
                             "ACME Network Printer", "Fiery X3eTY 35C-KM", "MF series printer"}) {
        EXPECT_EQ(gradeModel(text), ModelGrade::Platform) << text;
    }
}

TEST(IdentityWords, KnowModels)
{
    for (const char* text : {"Brother MFC-L2710DW series", "Acme Generic 5", "HP Color LaserJet M452nw",
                             "ZTC ZT410-300dpi ZPL", "Acme MP C2503 1.35 / Acme Network Printer C model",
                             "Acme Jet 5; Network Interface 1.2", "彩色 5"}) {
        EXPECT_EQ(gradeModel(text), ModelGrade::Model) << text;
    }
}

TEST(IdentityWords, KnowNamesMadeOfAnAddress)
{
    for (const char* text : {"BRN001BA9123456", "NPI12AB34", "KM12AB34", "EPSON12AB34", "XRX9C934E123456",
                             "ZBR2894123", "ET0021B7123456", "npi12ab34", "KMABCDEF12"}) {
        EXPECT_TRUE(isHostName(text)) << text;
    }
    for (const char* text :
         {"", "N", "third floor", "LBP6670", "DCP-1618W", "FS-C5150DN", "MP C2503", "Acme Jet 100",
          "Stylus BX525WD-66FFF5", "facade", "CLX9201NA", "A1234567", "KMABCDEFA1"}) {
        EXPECT_FALSE(isHostName(text)) << text;
    }
}

TEST(IdentityWords, FindTheModelAmongSerialNumberAndFirmware)
{
    EXPECT_EQ(cleanModel("Acme S5830dn 7XQ1R92 LW62.DN4.P636", ""), "Acme S5830dn");
    EXPECT_EQ(cleanModel("Acme S5830dn AXZQ1R LW62.DN4.P636", ""), "Acme S5830dn AXZQ1R");
    EXPECT_EQ(cleanModel("Acme S5830dn AZ12AZ LW62.DN4.P636", ""), "Acme S5830dn");
    EXPECT_EQ(cleanModel("Acme S5830dn Series-2012 LW62.DN4.P636", ""), "Acme S5830dn Series-2012");
    EXPECT_EQ(cleanModel("Acme S5830dn ABC-12", "ABC-12"), "Acme S5830dn");
    EXPECT_EQ(cleanModel("ACME MP C2503 1.35 / ACME Network Printer", ""), "ACME MP C2503");
    EXPECT_EQ(cleanModel("Acme AltaJet C8045; SS 100.002, NC 1", ""), "Acme AltaJet C8045");
    EXPECT_EQ(cleanModel("ACME SP C440DN 1.07 / ACME Network Printer", ""), "ACME SP C440DN");
    EXPECT_EQ(cleanModel("ACME Pro C7100SX 1.1 / ACME Network Printer", ""), "ACME Pro C7100SX");
    EXPECT_EQ(cleanModel("Acme Phase 6180MFP V1.2.3", ""), "Acme Phase 6180MFP");
    EXPECT_EQ(cleanModel("ACME ESP 5.2", ""), "ACME ESP 5.2");
    EXPECT_EQ(cleanModel("Acme AP5.4 203", ""), "Acme AP5.4 203");
    EXPECT_EQ(cleanModel("ACME IM C3000 1.2", ""), "ACME IM C3000");
    EXPECT_EQ(cleanModel("Acme LBP6670 /P", ""), "Acme LBP6670");
    EXPECT_EQ(cleanModel("Acme ML-2850 Series OS 1.03.00.16 01-22-2008;Engine 1.01", ""),
              "Acme ML-2850 Series");
    EXPECT_EQ(cleanModel("Acme C5650 Rev.N2.14 : (C)2004", ""), "Acme C5650");
    EXPECT_EQ(cleanModel("Acme C5650 Ver 3", ""), "Acme C5650");
    EXPECT_EQ(cleanModel("Acme Rev Five", ""), "Acme Rev Five");
    EXPECT_EQ(cleanModel("Acme Printer 5100cn (Net 6.26, Controller 20040820)", ""), "Acme Printer 5100cn");
    EXPECT_EQ(cleanModel("Acme Jet (A4) 5", ""), "Acme Jet (A4) 5");
    EXPECT_EQ(cleanModel("Acme Phase 7300 DX v(2.08/15.52) Printer 384MB", ""), "Acme Phase 7300 DX");
    EXPECT_EQ(cleanModel("Acme Inc., LBP-1760 Printer", ""), "Acme LBP-1760 Printer");
    EXPECT_EQ(cleanModel("Acme International, Inc. T640, x", ""), "Acme International T640");
    EXPECT_EQ(cleanModel("Acme ACME Jet 5", ""), "ACME Jet 5"); // the maker once
    EXPECT_EQ(cleanModel("Acme S58 version NH62.YS.N636 kernel 3.0.0", ""), "Acme S58");
    EXPECT_EQ(cleanModel("Acme MFC-L2710DW series", ""), "Acme MFC-L2710DW series");
    EXPECT_EQ(cleanModel("M2503X99", ""), "M2503X99"); // alone it is the model
    EXPECT_EQ(cleanModel("", ""), "");
    EXPECT_EQ(cleanModel(";;", ""), "");
}

TEST(IdentityWords, FindTheSerialNumberInADescription)
{
    EXPECT_EQ(serialInDescription("X,SN:VNN3Y98438,FN:1F31B6C"), "VNN3Y98438");
    EXPECT_EQ(serialInDescription("Acme;V11;S/N 8QBBB1"), "8QBBB1");
    EXPECT_EQ(serialInDescription("Serial Number: AB-1234"), "AB-1234");
    EXPECT_EQ(serialInDescription("Acme;NIC;S/N "), "");
    EXPECT_EQ(serialInDescription("Acme SN unknown"), "");
    EXPECT_EQ(serialInDescription("POISN:123456"), ""); // within another word
}

TEST(IdentityWords, KnowPlaceholdersOfSerialNumbers)
{
    for (const char* text : {"", "XXXXXXXX", "XX", "0", "0000000000", "1111", "unknown", "N/A", "None",
                             "serial_number", "Serial Number", "--"}) {
        EXPECT_TRUE(namesNoSerial(text)) << text;
    }
    for (const char* text : {"AA8W246177521", "00", "11", "333"}) {
        EXPECT_FALSE(namesNoSerial(text)) << text;
    }
}

TEST(IdentityWords, FindTheModelBehindAWordForIt)
{
    EXPECT_EQ(modelInDescription("SN:1,SVCID:2,PID:Acme Jet 9"), "Acme Jet 9");
    EXPECT_EQ(modelInDescription("PID:Acme Jet 9,X:1"), "Acme Jet 9");
    EXPECT_EQ(
        modelInDescription("AcmeLAN 8100e Ethernet PrintServer: Attached to C3200n Rev.N2.14 : (C)2004"),
        "C3200n Rev.N2.14 : (C)2004");
    EXPECT_EQ(modelInDescription("Acme"), "");
}

} // namespace
} // namespace tarn::snmp
