// The JSON document, described in docs/tarn-status.schema.json: the same in every language.
#include <json/writer.h>

#include "tools/tarn-status/formats/format.h"
#include "tools/tarn-status/judgement.h"
#include "tools/tarn-status/rfc3339.h"
#include "tools/tarn-status/text.h"

namespace tarnstatus {

namespace {

constexpr int kSchema = 1; // grows when a member changes its meaning or goes

Json::Value printerReport(const Reading& reading)
{
    Json::Value out(Json::objectValue);
    out["name"] = reading.printer.name;
    out["ip"] = reading.printer.ip;
    out["online"] = reading.online;
    out["age"] = reading.ageMs < 0 ? Json::Value() : Json::Value(static_cast<double>(reading.ageMs) / 1000.0);
    out["remembered"] = reading.isRemembered;
    out["source"] = reading.source;
    out["sources"] = reading.sources.isObject() ? reading.sources : Json::Value(Json::objectValue);
    out["model"] = reading.model;
    out["serial"] = reading.serial;
    out["description"] = reading.description;
    out["location"] = reading.detail.get("location", "");
    out["state"] = reading.state;
    out["stateWord"] = stateWord(reading.state);
    out["summary"] = reading.message.substr(0, reading.message.find('-'));
    out["alerts"] = reading.detail.get("alerts", Json::Value(Json::arrayValue));
    out["supplies"] = reading.detail.get("supplies", Json::Value(Json::arrayValue));
    out["trays"] = reading.detail.get("trays", Json::Value(Json::arrayValue));
    out["counters"] = reading.detail.get("counters", Json::Value(Json::objectValue));
    out["flags"] = reading.detail.get("flags", Json::Value(Json::objectValue));
    return out;
}

class JsonDocument final : public Format
{
public:
    explicit JsonDocument(const FormatSettings& settings)
    {
        m_writer["emitUTF8"] = true;
        m_writer["indentation"] = settings.watching ? "" : "  "; // one document a line while watching
        m_writer["precision"] = 1;                               // tenths of a second
        m_writer["precisionType"] = "decimal";
    }

    std::string render(const Look& look) override
    {
        Json::Value out(Json::objectValue);
        out["schema"] = kSchema;
        out["time"] = rfc3339(look.time);
        out["printers"] = Json::Value(Json::arrayValue);
        for (const Reading& reading : look.readings) {
            out["printers"].append(printerReport(reading));
        }
        return escapedInJson(Json::writeString(m_writer, out)) + "\n";
    }

private:
    Json::StreamWriterBuilder m_writer;
};

} // namespace

std::string eventDocument(const char* event, std::chrono::system_clock::time_point time,
                          const Reading& reading)
{
    Json::Value out(Json::objectValue);
    out["schema"] = kSchema;
    out["time"] = rfc3339(time);
    out["event"] = event;
    out["printer"] = printerReport(reading);
    Json::StreamWriterBuilder writer;
    writer["emitUTF8"] = true;
    writer["indentation"] = "";
    writer["precision"] = 1;
    writer["precisionType"] = "decimal";
    return escapedInJson(Json::writeString(writer, out)) + "\n";
}

std::unique_ptr<Format> makeJson(const FormatSettings& settings)
{
    return std::make_unique<JsonDocument>(settings);
}

} // namespace tarnstatus
