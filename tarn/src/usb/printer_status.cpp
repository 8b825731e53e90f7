#include "tarn/src/usb/printer_status.h"

#include <algorithm>
#include <string_view>

#include "tarn/src/device/alert_texts.h"
#include "tarn/src/device/make_and_model.h"

namespace tarn::usb {

using device::Activity;
using device::DeviceId;
using device::DeviceStatus;

namespace {

// Port status.
constexpr std::uint8_t kPaperEmpty = 0x20;
constexpr std::uint8_t kSelected = 0x10;
constexpr std::uint8_t kNotError = 0x08;

// Codes of the alert list.
constexpr int kJam = 8;
constexpr int kRecoverableFailure = 29;
constexpr int kMotorFailure = 33;
constexpr int kMediaEmpty = 808;

// A word of a status key's value, and what it says.
struct StatusWord
{
    std::string_view word;
    Activity activity;
    int alert; // a code of the alert list, 0 for none
};

// VSTATUS of HP's inkjets: words joined by commas, such as "$HB0$NC0,ff,DN,IDLE,CUT,K0,C0,DP,NR,KP100,CP095".
// The words of the state are four letters each; the others are details of the mechanism.
constexpr StatusWord kVstatusWords[] = {
    {"IDLE", Activity::Idle, 0},
    {"PRNT", Activity::Printing, 0},
    {"RPRT", Activity::Printing, 0}, // prints a report of its own
    {"IOST", Activity::Printing, 0}, // in a job whose data do not come
    {"DRYW", Activity::Printing, 0}, // waits for the ink to dry
    {"BUSY", Activity::Other, 0},
    {"CNCL", Activity::Other, 0},
    {"OOPA", Activity::Other, kMediaEmpty},
    {"PAJM", Activity::Other, kJam},
    {"PAPS", Activity::Other, kJam}, // the paper does not move
    {"CARS", Activity::Other, kMotorFailure},
    {"PENF", Activity::Other, kRecoverableFailure},
    {"ERRO", Activity::Other, kRecoverableFailure},
};

// "KP" and "CP", then percent: what is left in the black and in the three-colour cartridge.
struct LevelWord
{
    std::string_view prefix;
    device::SupplyColor color;
    const char* colorText;
    const char* description;
};
constexpr LevelWord kVstatusLevels[] = {
    {"KP", device::SupplyColor::Black, "black", "Black cartridge"},
    {"CP", device::SupplyColor::TriColor, "tri-color", "Tri-color cartridge"},
};

void addAlert(DeviceStatus& status, int code, const char* keyword, const char* text)
{
    device::Alert alert{code, keyword, text, device::Severity::Critical, ""};
    if (std::find(status.alerts.begin(), status.alerts.end(), alert) == status.alerts.end()) {
        status.alerts.push_back(std::move(alert));
        status.needsAttention = true;
        status.paperOut = status.paperOut || code == kMediaEmpty;
    }
}

// 0 is none.
void addAlert(DeviceStatus& status, int code)
{
    if (const device::AlertText* text = device::findAlertText(code); text != nullptr) {
        addAlert(status, code, text->keyword, text->text);
    }
}

// The number behind a prefix of two letters; nothing unless it is one of 0 to 100.
std::optional<int> percentBehind(std::string_view word)
{
    const std::string_view digits = word.substr(2);
    if (digits.empty() || digits.size() > 3 ||
        digits.find_first_not_of("0123456789") != std::string_view::npos) {
        return std::nullopt;
    }
    int percent = 0;
    for (const char digit : digits) {
        percent = percent * 10 + (digit - '0');
    }
    return percent <= 100 ? std::optional(percent) : std::nullopt;
}

void takeLevel(DeviceStatus& status, std::string_view word)
{
    for (const LevelWord& known : kVstatusLevels) {
        if (word.substr(0, 2) != known.prefix) {
            continue;
        }
        if (const std::optional<int> percent = percentBehind(word)) {
            device::Supply supply;
            supply.kind = device::SupplyKind::Toner;
            supply.color = known.color;
            supply.type = "inkCartridge";
            supply.colorText = known.colorText;
            supply.description = known.description;
            supply.levelKind = device::LevelKind::Percent;
            supply.percent = *percent;
            if (status.supplies.size() < std::size(kVstatusLevels)) {
                status.supplies.push_back(std::move(supply));
            }
        }
    }
}

void takeVstatus(DeviceStatus& status, std::string_view value)
{
    while (!value.empty()) {
        const std::size_t comma = value.find(',');
        const std::string_view word = value.substr(0, comma);
        for (const StatusWord& known : kVstatusWords) {
            if (word == known.word) {
                status.activity = known.activity;
                addAlert(status, known.alert);
            }
        }
        takeLevel(status, word);
        value.remove_prefix(comma == std::string_view::npos ? value.size() : comma + 1);
    }
}

void takePortStatus(DeviceStatus& status, std::uint8_t portStatus)
{
    if ((portStatus & kPaperEmpty) != 0) {
        addAlert(status, kMediaEmpty);
    }
    if ((portStatus & kSelected) == 0) {
        addAlert(status, 0, "offline", "脱机");
    }
    if ((portStatus & kNotError) == 0 && status.alerts.empty()) {
        addAlert(status, 0, "portError", "打印机报告错误");
    }
    if (status.activity == Activity::Unknown) {
        // The status is to be had only while nobody holds the interface: nothing is being printed through it.
        status.activity = status.alerts.empty() ? Activity::Idle : Activity::Other;
    }
}

} // namespace

bool tellsStatus(const DeviceId& id)
{
    return !id.value("VSTATUS").empty();
}

DeviceStatus statusOf(const PrinterIdentity& identity, const DeviceId& id,
                      std::optional<std::uint8_t> portStatus)
{
    DeviceStatus status;
    status.model = device::makeAndModel(identity.manufacturer, identity.model);
    status.serialNumber = identity.serialNumber;
    status.description = identity.description;
    takeVstatus(status, id.value("VSTATUS"));
    if (portStatus) {
        takePortStatus(status, *portStatus);
    }
    return status;
}

} // namespace tarn::usb
