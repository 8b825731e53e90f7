#include "tarn/src/device/state_words.h"

#include <string>

#include "tarn/src/device/utf8.h"

namespace tarn::device {

namespace {

struct StateWord
{
    const char* text; // the whole text, lower case
    StateText state;
};

const StateWord kStateWords[] = {
    {"ready", StateText::Ready},
    {"ready to print", StateText::Ready},
    {"idle", StateText::Ready},
    {"online", StateText::Ready},
    {"on line", StateText::Ready},
    {"ok", StateText::Ready},
    {"normal", StateText::Ready},
    {"none", StateText::Ready},
    {"no alert", StateText::Ready},
    {"no alerts", StateText::Ready},
    {"no error", StateText::Ready},
    {"no errors", StateText::Ready},
    {"no warnings", StateText::Ready},
    {"printer ready", StateText::Ready},
    {"printer is ready", StateText::Ready},
    {"printer is ready to print", StateText::Ready},
    {"the printer is ready", StateText::Ready},
    {"the printer is ready to print", StateText::Ready},
    {"ready to copy", StateText::Ready},
    {"ready to copy or print", StateText::Ready},
    {"waiting", StateText::Ready},
    {"available", StateText::Ready},
    {"initializing", StateText::Ready},
    {"initialising", StateText::Ready},
    {"cancel job", StateText::Ready},
    {"canceling job", StateText::Ready},
    {"copying", StateText::Ready},
    {"scanning", StateText::Ready},
    {"scan processing", StateText::Ready},
    {"receiving data", StateText::Ready},
    {"printing", StateText::Ready},
    {"processing", StateText::Ready},
    {"busy", StateText::Ready},
    {"bereit", StateText::Ready},
    {"prêt", StateText::Ready},
    {"pret", StateText::Ready},
    {"listo", StateText::Ready},
    {"pronto", StateText::Ready},
    {"pronta", StateText::Ready},
    {"gotowe", StateText::Ready},
    {"готов", StateText::Ready},
    {"就绪", StateText::Ready},
    {"准备就绪", StateText::Ready},
    {"就緒", StateText::Ready},
    {"待机", StateText::Ready},
    {"待機中", StateText::Ready},
    {"印刷可", StateText::Ready},
    {"sleep", StateText::Sleep},
    {"sleeping", StateText::Sleep},
    {"sleep mode", StateText::Sleep},
    {"in sleep mode", StateText::Sleep},
    {"asleep", StateText::Sleep},
    {"hibernate", StateText::Sleep},
    {"hibernating", StateText::Sleep},
    {"suspended", StateText::Sleep},
    {"standby mode", StateText::Sleep},
    {"eco mode", StateText::Sleep},
    {"in power save", StateText::Sleep},
    {"in power save mode", StateText::Sleep},
    {"power save mode", StateText::Sleep},
    {"power saving", StateText::Sleep},
    {"power saving mode", StateText::Sleep},
    {"energy saving", StateText::Sleep},
    {"energy saving mode", StateText::Sleep},
    {"low power mode", StateText::Sleep},
    {"deep sleep", StateText::Sleep},
    {"sleep mode on", StateText::Sleep},
    {"standby", StateText::Sleep},
    {"stand by", StateText::Sleep},
    {"power save", StateText::Sleep},
    {"power saver", StateText::Sleep},
    {"powersave", StateText::Sleep},
    {"power saver mode", StateText::Sleep},
    {"energy saver", StateText::Sleep},
    {"energy saver mode", StateText::Sleep},
    {"low power", StateText::Sleep},
    {"ruhezustand", StateText::Sleep},
    {"energiesparmodus", StateText::Sleep},
    {"veille", StateText::Sleep},
    {"reposo", StateText::Sleep},
    {"riposo", StateText::Sleep},
    {"睡眠", StateText::Sleep},
    {"休眠", StateText::Sleep},
    {"节能", StateText::Sleep},
    {"节能模式", StateText::Sleep},
    {"スリープ", StateText::Sleep},
    {"warming up", StateText::WarmUp},
    {"warmup", StateText::WarmUp},
    {"warm up", StateText::WarmUp},
    {"please wait", StateText::Ready},
    {"预热中", StateText::WarmUp},
    {"正在预热", StateText::WarmUp},
};

// "InPowerSave", "in-power-save" and "In power save..." are "in power save".
std::u32string plainWords(std::string_view text)
{
    std::u32string spaced;
    char32_t before = U' ';
    for (const char32_t point : toCodePoints(text)) {
        const bool joint = point == U'-' || point == U'_' || point == U' ';
        const bool hump = point >= U'A' && point <= U'Z' && before >= U'a' && before <= U'z';
        if ((joint || hump) && !spaced.empty() && spaced.back() != U' ') {
            spaced.push_back(U' ');
        }
        if (!joint) {
            spaced.push_back(point);
        }
        before = point;
    }
    const std::u32string ending = U" .!。…";
    spaced.erase(spaced.find_last_not_of(ending) + 1);
    return foldCase(spaced);
}

} // namespace

StateText stateTextOf(std::string_view text)
{
    const std::u32string said = plainWords(text);
    for (const StateWord& row : kStateWords) {
        if (said == folded(row.text)) {
            return row.state;
        }
    }
    return StateText::None;
}

} // namespace tarn::device
