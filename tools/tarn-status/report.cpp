#include "tools/tarn-status/report.h"

#include <cstdio>

namespace tarnstatus {

namespace {

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

// The summary in front of the alerts.
std::string summaryOf(const Reading& reading)
{
    return reading.message.substr(0, reading.message.find('-'));
}

Json::Value printerReport(const Reading& reading)
{
    Json::Value out(Json::objectValue);
    out["name"] = reading.printer.name;
    out["ip"] = reading.printer.ip;
    out["online"] = reading.online;
    out["age"] = reading.ageMs < 0 ? Json::Value() : Json::Value(static_cast<double>(reading.ageMs) / 1000.0);
    out["source"] = reading.source;
    out["sources"] = reading.sources.isObject() ? reading.sources : Json::Value(Json::objectValue);
    out["model"] = reading.model;
    out["serial"] = reading.serial;
    out["description"] = reading.description;
    out["location"] = reading.detail.get("location", "");
    out["state"] = reading.state;
    out["summary"] = summaryOf(reading);
    out["alerts"] = reading.detail.get("alerts", Json::Value(Json::arrayValue));
    out["supplies"] = reading.detail.get("supplies", Json::Value(Json::arrayValue));
    out["trays"] = reading.detail.get("trays", Json::Value(Json::arrayValue));
    out["counters"] = reading.detail.get("counters", Json::Value(Json::objectValue));
    out["flags"] = reading.detail.get("flags", Json::Value(Json::objectValue));
    return out;
}

} // namespace

ExitCode exitCodeOf(const std::vector<Reading>& readings)
{
    ExitCode worst = readings.empty() ? ExitCode::Unreachable : ExitCode::Fine;
    for (const Reading& reading : readings) {
        if (!reading.online) {
            return ExitCode::Unreachable;
        }
        if (needsAttention(reading)) {
            worst = ExitCode::Attention;
        }
    }
    return worst;
}

bool looksLikePrinter(const Reading& reading)
{
    return reading.online && (!reading.detail["supplies"].empty() || !reading.detail["trays"].empty() ||
                              reading.pages >= 0 || (reading.state >= 3 && reading.state <= 5));
}

Json::Value jsonReport(const std::vector<Reading>& readings)
{
    Json::Value out(Json::objectValue);
    out["schema"] = 1;
    out["printers"] = Json::Value(Json::arrayValue);
    for (const Reading& reading : readings) {
        out["printers"].append(printerReport(reading));
    }
    return out;
}

} // namespace tarnstatus
