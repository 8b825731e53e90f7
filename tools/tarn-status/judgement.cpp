#include "tools/tarn-status/judgement.h"

#include <algorithm>

namespace tarnstatus {

Condition conditionOf(const Reading& reading)
{
    if (!reading.online) {
        return Condition::Unreachable;
    }
    return needsAttention(reading) ? Condition::Attention : Condition::Fine;
}

Condition conditionOf(const std::vector<Reading>& readings)
{
    Condition worst = readings.empty() ? Condition::Unreachable : Condition::Fine;
    for (const Reading& reading : readings) {
        worst = std::max(worst, conditionOf(reading));
    }
    return worst;
}

bool needsAttention(const Reading& reading)
{
    for (const Json::Value& alert : reading.detail["alerts"]) {
        if (alert["severity"] != "other") {
            return true;
        }
    }
    for (const char* flag : {"lessPaper", "lackPaper", "lessToner", "lackToner"}) {
        if (reading.info[flag] == "1") {
            return true;
        }
    }
    return reading.detail["needsAttention"] == true;
}

bool looksLikePrinter(const Reading& reading)
{
    return reading.online && (!reading.detail["supplies"].empty() || !reading.detail["trays"].empty() ||
                              reading.pages >= 0 || (reading.state >= 3 && reading.state <= 5));
}

const char* stateWord(int state)
{
    switch (state) {
    case 2:
        return "unreachable";
    case 3:
        return "idle";
    case 4:
        return "printing";
    case 5:
        return "warmup";
    default:
        return "other";
    }
}

} // namespace tarnstatus
