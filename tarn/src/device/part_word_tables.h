#pragma once

// Within supply_words.cpp only: the words for parts and materials, as data. All are folded, see foldCase. A
// row is here because a device, or the vocabulary of its panel's language, uses the word.

#include <cstdint>

#include "tarn/src/device/device_status.h"

namespace tarn::device {

enum class Match : std::uint8_t
{
    Word,     // between characters that are no letters
    Start,    // begins a word: languages that inflect or compound
    Anywhere, // scripts that write no blanks
};

struct PartWord
{
    const char32_t* word;
    Match match;
    SupplyKind kind;
};

// The first that matches decides: "Transfer Belt Cleaner" is a cleaner, "Waste Toner" is waste.
inline constexpr PartWord partWords[] = {
    {U"waste", Match::Start, SupplyKind::Waste},
    {U"resttoner", Match::Start, SupplyKind::Waste},
    {U"rest toner", Match::Start, SupplyKind::Waste},
    {U"residual toner", Match::Start, SupplyKind::Waste},
    {U"used toner", Match::Start, SupplyKind::Waste},
    {U"used ink", Match::Start, SupplyKind::Waste},
    {U"toner collect", Match::Start, SupplyKind::Waste},
    {U"collection", Match::Start, SupplyKind::Waste},
    {U"collector", Match::Start, SupplyKind::Waste},
    {U"maintenance box", Match::Start, SupplyKind::Waste},
    {U"maintenance tank", Match::Start, SupplyKind::Waste},
    {U"maintenance cartridge", Match::Start, SupplyKind::Waste},
    {U"absorber", Match::Start, SupplyKind::Waste},
    {U"altoner", Match::Start, SupplyKind::Waste},
    {U"abfall", Match::Start, SupplyKind::Waste},
    {U"tonerabfall", Match::Start, SupplyKind::Waste},
    {U"tonersammel", Match::Start, SupplyKind::Waste},
    {U"auffang", Match::Start, SupplyKind::Waste},
    {U"récup", Match::Start, SupplyKind::Waste},
    {U"recup", Match::Start, SupplyKind::Waste},
    {U"usagé", Match::Start, SupplyKind::Waste},
    {U"déchet", Match::Start, SupplyKind::Waste},
    {U"residu", Match::Start, SupplyKind::Waste},
    {U"desecho", Match::Start, SupplyKind::Waste},
    {U"scarto", Match::Start, SupplyKind::Waste},
    {U"esaust", Match::Start, SupplyKind::Waste},
    {U"afval", Match::Start, SupplyKind::Waste},
    {U"avfall", Match::Start, SupplyKind::Waste},
    {U"spild", Match::Start, SupplyKind::Waste},
    {U"jäte", Match::Start, SupplyKind::Waste},
    {U"hukka", Match::Start, SupplyKind::Waste},
    {U"zużyt", Match::Start, SupplyKind::Waste},
    {U"odpad", Match::Start, SupplyKind::Waste},
    {U"отработ", Match::Start, SupplyKind::Waste},
    {U"废", Match::Anywhere, SupplyKind::Waste},
    {U"廢", Match::Anywhere, SupplyKind::Waste},
    {U"廃", Match::Anywhere, SupplyKind::Waste},
    {U"回収", Match::Anywhere, SupplyKind::Waste},
    {U"回收", Match::Anywhere, SupplyKind::Waste},
    {U"维护箱", Match::Anywhere, SupplyKind::Waste},
    {U"メンテナンスボックス", Match::Anywhere, SupplyKind::Waste},
    {U"폐", Match::Anywhere, SupplyKind::Waste},
    {U"staple", Match::Start, SupplyKind::Staples},
    {U"stitch", Match::Start, SupplyKind::Staples},
    {U"heft", Match::Start, SupplyKind::Staples},
    {U"agraf", Match::Start, SupplyKind::Staples},
    {U"grapa", Match::Start, SupplyKind::Staples},
    {U"nietjes", Match::Start, SupplyKind::Staples},
    {U"订书", Match::Anywhere, SupplyKind::Staples},
    {U"釘", Match::Anywhere, SupplyKind::Staples},
    {U"ステープル", Match::Anywhere, SupplyKind::Staples},
    {U"cleaner", Match::Start, SupplyKind::Cleaner},
    {U"cleaning", Match::Start, SupplyKind::Cleaner},
    {U"reinig", Match::Start, SupplyKind::Cleaner},
    {U"nettoy", Match::Start, SupplyKind::Cleaner},
    {U"limpi", Match::Start, SupplyKind::Cleaner},
    {U"pulizia", Match::Start, SupplyKind::Cleaner},
    {U"清洁", Match::Anywhere, SupplyKind::Cleaner},
    {U"清潔", Match::Anywhere, SupplyKind::Cleaner},
    {U"クリーナ", Match::Anywhere, SupplyKind::Cleaner},
    {U"fuser", Match::Start, SupplyKind::Fuser},
    {U"fusing", Match::Start, SupplyKind::Fuser},
    {U"fixing", Match::Start, SupplyKind::Fuser},
    {U"fusion", Match::Start, SupplyKind::Fuser},
    {U"fusore", Match::Start, SupplyKind::Fuser},
    {U"fusor", Match::Start, SupplyKind::Fuser},
    {U"fixier", Match::Start, SupplyKind::Fuser},
    {U"fixeer", Match::Start, SupplyKind::Fuser},
    {U"фьюзер", Match::Start, SupplyKind::Fuser},
    {U"термозакреп", Match::Start, SupplyKind::Fuser},
    {U"定影", Match::Anywhere, SupplyKind::Fuser},
    {U"定着", Match::Anywhere, SupplyKind::Fuser},
    {U"정착", Match::Anywhere, SupplyKind::Fuser},
    {U"transfer", Match::Start, SupplyKind::Transfer},
    {U"trasferim", Match::Start, SupplyKind::Transfer},
    {U"belt", Match::Word, SupplyKind::Transfer},
    {U"itb", Match::Word, SupplyKind::Transfer},
    {U"переноса", Match::Start, SupplyKind::Transfer},
    {U"转印", Match::Anywhere, SupplyKind::Transfer},
    {U"轉印", Match::Anywhere, SupplyKind::Transfer},
    {U"転写", Match::Anywhere, SupplyKind::Transfer},
    {U"전사", Match::Anywhere, SupplyKind::Transfer},
    {U"developer", Match::Start, SupplyKind::Developer},
    {U"developing", Match::Start, SupplyKind::Developer},
    {U"entwickler", Match::Start, SupplyKind::Developer},
    {U"développ", Match::Start, SupplyKind::Developer},
    {U"revelad", Match::Start, SupplyKind::Developer},
    {U"svilupp", Match::Start, SupplyKind::Developer},
    {U"ontwikkel", Match::Start, SupplyKind::Developer},
    {U"девелопер", Match::Start, SupplyKind::Developer},
    {U"проявит", Match::Start, SupplyKind::Developer},
    {U"显影", Match::Anywhere, SupplyKind::Developer},
    {U"顯影", Match::Anywhere, SupplyKind::Developer},
    {U"現像", Match::Anywhere, SupplyKind::Developer},
    {U"현상", Match::Anywhere, SupplyKind::Developer},
    {U"drum", Match::Start, SupplyKind::Drum},
    {U"photoconduct", Match::Start, SupplyKind::Drum},
    {U"photo conduct", Match::Start, SupplyKind::Drum},
    {U"photoreceptor", Match::Start, SupplyKind::Drum},
    {U"opc", Match::Word, SupplyKind::Drum},
    {U"imaging unit", Match::Start, SupplyKind::Drum},
    {U"imaging kit", Match::Start, SupplyKind::Drum},
    {U"image unit", Match::Start, SupplyKind::Drum},
    {U"imageunit", Match::Start, SupplyKind::Drum},
    {U"trommel", Match::Start, SupplyKind::Drum},
    {U"bildtrommel", Match::Start, SupplyKind::Drum},
    {U"fotoleiter", Match::Start, SupplyKind::Drum},
    {U"belichtungseinheit", Match::Start, SupplyKind::Drum},
    {U"tambour", Match::Start, SupplyKind::Drum},
    {U"tambor", Match::Start, SupplyKind::Drum},
    {U"tamburo", Match::Start, SupplyKind::Drum},
    {U"trumma", Match::Start, SupplyKind::Drum},
    {U"tromle", Match::Start, SupplyKind::Drum},
    {U"bęben", Match::Start, SupplyKind::Drum},
    {U"барабан", Match::Start, SupplyKind::Drum},
    {U"фотобарабан", Match::Start, SupplyKind::Drum},
    {U"感光", Match::Anywhere, SupplyKind::Drum},
    {U"成像", Match::Anywhere, SupplyKind::Drum},
    {U"鼓单元", Match::Anywhere, SupplyKind::Drum},
    {U"鼓單元", Match::Anywhere, SupplyKind::Drum},
    {U"鼓组件", Match::Anywhere, SupplyKind::Drum},
    {U"ドラム", Match::Anywhere, SupplyKind::Drum},
    {U"드럼", Match::Anywhere, SupplyKind::Drum},
    {U"maintenance kit", Match::Start, SupplyKind::Other},
    {U"mantenimiento", Match::Start, SupplyKind::Other},
    {U"manutenzione", Match::Start, SupplyKind::Other},
    {U"manutenção", Match::Start, SupplyKind::Other},
    {U"entretien", Match::Start, SupplyKind::Other},
    {U"onderhoud", Match::Start, SupplyKind::Other},
    {U"konserwac", Match::Start, SupplyKind::Other},
    {U"wartungs", Match::Start, SupplyKind::Other},
    {U"roller", Match::Word, SupplyKind::Other},
    {U"rollers", Match::Word, SupplyKind::Other},
    {U"roll", Match::Word, SupplyKind::Other},
    {U"filter", Match::Word, SupplyKind::Other},
    {U"separat", Match::Start, SupplyKind::Other},
    {U"pad", Match::Word, SupplyKind::Other},
    {U"print head", Match::Start, SupplyKind::Other},
    {U"printhead", Match::Start, SupplyKind::Other},
    {U"druckkopf", Match::Start, SupplyKind::Other},
    {U"cabezal", Match::Start, SupplyKind::Other},
    {U"tête d", Match::Start, SupplyKind::Other},
    {U"testina", Match::Start, SupplyKind::Other},
    {U"プリントヘッド", Match::Anywhere, SupplyKind::Other},
    {U"过滤", Match::Anywhere, SupplyKind::Other},
    {U"维护套件", Match::Anywhere, SupplyKind::Other},
    {U"搓纸", Match::Anywhere, SupplyKind::Other},
    {U"打印头", Match::Anywhere, SupplyKind::Other},
};

struct MaterialWord
{
    const char32_t* word;
    Match match;
};

inline constexpr MaterialWord tonerWords[] = {
    {U"toner", Match::Anywhere}, {U"tóner", Match::Anywhere},  {U"тонер", Match::Start},
    {U"碳粉", Match::Anywhere},  {U"墨粉", Match::Anywhere},   {U"粉盒", Match::Anywhere},
    {U"硒鼓", Match::Anywhere},  {U"トナー", Match::Anywhere}, {U"토너", Match::Anywhere},
};

inline constexpr MaterialWord otherMaterialWords[] = {
    {U"ink", Match::Word},          {U"inks", Match::Word},       {U"tinte", Match::Start},
    {U"encre", Match::Start},       {U"tinta", Match::Start},     {U"inchiostr", Match::Start},
    {U"inkt", Match::Start},        {U"bläck", Match::Start},     {U"blæk", Match::Start},
    {U"blekk", Match::Start},       {U"tusz", Match::Start},      {U"чернил", Match::Start},
    {U"墨", Match::Anywhere},       {U"インク", Match::Anywhere}, {U"잉크", Match::Anywhere},
    {U"cartridge", Match::Start},   {U"kartusche", Match::Start}, {U"patron", Match::Start},
    {U"cartouche", Match::Start},   {U"cartucho", Match::Start},  {U"cartuccia", Match::Start},
    {U"kassett", Match::Start},     {U"картридж", Match::Start},  {U"カートリッジ", Match::Anywhere},
    {U"카트리지", Match::Anywhere}, {U"wax", Match::Word},        {U"ribbon", Match::Start},
    {U"色带", Match::Anywhere},     {U"リボン", Match::Anywhere},
};

} // namespace tarn::device
