// Alerts, flags and state: how the printer is.
#include <algorithm>

#include "tarn/src/device/alert_texts.h"
#include "tarn/src/device/text.h"
#include "tarn/src/ipp/ipp_picture.h"
#include "tarn/src/ipp/keyed_text.h"
#include "tarn/src/ipp/reasons.h"

namespace tarn::ipp {

namespace {

using device::Activity;
using device::Alert;
using device::AlertMeaning;
using device::DeviceStatus;
using device::LevelKind;
using device::Severity;
using device::SupplyKind;
using Suffix = ReasonWord::Suffix;

constexpr std::int64_t stateIdle = 3; // RFC 8011 5.4.11
constexpr std::int64_t stateProcessing = 4;
constexpr std::int64_t stateStopped = 5;
constexpr std::size_t kMostAlerts = 64;

// Codes that name toner, and those that name ink instead.
struct InkCode
{
    int toner;
    int ink;
};
constexpr InkCode inkCodes[] = {{1101, 1102}, {1104, 1105}, {1107, 1108}, {1109, 1110}, {1115, 9}};

class Condition final
{
public:
    Condition(const IppAttributes& attributes, DeviceStatus& status)
        : m_attributes(attributes), m_status(status), m_state(attributes.number("printer-state"))
    {
    }

    void build()
    {
        setActivity();
        for (std::size_t i = 0; i < std::min(m_attributes.count("printer-alert"), kMostAlerts); ++i) {
            addRow(i);
        }
        m_rows = m_status.alerts.size();
        const std::size_t reasons = m_attributes.count("printer-state-reasons");
        for (std::size_t i = 0; i < std::min(reasons, kMostAlerts); ++i) {
            addReason(splitReason(m_attributes.textAt("printer-state-reasons", i)));
        }
        if (m_attributes.number("printer-is-accepting-jobs") == 0) {
            add(0, "notAcceptingJobs", "不接受打印任务", Severity::Warning);
        }
        device::sortWorstFirst(m_status.alerts);
        setFlags();
        setState();
    }

private:
    void setActivity();
    void addRow(std::size_t index);
    void addReason(const ReasonWord& word);
    void addKnown(const Reason& reason, Suffix suffix);
    void addUnknown(const ReasonWord& word);
    void addCoded(const device::AlertText& text, Severity severity);
    void add(int code, std::string keyword, std::string text, Severity severity);
    bool isExplained(int code) const;
    int codeHere(int code) const;
    bool everyTrayEmpty() const;
    void setFlags();
    void setState();

    const IppAttributes& m_attributes;
    DeviceStatus& m_status;
    const std::optional<std::int64_t> m_state;
    std::size_t m_rows = 0; // alerts that rows gave
    bool m_stopped = false;
    bool m_trayEmpty = false;
    bool m_warmsUp = false;
};

Severity severityOf(Suffix suffix, bool stopsPrinter)
{
    switch (suffix) {
    case Suffix::Report:
        return Severity::Other;
    case Suffix::Warning:
        return Severity::Warning;
    case Suffix::Error:
        return Severity::Critical;
    case Suffix::None: // an error, where it is in the nature of the thing
        break;
    }
    return stopsPrinter ? Severity::Critical : Severity::Warning;
}

void Condition::setActivity()
{
    switch (m_state.value_or(0)) {
    case stateIdle:
        m_status.activity = Activity::Idle;
        break;
    case stateProcessing:
        m_status.activity = Activity::Printing;
        break;
    case stateStopped:
        m_status.activity = Activity::Other;
        m_stopped = true;
        break;
    default:
        m_status.activity = Activity::Unknown;
        break;
    }
}

// PWG 5100.9 printer-alert: the columns of prtAlertTable, its text in a list beside it.
void Condition::addRow(std::size_t index)
{
    const KeyedText keys(m_attributes.values("printer-alert")[index].text);
    const std::string code = keys.text("code");
    const std::string said = keys.text("severity");
    const Severity severity = said == "critical" ? Severity::Critical
                              : said == "other"  ? Severity::Other
                                                 : Severity::Warning;
    const device::AlertText* known = device::findAlertText(camelCase(code));
    if (known == nullptr) {
        known = device::findAlertText(static_cast<int>(keys.number("code").value_or(0)));
    }
    if (known != nullptr) {
        addCoded(*known, severity);
        return;
    }
    const std::string text = m_attributes.textAt("printer-alert-description", index);
    if (severity != Severity::Other && !text.empty()) {
        add(0, "other", text, severity);
    }
}

void Condition::addReason(const ReasonWord& word)
{
    if (const Reason* const reason = findReason(word.keyword)) {
        addKnown(*reason, word.suffix);
    } else if (const device::AlertText* const alike = alertLike(word.keyword)) {
        const bool bad = word.suffix == Suffix::Error;
        m_stopped = m_stopped || bad;
        if (!isExplained(alike->code)) {
            addCoded(*alike, bad ? Severity::Critical : severityOf(word.suffix, false));
        }
    } else {
        addUnknown(word);
    }
}

void Condition::addKnown(const Reason& reason, Suffix suffix)
{
    switch (reason.effect) {
    case ReasonEffect::PaperLow:
        m_status.paperLow = true;
        break;
    case ReasonEffect::TrayEmpty:
        m_trayEmpty = m_trayEmpty || suffix == Suffix::None || suffix == Suffix::Error;
        break;
    case ReasonEffect::PaperOut:
        m_status.paperOut = m_status.paperOut || suffix != Suffix::Report;
        break;
    case ReasonEffect::SupplyLow:
        m_status.tonerLow = true;
        break;
    case ReasonEffect::SupplyEmpty:
        m_status.tonerOut = true;
        break;
    case ReasonEffect::PowerSave:
        m_status.powerSave = true;
        break;
    case ReasonEffect::WarmUp:
        m_warmsUp = true;
        break;
    case ReasonEffect::Offline:
    case ReasonEffect::None:
        break;
    }
    m_stopped = m_stopped || (reason.stopsPrinter && suffix != Suffix::Report && suffix != Suffix::Warning) ||
                suffix == Suffix::Error;
    const Severity severity = severityOf(suffix, reason.stopsPrinter);
    const int code = codeHere(reason.code);
    if (const device::AlertText* const text = device::findAlertText(code)) {
        if (!isExplained(code)) {
            addCoded(*text, severity);
        }
    } else if (reason.alert != nullptr) {
        add(0, reason.alert, reason.text, severity);
    }
}

// A word of the device's own: what is bad is shown as it is said.
void Condition::addUnknown(const ReasonWord& word)
{
    if (word.suffix == Suffix::Report || word.keyword.empty()) {
        return;
    }
    std::string text = word.keyword;
    std::replace(text.begin(), text.end(), '-', ' ');
    add(0, "other", std::move(text), severityOf(word.suffix, true));
}

void Condition::addCoded(const device::AlertText& text, Severity severity)
{
    switch (text.meaning) {
    case AlertMeaning::Event:
        return;
    case AlertMeaning::PowerSave:
        m_status.powerSave = true;
        return;
    case AlertMeaning::WarmUp:
        m_warmsUp = true;
        return;
    case AlertMeaning::StaleWhenIdle:
        if (m_status.activity == Activity::Idle || m_status.activity == Activity::Printing) {
            return;
        }
        break;
    case AlertMeaning::Fault:
        break;
    }
    add(text.code, text.keyword, text.text, severity);
}

void Condition::add(int code, std::string keyword, std::string text, Severity severity)
{
    Alert alert;
    alert.code = code;
    alert.keyword = std::move(keyword);
    alert.text = device::itemText(text);
    alert.severity = severity;
    device::addAlert(m_status.alerts, std::move(alert));
}

// Whether a row of printer-alert says the same.
bool Condition::isExplained(int code) const
{
    const auto end = m_status.alerts.begin() + static_cast<std::ptrdiff_t>(m_rows);
    return std::any_of(m_status.alerts.begin(), end,
                       [code](const Alert& alert) { return alert.code == code; });
}

// The reasons speak of supplies; a printer that has ink, and no toner, means ink.
int Condition::codeHere(int code) const
{
    bool ink = false;
    for (const device::Supply& supply : m_status.supplies) {
        if (supply.kind == SupplyKind::Toner) {
            if (supply.type != "ink" && supply.type != "inkCartridge" && supply.type != "matteInk") {
                return code;
            }
            ink = true;
        }
    }
    for (const InkCode& row : inkCodes) {
        if (ink && row.toner == code) {
            return row.ink;
        }
    }
    return code;
}

bool Condition::everyTrayEmpty() const
{
    return std::all_of(m_status.trays.begin(), m_status.trays.end(),
                       [](const device::Tray& tray) { return tray.empty; });
}

void Condition::setFlags()
{
    // "media-empty" is said of one tray of several, too, from which nobody wants to print.
    if (m_trayEmpty && (m_state == stateStopped || everyTrayEmpty())) {
        m_status.paperOut = true;
    }
    const bool said = m_attributes.has("printer-state-reasons");
    for (std::size_t i = 0; i < m_status.supplies.size(); ++i) {
        const device::Supply& supply = m_status.supplies[i];
        if (supply.kind != SupplyKind::Toner || supply.levelKind != LevelKind::Percent) {
            continue;
        }
        const std::optional<std::int64_t> low = m_attributes.numberAt("marker-low-levels", i);
        m_status.tonerLow = m_status.tonerLow || (low && *low > 0 && supply.percent <= *low);
        m_status.tonerOut = m_status.tonerOut || (!said && supply.percent == 0);
    }
}

void Condition::setState()
{
    if (m_warmsUp && m_status.activity != Activity::Printing) {
        m_status.activity = Activity::WarmUp;
    }
    m_stopped = m_stopped || m_status.paperOut;
    m_status.needsAttention = m_stopped;
    if (m_status.activity == Activity::Printing || m_status.activity == Activity::WarmUp) {
        m_status.powerSave = false;
    }
}

} // namespace

void buildCondition(const IppAttributes& attributes, DeviceStatus& status)
{
    Condition(attributes, status).build();
}

} // namespace tarn::ipp
