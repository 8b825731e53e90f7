// Alerts, flags and state: how the printer is.
#include <algorithm>
#include <iterator>

#include "tarn/src/device/alert_texts.h"
#include "tarn/src/device/state_words.h"
#include "tarn/src/device/supply_words.h"
#include "tarn/src/device/utf8.h"
#include "tarn/src/snmp/mib/status.h"

namespace tarn::snmp {

namespace {

using device::Activity;
using device::Alert;
using device::AlertMeaning;
using device::DeviceStatus;
using device::LevelKind;
using device::Severity;
using device::StateText;
using device::SupplyKind;

constexpr std::int64_t kDeviceRunning = 2; // hrDeviceStatus
constexpr std::int64_t kDeviceDown = 5;
constexpr std::int64_t kGroupInput = 8; // PrtAlertGroupTC
constexpr std::int64_t kGroupSupplies = 11;
constexpr int kLowBelowPercent = 5; // a toner or ink, where the printer itself says nothing of the kind

// hrPrinterDetectedErrorState. Absent or empty: the printer says nothing of the kind.
struct ErrorState
{
    bool said = false;
    unsigned bits = 0; // bit 15 is the most significant of the first octet

    bool has(int bit) const { return (bits >> (15 - bit) & 1U) != 0; }
};

ErrorState errorStateOf(const PrinterTables& tables)
{
    const std::string* octets = tables[ColumnId::HrPrinterDetectedErrorState].firstText();
    ErrorState state;
    if (octets != nullptr && !octets->empty()) {
        state.said = true;
        state.bits = static_cast<unsigned>(static_cast<std::uint8_t>((*octets)[0])) << 8;
        if (octets->size() > 1) {
            state.bits |= static_cast<std::uint8_t>((*octets)[1]);
        }
    }
    return state;
}

Activity activityOf(const PrinterTables& tables)
{
    switch (tables[ColumnId::HrPrinterStatus].firstNumber().value_or(2)) {
    case 1:
        return Activity::Other;
    case 3:
        return Activity::Idle;
    case 4:
        return Activity::Printing;
    case 5:
        return Activity::WarmUp;
    default:
        return Activity::Unknown;
    }
}

struct AlertRow
{
    std::optional<std::int64_t> severity;
    std::optional<std::int64_t> code;
    std::int64_t group = 0;
    std::int64_t groupIndex = 0;
    std::string description;
};

AlertRow alertRowAt(const PrinterTables& tables, std::uint32_t row)
{
    AlertRow alert;
    alert.severity = tables[ColumnId::PrtAlertSeverityLevel].numberOf(row);
    alert.code = tables[ColumnId::PrtAlertCode].numberOf(row);
    alert.group = tables[ColumnId::PrtAlertGroup].numberOf(row).value_or(0);
    alert.groupIndex = tables[ColumnId::PrtAlertGroupIndex].numberOf(row).value_or(0);
    alert.description = textAt(tables, ColumnId::PrtAlertDescription, row);
    return alert;
}

// Builds the alerts of one status: rows first, then the error bits that no row explains.
class AlertBuilder final
{
public:
    AlertBuilder(const PrinterTables& tables, DeviceStatus& status)
        : m_tables(tables), m_status(status), m_errors(errorStateOf(tables)),
          m_trayRows(rowsOf(tables, kInputColumns)), m_supplyRows(rowsOf(tables, kSupplyColumns))
    {
    }

    void build()
    {
        m_status.alerts.clear();
        m_status.powerSave = false;
        m_status.activity = activityOf(m_tables);
        for (const std::uint32_t row : rowsOf(m_tables, kAlertColumns)) {
            addRow(alertRowAt(m_tables, row));
        }
        addErrorBits();
        device::sortWorstFirst(m_status.alerts);
        setState();
        setFlags();
    }

private:
    void addRow(const AlertRow& row);
    void addState(StateText state);
    void addErrorBits();
    std::string placeOf(const AlertRow& row) const;
    void setState();
    void setFlags();
    void setTonerFlagsByLevel();
    bool everyTrayEmpty() const;

    const PrinterTables& m_tables;
    DeviceStatus& m_status;
    const ErrorState m_errors;
    const std::vector<std::uint32_t> m_trayRows;   // of m_status.trays, in their order
    const std::vector<std::uint32_t> m_supplyRows; // of m_status.supplies
    bool m_stopped = false;
};

template <typename T>
const T* itemAt(const std::vector<std::uint32_t>& rows, const std::vector<T>& items, std::int64_t row)
{
    const auto found = std::find(rows.begin(), rows.end(), row);
    const auto position = static_cast<std::size_t>(found - rows.begin());
    return found != rows.end() && position < items.size() ? &items[position] : nullptr;
}

std::string AlertBuilder::placeOf(const AlertRow& row) const
{
    if (row.group == kGroupInput) {
        const device::Tray* tray = itemAt(m_trayRows, m_status.trays, row.groupIndex);
        return tray == nullptr ? std::string() : tray->name;
    }
    if (row.group == kGroupSupplies) {
        const device::Supply* supply = itemAt(m_supplyRows, m_status.supplies, row.groupIndex);
        if (supply != nullptr) {
            const std::string color = device::colorText(supply->color);
            const bool plain = supply->colorText == device::colorKeyword(supply->color); // not "matte black"
            return supply->kind == SupplyKind::Toner && plain && !color.empty() ? color : supply->description;
        }
    }
    return std::string();
}

void AlertBuilder::addState(StateText state)
{
    if (state == StateText::Sleep) {
        m_status.powerSave = true;
    } else if (state == StateText::WarmUp &&
               (m_status.activity == Activity::Unknown || m_status.activity == Activity::Other)) {
        m_status.activity = Activity::WarmUp;
    }
}

// Severity 0 and 1 ("Sleep", "Ready") are states unless the code is a fault's.
void AlertBuilder::addRow(const AlertRow& row)
{
    const int code = row.code && *row.code > 0 && *row.code < 100000 ? static_cast<int>(*row.code) : 0;
    const device::AlertText* known = code > 2 ? device::findAlertText(code) : nullptr;
    if (known != nullptr && known->meaning != AlertMeaning::Fault) {
        if (known->meaning == AlertMeaning::PowerSave) {
            addState(StateText::Sleep);
        } else if (known->meaning == AlertMeaning::WarmUp) {
            addState(StateText::WarmUp);
        }
        const bool working = m_status.activity != Activity::Other && m_status.activity != Activity::Unknown;
        if (known->meaning != AlertMeaning::StaleWhenIdle || working) {
            return;
        }
    }
    const StateText state = known == nullptr ? device::stateTextOf(row.description) : StateText::None;
    if (state != StateText::None) {
        addState(state);
        return;
    }
    if (known == nullptr && row.severity && *row.severity < 3) {
        return;
    }
    Alert alert;
    alert.code = code;
    alert.severity = row.severity == 3
                         ? Severity::Critical
                         : (row.severity.value_or(4) >= 4 ? Severity::Warning : Severity::Other);
    alert.place = placeOf(row);
    alert.keyword = known == nullptr ? "other" : known->keyword;
    if (known != nullptr) {
        alert.text = known->text;
    } else {
        alert.text = device::itemText(row.description);
        if (alert.text.empty()) {
            alert.text = std::string(device::alertGroupText(row.group)) + "提示";
        }
    }
    device::addAlert(m_status.alerts, std::move(alert));
}

void AlertBuilder::addErrorBits()
{
    const std::size_t rows = m_status.alerts.size();
    for (int bit = 0; bit < device::kErrorBitCount; ++bit) {
        if (!m_errors.has(bit)) {
            continue;
        }
        const device::ErrorBit& meaning = device::errorBit(bit);
        m_stopped = m_stopped || meaning.stopsPrinter;
        const auto explains = [&](const Alert& alert) {
            return std::any_of(std::begin(meaning.explainedBy), std::end(meaning.explainedBy),
                               [&](int code) { return code != 0 && code == alert.code; });
        };
        const auto rowsEnd = m_status.alerts.begin() + static_cast<std::ptrdiff_t>(rows);
        if (std::none_of(m_status.alerts.begin(), rowsEnd, explains)) {
            Alert alert;
            alert.keyword = meaning.keyword;
            alert.text = meaning.text;
            alert.severity = meaning.stopsPrinter ? Severity::Critical : Severity::Warning;
            device::addAlert(m_status.alerts, std::move(alert));
        }
    }
}

// RFC 3805 2.2.13.2 tells the printer's condition from three objects together: other and running is standby,
// other and down is a stop.
void AlertBuilder::setState()
{
    const std::optional<std::int64_t> deviceStatus = m_tables[ColumnId::HrDeviceStatus].firstNumber();
    const bool working = m_status.activity == Activity::Idle || m_status.activity == Activity::Printing ||
                         m_status.activity == Activity::WarmUp;
    const bool critical = std::any_of(m_status.alerts.begin(), m_status.alerts.end(), [](const Alert& alert) {
        return alert.severity == Severity::Critical;
    });
    m_status.needsAttention = m_stopped || (!working && (critical || deviceStatus == kDeviceDown));
    if (m_status.activity == Activity::Other && deviceStatus == kDeviceRunning && !m_status.needsAttention) {
        m_status.powerSave = true;
    }
    if (m_status.activity == Activity::Printing || m_status.activity == Activity::WarmUp) {
        m_status.powerSave = false;
    }
}

// Not of one tray: an empty by-pass tray stops nothing. Every tray that says how full it is must be empty,
// and none may be left that does not say; where the trays have a status, it must report the want as well.
bool AlertBuilder::everyTrayEmpty() const
{
    constexpr std::int64_t kCriticalAlerts = 16; // PrtSubUnitStatusTC
    bool any = false;
    for (std::size_t i = 0; i < m_status.trays.size(); ++i) {
        if (!m_status.trays[i].empty) {
            return false;
        }
        const std::optional<std::int64_t> status = m_tables[ColumnId::PrtInputStatus].numberOf(m_trayRows[i]);
        if ((!status && m_errors.said) || (status && (*status & kCriticalAlerts) == 0)) {
            return false;
        }
        any = true;
    }
    return any;
}

void AlertBuilder::setFlags()
{
    m_status.paperLow = m_errors.has(0);
    m_status.paperOut = m_errors.has(1) || everyTrayEmpty();
    m_status.tonerLow = m_errors.has(2);
    m_status.tonerOut = m_errors.has(3);
    for (const Alert& alert : m_status.alerts) {
        if (alert.code >= 1101 && alert.code <= 1103) {
            m_status.tonerOut = true;
        } else if (alert.code >= 1104 && alert.code <= 1106) {
            m_status.tonerLow = true;
        } else if (!m_errors.said && alert.code == 807) {
            m_status.paperLow = true;
        } else if (!m_errors.said && alert.code == 808 && m_status.needsAttention) {
            m_status.paperOut = true;
        }
    }
    setTonerFlagsByLevel();
}

// Only where nothing else says it: there is no error state, or it is all clear while the device warns of
// something and no alert tells what. A device that warns goes on working, so that then nothing is out.
void AlertBuilder::setTonerFlagsByLevel()
{
    if (m_errors.said && !(m_status.alerts.empty() && hasQuirk(m_tables, QuirkEffect::LevelsTellWhatIsLow))) {
        return;
    }
    for (const device::Supply& supply : m_status.supplies) {
        if (supply.kind != SupplyKind::Toner || supply.levelKind != LevelKind::Percent ||
            supply.percent >= kLowBelowPercent) {
            continue;
        }
        const bool out = supply.percent == 0 && !m_errors.said;
        m_status.tonerOut = m_status.tonerOut || out;
        m_status.tonerLow = m_status.tonerLow || !out;
    }
}

} // namespace

void buildAlerts(const PrinterTables& tables, DeviceStatus& status)
{
    AlertBuilder(tables, status).build();
}

} // namespace tarn::snmp
