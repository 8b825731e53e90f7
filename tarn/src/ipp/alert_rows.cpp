#include "tarn/src/ipp/alert_rows.h"

#include <algorithm>
#include <iterator>

#include "tarn/src/ipp/keyed_text.h"

namespace tarn::ipp {

namespace {

using device::Severity;

constexpr std::size_t kMostRows = 64;

struct SeverityWord
{
    const char* word;
    int number; // PrtAlertSeverityLevelTC
    Severity severity;
};

constexpr SeverityWord kSeverityWords[] = {
    {"other", 1, Severity::Other},
    {"critical", 3, Severity::Critical},
    {"warning", 4, Severity::Warning},
    {"warningBinaryChangeEvent", 5, Severity::Warning},
};

Severity severityOf(const KeyedText& keys)
{
    const std::string word = camelCase(keys.text("severity"));
    for (const SeverityWord& row : kSeverityWords) {
        if (word == row.word || keys.number("severity") == row.number) {
            return row.severity;
        }
    }
    return Severity::Other;
}

const device::AlertText* knownCode(const KeyedText& keys)
{
    constexpr int kUnknownCode = 2; // PrtAlertCodeTC: 1 is other
    if (const std::optional<std::int64_t> number = keys.number("code")) {
        return *number > kUnknownCode && *number < 100000 ? device::findAlertText(static_cast<int>(*number))
                                                          : nullptr;
    }
    const std::string code = keys.text("code");
    return device::findAlertText(camelCase(code.empty() ? keys.word() : code));
}

AlertRow rowAt(const IppAttributes& attributes, std::size_t index)
{
    const KeyedText keys(attributes.values("printer-alert")[index].text);
    AlertRow row;
    row.known = knownCode(keys);
    row.severity = severityOf(keys);
    row.text = attributes.textAt("printer-alert-description", index);
    row.state = device::stateTextOf(row.text);
    return row;
}

} // namespace

std::vector<AlertRow> alertRows(const IppAttributes& attributes)
{
    std::vector<AlertRow> rows;
    for (std::size_t i = 0; i < std::min(attributes.count("printer-alert"), kMostRows); ++i) {
        rows.push_back(rowAt(attributes, i));
    }
    return rows;
}

} // namespace tarn::ipp
