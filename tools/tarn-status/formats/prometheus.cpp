// Metrics in the text format of Prometheus (version 0.0.4), for a collector of text files: names and labels
// by its conventions, base units, the same in every language.
#include <cstdio>
#include <functional>
#include <set>

#include "tools/tarn-status/formats/format.h"
#include "tools/tarn-status/judgement.h"
#include "tools/tarn-status/text.h"

namespace tarnstatus {

namespace {

using Labels = std::vector<std::pair<const char*, std::string>>;

std::string escaped(const std::string& text)
{
    std::string out;
    for (const char c : printable(text)) {
        out += c == '\\' || c == '"' ? std::string("\\") + c : std::string(1, c);
    }
    return out;
}

std::string number(double value)
{
    char text[32];
    std::snprintf(text, sizeof text, "%.15g", value);
    return text;
}

// One metric with its samples of all printers: a group that must not be torn.
class Family final
{
public:
    Family(const char* name, const char* type, const char* help) : m_name(name)
    {
        m_head = std::string("# HELP ") + name + ' ' + help + "\n# TYPE " + name + ' ' + type + '\n';
    }

    void add(const Reading& reading, const Labels& more, double value)
    {
        std::string line = m_name + "{printer=\"" + escaped(reading.printer.name) + "\",address=\"" +
                           escaped(reading.printer.ip) + '"';
        for (const auto& [label, text] : more) {
            line += std::string(",") + label + "=\"" + escaped(text) + '"';
        }
        m_samples += line + "} " + number(value) + '\n';
    }

    // Nothing where there is no sample.
    std::string text() const { return m_samples.empty() ? std::string() : m_head + m_samples; }

private:
    const std::string m_name;
    std::string m_head;
    std::string m_samples;
};

std::string labelOf(const Json::Value& value)
{
    return value.isString() ? value.asString() : std::string();
}

struct Metric
{
    const char* name;
    const char* type;
    const char* help;
    bool isOfAnswer; // none of a printer that never answered: unknown is not 0
    void (*add)(Family& family, const Look& look, const Reading& reading);
};

void addLevels(Family& family, const Reading& reading, const char* list,
               const std::function<Labels(const Json::Value&)>& labelsOf)
{
    const Json::Value& items = reading.detail[list];
    for (Json::ArrayIndex i = 0; i < items.size(); ++i) {
        if (items[i]["percent"].isInt()) {
            Labels labels = {{"index", std::to_string(i + 1)}}; // two may be alike in everything else
            for (auto& label : labelsOf(items[i])) {
                labels.push_back(std::move(label));
            }
            family.add(reading, labels, items[i]["percent"].asInt() / 100.0);
        }
    }
}

void addFlag(Family& family, const Reading& reading, const char* flag)
{
    if (reading.info.isMember(flag)) {
        family.add(reading, {}, reading.info[flag] == "1" ? 1 : 0);
    }
}

const Metric kMetrics[] = {
    {"tarn_printer_up", "gauge", "Whether the printer can be reached now.", false,
     [](Family& f, const Look&, const Reading& r) { f.add(r, {}, r.online ? 1 : 0); }},
    {"tarn_printer_info", "gauge", "What the printer says of itself, in labels; always 1.", true,
     [](Family& f, const Look&, const Reading& r) {
         f.add(r,
               {{"model", r.model},
                {"serial", r.serial},
                {"location", labelOf(r.detail["location"])},
                {"source", r.source}},
               1);
     }},
    {"tarn_printer_last_answer_timestamp_seconds", "gauge",
     "When the printer answered last, since the epoch.", true,
     [](Family& f, const Look& look, const Reading& r) {
         if (r.ageMs >= 0) {
             const auto at = look.time.time_since_epoch() - std::chrono::milliseconds(r.ageMs);
             f.add(r, {},
                   static_cast<double>(std::chrono::duration_cast<std::chrono::milliseconds>(at).count()) /
                       1000);
         }
     }},
    {"tarn_printer_state", "gauge", "1 for the state that the printer is in, 0 for the others.", false,
     [](Family& f, const Look&, const Reading& r) {
         for (const int state : {1, 2, 3, 4, 5}) {
             f.add(r, {{"state", stateWord(state)}}, state == r.state ? 1 : 0);
         }
     }},
    {"tarn_printer_needs_attention", "gauge",
     "Whether there is an alert that is a warning or worse, or a flag.", true,
     [](Family& f, const Look&, const Reading& r) { f.add(r, {}, needsAttention(r) ? 1 : 0); }},
    {"tarn_printer_alerts", "gauge", "Alerts by severity.", true,
     [](Family& f, const Look&, const Reading& r) {
         for (const char* severity : {"critical", "warning", "other"}) {
             int count = 0;
             for (const Json::Value& alert : r.detail["alerts"]) {
                 count += alert["severity"] == severity ? 1 : 0;
             }
             f.add(r, {{"severity", severity}}, count);
         }
     }},
    {"tarn_printer_paper_low", "gauge", "Whether paper is low.", true,
     [](Family& f, const Look&, const Reading& r) { addFlag(f, r, "lessPaper"); }},
    {"tarn_printer_paper_out", "gauge", "Whether paper is out.", true,
     [](Family& f, const Look&, const Reading& r) { addFlag(f, r, "lackPaper"); }},
    {"tarn_printer_toner_low", "gauge", "Whether a toner is low.", true,
     [](Family& f, const Look&, const Reading& r) { addFlag(f, r, "lessToner"); }},
    {"tarn_printer_toner_out", "gauge", "Whether a toner is out.", true,
     [](Family& f, const Look&, const Reading& r) { addFlag(f, r, "lackToner"); }},
    {"tarn_printer_pages_total", "counter", "Pages that the printer has printed in its life.", true,
     [](Family& f, const Look&, const Reading& r) {
         if (r.pages >= 0) {
             f.add(r, {}, r.pages);
         }
     }},
    {"tarn_printer_supply_level_ratio", "gauge",
     "How full a supply is, 0 to 1; of a receptacle, which is filled rather than used up, too.", true,
     [](Family& f, const Look&, const Reading& r) {
         addLevels(f, r, "supplies", [](const Json::Value& supply) {
             return Labels{{"class", labelOf(supply["class"])},
                           {"colour", labelOf(supply["colour"])},
                           {"description", labelOf(supply["description"])},
                           {"receptacle", supply["receptacle"] == true ? "true" : "false"}};
         });
     }},
    {"tarn_printer_tray_level_ratio", "gauge", "How full an input tray is, 0 to 1.", true,
     [](Family& f, const Look&, const Reading& r) {
         addLevels(f, r, "trays", [](const Json::Value& tray) {
             return Labels{{"tray", labelOf(tray["name"])}};
         });
     }},
};

class Prometheus final : public Format
{
public:
    std::string render(const Look& look) override
    {
        std::string out;
        for (const Metric& metric : kMetrics) {
            Family family(metric.name, metric.type, metric.help);
            std::set<std::pair<std::string, std::string>> seen; // a series may stand there once only
            for (const Reading& reading : look.readings) {
                const bool isKnown = reading.ageMs >= 0 || !metric.isOfAnswer;
                if (seen.insert({reading.printer.name, reading.printer.ip}).second && isKnown) {
                    metric.add(family, look, reading);
                }
            }
            out += family.text();
        }
        return out;
    }
};

} // namespace

std::unique_ptr<Format> makePrometheus(const FormatSettings&)
{
    return std::make_unique<Prometheus>();
}

} // namespace tarnstatus
