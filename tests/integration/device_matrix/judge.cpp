#include "tests/integration/device_matrix/judge.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <fstream>
#include <optional>
#include <set>

namespace matrix {

namespace {

std::string lowerAlnum(const std::string& text)
{
    std::string out;
    for (const char c : text) {
        if (std::isalnum(static_cast<unsigned char>(c)) != 0) {
            out.push_back(static_cast<char>(std::tolower(static_cast<unsigned char>(c))));
        }
    }
    return out;
}

bool holds(const std::vector<std::string>& values, const std::string& wanted)
{
    const std::string core = lowerAlnum(wanted);
    return std::any_of(values.begin(), values.end(), [&](const std::string& value) {
        return lowerAlnum(value).find(core) != std::string::npos;
    });
}

Judgement compared(const std::string& field, const std::string& seen, const std::string& wanted)
{
    return {field, seen == wanted ? Verdict::Right : Verdict::Wrong, seen, wanted, ""};
}

Judgement notRecorded(const std::string& field, const std::string& seen)
{
    return {field, Verdict::NotRecorded, seen, "", ""};
}

// The first of the two files that says something.
Json::Value said(const Json::Value& computed, const char* computedKey, const Json::Value& expected,
                 const char* expectedKey)
{
    const Json::Value own = computed.isObject() ? computed[computedKey] : Json::Value();
    return !own.isNull() || !expected.isObject() ? own : expected[expectedKey];
}

// ---- identity ----

Judgement judgeSerial(const Reading& reading, const Json::Value& computed, const Json::Value& expected)
{
    const Json::Value wanted = said(computed, "serial", expected, "serial");
    return wanted.isNull() ? notRecorded("serial", reading.serial)
                           : compared("serial", reading.serial, wanted.asString());
}

std::vector<std::string> modelWords(const std::string& text)
{
    std::vector<std::string> words;
    std::string word;
    for (const char c : text + ' ') {
        if (c != ' ') {
            word.push_back(static_cast<char>(std::tolower(static_cast<unsigned char>(c))));
        } else if (!word.empty()) {
            words.push_back(word);
            word.clear();
        }
    }
    if (words.size() > 1 && words.back() == "series") {
        words.pop_back();
    }
    return words;
}

// The same words, but for at most two of the maker's name in front of one of them.
bool sameModel(const std::string& left, const std::string& right)
{
    std::vector<std::string> a = modelWords(left);
    std::vector<std::string> b = modelWords(right);
    if (a.size() < b.size()) {
        std::swap(a, b);
    }
    return !b.empty() && a.size() - b.size() <= 2 && std::equal(b.rbegin(), b.rend(), a.rbegin());
}

Judgement judgeModel(const Reading& reading, const Json::Value& computed, const Json::Value& expected,
                     const std::vector<std::string>& values)
{
    const std::string seen = reading.detail["model"].asString();
    std::string wanted = expected.isObject() ? expected["hardware"].asString() : "";
    if (wanted.empty() && computed.isObject()) {
        wanted = computed["hrDeviceDescr_1"].asString();
    }
    if (wanted.empty() || !holds(values, wanted)) {
        return notRecorded("model", seen);
    }
    return {"model", sameModel(seen, wanted) ? Verdict::Right : Verdict::Wrong, seen, wanted, ""};
}

// ---- numbers ----

Judgement judgePages(const Reading& reading, const Json::Value& computed, const Json::Value& expected)
{
    const Json::Value wanted = said(computed, "page_count", expected, "page_count");
    const std::string seen = reading.info["totalprint"].asString();
    return wanted.isNull() ? notRecorded("pages", seen) : compared("pages", seen, wanted.asString());
}

Judgement judgeState(const Reading& reading, const Json::Value& computed)
{
    const Json::Value& wanted = computed["hrPrinterStatus"];
    const std::string seen = std::to_string(reading.state);
    if (!wanted.isInt()) {
        return notRecorded("state", seen);
    }
    const int code = wanted.asInt();
    return compared("state", seen, std::to_string(code >= 3 && code <= 5 ? code : 1));
}

bool hasAlertCode(const Json::Value& computed, int first, int last)
{
    for (const Json::Value& alert : computed["alerts"]) {
        if (alert["code"].isInt() && alert["code"].asInt() >= first && alert["code"].asInt() <= last) {
            return true;
        }
    }
    return false;
}

void judgeFlags(const Reading& reading, const Json::Value& computed, std::vector<Judgement>& out)
{
    struct Flag
    {
        const char* ours;
        const char* theirs;
        int firstCode; // of alerts that say the same
        int lastCode;
    };
    constexpr Flag kFlags[] = {{"lessPaper", "paper_low", 807, 807},
                               {"lackPaper", "paper_out", 808, 808},
                               {"lessToner", "toner_low", 1104, 1106},
                               {"lackToner", "toner_out", 1101, 1103}};
    const Json::Value& wanted = computed["flags_from_error_state"];
    for (const Flag& flag : kFlags) {
        const std::string seen = reading.info[flag.ours].asString();
        if (!wanted.isObject()) {
            out.push_back(notRecorded(flag.ours, seen));
            continue;
        }
        Judgement judgement = compared(flag.ours, seen, wanted[flag.theirs].asBool() ? "1" : "0");
        if (judgement.verdict == Verdict::Wrong && seen == "1" &&
            hasAlertCode(computed, flag.firstCode, flag.lastCode)) {
            judgement.verdict = Verdict::Accepted;
            judgement.reason = "the alert table reports it, the error state leaves it out";
        }
        out.push_back(judgement);
    }
}

// ---- supplies ----

// Text of a level: a percentage, "some", or "unknown". percent is the files': a number, -3, -2, or null.
std::string levelText(const Json::Value& percent)
{
    if (!percent.isNumeric() || percent.asDouble() == -2) {
        return "unknown";
    }
    if (percent.asDouble() < 0) {
        return "some";
    }
    return std::to_string(static_cast<int>(std::floor(std::min(percent.asDouble(), 100.0) + 0.5)));
}

std::string ownLevelText(const Json::Value& percent)
{
    if (percent.isNumeric()) {
        return std::to_string(percent.asInt());
    }
    return percent.isString() ? "some" : "unknown";
}

// Whether it marks paper. The files' is_toner is of toner alone: ink and wax (RFC 3805 prtMarkerSuppliesType)
// mark as well.
std::optional<bool> marks(const Json::Value& supply)
{
    static const std::set<int> inkAndWax = {5, 6, 7, 12, 13, 21, 35, 36};
    if (supply["type"].isInt() && inkAndWax.count(supply["type"].asInt()) != 0 && supply["cls"] != 4) {
        return supply["description"].isNull() ? std::nullopt : std::optional<bool>(true);
    }
    return supply["is_toner"].isBool() ? std::optional<bool>(supply["is_toner"].asBool()) : std::nullopt;
}

constexpr const char* kSupplyFacts[] = {"cls", "type", "description", "max", "level"};

// A row of which no column was recorded but those that tell nothing of a supply.
bool isBare(const Json::Value& supply)
{
    return std::all_of(std::begin(kSupplyFacts), std::end(kSupplyFacts),
                       [&](const char* fact) { return supply[fact].isNull(); });
}

// Far above its own capacity, a level is in some other unit: something is left, no percentage of anything.
bool isBeyondCapacity(const Json::Value& supply)
{
    constexpr int kUnitPercent = 19; // of 100, whatever the capacity says
    const Json::Value max = supply["unit"] == kUnitPercent ? Json::Value(100) : supply["max"];
    return supply["level"].isInt() && max.isInt() && max.asInt() > 0 &&
           supply["level"].asInt64() * 10 > max.asInt64() * 11;
}

std::string supplyLevelText(const Json::Value& supply)
{
    return isBeyondCapacity(supply) ? "some" : levelText(supply["percent"]);
}

// The level of one colour: -1 none, 101 without number, else the emptiest known.
int colourLevel(const Json::Value& supplies, const std::string& colour)
{
    int level = -1;
    for (const Json::Value& supply : supplies) {
        if (marks(supply) != true || supply["colour"].asString() != colour) {
            continue;
        }
        const std::string text = supplyLevelText(supply);
        const int own = text == "some" || text == "unknown" ? 101 : std::stoi(text);
        level = level < 0 ? own : std::min(level, own);
    }
    return level;
}

// Of these supplies the files do not say what they are or which colour they have.
std::vector<Json::Value> openSupplies(const Json::Value& supplies)
{
    std::vector<Json::Value> open;
    for (const Json::Value& supply : supplies) {
        if (!marks(supply) || (marks(supply) == true && supply["colour"].isNull())) {
            open.push_back(supply);
        }
    }
    return open;
}

std::size_t countMarking(const Json::Value& supplies)
{
    return static_cast<std::size_t>(std::count_if(
        supplies.begin(), supplies.end(), [](const Json::Value& supply) { return marks(supply) == true; }));
}

void judgeColours(const Reading& reading, const Json::Value& computed, std::vector<Judgement>& out)
{
    constexpr std::pair<const char*, const char*> kColours[] = {{"KToner", "black"},
                                                                {"CToner", "cyan"},
                                                                {"MToner", "magenta"},
                                                                {"YToner", "yellow"},
                                                                {"RToner", "red"}};
    const Json::Value& supplies = computed["supplies"];
    const std::vector<Json::Value> open = openSupplies(supplies);
    for (const auto& [key, colour] : kColours) {
        const std::string seen = reading.info[key].asString();
        const int wanted = colourLevel(supplies, colour);
        if (wanted < 0 && (supplies.empty() || !open.empty())) {
            const bool only = open.size() == 1 && marks(open[0]) == true && countMarking(supplies) == 1;
            if (only && std::string(colour) == "black" && seen != "-1") {
                const std::string level = levelText(open[0]["percent"]);
                const bool same = seen == level || (seen == "101" && (level == "some" || level == "unknown"));
                out.push_back({key, same ? Verdict::Accepted : Verdict::Wrong, seen, "no colour, " + level,
                               "the printer's only toner, of no colour said: it prints black"});
            } else {
                out.push_back(notRecorded(key, seen));
            }
            continue;
        }
        out.push_back(compared(key, seen, std::to_string(wanted)));
    }
}

Judgement judgeSupplies(const Reading& reading, const Json::Value& computed)
{
    Json::Value wanted(Json::arrayValue);
    for (const Json::Value& supply : computed["supplies"]) {
        if (!isBare(supply)) {
            wanted.append(supply);
        }
    }
    const Json::Value& seen = reading.detail["supplies"];
    if (wanted.empty()) {
        return {"supplies", seen.empty() ? Verdict::NotRecorded : Verdict::Wrong, "", "none", ""};
    }
    std::string seenText;
    std::string wantedText;
    for (Json::ArrayIndex i = 0; i < std::max(wanted.size(), seen.size()); ++i) {
        const bool ours = i < seen.size();
        const std::optional<bool> toner = i < wanted.size() ? marks(wanted[i]) : std::nullopt;
        const std::string kind = ours && seen[i]["class"] == "toner" ? " toner" : " part";
        seenText += ours ? ownLevelText(seen[i]["percent"]) + (toner ? kind : "") + "," : "none,";
        wantedText += i < wanted.size()
                          ? supplyLevelText(wanted[i]) + (toner ? (*toner ? " toner" : " part") : "") + ","
                          : "none,";
    }
    return compared("supplies", seenText, wantedText);
}

// ---- trays ----

Judgement judgeTrays(const Reading& reading, const Json::Value& computed)
{
    const Json::Value& wanted = computed["inputs"];
    const Json::Value& seen = reading.detail["trays"];
    if (wanted.empty()) {
        return {"trays", seen.empty() ? Verdict::NotRecorded : Verdict::Wrong, "", "none", ""};
    }
    std::string seenText;
    std::string wantedText;
    for (Json::ArrayIndex i = 0; i < std::max(wanted.size(), seen.size()); ++i) {
        seenText += i < seen.size() ? ownLevelText(seen[i]["percent"]) + "," : "none,";
        if (i >= wanted.size()) {
            wantedText += "none,";
            continue;
        }
        const Json::Value level = wanted[i]["level"];
        const Json::Value max = wanted[i]["max"];
        Json::Value percent = level;
        if (level.isInt() && level.asInt() >= 0) {
            const bool known = max.isInt() && max.asInt() > 0;
            percent = known ? Json::Value(100.0 * level.asInt() / max.asInt()) : Json::Value();
        }
        wantedText += (isBeyondCapacity(wanted[i]) ? "some" : levelText(percent)) + ",";
    }
    return compared("trays", seenText, wantedText);
}

// ---- alerts ----

// Things that happened and are over, or are left standing while the printer is ready; RFC 3805 prtAlertCode.
bool isNoFault(const Json::Value& alert, const Json::Value& status)
{
    static const std::set<int> events = {4, 6, 7, 19, 20, 23, 24, 25, 27, 28, 502, 503, 505, 506, 507, 1801};
    if (alert["severity"].isInt() && alert["severity"].asInt() < 3) {
        return true;
    }
    if (!alert["code"].isInt()) {
        return false;
    }
    const int code = alert["code"].asInt();
    return events.count(code) != 0 ||
           (code == 1001 && status.isInt() && status.asInt() >= 3 && status.asInt() <= 5);
}

bool reportsNumber(const Json::Value& alerts, const Json::Value& number)
{
    return std::any_of(alerts.begin(), alerts.end(),
                       [&](const Json::Value& a) { return a["number"] == number; });
}

// Whether some alert of ours says what the bit says.
bool reportsBit(const Json::Value& alerts, const std::string& bit)
{
    struct Same
    {
        const char* bit;
        std::set<int> codes;
    };
    static const std::vector<Same> same = {{"lowPaper", {807, 808, 12}},
                                           {"noPaper", {808, 809, 810, 13}},
                                           {"lowToner", {1101, 1102, 1104, 1105, 12}},
                                           {"noToner", {1101, 1102, 1115, 13}},
                                           {"doorOpen", {3, 5, 18, 501}},
                                           {"jammed", {8}},
                                           {"offline", {22}},
                                           {"serviceRequested", {29, 30, 32, 33, 38, 1003, 1004}},
                                           {"inputTrayMissing", {801}},
                                           {"outputTrayMissing", {901}},
                                           {"markerSupplyMissing", {9, 1115}},
                                           {"outputNearFull", {902}},
                                           {"outputFull", {903}},
                                           {"inputTrayEmpty", {808, 13}}};
    for (const Json::Value& alert : alerts) {
        if (alert["code"] == bit) {
            return true;
        }
        for (const Same& row : same) {
            if (row.bit == bit && alert["number"].isInt() && row.codes.count(alert["number"].asInt()) != 0) {
                return true;
            }
        }
    }
    return false;
}

Judgement judgeAlerts(const Reading& reading, const Json::Value& computed)
{
    const Json::Value& seen = reading.detail["alerts"];
    const Json::Value& rows = computed["alerts"];
    const Json::Value& errors = computed["hrPrinterDetectedErrorState"];
    if (rows.empty() && !errors.isObject()) {
        return {"alerts", seen.empty() ? Verdict::NotRecorded : Verdict::Wrong, "", "none", ""};
    }
    std::string missing;
    std::size_t causes = 0;
    for (const Json::Value& row : rows) {
        if (isNoFault(row, computed["hrPrinterStatus"])) {
            continue;
        }
        ++causes;
        const Json::Value number =
            row["code"].isInt() && row["code"].asInt() > 0 ? row["code"] : Json::Value();
        missing += reportsNumber(seen, number) ? "" : " alert " + row["code"].asString();
    }
    for (const Json::Value& bit : errors.isObject() ? errors["bits"] : Json::Value()) {
        ++causes;
        missing += reportsBit(seen, bit.asString()) ? "" : " " + bit.asString();
    }
    const bool superfluous = seen.size() > causes;
    Judgement judgement = compared("alerts", reading.message, reading.message);
    if (!missing.empty() || superfluous) {
        judgement.verdict = Verdict::Wrong;
        judgement.wanted =
            missing.empty() ? "at most " + std::to_string(causes) + " items" : "also" + missing;
    }
    if (reading.message.find("--") != std::string::npos) {
        judgement.verdict = Verdict::Wrong;
        judgement.wanted = "no empty item";
    }
    return judgement;
}

} // namespace

std::vector<Judgement> judge(const Reading& reading, const Json::Value& computed, const Json::Value& expected,
                             const std::vector<std::string>& values)
{
    std::vector<Judgement> out;
    if (!reading.online) {
        out.push_back({"reachable", Verdict::Wrong, "no", "yes", ""});
        return out;
    }
    out.push_back({"reachable", Verdict::Right, "yes", "yes", ""});
    out.push_back(judgeSerial(reading, computed, expected));
    out.push_back(judgeModel(reading, computed, expected, values));
    out.push_back(judgePages(reading, computed, expected));
    const Json::Value empty(Json::objectValue);
    const Json::Value& rules = computed.isObject() ? computed : empty;
    out.push_back(judgeState(reading, rules));
    judgeFlags(reading, rules, out);
    judgeColours(reading, rules, out);
    out.push_back(judgeSupplies(reading, rules));
    out.push_back(judgeTrays(reading, rules));
    out.push_back(judgeAlerts(reading, rules));
    return out;
}

std::vector<std::string> textsOfRecording(const std::string& path)
{
    std::vector<std::string> texts;
    std::ifstream file(path, std::ios::binary);
    for (std::string line; std::getline(file, line);) {
        const std::size_t first = line.find('|');
        const std::size_t second = first == std::string::npos ? first : line.find('|', first + 1);
        if (second == std::string::npos) {
            continue;
        }
        const std::string tag = line.substr(first + 1, second - first - 1);
        std::string value = line.substr(second + 1);
        if (tag == "4x") {
            std::string bytes;
            for (std::size_t i = 0; i + 1 < value.size(); i += 2) {
                bytes.push_back(static_cast<char>(std::stoi(value.substr(i, 2), nullptr, 16)));
            }
            value = bytes;
        }
        texts.push_back(value);
    }
    return texts;
}

} // namespace matrix
