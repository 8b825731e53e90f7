#include "tools/tarn-status/explain/report.h"

#include <cstdio>
#include <map>

#include "tarn/src/device/utf8.h"
#include "tools/tarn-status/explain/cause_texts.h"
#include "tools/tarn-status/text.h"

namespace tarnstatus {

namespace {

constexpr std::size_t kWayColumns = 8;
constexpr std::size_t kSentColumns = 36;
constexpr std::size_t kCameColumns = 26;

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

std::string wayName(Way way, Language language)
{
    switch (way) {
    case Way::Name:
        return say(language, "name", "名称");
    case Way::Route:
        return say(language, "route", "路由");
    case Way::Snmp2c:
        return "SNMP 2c";
    case Way::Snmp1:
        return "SNMP 1";
    case Way::Snmp3:
        return "SNMP 3";
    case Way::Ipp:
        return "IPP";
    case Way::Usb:
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
    switch (finding.way) {
    case Way::Name:
        return context.options.address;
    case Way::Route:
        return context.address;
    case Way::Snmp2c:
    case Way::Snmp1:
        return finding.isAgain ? say(context.language, "the same again", "再次询问")
                               : "sysDescr" + udp + ", " + communityOf(context);
    case Way::Snmp3:
        if (finding.came == Came::NoUser || finding.came == Came::NoLibrary) {
            return "-";
        }
        return finding.detail.empty() ? "engineID" + udp : "sysDescr" + udp + ", " + shown(context.user);
    case Way::Ipp:
        return finding.came == Came::SwitchedOff || finding.came == Came::NoLibrary
                   ? "-"
                   : "Get-Printer-Attributes, " + std::to_string(context.questions.ipp.port) + "/tcp";
    case Way::Usb:
        return finding.took ? "GET_DEVICE_ID" : "-";
    }
    return {};
}

const std::map<Came, std::pair<const char*, const char*>> kCame = {
    {Came::UnknownName, {"not found", "找不到"}},
    {Came::NoNetwork, {"no route", "没有路由"}},
    {Came::NoHost, {"no such host", "没有该主机"}},
    {Came::Forbidden, {"refused by this machine", "被本机拒绝"}},
    {Came::Refused, {"refused on the way", "途中被拒绝"}},
    {Came::NotOneHost, {"not one host's address", "不是单个主机的地址"}},
    {Came::NoSocket, {"could not be asked", "无法询问"}},
    {Came::NotPrinter, {"no printer: ", "不是打印机："}},
    {Came::Garbage, {"not SNMP", "不是 SNMP"}},
    {Came::PortClosed, {"port closed", "端口已关闭"}},
    {Came::Silent, {"silent", "没有应答"}},
    {Came::Engine, {"answers", "有应答"}},
    {Came::UnknownUser, {"user unknown", "用户不存在"}},
    {Came::WrongPassword, {"wrong password", "密码错误"}},
    {Came::WrongPrivacy, {"user not answered", "不应答该用户"}},
    {Came::WrongLevel, {"wrong security level", "安全级别错误"}},
    {Came::OtherReport, {"user refused", "拒绝该用户"}},
    {Came::NoUser, {"not asked: no user", "未询问：没有用户"}},
    {Came::NoLibrary, {"not asked: library missing", "未询问：缺少库"}},
    {Came::PrinterByTls, {"TLS: ", "TLS："}},
    {Came::TlsOnly, {"TLS only", "只支持 TLS"}},
    {Came::PlainOnly, {"not by TLS", "不支持 TLS"}},
    {Came::NoIpp, {"no IPP", "不是 IPP"}},
    {Came::SwitchedOff, {"not asked: switched off", "未询问：已关闭"}},
    {Came::NoBus, {"no USB here", "没有 USB"}},
    {Came::NoneAttached, {"no printer attached", "未连接打印机"}},
    {Came::NoRights, {"no right to ask", "没有权限"}},
    {Came::Busy, {"busy: ", "忙："}},
    {Came::Mute, {"no answer: ", "没有应答："}},
};

std::string cameWord(const Finding& finding, Language language)
{
    const auto found = kCame.find(finding.came);
    const std::string word =
        found == kCame.end() ? "" : say(language, found->second.first, found->second.second);
    const bool isSpoken = finding.came == Came::NotPrinter || finding.came == Came::PrinterByTls ||
                          finding.came == Came::Busy || finding.came == Came::Mute || word.empty();
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
    return cell(say(language, "Way", "方式"), kWayColumns) +
           cell(say(language, "Sent", "发送"), kSentColumns) +
           cell(say(language, "Came", "结果"), kCameColumns) + say(language, "Time", "用时") + '\n';
}

std::string rowOf(const Finding& finding, const ReportContext& context)
{
    std::string row = cell(wayName(finding.way, context.language), kWayColumns) +
                      cell(sentBy(finding, context), kSentColumns) +
                      cell(cameWord(finding, context.language), kCameColumns) + timeOf(finding);
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
