#include "tarn/src/api/roster.h"

#include <gtest/gtest.h>

#include "tarn/src/base/json_input.h"
#include "tests/unit/tarn/support/short_memory.h"

namespace tarn::api {
namespace {

TargetPtr targetAt(std::uint32_t address)
{
    return std::make_shared<engine::Target>(engine::PrinterAddress{{address, 161},
                                                                   engine::VersionChoice::Auto,
                                                                   std::make_shared<const std::string>()},
                                            engine::unmetSnapshot({}), TimePoint());
}

class RosterTest : public testing::Test
{
protected:
    std::vector<TargetPtr> name(const std::string& text)
    {
        return roster.name(text, *catalog::parsePrinterList(text), [this](std::uint32_t address) {
            ++made;
            return targetAt(address);
        });
    }
    TargetPtr found(std::string_view printer) const
    {
        TargetPtr out;
        index.withTarget(printer, [&](const TargetPtr& target) { out = target; });
        return out;
    }
    Json::Value document() { return *parseJson(roster.document(identities), 1u << 20); }

    int made = 0;
    PrinterIndex index;
    const TargetPtr nowhere = targetAt(0);
    Roster roster{index, nowhere};
    catalog::IdentityCache identities;
};

TEST_F(RosterTest, AddressKeepsItsTargetAndOneThatIsNoLongerNamedIsGivenBack)
{
    EXPECT_TRUE(name(R"([{"printerName":"a","ip":"1.2.3.4"},{"printerName":"b","ip":"1.2.3.5"}])").empty());
    const TargetPtr a = found("a");
    const TargetPtr b = found("b");
    ASSERT_TRUE(a && b);
    const std::vector<TargetPtr> gone = name(R"([{"printerName":"c","ip":"1.2.3.4"}])");
    EXPECT_EQ(gone, std::vector<TargetPtr>{b});
    EXPECT_EQ(found("c"), a);
    EXPECT_EQ(found("a"), nullptr);
    EXPECT_EQ(made, 2);
    EXPECT_EQ(roster.targets().size(), 1U);
}

TEST_F(RosterTest, NamesOfOneAddressShareItsTargetAndThoseOfNoneTheOneOfNowhere)
{
    name(R"([{"printerName":"a","ip":"1.2.3.4"},{"printerName":"b","ip":"001.2.3.4"},)"
         R"({"printerName":"c","ip":"?"},{"printerName":"d"}])");
    EXPECT_EQ(found("a"), found("b"));
    EXPECT_EQ(found("c"), nowhere);
    EXPECT_EQ(found("d"), nowhere);
    EXPECT_EQ(made, 1);
}

TEST_F(RosterTest, NamedPrintersComeFirstInTheIndexAndInTheDocument)
{
    const TargetPtr usb = targetAt(0);
    roster.setDiscovered(engine::Discovery::Usb, {{"both", "M", "X", "", "u", "", true, usb},
                                                  {"usb", "M", "X", "", "u", "", true, usb}});
    name(R"([{"printerName":"both","ip":"1.2.3.4"}])");
    EXPECT_NE(found("both"), usb);
    EXPECT_EQ(found("usb"), usb);
    EXPECT_EQ(document().size(), 3U);
    EXPECT_EQ(document()[0]["isUsbPrinter"], false);
    EXPECT_EQ(document()[2]["printerName"], "usb");
    roster.setDiscovered(engine::Discovery::Usb, {});
    EXPECT_EQ(document().size(), 1U);
    EXPECT_EQ(found("usb"), nullptr);
}

TEST_F(RosterTest, OnlyTheTextThatNamedThePrintersIsTheirs)
{
    EXPECT_FALSE(roster.isNamedBy(""));
    name("[]");
    EXPECT_TRUE(roster.isNamedBy("[]"));
    EXPECT_FALSE(roster.isNamedBy("[] "));
}

TEST_F(RosterTest, ListThatThereIsNoMemoryForChangesNothing)
{
    const std::string before = R"([{"printerName":"a","ip":"1.2.3.4"}])";
    const std::string text = R"([{"printerName":"b","ip":"1.2.3.5"},{"printerName":"c","ip":"1.2.3.6"}])";
    int failures = 0;
    for (std::uint32_t seed = 0; seed < 200; ++seed) {
        name(before);
        std::vector<catalog::ListedPrinter> printers = *catalog::parsePrinterList(text);
        try {
            const test::ShortMemory few(seed, 10);
            roster.name(text, std::move(printers), targetAt);
        } catch (const std::bad_alloc&) {
            ++failures;
            ASSERT_TRUE(roster.isNamedBy(before));
            ASSERT_EQ(roster.targets().size(), 1U);
            ASSERT_TRUE(found("a"));
            ASSERT_FALSE(found("b"));
            continue;
        }
        ASSERT_TRUE(roster.isNamedBy(text));
        ASSERT_EQ(roster.targets().size(), 2U);
    }
    EXPECT_GT(failures, 20);
    EXPECT_LT(failures, 200);
}

TEST_F(RosterTest, DocumentTellsWhatBecameKnownOnceThatIsSaid)
{
    name(R"([{"printerName":"a","ip":"1.2.3.4","model":"sent"}])");
    EXPECT_EQ(document()[0]["model"], "sent");
    identities.remember(*engine::parseIpv4("1.2.3.4"), {"met", "", "a printer"});
    roster.identitiesChanged();
    EXPECT_EQ(document()[0]["model"], "met");
    EXPECT_EQ(document()[0]["description"], "a printer");
}

} // namespace
} // namespace tarn::api
