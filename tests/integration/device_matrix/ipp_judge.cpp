#include "tests/integration/device_matrix/ipp_judge.h"

#include <algorithm>
#include <set>

namespace matrix {

namespace {

// What a kind of alert may be called, and the keywords of the library's that say it.
struct AlertKind
{
    const char* words;
    std::set<std::string> keywords;
};

const std::vector<AlertKind>& alertKinds()
{
    static const std::vector<AlertKind> kinds = {
        {"jam", {"jam"}},
        {"cover open", {"coverOpen", "doorOpen", "interlockOpen"}},
        {"door open", {"coverOpen", "doorOpen", "interlockOpen"}},
        {"paper low", {"inputMediaSupplyLow"}},
        {"paper out", {"inputMediaSupplyEmpty"}},
        {"paper empty", {"inputMediaSupplyEmpty"}},
        {"tray missing", {"inputMediaTrayMissing"}},
        {"toner low", {"markerTonerAlmostEmpty"}},
        {"toner out", {"markerTonerEmpty"}},
        {"toner empty", {"markerTonerEmpty"}},
        {"toner missing", {"markerTonerCartridgeMissing"}},
        {"ink low", {"markerInkAlmostEmpty"}},
        {"ink out", {"markerInkEmpty"}},
        {"ink empty", {"markerInkEmpty"}},
        {"waste full", {"markerWasteTonerReceptacleFull", "markerWasteInkReceptacleFull"}},
        {"waste almost full", {"markerWasteTonerReceptacleAlmostFull", "markerWasteInkReceptacleAlmostFull"}},
        {"drum low", {"markerOpcLifeAlmostOver"}},
        {"drum out", {"markerOpcLifeOver"}},
        {"output full", {"outputMediaTrayFull"}},
        {"offline", {"offline", "subunitOffline"}},
        {"paused", {"paused"}},
        {"not accepting jobs", {"notAcceptingJobs"}},
    };
    return kinds;
}

Judgement compared(const std::string& field, const std::string& seen, const std::string& wanted)
{
    return {field, seen == wanted ? Verdict::Right : Verdict::Wrong, seen, wanted, ""};
}

// Every alert is one of the kinds, and every kind is there.
Judgement judgeAlertKinds(const Json::Value& alerts, const Json::Value& kinds)
{
    std::string seen;
    std::set<std::string> left;
    for (const Json::Value& alert : alerts) {
        seen += (seen.empty() ? "" : ", ") + alert["code"].asString() + " (" + alert["text"].asString() + ")";
        left.insert(alert["code"].asString());
    }
    std::string wanted;
    bool right = true;
    std::set<std::string> explained;
    for (const Json::Value& words : kinds) {
        wanted += (wanted.empty() ? "" : ", ") + words.asString();
        bool found = false;
        for (const AlertKind& kind : alertKinds()) {
            for (const std::string& code : kind.words == words.asString() ? left : std::set<std::string>()) {
                const bool same = kind.keywords.count(code) != 0;
                found = found || same;
                explained.insert(same ? code : std::string());
            }
        }
        right = right && found;
    }
    right = right && std::includes(explained.begin(), explained.end(), left.begin(), left.end());
    return {"alerts", right ? Verdict::Right : Verdict::Wrong, seen, wanted.empty() ? "none" : wanted, ""};
}

Judgement judgeSerial(const std::string& seen, const Json::Value& expected)
{
    Judgement judgement = compared("serial", seen, expected["serial"].asString());
    const std::string note = expected["note"].asString();
    if (judgement.verdict == Verdict::Wrong && !seen.empty() && note.find(seen) != std::string::npos) {
        judgement.verdict = Verdict::Accepted;
        judgement.reason = note;
    }
    return judgement;
}

} // namespace

std::vector<Judgement> judgeIpp(const Reading& reading, const Json::Value& expected)
{
    if (!reading.online) {
        return {{"reachable", Verdict::Wrong, "no", "yes", ""}};
    }
    std::vector<Judgement> out = {{"reachable", Verdict::Right, "yes", "yes", ""}};
    const auto says = [&](const char* key) { return expected.isObject() && expected.isMember(key); };
    if (says("model")) {
        out.push_back(compared("model", reading.detail["model"].asString(), expected["model"].asString()));
    }
    if (says("serial")) {
        out.push_back(judgeSerial(reading.serial, expected));
    }
    if (says("state")) {
        out.push_back(compared("state", std::to_string(reading.state), expected["state"].asString()));
    }
    constexpr std::pair<const char*, const char*> kNumbers[] = {{"pages", "totalprint"}, {"K", "KToner"},
                                                                {"C", "CToner"},         {"M", "MToner"},
                                                                {"Y", "YToner"},         {"R", "RToner"}};
    for (const auto& [key, ours] : kNumbers) {
        if (says(key)) {
            const Json::Value& wanted = expected[key];
            out.push_back(
                compared(key, reading.info[ours].asString(), wanted.isNull() ? "-1" : wanted.asString()));
        }
    }
    for (const char* const flag : {"lessToner", "lackToner", "lackPaper", "lessPaper"}) {
        if (says(flag)) {
            out.push_back(compared(flag, reading.info[flag].asString(), expected[flag].asBool() ? "1" : "0"));
        }
    }
    if (says("alerts")) {
        out.push_back(judgeAlertKinds(reading.detail["alerts"], expected["alerts"]));
    }
    return out;
}

} // namespace matrix
