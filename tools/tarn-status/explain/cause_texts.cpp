#include "tools/tarn-status/explain/cause_texts.h"

#include <algorithm>
#include <iterator>

namespace tarnstatus {

namespace {

const CauseText kTexts[] = {
    {Cause::Works, "nothing is wrong, the printer is read over SNMP.", "一切正常，可以通过 SNMP 读取打印机。",
     "if it is grey all the same: is this the address in the list? An address that was edited holds from the "
     "next "
     "start of the program.",
     "如果仍为灰色：列表中是这个地址吗？修改过的地址在程序下次启动后生效。"},
    {Cause::WorksSlowly, "nothing is wrong, the printer was asleep and answered late.",
     "一切正常，打印机处于休眠，应答较慢。", "nothing; it turns green within a minute.",
     "无需处理，一分钟内会变绿。"},
    {Cause::WorksInVersion1, "nothing is wrong: it speaks SNMP version 1 only, which is found out by itself.",
     "一切正常：它只支持 SNMP 版本 1，程序会自动识别。",
     "\"version\": \"1\" for {address} in {file} spares it the questions in version 2c.",
     "在 {file} 中为 {address} 写入 \"version\": \"1\" 可省去版本 2c 的询问。"},
    {Cause::WorksAsTried, "tried like this, the printer is read.", "用这些选项可以读取打印机。",
     "in {file}: \"addresses\": { \"{address}\": { {entry} } }",
     "在 {file} 中写入：\"addresses\": { \"{address}\": { {entry} } }"},
    {Cause::WorksByIpp, "nothing is wrong, the printer is read over IPP instead of SNMP.",
     "一切正常，通过 IPP（而非 SNMP）读取打印机。",
     "if it is grey all the same: is this the address in the list? With SNMP more would be known, see below.",
     "如果仍为灰色：列表中是这个地址吗？启用 SNMP 可以得到更多信息，见下。"},
    {Cause::UnknownName, "the name service does not know the name.", "名称服务不知道这个名称。",
     "check the spelling, or take the address that the printer prints on its configuration page.",
     "检查拼写，或使用打印机配置页上印出的地址。"},
    {Cause::NoNetwork, "no route: this machine is not connected to that network.",
     "没有路由：本机未连接到该网络。",
     "check cable, wireless network and VPN; `ip route get {address}` says what is missing.",
     "检查网线、无线网络和 VPN；`ip route get {address}` 会说明缺少什么。"},
    {Cause::NoHost, "no host: nobody in its network has this address now.",
     "没有主机：目前网络中没有设备使用该地址。",
     "is the printer switched on and connected? Compare the address with that on its panel: it may have got "
     "another.",
     "打印机是否已开机并联网？与面板上的地址比较：它可能已获得新地址。"},
    {Cause::Forbidden, "a packet filter of this machine refuses to send to it.", "本机的防火墙拒绝向其发送。",
     "let UDP port {port} and TCP port {ippPort} to {address} out.",
     "放行发往 {address} 的 UDP 端口 {port} 和 TCP 端口 {ippPort}。"},
    {Cause::NotOneHost,
     "the address is not that of one host: it names a network or a group, or a route forbids it.",
     "该地址不属于单个主机：它是网络或组的地址，或被路由禁止。",
     "take the address that the printer prints on its configuration page.", "使用打印机配置页上印出的地址。"},
    {Cause::NoSocket, "the system gives no socket: nothing could be asked.", "系统无法提供套接字：无法询问。",
     "close programs that have many files open, and try again.", "关闭打开大量文件的程序后重试。"},
    {Cause::Version1Alone, "it speaks SNMP version 1 only, and is asked in version 2c.",
     "它只支持 SNMP 版本 1，而询问使用的是版本 2c。",
     "in {file}: \"version\": \"auto\", or \"1\", for {address}.",
     "在 {file} 中为 {address} 写入 \"version\": \"auto\" 或 \"1\"。"},
    {Cause::Version2cAlone, "it answers SNMP version 2c only, and is asked in version 1.",
     "它只应答 SNMP 版本 2c，而询问使用的是版本 1。",
     "in {file}: \"version\": \"auto\", or \"2c\", for {address}.",
     "在 {file} 中为 {address} 写入 \"version\": \"auto\" 或 \"2c\"。"},
    {Cause::CommunityWorks, "it answers to the community, and is asked in version 3.",
     "它应答团体名，而询问使用的是版本 3。",
     "in {file}: \"version\": \"auto\" for {address}; or give it a user.",
     "在 {file} 中为 {address} 写入 \"version\": \"auto\"；或在打印机上建立用户。"},
    {Cause::NotPrinter, "it answers SNMP, but shows nothing that a printer has.",
     "它应答 SNMP，但没有打印机的任何信息。",
     "is this the printer's address? If it is, this community or user may not see the Printer MIB: take "
     "another.",
     "这是打印机的地址吗？如果是，该团体名或用户无权查看 Printer MIB：请换一个。"},
    {Cause::NoSnmp, "the host is there; port {port} for SNMP is closed.",
     "主机存在，但 SNMP 端口 {port} 已关闭。",
     "switch SNMP on in the printer's web page, or name its port (--port, \"port\" in {file}).",
     "在打印机网页中启用 SNMP，或指定其端口（--port，{file} 中的 \"port\"）。"},
    {Cause::WrongCommunity,
     "SNMP is there, as version 3 answers: the community is wrong, or versions 1 and 2c are switched off.",
     "SNMP 已启用（版本 3 有应答）：团体名错误，或版本 1 和 2c 已关闭。",
     "ask who set the printer up for the community (--community), or for a user of version 3 (--user).",
     "向设置打印机的人询问团体名（--community）或版本 3 的用户（--user）。"},
    {Cause::SilenceOfNobody,
     "silence, of which there are two causes: nobody hears us (switched off, another address, a firewall, "
     "SNMP "
     "off), or the community is wrong.",
     "没有任何应答，有两种可能：对方收不到（关机、地址不对、防火墙、SNMP 未启用），或团体名错误。",
     "is it switched on, and is this its address? Then look into its web page for SNMP, and try --community.",
     "它是否开机，地址是否正确？然后在其网页中检查 SNMP，并尝试 --community。"},
    {Cause::SilenceOfHost,
     "the host is there, but SNMP is silent, of which there are two causes: it is switched off (or a "
     "firewall "
     "stands between), or the community is wrong.",
     "主机存在，但 SNMP 没有应答，有两种可能：SNMP 未启用（或有防火墙），或团体名错误。",
     "switch SNMP on in the printer's web page, and read the community there; try it with --community.",
     "在打印机网页中启用 SNMP 并查看团体名，用 --community 尝试。"},
    {Cause::NoAnswerOfSnmp, "something else than SNMP answers at port {port}.",
     "端口 {port} 上应答的不是 SNMP。", "name the port of SNMP (--port, \"port\" in {file}).",
     "指定 SNMP 的端口（--port，{file} 中的 \"port\"）。"},
    {Cause::UserUnknown, "the printer does not know the user {user}.", "打印机不认识用户 {user}。",
     "make the user in the printer's web page, or name another (--user, \"user\" in {file}).",
     "在打印机网页中建立该用户，或指定其他用户（--user，{file} 中的 \"user\"）。"},
    {Cause::UserPassword, "wrong authentication password, or protocol, of the user {user}.",
     "用户 {user} 的认证密码或协议错误。",
     "compare \"auth\" and \"authPassword\" in {file} with the printer's.",
     "将 {file} 中的 \"auth\" 和 \"authPassword\" 与打印机上的比较。"},
    {Cause::UserPrivacy,
     "the printer names its engine, but does not answer the user {user}: wrong privacy password or protocol.",
     "打印机有版本 3 的应答，但不应答用户 {user}：加密密码或协议错误。",
     "compare \"priv\" and \"privPassword\" in {file} with the printer's.",
     "将 {file} 中的 \"priv\" 和 \"privPassword\" 与打印机上的比较。"},
    {Cause::UserLevel, "the user {user} may not ask at this level of security.",
     "用户 {user} 不能以此安全级别询问。",
     "with \"priv\": \"AES\" in {file} messages are encrypted, with \"none\" they are not.",
     "{file} 中 \"priv\": \"AES\" 表示加密，\"none\" 表示不加密。"},
    {Cause::UserReport, "the printer refuses the user {user} for a reason of its own.",
     "打印机以其他原因拒绝用户 {user}。", "look at the user in the printer's web page.",
     "在打印机网页中检查该用户。"},
    {Cause::UserMissing, "version 3 is to be spoken, but there is no user that can be used.",
     "要使用版本 3，但没有可用的用户。",
     "name one in {file}, whose mode is to be 0600; `tarn-status --check-config` says what is wrong.",
     "在 {file} 中写入用户，文件权限须为 0600；`tarn-status --check-config` 会指出错误。"},
    {Cause::NoNetSnmp, "version 3 is to be spoken, and its library is missing.",
     "要使用版本 3，但缺少所需的库。", "install libsnmp40.", "安装 libsnmp40。"},
    {Cause::IppWantsTls, "IPP is answered encrypted only, and is asked in plain.",
     "IPP 只以加密方式应答，而询问未加密。", "in {file}: \"ipp\": \"auto\", or \"ipps\", for {address}.",
     "在 {file} 中为 {address} 写入 \"ipp\": \"auto\" 或 \"ipps\"。"},
    {Cause::IppWantsPlain, "IPP is answered in plain only, and is asked encrypted.",
     "IPP 只以非加密方式应答，而询问已加密。", "in {file}: \"ipp\": \"auto\", or \"ipp\", for {address}.",
     "在 {file} 中为 {address} 写入 \"ipp\": \"auto\" 或 \"ipp\"。"},
    {Cause::IppIsNoIpp, "port {ippPort} takes the connection, but does not speak IPP as a printer does.",
     "端口 {ippPort} 接受连接，但不像打印机那样使用 IPP。",
     "switch IPP on in the printer's web page; another port is \"ippPort\", another path \"ippPath\" in "
     "{file}.",
     "在打印机网页中启用 IPP；其他端口或路径可在 {file} 的 \"ippPort\"、\"ippPath\" 中指定。"},
    {Cause::IppSwitchedOff, "IPP is switched off in {file}.", "{file} 中关闭了 IPP。",
     "\"ipp\": \"auto\" for {address} lets it be asked when SNMP is silent.",
     "为 {address} 写入 \"ipp\": \"auto\"，SNMP 没有应答时将使用它。"},
    {Cause::NoIppLibrary, "IPP cannot be asked, its libraries are missing.", "无法使用 IPP：缺少所需的库。",
     "install libcups2 and libcurl3-gnutls.", "安装 libcups2 和 libcurl3-gnutls。"},
    {Cause::UsbRights, "a USB printer is attached, which you have no right to ask.",
     "已连接 USB 打印机，但您没有询问它的权限。",
     "as root: `adduser NAME {group}` (the group {group} has it), then log in anew.",
     "以 root 运行 `adduser 用户名 {group}`（组 {group} 有此权限），然后重新登录。"},
};

} // namespace

const CauseText& causeText(Cause cause)
{
    return *std::find_if(std::begin(kTexts), std::end(kTexts),
                         [cause](const CauseText& text) { return text.cause == cause; });
}

} // namespace tarnstatus
