#include "tarn/src/device/supply_words.h"

#include <gtest/gtest.h>

#include <tuple>

#include "tarn/src/device/supply_types.h"
#include "tarn/src/device/utf8.h"

namespace tarn::device {
namespace {

using Color = SupplyColor;
using Kind = SupplyKind;

class ColorWords : public ::testing::TestWithParam<std::tuple<const char*, Color, const char*>>
{
};

TEST_P(ColorWords, AreUnderstood)
{
    const auto& [description, color, text] = GetParam();
    const ColorSaid said = colorFromDescription(description);
    EXPECT_EQ(said.color, color) << description << ": " << colorKeyword(said.color) << " " << said.text;
    EXPECT_EQ(said.text, text) << description;
}

INSTANTIATE_TEST_SUITE_P(Languages, ColorWords,
                         ::testing::Values(std::make_tuple("Black Toner", Color::Black, "black"),
                                           std::make_tuple("TONER CYAN", Color::Cyan, "cyan"),
                                           std::make_tuple("Schwarztoner", Color::Black, "black"),
                                           std::make_tuple("Toner Gelb", Color::Yellow, "yellow"),
                                           std::make_tuple("Toner jaune", Color::Yellow, "yellow"),
                                           std::make_tuple("Cartouche noire", Color::Black, "black"),
                                           std::make_tuple("Tóner negro", Color::Black, "black"),
                                           std::make_tuple("Toner ciano", Color::Cyan, "cyan"),
                                           std::make_tuple("Toner nero", Color::Black, "black"),
                                           std::make_tuple("Svart toner", Color::Black, "black"),
                                           std::make_tuple("Toner, gul", Color::Yellow, "yellow"),
                                           std::make_tuple("Żółty toner", Color::Yellow, "yellow"),
                                           std::make_tuple("Czarny toner", Color::Black, "black"),
                                           std::make_tuple("ЧЁРНЫЙ тонер", Color::Black, "black"),
                                           std::make_tuple("Желтый тонер", Color::Yellow, "yellow"),
                                           std::make_tuple("黑色碳粉", Color::Black, "black"),
                                           std::make_tuple("洋紅色碳粉", Color::Magenta, "magenta"),
                                           std::make_tuple("品红墨盒", Color::Magenta, "magenta"),
                                           std::make_tuple("红色", Color::Red, "red"),
                                           std::make_tuple("黃色碳粉", Color::Yellow, "yellow"),
                                           std::make_tuple("シアントナー", Color::Cyan, "cyan"),
                                           std::make_tuple("マゼンタ", Color::Magenta, "magenta"),
                                           std::make_tuple("검정 토너", Color::Black, "black"),
                                           std::make_tuple("Rouge", Color::Red, "red"),
                                           std::make_tuple("Чорний тонер", Color::Black, "black"),
                                           std::make_tuple("Toner negru", Color::Black, "black"),
                                           std::make_tuple("Жовтий тонер", Color::Yellow, "yellow"),
                                           std::make_tuple("Čierny toner", Color::Black, "black"),
                                           std::make_tuple("Žltý toner", Color::Yellow, "yellow"),
                                           std::make_tuple("Azúrový toner", Color::Cyan, "cyan")));

INSTANTIATE_TEST_SUITE_P(
    TagsAndPartNumbers, ColorWords,
    ::testing::Values(
        std::make_tuple("Toner [K]", Color::Black, "black"),
        std::make_tuple("Ink (BK)", Color::Black, "black"),
        std::make_tuple("Unit [C] 12", Color::Cyan, "cyan"), std::make_tuple("Unit [C 12", Color::None, ""),
        std::make_tuple("T071C", Color::Cyan, "cyan"), std::make_tuple("TN243M-", Color::None, ""),
        std::make_tuple("TN243-K", Color::Black, "black"),
        std::make_tuple("Ink [LC]", Color::Other, "light cyan"),
        std::make_tuple("Toner Y", Color::Yellow, "yellow"),
        std::make_tuple("K Toner", Color::Black, "black"), std::make_tuple("C Ink Tank", Color::Cyan, "cyan"),
        std::make_tuple("Toner Blk 12K", Color::Black, "black"),
        std::make_tuple("PGBK Ink", Color::Black, "black"),
        std::make_tuple("M Series Toner", Color::None, ""), std::make_tuple("TK-8527C", Color::Cyan, "cyan"),
        std::make_tuple("TK-8527K", Color::Black, "black"),
        std::make_tuple("TN-243BK", Color::Black, "black"),
        std::make_tuple("SJIC35P-BK", Color::Black, "black"),
        std::make_tuple("CLT-M404S", Color::Magenta, "magenta"),
        std::make_tuple("LC3219XLY", Color::Yellow, "yellow"),
        std::make_tuple("Black Toner, PN 006R01509;SN48C0Y", Color::Black, "black"),
        std::make_tuple("Toner Cartridge, Magenta;SN7C", Color::Magenta, "magenta")));

INSTANTIATE_TEST_SUITE_P(
    NotOneOfTheFive, ColorWords,
    ::testing::Values(std::make_tuple("Light Cyan Ink", Color::Other, "light cyan"),
                      std::make_tuple("Photo Black", Color::Black, "photo black"),
                      std::make_tuple("Matte-Black", Color::Black, "matte black"),
                      std::make_tuple("Noir mat", Color::Black, "matte black"),
                      std::make_tuple("Ink (MK)", Color::Black, "matte black"),
                      std::make_tuple("Twilight Cyan", Color::Cyan, "cyan"),
                      std::make_tuple("Cyan lightning", Color::Cyan, "cyan"),
                      std::make_tuple("Light Black Ink", Color::Other, "light black"),
                      std::make_tuple("浅青色", Color::Other, "light cyan"),
                      std::make_tuple("White Toner", Color::Other, "white"),
                      std::make_tuple("Tri-color Cartridge", Color::TriColor, "tri-color"),
                      std::make_tuple("Multicolour ink", Color::TriColor, "tri-color"),
                      std::make_tuple("Cyan, Magenta, Yellow", Color::TriColor, "tri-color"),
                      std::make_tuple("Color Cartridge", Color::TriColor, "tri-color"),
                      std::make_tuple("彩色墨盒", Color::TriColor, "tri-color"),
                      std::make_tuple("Color Cartridge Cyan", Color::Cyan, "cyan"),
                      std::make_tuple("Full Color Kit", Color::None, ""),
                      std::make_tuple("no-color", Color::None, ""),
                      std::make_tuple("Cyan, Magenta, Yellow, Black", Color::Cyan, "cyan"),
                      std::make_tuple("Cyan/Yellow", Color::Other, "cyan+yellow"),
                      std::make_tuple("Drum Cartridge (R1)", Color::None, ""),
                      std::make_tuple("Acme(R) Toner", Color::None, ""),
                      std::make_tuple("Canon Cartridge 719/719H", Color::None, ""),
                      std::make_tuple("CF400X", Color::None, ""), std::make_tuple("Q2612A", Color::None, ""),
                      std::make_tuple("Credit Toner", Color::None, ""), std::make_tuple("", Color::None, ""),
                      std::make_tuple("Waste Toner Container, PN 008R1;SNunknown", Color::None, "")));

TEST(Colorants, AreFreeTexts)
{
    EXPECT_EQ(colorFromColorant("black").color, Color::Black);
    EXPECT_EQ(colorFromColorant("Cyan ").color, Color::Cyan);
    EXPECT_EQ(colorFromColorant("K").color, Color::Black);
    EXPECT_EQ(colorFromColorant("lightCyan").text, "light cyan");
    EXPECT_EQ(colorFromColorant("photoBlack").text, "photo black");
    EXPECT_EQ(colorFromColorant("magentaLight").text, "light magenta");
    EXPECT_EQ(colorFromColorant("none").color, Color::None);
    EXPECT_EQ(colorFromColorant("other").color, Color::None);
    EXPECT_EQ(colorFromColorant("unknown").color, Color::None);
    EXPECT_EQ(colorFromColorant("").color, Color::None);
}

class PartWords : public ::testing::TestWithParam<std::pair<const char*, Kind>>
{
};

TEST_P(PartWords, AreNoToner)
{
    const auto& [description, kind] = GetParam();
    EXPECT_EQ(partFromDescription(description), kind) << description;
}

INSTANTIATE_TEST_SUITE_P(
    All, PartWords,
    ::testing::Values(
        std::make_pair("Drum Cartridge (Cyan)", Kind::Drum), std::make_pair("Photo Drum:Cyan", Kind::Drum),
        std::make_pair("Black Imaging Unit", Kind::Drum), std::make_pair("OPC", Kind::Drum),
        std::make_pair("Bildtrommel", Kind::Drum), std::make_pair("感光鼓", Kind::Drum),
        std::make_pair("Developer Cartridge (Black)", Kind::Developer),
        std::make_pair("Entwicklereinheit", Kind::Developer), std::make_pair("Waste Toner Box", Kind::Waste),
        std::make_pair("Resttoner", Kind::Waste), std::make_pair("廢棄碳粉", Kind::Waste),
        std::make_pair("Bac de récupération de toner", Kind::Waste),
        std::make_pair("Maintenance Box", Kind::Waste), std::make_pair("Fusing Unit", Kind::Fuser),
        std::make_pair("定影器", Kind::Fuser), std::make_pair("Image Transfer Belt Unit", Kind::Transfer),
        std::make_pair("Transfer Belt Cleaner", Kind::Cleaner), std::make_pair("Staples", Kind::Staples),
        std::make_pair("Tray 1 Feed Roll", Kind::Other), std::make_pair("Maintenance Kit", Kind::Other),
        std::make_pair("Ozone Filter", Kind::Other)));

TEST(PartWords, LeaveTonerAlone)
{
    for (const char* description : {"Black Toner Cartridge", "Black Cartridge", "硒鼓",
                                    "Toner/Drum Cartridge", "Ink", "", "Mopad Toner"}) {
        EXPECT_FALSE(partFromDescription(description)) << description;
    }
}

TEST(PartWord, RibbonOfThermalTransferIsNoPart)
{
    for (const char* description : {"Thermal Transfer Ribbon", "Black Transfer Ribbon", "热转印色带"}) {
        EXPECT_FALSE(partFromDescription(description)) << description;
    }
    EXPECT_EQ(partFromDescription("Transfer Belt"), Kind::Transfer);
}

TEST(MaterialWords, NameTonerInkAndCartridges)
{
    for (const char* description :
         {"Toner", "Black Cartridge", "Tinte", "墨盒", "硒鼓", "Картридж", "TONER"}) {
        EXPECT_TRUE(namesMarkingMaterial(description)) << description;
    }
    for (const char* description : {"Kit", "Drinking water", "Ozone"}) {
        EXPECT_FALSE(namesMarkingMaterial(description)) << description;
    }
}

TEST(ItemText, HoldsNoHyphenAndNoControlCharacter)
{
    EXPECT_EQ(itemText("SJIC35P-BK\r\n"), "SJIC35P－BK  ");
    EXPECT_EQ(itemText("缺纸"), "缺纸");
}

TEST(CodePoints, SurviveMalformedText)
{
    EXPECT_EQ(toCodePoints("a\xC3"), U"a\uFFFD");
    EXPECT_EQ(toCodePoints("\x80z"), U"\uFFFDz");
    EXPECT_EQ(folded("ÄŻЁΩＫ"), U"äżеωk");
}

// PrtMarkerSuppliesTypeTC of IANA-PRINTER-MIB, from 1 on.
TEST(SupplyTypes, AreThoseOfTheStandardEachWithItsKind)
{
    const std::pair<const char*, Kind> standard[] = {
        {"other", Kind::Other},
        {"unknown", Kind::Other},
        {"toner", Kind::Toner},
        {"wasteToner", Kind::Waste},
        {"ink", Kind::Toner},
        {"inkCartridge", Kind::Toner},
        {"inkRibbon", Kind::Toner},
        {"wasteInk", Kind::Waste},
        {"opc", Kind::Drum},
        {"developer", Kind::Developer},
        {"fuserOil", Kind::Fuser},
        {"solidWax", Kind::Toner},
        {"ribbonWax", Kind::Toner},
        {"wasteWax", Kind::Waste},
        {"fuser", Kind::Fuser},
        {"coronaWire", Kind::Other},
        {"fuserOilWick", Kind::Fuser},
        {"cleanerUnit", Kind::Cleaner},
        {"fuserCleaningPad", Kind::Cleaner},
        {"transferUnit", Kind::Transfer},
        {"tonerCartridge", Kind::Toner},
        {"fuserOiler", Kind::Fuser},
        {"water", Kind::Other},
        {"wasteWater", Kind::Waste},
        {"glueWaterAdditive", Kind::Other},
        {"wastePaper", Kind::Waste},
        {"bindingSupply", Kind::Other},
        {"bandingSupply", Kind::Other},
        {"stitchingWire", Kind::Staples},
        {"shrinkWrap", Kind::Other},
        {"paperWrap", Kind::Other},
        {"staples", Kind::Staples},
        {"inserts", Kind::Other},
        {"covers", Kind::Other},
        {"matteToner", Kind::Toner},
        {"matteInk", Kind::Toner},
    };
    std::int64_t number = 1;
    for (const auto& [keyword, kind] : standard) {
        const SupplyType* const type = findSupplyType(std::optional(number));
        ASSERT_NE(type, nullptr) << number;
        EXPECT_EQ(type->type, number);
        EXPECT_EQ(type->keyword, keyword);
        EXPECT_EQ(type->kind, kind) << keyword;
        EXPECT_EQ(type->says, number > 2) << keyword; // neither other nor unknown
        EXPECT_EQ(findSupplyType(std::string_view(keyword)), type);
        ++number;
    }
    EXPECT_EQ(findSupplyType(std::optional(number)), nullptr);
    EXPECT_EQ(findSupplyType(std::optional<std::int64_t>(0)), nullptr);
    EXPECT_EQ(findSupplyType(std::optional<std::int64_t>()), nullptr);
    EXPECT_EQ(findSupplyType(std::string_view("none")), nullptr);
}

} // namespace
} // namespace tarn::device
