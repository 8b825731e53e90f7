#include "tarn/src/ipp/reasons.h"

#include <algorithm>
#include <cstring>
#include <iterator>

#include "tarn/src/device/supply_words.h"
#include "tarn/src/ipp/keyed_text.h"

namespace tarn::ipp {

namespace {

using E = ReasonEffect;

const Reason kReasons[] = {
    {"connecting-to-device", 0, nullptr, nullptr, E::None, false},
    {"cover-open", 3, nullptr, nullptr, E::None, true},
    {"deactivated", 0, "deactivated", "已停用", E::None, true},
    {"developer-empty", 1114, nullptr, nullptr, E::None, true},
    {"developer-low", 1113, nullptr, nullptr, E::None, false},
    {"door-open", 501, nullptr, nullptr, E::None, true},
    {"fuser-over-temp", 1002, nullptr, nullptr, E::None, true},
    {"fuser-under-temp", 1001, nullptr, nullptr, E::WarmUp, false},
    {"hibernate", 0, nullptr, nullptr, E::PowerSave, false},
    {"hold-new-jobs", 0, "holdNewJobs", "新任务被保留", E::None, false},
    {"identify-printer-requested", 0, nullptr, nullptr, E::None, false},
    {"ink-empty", 1102, nullptr, nullptr, E::SupplyEmpty, true},
    {"ink-low", 1105, nullptr, nullptr, E::SupplyLow, false},
    {"input-tray-missing", 801, nullptr, nullptr, E::None, true},
    {"interlock-open", 5, nullptr, nullptr, E::None, true},
    {"interpreter-resource-unavailable", 1507, nullptr, nullptr, E::None, false},
    {"marker-supply-empty", 1101, nullptr, nullptr, E::SupplyEmpty, true},
    {"marker-supply-low", 1104, nullptr, nullptr, E::SupplyLow, false},
    {"marker-supply-missing", 1115, nullptr, nullptr, E::None, true},
    {"marker-waste-almost-full", 1107, nullptr, nullptr, E::None, false},
    {"marker-waste-full", 1109, nullptr, nullptr, E::None, true},
    {"media-empty", 808, nullptr, nullptr, E::TrayEmpty, false},
    {"media-jam", 8, nullptr, nullptr, E::None, true},
    {"media-low", 807, nullptr, nullptr, E::PaperLow, false},
    {"media-needed", 808, nullptr, nullptr, E::PaperOut, true},
    {"media-path-jam", 8, nullptr, nullptr, E::None, true},
    {"moving-to-paused", 0, nullptr, nullptr, E::None, false},
    {"none", 0, nullptr, nullptr, E::None, false},
    {"offline", 0, "offline", "脱机", E::Offline, true},
    {"opc-life-over", 1112, nullptr, nullptr, E::None, true},
    {"opc-near-eol", 1111, nullptr, nullptr, E::None, false},
    {"other", 0, nullptr, nullptr, E::None, false},
    {"output-area-almost-full", 902, nullptr, nullptr, E::None, false},
    {"output-area-full", 903, nullptr, nullptr, E::None, true},
    {"output-tray-missing", 901, nullptr, nullptr, E::None, true},
    {"paper-empty", 808, nullptr, nullptr, E::TrayEmpty, false},
    {"paper-jam", 8, nullptr, nullptr, E::None, true},
    {"paper-low", 807, nullptr, nullptr, E::PaperLow, false},
    {"paper-out", 808, nullptr, nullptr, E::TrayEmpty, false},
    {"paused", 0, "paused", "已暂停", E::None, true},
    {"power-down", 504, nullptr, nullptr, E::None, true},
    {"resuming", 0, nullptr, nullptr, E::None, false},
    {"shutdown", 0, "shutdown", "已关机", E::None, true},
    {"sleeping", 0, nullptr, nullptr, E::PowerSave, false},
    {"spool-area-full", 0, "spoolAreaFull", "打印队列空间已满", E::None, true},
    {"standby", 0, nullptr, nullptr, E::PowerSave, false},
    {"stopped-partly", 0, "stoppedPartly", "部分停止", E::None, false},
    {"stopping", 0, nullptr, nullptr, E::None, false},
    {"suspend", 0, nullptr, nullptr, E::PowerSave, false},
    {"testing", 0, nullptr, nullptr, E::None, false},
    {"timed-out", 0, "timedOut", "设备没有响应", E::None, true},
    {"toner-empty", 1101, nullptr, nullptr, E::SupplyEmpty, true},
    {"toner-low", 1104, nullptr, nullptr, E::SupplyLow, false},
    {"warming-up", 0, nullptr, nullptr, E::WarmUp, false},
};

struct Ending
{
    const char* ending;
    int code;
};

// Of a sub-unit that is named before: "bander-cover-open". The longer ones first.
const Ending kEndings[] = {
    {"-unrecoverable-storage-error", 32},
    {"-recoverable-storage-error", 31},
    {"-unrecoverable-failure", 30},
    {"-recoverable-failure", 29},
    {"-configuration-change", 7},
    {"-thermistor-failure", 38},
    {"-under-temperature", 35},
    {"-interlock-closed", 6},
    {"-life-almost-over", 10},
    {"-memory-exhausted", 34},
    {"-over-temperature", 36},
    {"-interlock-open", 5},
    {"-resource-removed", 28},
    {"-timing-failure", 37},
    {"-motor-failure", 33},
    {"-resource-added", 27},
    {"-almost-empty", 12},
    {"-cover-closed", 4},
    {"-almost-full", 14},
    {"-door-closed", 502},
    {"-power-saver", 23},
    {"-cover-open", 3},
    {"-near-empty", 12},
    {"-near-limit", 16},
    {"-turned-off", 21},
    {"-warming-up", 24},
    {"-door-open", 501},
    {"-life-over", 11},
    {"-near-full", 14},
    {"-turned-on", 20},
    {"-at-limit", 17},
    {"-near-eol", 10},
    {"-offline", 22},
    {"-missing", 9},
    {"-removed", 26},
    {"-closed", 19},
    {"-opened", 18},
    {"-added", 25},
    {"-empty", 13},
    {"-full", 15},
    {"-jam", 8},
    {"-open", 18},
    {"-low", 12},
    {"-out", 13},
};

struct SuffixWord
{
    const char* ending;
    ReasonWord::Suffix suffix;
};

constexpr SuffixWord kSuffixes[] = {
    {"-report", ReasonWord::Suffix::Report},
    {"-warning", ReasonWord::Suffix::Warning},
    {"-error", ReasonWord::Suffix::Error},
};

constexpr std::size_t kMostReasons = 64;

// As keywords are written: lower case, joined by hyphens.
std::string keywordOf(std::string text)
{
    for (char& c : text) {
        c = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c == '_' ? '-' : c;
    }
    return text;
}

bool endsWith(std::string_view text, std::string_view ending)
{
    return text.size() > ending.size() && text.substr(text.size() - ending.size()) == ending;
}

// A sub-unit whose shortage has a code of its own.
struct Shortage
{
    const char* subunit;
    int almost; // almost empty
    int empty;
};

constexpr Shortage kShortages[] = {
    {"toner", 1104, 1101},         {"ink", 1105, 1102},       {"ribbon", 1106, 1103},
    {"marker-supply", 1104, 1101}, {"cartridge", 1104, 1101}, {"media", 807, 808},
    {"paper", 807, 808},           {"input-tray", 807, 808},  {"media-tray", 807, 808},
};

// "cyan-ink" and "black-toner" are ink and toner.
int codeOf(std::string_view subunit, int code)
{
    constexpr int kAlmostEmpty = 12;
    constexpr int kEmpty = 13;
    std::string words(subunit);
    std::replace(words.begin(), words.end(), '-', ' ');
    if (device::partFromDescription(words)) {
        return code; // a drum's cartridge holds no toner
    }
    for (const Shortage& row : kShortages) {
        const std::string_view name = row.subunit;
        const bool same = subunit == name || endsWith(subunit, '-' + std::string(name));
        if (same && (code == kAlmostEmpty || code == kEmpty)) {
            return code == kEmpty ? row.empty : row.almost;
        }
    }
    return code;
}

} // namespace

const Reason* findReason(std::string_view keyword)
{
    const auto* const found =
        std::lower_bound(std::begin(kReasons), std::end(kReasons), keyword,
                         [](const Reason& row, std::string_view wanted) { return row.keyword < wanted; });
    return found != std::end(kReasons) && found->keyword == keyword ? found : nullptr;
}

ReasonWord splitReason(std::string_view reason)
{
    for (const SuffixWord& row : kSuffixes) {
        if (endsWith(reason, row.ending)) {
            reason.remove_suffix(std::string_view(row.ending).size());
            return {std::string(reason), row.suffix};
        }
    }
    return {std::string(reason), ReasonWord::Suffix::None};
}

std::vector<ReasonWord> reasonWords(const IppAttributes& attributes)
{
    std::vector<ReasonWord> words;
    for (std::size_t i = 0; i < attributes.count("printer-state-reasons"); ++i) {
        const std::string text = keywordOf(attributes.textAt("printer-state-reasons", i));
        for (std::size_t at = 0; at < text.size() && words.size() < kMostReasons;) {
            const std::size_t end = std::min(text.find_first_of(", ", at), text.size());
            ReasonWord word = splitReason(std::string_view(text).substr(at, end - at));
            if (!word.keyword.empty() && word.keyword != "none" && word.keyword.rfind("cups-", 0) != 0) {
                words.push_back(std::move(word));
            }
            at = end + 1;
        }
    }
    return words;
}

const device::AlertText* alertLike(std::string_view keyword)
{
    if (const device::AlertText* const same = device::findAlertText(camelCase(keyword))) {
        return same;
    }
    for (const Ending& row : kEndings) {
        if (endsWith(keyword, row.ending)) {
            const std::string_view subunit = keyword.substr(0, keyword.size() - std::strlen(row.ending));
            return device::findAlertText(codeOf(subunit, row.code));
        }
    }
    return nullptr;
}

} // namespace tarn::ipp
