// Alerts, flags and state: how the printer is.
#include <algorithm>

#include "tarn/src/device/alert_texts.h"
#include "tarn/src/device/state_words.h"
#include "tarn/src/device/utf8.h"
#include "tarn/src/ipp/alert_rows.h"
#include "tarn/src/ipp/ipp_status.h"
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

constexpr std::int64_t kStateIdle = 3; // RFC 8011 5.4.11
constexpr std::int64_t kStateProcessing = 4;
constexpr std::int64_t kStateStopped = 5;

// Codes of the alert list that are flags as well.
constexpr int kCodePaperLow = 807;
constexpr int kCodePaperEmpty = 808;
constexpr int kFirstCodeEmpty = 1101; // toner, ink, ribbon
constexpr int kLastCodeEmpty = 1103;
constexpr int kFirstCodeLow = 1104;
constexpr int kLastCodeLow = 1106;

// Codes that name toner, and those that name ink instead.
struct InkCode
{
    int toner;
    int ink;
};
constexpr InkCode kInkCodes[] = {{1101, 1102}, {1104, 1105}, {1107, 1108}, {1109, 1110}, {1115, 9}};

class AlertBuilder final
{
public:
    AlertBuilder(const IppAttributes& attributes, DeviceStatus& status)
        : m_attributes(attributes), m_status(status), m_state(attributes.number("printer-state"))
    {
    }

    void build()
    {
        setActivity();
        const std::vector<AlertRow> rows = alertRows(m_attributes);
        const std::vector<ReasonWord> reasons = reasonWords(m_attributes);
        takeStates(rows);
        // Where an idle printer gives no reason, its rows are what was.
        const bool history =
            m_state == kStateIdle && m_attributes.has("printer-state-reasons") && reasons.empty();
        if (!history) {
            addCodedRows(rows);
        }
        m_rows = m_status.alerts.size();
        for (const ReasonWord& word : reasons) {
            addReason(word);
        }
        if (!history) {
            addOtherRows(rows);
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
    void takeStates(const std::vector<AlertRow>& rows);
    void takeState(device::StateText state);
    void addCodedRows(const std::vector<AlertRow>& rows);
    void addOtherRows(const std::vector<AlertRow>& rows);
    void takeFlags(int code, Severity severity);
    void addReason(const ReasonWord& word);
    void addKnown(const Reason& reason, Suffix suffix);
    void addUnknown(const ReasonWord& word);
    void addCoded(const device::AlertText& text, Severity severity);
    void add(int code, std::string keyword, const std::string& text, Severity severity);
    bool isExplained(int code) const;
    int codeHere(int code) const;
    bool noTrayHasPaper() const;
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

void AlertBuilder::setActivity()
{
    switch (m_state.value_or(0)) {
    case kStateIdle:
        m_status.activity = Activity::Idle;
        break;
    case kStateProcessing:
        m_status.activity = Activity::Printing;
        break;
    case kStateStopped:
        m_status.activity = Activity::Other;
        m_stopped = true;
        break;
    default:
        m_status.activity = Activity::Unknown;
        break;
    }
}

void AlertBuilder::takeState(device::StateText state)
{
    if (state == device::StateText::Sleep) {
        m_status.powerSave = true;
    } else if (state == device::StateText::WarmUp && m_state != kStateIdle) {
        m_warmsUp = true;
    }
}

// Rows that say a state say the present one when all of them say the same: else they are a history.
void AlertBuilder::takeStates(const std::vector<AlertRow>& rows)
{
    device::StateText said = device::StateText::None;
    for (const AlertRow& row : rows) {
        if (row.state != device::StateText::None) {
            const bool first = said == device::StateText::None;
            said = first || said == row.state ? row.state : device::StateText::Ready;
        }
    }
    takeState(said);
    takeState(device::stateTextOf(m_attributes.text("printer-state-message")));
}

void AlertBuilder::addCodedRows(const std::vector<AlertRow>& rows)
{
    for (const AlertRow& row : rows) {
        if (row.known != nullptr) {
            addCoded(*row.known, row.severity);
            takeFlags(row.known->code, row.severity);
        }
    }
}

// Rows in words of their own. What the reasons say in the standard's is most likely the same: each explains
// one row of its severity.
void AlertBuilder::addOtherRows(const std::vector<AlertRow>& rows)
{
    std::size_t explained[3] = {0, 0, 0};
    for (std::size_t i = m_rows; i < m_status.alerts.size(); ++i) {
        ++explained[static_cast<std::size_t>(m_status.alerts[i].severity)];
    }
    for (const AlertRow& row : rows) {
        if (row.known != nullptr || !row.isAlert()) {
            continue;
        }
        std::size_t& left = explained[static_cast<std::size_t>(row.severity)];
        if (left > 0) {
            --left;
        } else {
            add(0, "other", row.text, row.severity);
        }
    }
}

// What the code of an alert says beside it.
void AlertBuilder::takeFlags(int code, Severity severity)
{
    m_status.paperLow = m_status.paperLow || code == kCodePaperLow;
    m_trayEmpty = m_trayEmpty || (code == kCodePaperEmpty && severity == Severity::Critical);
    m_status.tonerOut = m_status.tonerOut || (code >= kFirstCodeEmpty && code <= kLastCodeEmpty);
    m_status.tonerLow = m_status.tonerLow || (code >= kFirstCodeLow && code <= kLastCodeLow);
}

void AlertBuilder::addReason(const ReasonWord& word)
{
    if (const Reason* const reason = findReason(word.keyword)) {
        addKnown(*reason, word.suffix);
    } else if (const device::AlertText* const alike = alertLike(word.keyword)) {
        const Severity severity = severityOf(word.suffix, false);
        m_stopped = m_stopped || severity == Severity::Critical;
        takeFlags(alike->code, severity);
        if (!isExplained(alike->code)) {
            addCoded(*alike, severity);
        }
    } else {
        addUnknown(word);
    }
}

void AlertBuilder::addKnown(const Reason& reason, Suffix suffix)
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
void AlertBuilder::addUnknown(const ReasonWord& word)
{
    if (word.suffix == Suffix::Report) {
        return;
    }
    if (const device::StateText state = device::stateTextOf(word.keyword); state != device::StateText::None) {
        takeState(state);
        return;
    }
    std::string text = word.keyword;
    std::replace(text.begin(), text.end(), '-', ' ');
    add(0, "other", text, severityOf(word.suffix, true));
}

void AlertBuilder::addCoded(const device::AlertText& text, Severity severity)
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

void AlertBuilder::add(int code, std::string keyword, const std::string& text, Severity severity)
{
    Alert alert;
    alert.code = code;
    alert.keyword = std::move(keyword);
    alert.text = device::itemText(text);
    alert.severity = severity;
    device::addAlert(m_status.alerts, std::move(alert));
}

// Whether a row of printer-alert says the same.
bool AlertBuilder::isExplained(int code) const
{
    const auto end = m_status.alerts.begin() + static_cast<std::ptrdiff_t>(m_rows);
    return std::any_of(m_status.alerts.begin(), end,
                       [code](const Alert& alert) { return alert.code == code; });
}

// The reasons speak of supplies; a printer that has ink, and no toner, means ink.
int AlertBuilder::codeHere(int code) const
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
    for (const InkCode& row : kInkCodes) {
        if (ink && row.toner == code) {
            return row.ink;
        }
    }
    return code;
}

bool AlertBuilder::noTrayHasPaper() const
{
    return std::none_of(m_status.trays.begin(), m_status.trays.end(), [](const device::Tray& tray) {
        constexpr int kAtLeastOneSheet = -3;
        return tray.level > 0 || tray.level == kAtLeastOneSheet;
    });
}

void AlertBuilder::setFlags()
{
    // "media-empty" is said of one tray of several, too, from which nobody wants to print.
    if (m_trayEmpty && (m_state == kStateStopped || noTrayHasPaper())) {
        m_status.paperOut = true;
    }
    const bool said = m_attributes.has("printer-state-reasons");
    const std::size_t lows = m_attributes.count("marker-low-levels");
    const bool fits = lows == 1 || lows == m_status.supplies.size(); // one for all, or one for each
    for (std::size_t i = 0; i < m_status.supplies.size(); ++i) {
        const device::Supply& supply = m_status.supplies[i];
        if (supply.kind != SupplyKind::Toner || supply.levelKind != LevelKind::Percent) {
            continue;
        }
        const std::int64_t low =
            fits ? m_attributes.numberAt("marker-low-levels", lows == 1 ? 0 : i).value_or(0) : 0;
        m_status.tonerLow = m_status.tonerLow || (low > 0 && supply.percent <= low);
        m_status.tonerOut = m_status.tonerOut || (!said && supply.percent == 0);
    }
}

void AlertBuilder::setState()
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

void buildAlerts(const IppAttributes& attributes, DeviceStatus& status)
{
    AlertBuilder(attributes, status).build();
}

} // namespace tarn::ipp
