// kel-notice says on the desktop that the program runs already, and where: who has it, as which process, and
// how its window comes back. Where nobody shows notifications it says so on standard error.

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QFileInfo>
#include <QVariantMap>

#include <cstdio>

#include <fcntl.h>
#include <unistd.h>

#include "app/launcher/whereabouts.h"

namespace {

constexpr const char* kLockPath = "/tmp/kel.lock";

// The process that holds the instance lock; 0 when there is none any more, or none that can be seen from
// here.
pid_t holder()
{
    // Anybody may have put a pipe or a terminal there.
    const int file = open(kLockPath, O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
    if (file < 0) {
        return 0;
    }
    struct flock lock = {};
    lock.l_type = F_WRLCK;
    lock.l_whence = SEEK_SET;
    const bool isHeld = fcntl(file, F_GETLK, &lock) == 0 && lock.l_type != F_UNLCK;
    close(file);
    return isHeld && lock.l_pid > 0 ? lock.l_pid : 0;
}

// The name of a process's user; empty when it is ours, or gone.
QString otherUser(pid_t process)
{
    const QFileInfo owner(QStringLiteral("/proc/%1").arg(process));
    if (!owner.exists() || owner.ownerId() == getuid()) {
        return QString();
    }
    return owner.owner().isEmpty() ? QString::number(owner.ownerId()) : owner.owner();
}

bool notify(const QString& title, const QString& text)
{
    const QString service = QStringLiteral("org.freedesktop.Notifications");
    const QString id = QStringLiteral("org.morvik.Kel");
    QDBusMessage call = QDBusMessage::createMethodCall(
        service, QStringLiteral("/org/freedesktop/Notifications"), service, QStringLiteral("Notify"));
    call << QStringLiteral("Kel") << 0u << id << title << text.toHtmlEscaped() << QStringList()
         << QVariantMap{{QStringLiteral("desktop-entry"), id}} << -1;
    return QDBusConnection::sessionBus().call(call).type() == QDBusMessage::ReplyMessage;
}

} // namespace

int main(int argc, char** argv)
{
    const QCoreApplication application(argc, argv);
    const QString title = QStringLiteral("Kel 已在运行");
    const pid_t process = holder();
    const QString text = whereabouts(process, otherUser(process));
    if (notify(title, text)) {
        return 0;
    }
    std::fprintf(stderr, "%s\n%s\n", qUtf8Printable(title), qUtf8Printable(text));
    return 1;
}
