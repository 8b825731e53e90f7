#include "tarn/src/snmp/mib/quirks.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "tarn/src/snmp/mib/columns.h"
#include "tests/unit/tarn/snmp/fixtures.h"

namespace tarn::snmp {
namespace {

// Every object of the recording that is one of ours.
PrinterTables tablesOf(const std::string& name)
{
    kel::testing::RecordedAgent agent = kel::testing::fixture(name);
    PrinterTables tables;
    for (std::size_t i = 0; i < kColumnCount; ++i) {
        const auto id = static_cast<ColumnId>(i);
        Pdu request;
        request.type = PduType::GetNextRequest;
        request.varbinds.push_back({oidOf(id), {}});
        for (Pdu answer = agent.answer(request); hasPrefix(answer.varbinds.at(0).name, oidOf(id));
             answer = agent.answer(request)) {
            const Varbind& cell = request.varbinds[0] = answer.varbinds[0];
            if (!appendCell(tables[id], specOf(id).kind, cell.name.back(), cell.value)) {
                break; // the end of all that there is
            }
        }
    }
    return tables;
}

VendorObject withFormat(VendorFormat format, VendorField field = VendorField::Model)
{
    return {field, "1.3", format};
}

TEST(Quirks, AskOneMakersObjectsAndTheStandardOnes)
{
    const auto objects = vendorObjectsFor("1.3.6.1.4.1.2435.2.3.9.1");
    ASSERT_FALSE(objects.empty());
    for (const Quirk& quirk : quirks()) {
        const bool asked = std::find(objects.begin(), objects.end(), &quirk.action.object) != objects.end();
        const bool concerns = quirk.match.enterprise == 2435 || quirk.match.enterprise == 0;
        EXPECT_EQ(asked, concerns && quirk.action.effect == QuirkEffect::AskObject) << quirk.symptom;
    }
}

TEST(Quirks, AskAllWhereNothingTellsTheMaker)
{
    const std::size_t all = vendorObjectsFor("").size();
    EXPECT_EQ(vendorObjectsFor("1.3.6.1.4.1.8072.3.2.10").size(), all);
    EXPECT_EQ(vendorObjectsFor("1.3.6.1.4.1.2021.250.10").size(), all);
    EXPECT_EQ(vendorObjectsFor("0.0").size(), all);
    EXPECT_GT(all, vendorObjectsFor("1.3.6.1.4.1.2435.1").size());
    EXPECT_LT(all, 40u); // few enough for any device
    EXPECT_EQ(vendorObjectsFor("1.3.6.1.4.1.55555").size(), 3u);
}

TEST(Quirks, KnowTheirObjectsByName)
{
    const auto objects = vendorObjectsFor("");
    ASSERT_FALSE(objects.empty());
    for (const VendorObject* object : objects) {
        EXPECT_EQ(dottedOid(oidOf(*object)), object->oid);
    }
}

TEST(Quirks, KnowMakersOfPrintServers)
{
    EXPECT_TRUE(isOfPrintServerMaker("1.3.6.1.4.1.683.6"));
    EXPECT_TRUE(isOfPrintServerMaker("1.3.6.1.4.1.171.11.1"));
    EXPECT_FALSE(isOfPrintServerMaker("1.3.6.1.4.1.1710.11.1"));
    EXPECT_FALSE(isOfPrintServerMaker("1.3.6.1.4.1.11.2.3.9.1"));
    EXPECT_FALSE(isOfPrintServerMaker("1.3.6.1.4.1.8072.3.2.10")); // a general agent's
    EXPECT_FALSE(isOfPrintServerMaker(""));
    EXPECT_LT(vendorObjectsFor("1.3.6.1.4.1.171.11.1").size(), vendorObjectsFor("").size());
}

TEST(Quirks, EveryRowIsWhole)
{
    for (const Quirk& quirk : quirks()) {
        EXPECT_STRNE(quirk.symptom, "");
        EXPECT_STRNE(quirk.seen, "") << quirk.symptom;
        if (quirk.action.effect == QuirkEffect::AskObject) {
            EXPECT_GT(parseOid(quirk.action.object.oid).size(), 8u) << quirk.action.object.oid;
            EXPECT_EQ(quirk.match.isSeenIn, nullptr) << quirk.symptom; // it is asked before anything is read
        } else {
            EXPECT_NE(quirk.match.enterprise != 0, quirk.match.isSeenIn != nullptr) << quirk.symptom;
        }
    }
}

// What a row matches by is seen in the recording that it names, and in that of a printer by the book it is not.
TEST(Quirks, AreSeenWhereTheTableSays)
{
    for (const Quirk& quirk : quirks()) {
        if (quirk.match.isSeenIn != nullptr) {
            EXPECT_TRUE(quirk.match.isSeenIn(tablesOf(quirk.seen))) << quirk.symptom;
            EXPECT_FALSE(quirk.match.isSeenIn(tablesOf("colour-laser"))) << quirk.symptom;
        }
    }
}

TEST(Quirks, ReadDeviceIdentifiers)
{
    const VendorObject id = withFormat(VendorFormat::DeviceId);
    EXPECT_EQ(vendorText(id, "MFG:Acme;CMD:PJL;MDL:Jet 5;CLS:PRINTER;"), "Acme Jet 5");
    EXPECT_EQ(vendorText(id, "MFG:Acme Printing;MDL:Acme Jet 5;"), "Acme Jet 5"); // the maker once
    EXPECT_EQ(vendorText(id, "COMMAND SET:;MODEL:Jet 6"), "Jet 6");
    EXPECT_EQ(vendorText(id, "MFG:Acme; MDL: Jet 7 "), "Acme Jet 7");
    EXPECT_EQ(vendorText(id, "MANUFACTURE:Acme;MODEL:Jet 8;"), "Acme Jet 8");
    EXPECT_EQ(vendorText(id, "MANUFACTURER:Acme;MODEL:Jet 9;"), "Acme Jet 9");
    EXPECT_EQ(vendorText(id, std::string("\0\x12MFG:A;MDL:Jet 1;", 18)), "A Jet 1"); // with its length
    EXPECT_EQ(vendorText(id, "XMDL:no;MDL:yes;"), "yes");
    EXPECT_FALSE(vendorText(id, "MFG:Acme;"));
    EXPECT_FALSE(vendorText(id, "MDL:"));
    const VendorObject serial = withFormat(VendorFormat::DeviceId, VendorField::SerialNumber);
    EXPECT_EQ(vendorText(serial, "MFG:Acme;MDL:Jet 5;SN:AJ12345;"), "AJ12345");
    EXPECT_FALSE(vendorText(serial, "MFG:Acme;MDL:Jet 5;"));
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

} // namespace
} // namespace tarn::snmp
