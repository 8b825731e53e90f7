#include "app/launcher/whereabouts.h"

QString whereabouts(pid_t process, const QString& otherUser)
{
    if (!otherUser.isEmpty()) {
        return QStringLiteral("用户 %1 正在使用 Kel（进程 %2）。一台计算机上同时只能运行一个。")
            .arg(otherUser, QString::number(process));
    }
    const QString tray = QStringLiteral("如果看不到窗口，请在系统托盘的 Kel 图标菜单中选择“显示主界面”。");
    return process == 0
               ? tray
               : tray +
                     QStringLiteral("桌面没有系统托盘时，用命令 kill %1 结束它，然后重新启动。").arg(process);
}
