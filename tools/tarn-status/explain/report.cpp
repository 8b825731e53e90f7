#include "tools/tarn-status/explain/report.h"

#include <cstdio>
#include <map>

#include "tarn/src/device/utf8.h"
#include "tools/tarn-status/explain/cause_texts.h"
#include "tools/tarn-status/text.h"

namespace tarnstatus {

namespace {

constexpr std::size_t kProbeColumns = 8;
constexpr std::size_t kSentColumns = 36;
constexpr std::size_t kOutcomeColumns = 26;

std::string shown(const std::string& text)
{
    return printable(tarn::device::tidyText(text));
}

// Cut or filled to the width, and a blank.
std::string cell(const std::string& text, std::size_t columns)
{
    std::string cut = cutToWidth(text, columns);
    const std::size_t width = displayWidth(cut);
    return cut.append(columns - width + 1, ' ');
}

std::string probeName(Probe probe, Language language)
{
    switch (probe) {
    case Probe::Name:
        return say(language, "name", "名称");
    case Probe::Route:
        return say(language, "route", "路由");
    case Probe::Snmp2c:
        return "SNMP 2c";
    case Probe::Snmp1:
        return "SNMP 1";
    case Probe::Snmp3:
        return "SNMP 3";
    case Probe::Ipp:
        return "IPP";
    case Probe::Usb:
        break;
    }
    return "USB";
}

// A community is half a password: only the one that everybody knows is shown.
std::string communityOf(const ReportContext& context)
{
    return context.questions.community == "public" ? "public"
                                                   : say(context.language, "your community", "自定团体名");
}

std::string sentBy(const Finding& finding, const ReportContext& context)
{
    const std::string udp = ", " + std::to_string(context.questions.port) + "/udp";
    switch (finding.probe) {
    case Probe::Name:
        return context.options.address;
    case Probe::Route:
        return context.address;
    case Probe::Snmp2c:
    case Probe::Snmp1:
        return finding.isAgain ? say(context.language, "the same again", "再次询问")
                               : "sysDescr" + udp + ", " + communityOf(context);
    case Probe::Snmp3:
        if (finding.outcome == ProbeOutcome::NoUser || finding.outcome == ProbeOutcome::NoLibrary) {
            return "-";
        }
        return finding.detail.empty() ? "engineID" + udp : "sysDescr" + udp + ", " + shown(context.user);
    case Probe::Ipp:
        return finding.outcome == ProbeOutcome::SwitchedOff || finding.outcome == ProbeOutcome::NoLibrary
                   ? "-"
                   : "Get-Printer-Attributes, " + std::to_string(context.questions.ipp.port) + "/tcp";
    case Probe::Usb:
        return finding.took ? "GET_DEVICE_ID" : "-";
    }
    return {};
}

const std::map<ProbeOutcome, std::pair<const char*, const char*>> kOutcomes = {
    {ProbeOutcome::UnknownName, {"not found", "找不到"}},
    {ProbeOutcome::NoNetwork, {"no route", "没有路由"}},
    {ProbeOutcome::NoHost, {"no such host", "没有该主机"}},
    {ProbeOutcome::Forbidden, {"refused by this machine", "被本机拒绝"}},
    {ProbeOutcome::Refused, {"refused on the way", "途中被拒绝"}},
    {ProbeOutcome::NotOneHost, {"not one host's address", "不是单个主机的地址"}},
    {ProbeOutcome::NoSocket, {"could not be asked", "无法询问"}},
    {ProbeOutcome::NotPrinter, {"no printer: ", "不是打印机："}},
    {ProbeOutcome::Garbage, {"not SNMP", "不是 SNMP"}},
    {ProbeOutcome::PortClosed, {"port closed", "端口已关闭"}},
    {ProbeOutcome::Silent, {"silent", "没有应答"}},
    {ProbeOutcome::Engine, {"answers", "有应答"}},
    {ProbeOutcome::UnknownUser, {"user unknown", "用户不存在"}},
    {ProbeOutcome::WrongPassword, {"wrong password", "密码错误"}},
    {ProbeOutcome::WrongPrivacy, {"user not answered", "不应答该用户"}},
    {ProbeOutcome::WrongLevel, {"wrong security level", "安全级别错误"}},
    {ProbeOutcome::OtherReport, {"user refused", "拒绝该用户"}},
    {ProbeOutcome::NoUser, {"not asked: no user", "未询问：没有用户"}},
    {ProbeOutcome::NoLibrary, {"not asked: library missing", "未询问：缺少库"}},
    {ProbeOutcome::PrinterByTls, {"TLS: ", "TLS："}},
    {ProbeOutcome::TlsOnly, {"TLS only", "只支持 TLS"}},
    {ProbeOutcome::PlainOnly, {"not by TLS", "不支持 TLS"}},
    {ProbeOutcome::NoIpp, {"no IPP", "不是 IPP"}},
    {ProbeOutcome::SwitchedOff, {"not asked: switched off", "未询问：已关闭"}},
    {ProbeOutcome::NoBus, {"no USB here", "没有 USB"}},
    {ProbeOutcome::NoneAttached, {"no printer attached", "未连接打印机"}},
    {ProbeOutcome::NoRights, {"no right to ask", "没有权限"}},
    {ProbeOutcome::Busy, {"busy: ", "忙："}},
    {ProbeOutcome::Mute, {"no answer: ", "没有应答："}},
};

std::string outcomeWord(const Finding& finding, Language language)
{
    const auto found = kOutcomes.find(finding.outcome);
    const std::string word =
        found == kOutcomes.end() ? "" : say(language, found->second.first, found->second.second);
    const bool isSpoken =
        finding.outcome == ProbeOutcome::NotPrinter || finding.outcome == ProbeOutcome::PrinterByTls ||
        finding.outcome == ProbeOutcome::Busy || finding.outcome == ProbeOutcome::Mute || word.empty();
    return isSpoken ? word + shown(finding.detail) : word;
}

std::string timeOf(const Finding& finding)
{
    if (!finding.took) {
        return {};
    }
    char text[32];
    std::snprintf(text, sizeof text, "%.2f s", static_cast<double>(finding.took->count()) / 1000.0);
    return text;
}

// What the configuration file is to say so that it is asked as it was tried.
std::string entryOf(const ExplainOptions& options)
{
    std::string entry;
    const auto add = [&entry](const std::string& member) { entry += (entry.empty() ? "" : ", ") + member; };
    if (options.port) {
        add("\"port\": " + std::to_string(*options.port));
    }
    if (options.user || options.snmp) {
        const SnmpVersion version = options.user ? SnmpVersion::V3 : *options.snmp;
        add(std::string("\"version\": ") + (version == SnmpVersion::V1    ? "\"1\""
                                            : version == SnmpVersion::V2c ? "\"2c\""
                                                                          : "\"3\""));
    }
    if (options.user) {
        add("\"user\": \"" + shown(*options.user) + '"');
    }
    if (options.community) {
        add("\"community\": \"...\"");
    }
    return entry;
}

std::string filledIn(std::string text, const ReportContext& context)
{
    const std::pair<std::string, std::string> values[] = {
        {"{address}", context.address},
        {"{port}", std::to_string(context.questions.port)},
        {"{ippPort}", std::to_string(context.questions.ipp.port)},
        {"{user}", shown(context.user)},
        {"{group}", context.group},
        {"{entry}", entryOf(context.options)},
        {"{file}", "tarn.json"},
    };
    for (const auto& [name, value] : values) {
        for (std::size_t at = text.find(name); at != std::string::npos;
             at = text.find(name, at + value.size())) {
            text.replace(at, name.size(), value);
        }
    }
    return text;
}

// Broken at blanks, and where there is none, between wide characters; later lines stand below the first's
// text.
std::string wrapped(const std::string& head, const std::string& text, std::size_t columns)
{
    const std::size_t indent = displayWidth(head);
    std::string out = head;
    std::string rest = text;
    while (displayWidth(rest) > columns - indent) {
        std::string line = cutToWidth(rest, columns - indent);
        const std::size_t blank = line.rfind(' ');
        const bool isAtBlank = rest[line.size()] == ' ';
        if (!isAtBlank && blank != std::string::npos && displayWidth(line.substr(blank)) < columns / 3) {
            line.resize(blank);
        }
        out += line + '\n' + std::string(indent, ' ');
        rest.erase(0, line.size());
        rest.erase(0, rest.find_first_not_of(' '));
    }
    return out + rest + '\n';
}

} // namespace

std::string headOf(const ReportContext& context)
{
    const Language language = context.language;
    return cell(say(language, "Way", "方式"), kProbeColumns) +
           cell(say(language, "Sent", "发送"), kSentColumns) +
           cell(say(language, "Came", "结果"), kOutcomeColumns) + say(language, "Time", "用时") + '\n';
}

std::string rowOf(const Finding& finding, const ReportContext& context)
{
    std::string row = cell(probeName(finding.probe, context.language), kProbeColumns) +
                      cell(sentBy(finding, context), kSentColumns) +
                      cell(outcomeWord(finding, context.language), kOutcomeColumns) + timeOf(finding);
    row.erase(row.find_last_not_of(' ') + 1);
    return row + '\n';
}

std::string textOf(Cause cause, const ReportContext& context)
{
    const CauseText& text = causeText(cause);
    return wrapped(say(context.language, "Cause: ", "原因："),
                   filledIn(text.causeIn(context.language), context), context.columns) +
           wrapped(say(context.language, "To do: ", "处理："),
                   filledIn(text.deedIn(context.language), context), context.columns);
}

} // namespace tarnstatus
