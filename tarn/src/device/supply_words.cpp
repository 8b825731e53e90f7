#include "tarn/src/device/supply_words.h"

#include <algorithm>
#include <cstdint>
#include <vector>

#include "tarn/src/device/text.h"

namespace tarn::device {

namespace {

enum class Match : std::uint8_t
{
    Word,     // between characters that are no letters
    Start,    // begins a word: languages that inflect or compound
    Anywhere, // scripts that write no blanks
};

struct ColorWord
{
    const char32_t* word; // folded
    Match match;
    SupplyColor color;
    const char* text; // of colours beyond the five
};

// Longer words first where one holds another (洋红 holds 红): what matched is taken out of the text.
const ColorWord colorWords[] = {
    {U"magenta", Match::Start, SupplyColor::Magenta, nullptr},
    {U"洋红", Match::Anywhere, SupplyColor::Magenta, nullptr},
    {U"洋紅", Match::Anywhere, SupplyColor::Magenta, nullptr},
    {U"品红", Match::Anywhere, SupplyColor::Magenta, nullptr},
    {U"品紅", Match::Anywhere, SupplyColor::Magenta, nullptr},
    {U"マゼンタ", Match::Anywhere, SupplyColor::Magenta, nullptr},
    {U"마젠타", Match::Anywhere, SupplyColor::Magenta, nullptr},
    {U"자홍", Match::Anywhere, SupplyColor::Magenta, nullptr},
    {U"macenta", Match::Word, SupplyColor::Magenta, nullptr},
    {U"purpur", Match::Start, SupplyColor::Magenta, nullptr},
    {U"пурпурн", Match::Start, SupplyColor::Magenta, nullptr},
    {U"маджент", Match::Start, SupplyColor::Magenta, nullptr},
    {U"bíbor", Match::Start, SupplyColor::Magenta, nullptr},
    {U"cyan", Match::Start, SupplyColor::Cyan, nullptr},
    {U"cyaan", Match::Start, SupplyColor::Cyan, nullptr},
    {U"cian", Match::Word, SupplyColor::Cyan, nullptr},
    {U"cián", Match::Word, SupplyColor::Cyan, nullptr},
    {U"ciano", Match::Word, SupplyColor::Cyan, nullptr},
    {U"syaani", Match::Word, SupplyColor::Cyan, nullptr},
    {U"cyjan", Match::Start, SupplyColor::Cyan, nullptr},
    {U"błękitn", Match::Start, SupplyColor::Cyan, nullptr},
    {U"azurov", Match::Start, SupplyColor::Cyan, nullptr},
    {U"camgöbeği", Match::Word, SupplyColor::Cyan, nullptr},
    {U"голуб", Match::Start, SupplyColor::Cyan, nullptr},
    {U"κυαν", Match::Start, SupplyColor::Cyan, nullptr},
    {U"青", Match::Anywhere, SupplyColor::Cyan, nullptr},
    {U"シアン", Match::Anywhere, SupplyColor::Cyan, nullptr},
    {U"시안", Match::Anywhere, SupplyColor::Cyan, nullptr},
    {U"청록", Match::Anywhere, SupplyColor::Cyan, nullptr},
    {U"yellow", Match::Start, SupplyColor::Yellow, nullptr},
    {U"gelb", Match::Start, SupplyColor::Yellow, nullptr},
    {U"jaune", Match::Word, SupplyColor::Yellow, nullptr},
    {U"amarillo", Match::Word, SupplyColor::Yellow, nullptr},
    {U"amarilla", Match::Word, SupplyColor::Yellow, nullptr},
    {U"amarelo", Match::Word, SupplyColor::Yellow, nullptr},
    {U"amarela", Match::Word, SupplyColor::Yellow, nullptr},
    {U"giallo", Match::Word, SupplyColor::Yellow, nullptr},
    {U"gialla", Match::Word, SupplyColor::Yellow, nullptr},
    {U"geel", Match::Word, SupplyColor::Yellow, nullptr},
    {U"gele", Match::Word, SupplyColor::Yellow, nullptr},
    {U"gul", Match::Word, SupplyColor::Yellow, nullptr},
    {U"keltainen", Match::Word, SupplyColor::Yellow, nullptr},
    {U"żółt", Match::Start, SupplyColor::Yellow, nullptr},
    {U"žlut", Match::Start, SupplyColor::Yellow, nullptr},
    {U"sárga", Match::Word, SupplyColor::Yellow, nullptr},
    {U"sarı", Match::Word, SupplyColor::Yellow, nullptr},
    {U"желт", Match::Start, SupplyColor::Yellow, nullptr},
    {U"κίτριν", Match::Start, SupplyColor::Yellow, nullptr},
    {U"黄", Match::Anywhere, SupplyColor::Yellow, nullptr},
    {U"黃", Match::Anywhere, SupplyColor::Yellow, nullptr},
    {U"イエロー", Match::Anywhere, SupplyColor::Yellow, nullptr},
    {U"노랑", Match::Anywhere, SupplyColor::Yellow, nullptr},
    {U"노란", Match::Anywhere, SupplyColor::Yellow, nullptr},
    {U"옐로", Match::Anywhere, SupplyColor::Yellow, nullptr},
    {U"black", Match::Start, SupplyColor::Black, nullptr},
    {U"schwarz", Match::Start, SupplyColor::Black, nullptr},
    {U"noir", Match::Start, SupplyColor::Black, nullptr},
    {U"negro", Match::Word, SupplyColor::Black, nullptr},
    {U"negra", Match::Word, SupplyColor::Black, nullptr},
    {U"nero", Match::Word, SupplyColor::Black, nullptr},
    {U"nera", Match::Word, SupplyColor::Black, nullptr},
    {U"preto", Match::Word, SupplyColor::Black, nullptr},
    {U"preta", Match::Word, SupplyColor::Black, nullptr},
    {U"zwart", Match::Start, SupplyColor::Black, nullptr},
    {U"svart", Match::Start, SupplyColor::Black, nullptr},
    {U"sort", Match::Word, SupplyColor::Black, nullptr},
    {U"musta", Match::Word, SupplyColor::Black, nullptr},
    {U"czarn", Match::Start, SupplyColor::Black, nullptr},
    {U"čern", Match::Start, SupplyColor::Black, nullptr},
    {U"fekete", Match::Word, SupplyColor::Black, nullptr},
    {U"siyah", Match::Word, SupplyColor::Black, nullptr},
    {U"черн", Match::Start, SupplyColor::Black, nullptr},
    {U"μαύρ", Match::Start, SupplyColor::Black, nullptr},
    {U"黑", Match::Anywhere, SupplyColor::Black, nullptr},
    {U"黒", Match::Anywhere, SupplyColor::Black, nullptr},
    {U"ブラック", Match::Anywhere, SupplyColor::Black, nullptr},
    {U"검정", Match::Anywhere, SupplyColor::Black, nullptr},
    {U"검은", Match::Anywhere, SupplyColor::Black, nullptr},
    {U"블랙", Match::Anywhere, SupplyColor::Black, nullptr},
    {U"red", Match::Word, SupplyColor::Red, nullptr},
    {U"rot", Match::Word, SupplyColor::Red, nullptr},
    {U"rouge", Match::Word, SupplyColor::Red, nullptr},
    {U"rojo", Match::Word, SupplyColor::Red, nullptr},
    {U"rosso", Match::Word, SupplyColor::Red, nullptr},
    {U"vermelho", Match::Word, SupplyColor::Red, nullptr},
    {U"rood", Match::Word, SupplyColor::Red, nullptr},
    {U"röd", Match::Word, SupplyColor::Red, nullptr},
    {U"rød", Match::Word, SupplyColor::Red, nullptr},
    {U"punainen", Match::Word, SupplyColor::Red, nullptr},
    {U"czerwon", Match::Start, SupplyColor::Red, nullptr},
    {U"červen", Match::Start, SupplyColor::Red, nullptr},
    {U"piros", Match::Word, SupplyColor::Red, nullptr},
    {U"vörös", Match::Word, SupplyColor::Red, nullptr},
    {U"kırmızı", Match::Word, SupplyColor::Red, nullptr},
    {U"красн", Match::Start, SupplyColor::Red, nullptr},
    {U"红", Match::Anywhere, SupplyColor::Red, nullptr},
    {U"紅", Match::Anywhere, SupplyColor::Red, nullptr},
    {U"赤", Match::Anywhere, SupplyColor::Red, nullptr},
    {U"レッド", Match::Anywhere, SupplyColor::Red, nullptr},
    {U"빨강", Match::Anywhere, SupplyColor::Red, nullptr},
    {U"gray", Match::Word, SupplyColor::Other, "gray"},
    {U"grey", Match::Word, SupplyColor::Other, "gray"},
    {U"grau", Match::Word, SupplyColor::Other, "gray"},
    {U"gris", Match::Word, SupplyColor::Other, "gray"},
    {U"灰", Match::Anywhere, SupplyColor::Other, "gray"},
    {U"グレー", Match::Anywhere, SupplyColor::Other, "gray"},
    {U"white", Match::Word, SupplyColor::Other, "white"},
    {U"weiß", Match::Word, SupplyColor::Other, "white"},
    {U"blanc", Match::Word, SupplyColor::Other, "white"},
    {U"白", Match::Anywhere, SupplyColor::Other, "white"},
    {U"ホワイト", Match::Anywhere, SupplyColor::Other, "white"},
    {U"orange", Match::Word, SupplyColor::Other, "orange"},
    {U"橙", Match::Anywhere, SupplyColor::Other, "orange"},
    {U"green", Match::Word, SupplyColor::Other, "green"},
    {U"grün", Match::Word, SupplyColor::Other, "green"},
    {U"绿", Match::Anywhere, SupplyColor::Other, "green"},
    {U"綠", Match::Anywhere, SupplyColor::Other, "green"},
    {U"blue", Match::Word, SupplyColor::Other, "blue"},
    {U"blau", Match::Word, SupplyColor::Other, "blue"},
    {U"蓝", Match::Anywhere, SupplyColor::Other, "blue"},
    {U"藍", Match::Anywhere, SupplyColor::Other, "blue"},
    {U"violet", Match::Word, SupplyColor::Other, "violet"},
    {U"紫", Match::Anywhere, SupplyColor::Other, "violet"},
    {U"pink", Match::Word, SupplyColor::Other, "pink"},
    {U"gold", Match::Word, SupplyColor::Other, "gold"},
    {U"silver", Match::Word, SupplyColor::Other, "silver"},
    {U"clear", Match::Word, SupplyColor::Other, "clear"},
    {U"transparent", Match::Word, SupplyColor::Other, "clear"},
    {U"透明", Match::Anywhere, SupplyColor::Other, "clear"},
    {U"gloss", Match::Start, SupplyColor::Other, "gloss"},
    {U"tricolor", Match::Start, SupplyColor::Other, "tri-color"},
    {U"tri-color", Match::Start, SupplyColor::Other, "tri-color"},
};

struct Modifier
{
    const char32_t* word;
    const char* text;
};

// Beside a colour, before it or behind it, these make another colour of it.
const Modifier modifiers[] = {
    {U"light", "light"},
    {U"hell", "light"},
    {U"clair", "light"},
    {U"claro", "light"},
    {U"chiaro", "light"},
    {U"licht", "light"},
    {U"淡", "light"},
    {U"浅", "light"},
    {U"淺", "light"},
    {U"ライト", "light"},
    {U"photo", "photo"},
    {U"foto", "photo"},
    {U"照片", "photo"},
    {U"フォト", "photo"},
    {U"matte", "matte"},
    {U"matt", "matte"},
    {U"mat", "matte"},
    {U"mate", "matte"},
    {U"opaco", "matte"},
    {U"哑光", "matte"},
    {U"粗面", "matte"},
    {U"マット", "matte"},
    {U"dark", "dark"},
    {U"深", "dark"},
    {U"fluorescent", "fluorescent"},
    {U"neon", "neon"},
    {U"荧光", "fluorescent"},
};

struct PartWord
{
    const char32_t* word;
    Match match;
    SupplyKind kind;
};

// The first that matches decides: "Transfer Belt Cleaner" is a cleaner, "Waste Toner" is waste.
const PartWord partWords[] = {
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
    {U"wartungs", Match::Start, SupplyKind::Other},
    {U"roller", Match::Word, SupplyKind::Other},
    {U"rollers", Match::Word, SupplyKind::Other},
    {U"roll", Match::Word, SupplyKind::Other},
    {U"filter", Match::Word, SupplyKind::Other},
    {U"separat", Match::Start, SupplyKind::Other},
    {U"pad", Match::Word, SupplyKind::Other},
    {U"print head", Match::Start, SupplyKind::Other},
    {U"printhead", Match::Start, SupplyKind::Other},
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

const MaterialWord tonerWords[] = {
    {U"toner", Match::Anywhere},  {U"тонер", Match::Start},   {U"碳粉", Match::Anywhere},
    {U"墨粉", Match::Anywhere},   {U"粉盒", Match::Anywhere}, {U"硒鼓", Match::Anywhere},
    {U"トナー", Match::Anywhere}, {U"토너", Match::Anywhere},
};

const MaterialWord otherMaterialWords[] = {
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

bool isLetter(char32_t point)
{
    return (point >= U'a' && point <= U'z') || (point >= 0xDF && point <= 0x24F) ||
           (point >= 0x370 && point <= 0x52F);
}

std::size_t lengthOf(const char32_t* word)
{
    return std::char_traits<char32_t>::length(word);
}

std::size_t findWord(const std::u32string& text, const char32_t* word, Match match)
{
    for (std::size_t at = text.find(word); at != std::u32string::npos; at = text.find(word, at + 1)) {
        const std::size_t end = at + lengthOf(word);
        const bool startsWord = at == 0 || !isLetter(text[at - 1]);
        const bool endsWord = end == text.size() || !isLetter(text[end]);
        if (match == Match::Anywhere || (startsWord && (match == Match::Start || endsWord))) {
            return at;
        }
    }
    return std::u32string::npos;
}

bool isFiller(char32_t point)
{
    return point == U' ' || point == U'-' || point == U'_' || point == U'色';
}

// The word that touches a colour standing at [begin, end), blanks aside.
const char* modifierBeside(const std::u32string& text, std::size_t begin, std::size_t end)
{
    while (begin > 0 && isFiller(text[begin - 1])) {
        --begin;
    }
    while (end < text.size() && isFiller(text[end])) {
        ++end;
    }
    for (const Modifier& modifier : modifiers) {
        const std::size_t length = lengthOf(modifier.word);
        if (begin >= length && text.compare(begin - length, length, modifier.word) == 0 &&
            (begin == length || !isLetter(text[begin - length - 1]))) {
            return modifier.text;
        }
        if (text.compare(end, length, modifier.word) == 0 &&
            (end + length == text.size() || !isLetter(text[end + length]))) {
            return modifier.text;
        }
    }
    return nullptr;
}

ColorSaid named(SupplyColor color)
{
    return ColorSaid{color, colorKeyword(color)};
}

ColorSaid fromWords(std::u32string text)
{
    ColorSaid said;
    for (const ColorWord& row : colorWords) {
        const std::size_t at = findWord(text, row.word, row.match);
        if (at == std::u32string::npos) {
            continue;
        }
        const std::size_t length = lengthOf(row.word);
        const char* base = row.text != nullptr ? row.text : colorKeyword(row.color);
        const char* modifier = modifierBeside(text, at, at + length);
        ColorSaid found{row.color, base};
        if (modifier != nullptr) {
            found = ColorSaid{SupplyColor::Other, std::string(modifier) + " " + base};
        }
        text.replace(at, length, length, U' ');
        if (said.color == SupplyColor::None) {
            said = found;
        } else if (said.text != found.text) {
            said = ColorSaid{SupplyColor::Other, said.text + "+" + found.text};
        }
    }
    return said;
}

struct ColorTag
{
    const char32_t* tag;
    SupplyColor color;
    const char* text;
};

const ColorTag colorTags[] = {
    {U"k", SupplyColor::Black, nullptr},        {U"bk", SupplyColor::Black, nullptr},
    {U"c", SupplyColor::Cyan, nullptr},         {U"m", SupplyColor::Magenta, nullptr},
    {U"y", SupplyColor::Yellow, nullptr},       {U"r", SupplyColor::Red, nullptr},
    {U"lc", SupplyColor::Other, "light cyan"},  {U"lm", SupplyColor::Other, "light magenta"},
    {U"pk", SupplyColor::Other, "photo black"}, {U"pbk", SupplyColor::Other, "photo black"},
    {U"mk", SupplyColor::Other, "matte black"}, {U"mbk", SupplyColor::Other, "matte black"},
    {U"lk", SupplyColor::Other, "light black"}, {U"llk", SupplyColor::Other, "light light black"},
    {U"gy", SupplyColor::Other, "gray"},        {U"or", SupplyColor::Other, "orange"},
    {U"gr", SupplyColor::Other, "green"},       {U"w", SupplyColor::Other, "white"},
};

ColorSaid ofTag(std::u32string_view tag)
{
    for (const ColorTag& row : colorTags) {
        if (tag == row.tag) {
            return row.text == nullptr ? named(row.color) : ColorSaid{row.color, row.text};
        }
    }
    return ColorSaid{};
}

// "[K]", "(BK)", "<C>". In round brackets R is a trade mark or a position, not red.
ColorSaid fromTag(const std::u32string& text)
{
    const std::u32string openers = U"[(<（【";
    const std::u32string closers = U"])>）】";
    for (std::size_t i = 0; i < text.size(); ++i) {
        const std::size_t kind = openers.find(text[i]);
        if (kind == std::u32string::npos) {
            continue;
        }
        const std::size_t end = text.find(closers[kind], i + 1);
        if (end == std::u32string::npos || end - i > 4) {
            continue;
        }
        const std::u32string tag = text.substr(i + 1, end - i - 1);
        const ColorSaid said = ofTag(tag);
        if (said.color != SupplyColor::None && !(tag == U"r" && text[i] != U'[')) {
            return said;
        }
    }
    return ColorSaid{};
}

bool isDigit(char32_t point)
{
    return point >= U'0' && point <= U'9';
}

// The letters that end a part number: "tk-8527c", "tn243bk", "sjic35p-bk", "lc3219xlc"; and the one before
// the digits of "clt-k404s". The token must hold letters, then digits, before them.
ColorSaid fromPartNumber(const std::u32string& token)
{
    const auto firstDigit = std::find_if(token.begin(), token.end(), isDigit);
    if (firstDigit == token.end() || firstDigit == token.begin() || !isLetter(token[0])) {
        return ColorSaid{};
    }
    const std::size_t dash = token.rfind(U'-');
    if (dash != std::u32string::npos && dash + 2 < token.size() && isLetter(token[dash + 1]) &&
        isDigit(token[dash + 2])) {
        return ofTag(std::u32string_view(token).substr(dash + 1, 1)); // one letter, then the number
    }
    std::size_t end = token.size();
    while (end > 0 && isLetter(token[end - 1])) {
        --end;
    }
    std::u32string_view tail = std::u32string_view(token).substr(end);
    for (const std::u32string_view yield : {U"xxl", U"xl"}) {
        if (tail.size() > yield.size() && tail.substr(0, yield.size()) == yield) {
            tail = tail.substr(yield.size());
        }
    }
    const bool plain = tail == U"k" || tail == U"bk" || tail == U"c" || tail == U"m" || tail == U"y";
    return plain ? ofTag(tail) : ColorSaid{};
}

std::vector<std::u32string> tokensOf(const std::u32string& text)
{
    std::vector<std::u32string> tokens;
    std::u32string token;
    for (const char32_t point : text + U' ') {
        if (isLetter(point) || isDigit(point) || point == U'-') {
            token.push_back(point);
        } else if (!token.empty()) {
            tokens.push_back(token);
            token.clear();
        }
    }
    return tokens;
}

// A letter alone at the end ("Toner K"), then part numbers.
ColorSaid fromTokens(const std::u32string& text)
{
    const std::vector<std::u32string> tokens = tokensOf(text);
    if (tokens.size() > 1 && tokens.back() != U"r" && tokens.back() != U"w") {
        const ColorSaid said = ofTag(tokens.back());
        if (said.color != SupplyColor::None) {
            return said;
        }
    }
    for (const std::u32string& token : tokens) {
        const ColorSaid said = fromPartNumber(token);
        if (said.color != SupplyColor::None) {
            return said;
        }
    }
    return ColorSaid{};
}

ColorSaid fromPiece(const std::u32string& text)
{
    ColorSaid said = fromWords(text);
    if (said.color == SupplyColor::None) {
        said = fromTag(text);
    }
    return said.color == SupplyColor::None ? fromTokens(text) : said;
}

template <std::size_t N>
bool anyOf(const std::u32string& text, const MaterialWord (&words)[N])
{
    return std::any_of(std::begin(words), std::end(words), [&](const MaterialWord& row) {
        return findWord(text, row.word, row.match) != std::u32string::npos;
    });
}

std::optional<SupplyKind> partOf(const std::u32string& text)
{
    for (const PartWord& row : partWords) {
        if (findWord(text, row.word, row.match) == std::u32string::npos) {
            continue;
        }
        // A drum that is sold with its toner ("Drum/Toner Cartridge") shows the toner's level.
        if ((row.kind == SupplyKind::Drum || row.kind == SupplyKind::Other) && anyOf(text, tonerWords)) {
            return std::nullopt;
        }
        return row.kind;
    }
    return std::nullopt;
}

} // namespace

ColorSaid colorFromDescription(const std::string& description)
{
    const std::u32string text = folded(description);
    const std::size_t headEnd = text.find_first_of(U",;，；");
    ColorSaid said = fromPiece(text.substr(0, headEnd));
    if (said.color == SupplyColor::None && headEnd != std::u32string::npos) {
        const std::size_t tailEnd = text.find_first_of(U";；", headEnd + 1);
        said = fromWords(
            text.substr(headEnd + 1, tailEnd == std::u32string::npos ? tailEnd : tailEnd - headEnd - 1));
    }
    return said;
}

ColorSaid colorFromColorant(const std::string& value)
{
    std::string spaced; // "lightCyan" as two words
    for (const char c : value) {
        if (c >= 'A' && c <= 'Z' && !spaced.empty() && spaced.back() >= 'a' && spaced.back() <= 'z') {
            spaced.push_back(' ');
        }
        spaced.push_back(c);
    }
    const std::u32string text = folded(spaced);
    if (text.empty() || text == U"other" || text == U"unknown" || text == U"none") {
        return ColorSaid{};
    }
    ColorSaid said = fromWords(text);
    if (said.color == SupplyColor::None) {
        said = ofTag(text);
    }
    return said;
}

std::optional<SupplyKind> partFromDescription(const std::string& description)
{
    const std::u32string text = folded(description);
    return partOf(text.substr(0, text.find_first_of(U";；")));
}

bool namesMarkingMaterial(const std::string& description)
{
    const std::u32string text = folded(description);
    return anyOf(text, tonerWords) || anyOf(text, otherMaterialWords);
}

const char* colorKeyword(SupplyColor color)
{
    switch (color) {
    case SupplyColor::None:
        return "none";
    case SupplyColor::Black:
        return "black";
    case SupplyColor::Cyan:
        return "cyan";
    case SupplyColor::Magenta:
        return "magenta";
    case SupplyColor::Yellow:
        return "yellow";
    case SupplyColor::Red:
        return "red";
    case SupplyColor::Other:
        return "other";
    }
    return "none";
}

const char* kindKeyword(SupplyKind kind)
{
    switch (kind) {
    case SupplyKind::Toner:
        return "toner";
    case SupplyKind::Drum:
        return "drum";
    case SupplyKind::Developer:
        return "developer";
    case SupplyKind::Fuser:
        return "fuser";
    case SupplyKind::Transfer:
        return "transfer";
    case SupplyKind::Cleaner:
        return "cleaner";
    case SupplyKind::Waste:
        return "waste";
    case SupplyKind::Staples:
        return "staples";
    case SupplyKind::Other:
        return "other";
    }
    return "other";
}

} // namespace tarn::device
