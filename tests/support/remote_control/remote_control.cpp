#include "tests/support/remote_control/remote_control.h"

#include <QAbstractButton>
#include <QAction>
#include <QApplication>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPlainTextEdit>
#include <QProgressBar>
#include <QTimer>

#include <cstring>
#include <functional>
#include <map>

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace {

QByteArray error(const char* what)
{
    return QByteArray("error: ") + what;
}

QByteArray toJson(const QJsonValue& value)
{
    const QByteArray wrapped = QJsonDocument(QJsonArray{value}).toJson(QJsonDocument::Compact);
    return wrapped.mid(1, wrapped.size() - 2);
}

// Widgets of one name in visible windows come first: several editors may be open.
template <typename Kind>
Kind* findNamed(const QString& name)
{
    Kind* hidden = nullptr;
    const QWidgetList all = QApplication::allWidgets();
    for (QWidget* widget : all) {
        auto* found = qobject_cast<Kind*>(widget);
        if (found == nullptr || found->objectName() != name) {
            continue;
        }
        if (found->window()->isVisible()) {
            return found;
        }
        hidden = found;
    }
    return hidden;
}

QByteArray textOf(const QString& name)
{
    const auto* widget = findNamed<QWidget>(name);
    if (widget == nullptr) {
        return error("no such widget");
    }
    if (const auto* label = qobject_cast<const QLabel*>(widget)) {
        return toJson(label->text());
    }
    if (const auto* view = qobject_cast<const QPlainTextEdit*>(widget)) {
        return toJson(view->toPlainText());
    }
    if (const auto* bar = qobject_cast<const QProgressBar*>(widget)) {
        return toJson(bar->text());
    }
    if (const auto* edit = qobject_cast<const QLineEdit*>(widget)) {
        return toJson(edit->text());
    }
    return error("no text in that widget");
}

QByteArray typeInto(const QString& argument)
{
    const QString target = argument.section(QLatin1Char(' '), 0, 0);
    const QString text = argument.section(QLatin1Char(' '), 1);
    auto* edit = findNamed<QLineEdit>(target.section(QLatin1Char('/'), 0, 0));
    if (edit != nullptr && target.contains(QLatin1Char('/'))) {
        const auto octets = edit->findChildren<QLineEdit*>();
        edit = octets.value(target.section(QLatin1Char('/'), 1).toInt());
    }
    if (edit == nullptr) {
        return error("no such line edit");
    }
    edit->setText(text);
    return "true";
}

QByteArray trigger(const QString& text)
{
    for (QWidget* window : QApplication::topLevelWidgets()) {
        for (QAction* action : window->findChildren<QAction*>()) {
            if (action->text() == text) {
                // Answered first: the action may block or end the program.
                QTimer::singleShot(0, action, &QAction::trigger);
                return "true";
            }
        }
    }
    return error("no such action");
}

QByteArray click(const QString& name)
{
    auto* button = findNamed<QAbstractButton>(name);
    if (button == nullptr) {
        return error("no such button");
    }
    QTimer::singleShot(0, button, &QAbstractButton::click);
    return "true";
}

QString averageColor(const QIcon& icon)
{
    const QImage pixel =
        icon.pixmap(16, 16).toImage().scaled(1, 1, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
    return pixel.isNull() ? QString() : QColor(pixel.pixel(0, 0)).name();
}

QByteArray rowsOf(const QString& name)
{
    const auto* list = findNamed<QListWidget>(name);
    if (list == nullptr) {
        return error("no such list");
    }
    QJsonArray rows;
    for (int row = 0; row < list->count(); ++row) {
        const QListWidgetItem* item = list->item(row);
        rows.append(QJsonObject{{"text", item->text()},
                                {"icon", averageColor(item->icon())},
                                {"current", row == list->currentRow()}});
    }
    return toJson(rows);
}

QByteArray countOf(const QString& name)
{
    const auto* list = findNamed<QListWidget>(name);
    return list == nullptr ? error("no such list") : toJson(list->count());
}

QByteArray selectRow(const QString& argument)
{
    auto* list = findNamed<QListWidget>(argument.section(QLatin1Char(' '), 0, 0));
    if (list == nullptr) {
        return error("no such list");
    }
    list->setCurrentRow(argument.section(QLatin1Char(' '), 1).toInt());
    return "true";
}

QByteArray shown(const QString& name)
{
    const auto* widget = findNamed<QWidget>(name);
    return widget == nullptr ? error("no such widget") : QByteArray(widget->isVisible() ? "true" : "false");
}

QByteArray visibleWindows(const QString& /*argument*/)
{
    QJsonArray names;
    for (const QWidget* window : QApplication::topLevelWidgets()) {
        if (window->isVisible()) {
            names.append(QString::fromLatin1(window->metaObject()->className()));
        }
    }
    return toJson(names);
}

QWidget* findVisibleWindow(const QString& className)
{
    for (QWidget* window : QApplication::topLevelWidgets()) {
        if (window->isVisible() && className == QLatin1String(window->metaObject()->className())) {
            return window;
        }
    }
    return nullptr;
}

QByteArray closeWindow(const QString& className)
{
    QWidget* window = findVisibleWindow(className);
    if (window == nullptr) {
        return error("no such window");
    }
    QTimer::singleShot(0, window, &QWidget::close);
    return "true";
}

QByteArray drawWindow(const QString& argument)
{
    QWidget* window = findVisibleWindow(argument.section(QLatin1Char(' '), 0, 0));
    if (window == nullptr) {
        return error("no such window");
    }
    return window->grab().save(argument.section(QLatin1Char(' '), 1), "PNG") ? "true"
                                                                             : error("cannot be saved");
}

// For what no action leads to.
QByteArray callSlot(const QString& argument)
{
    const QString className = argument.section(QLatin1Char(' '), 0, 0);
    const QByteArray slot = argument.section(QLatin1Char(' '), 1).toLatin1();
    for (QWidget* window : QApplication::topLevelWidgets()) {
        if (className == QLatin1String(window->metaObject()->className())) {
            return QMetaObject::invokeMethod(window, slot.constData(), Qt::QueuedConnection)
                       ? QByteArray("true")
                       : error("no such slot");
        }
    }
    return error("no such window");
}

QByteArray applicationFont(const QString& /*argument*/)
{
    const QFont font = QApplication::font();
    return toJson(QJsonObject{{"family", font.family()},
                              {"pointSize", font.pointSize()},
                              {"weight", font.weight()},
                              {"italic", font.italic()}});
}

QByteArray hasIcon(const QString& path)
{
    const auto imageOf = [](const QIcon& icon, QSize size) {
        return icon.pixmap(size).toImage().convertToFormat(QImage::Format_ARGB32_Premultiplied);
    };
    const QSize size = QImage(path).size();
    const QImage shown = imageOf(QApplication::windowIcon(), size);
    return !shown.isNull() && shown == imageOf(QIcon(path), size) ? "true" : "false";
}

QByteArray translated(const QString& argument)
{
    const QByteArray context = argument.section(QLatin1Char(' '), 0, 0).toUtf8();
    return toJson(QCoreApplication::translate(context, argument.section(QLatin1Char(' '), 1).toUtf8()));
}

QByteArray latencyReport(const std::vector<long>& sortedUs)
{
    if (sortedUs.empty()) {
        return error("nothing measured");
    }
    const auto quantile = [&sortedUs](double part) {
        return static_cast<double>(
            sortedUs[static_cast<std::size_t>(part * static_cast<double>(sortedUs.size() - 1))]);
    };
    return toJson(QJsonObject{{"count", static_cast<double>(sortedUs.size())},
                              {"p50", quantile(0.5)},
                              {"p99", quantile(0.99)},
                              {"max", quantile(1.0)}});
}

} // namespace

RemoteControl::RemoteControl(const QByteArray& socketPath, QObject* parent)
    : QObject(parent), m_socketPath(socketPath)
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (static_cast<std::size_t>(socketPath.size()) >= sizeof address.sun_path) {
        qFatal("KEL_REMOTE_SOCKET: the path is too long");
    }
    std::memcpy(address.sun_path, socketPath.constData(), static_cast<std::size_t>(socketPath.size()));
    unlink(socketPath.constData());
    m_listenFd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (m_listenFd < 0 ||
        bind(m_listenFd, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
        listen(m_listenFd, 4) != 0) {
        qFatal("KEL_REMOTE_SOCKET: cannot listen on %s", socketPath.constData());
    }
    m_listenNotifier = std::make_unique<QSocketNotifier>(m_listenFd, QSocketNotifier::Read);
    connect(m_listenNotifier.get(), &QSocketNotifier::activated, this, [this] { acceptClient(); });
}

RemoteControl::~RemoteControl()
{
    dropClient();
    m_listenNotifier.reset();
    close(m_listenFd);
    unlink(m_socketPath.constData());
}

void RemoteControl::acceptClient()
{
    dropClient();
    m_clientFd = accept4(m_listenFd, nullptr, nullptr, SOCK_CLOEXEC);
    if (m_clientFd < 0) {
        return;
    }
    m_clientNotifier = std::make_unique<QSocketNotifier>(m_clientFd, QSocketNotifier::Read);
    connect(m_clientNotifier.get(), &QSocketNotifier::activated, this, [this] { readClient(); });
}

void RemoteControl::dropClient()
{
    if (m_clientFd < 0) {
        return;
    }
    m_clientNotifier->setEnabled(false);
    m_clientNotifier.release()->deleteLater();
    close(m_clientFd);
    m_clientFd = -1;
    m_pending.clear();
}

void RemoteControl::readClient()
{
    char buffer[4096];
    const ssize_t got = read(m_clientFd, buffer, sizeof buffer);
    if (got <= 0) {
        dropClient();
        return;
    }
    m_pending.append(buffer, static_cast<int>(got));
    int end = 0;
    while (m_clientFd >= 0 && (end = m_pending.indexOf('\n')) >= 0) {
        const QString line = QString::fromUtf8(m_pending.left(end));
        m_pending.remove(0, end + 1);
        answer(execute(line.section(QLatin1Char(' '), 0, 0), line.section(QLatin1Char(' '), 1)));
    }
}

void RemoteControl::answer(const QByteArray& line)
{
    const QByteArray whole = line + '\n';
    for (int sent = 0; sent < whole.size();) {
        const ssize_t wrote = send(m_clientFd, whole.constData() + sent,
                                   static_cast<std::size_t>(whole.size() - sent), MSG_NOSIGNAL);
        if (wrote <= 0) {
            dropClient();
            return;
        }
        sent += static_cast<int>(wrote);
    }
}

QByteArray RemoteControl::execute(const QString& command, const QString& argument)
{
    static const std::map<QString, std::function<QByteArray(const QString&)>> commands{
        {"trigger", trigger},   {"click", click},          {"text", textOf},
        {"type", typeInto},     {"shown", shown},          {"rows", rowsOf},
        {"count", countOf},     {"select", selectRow},     {"windows", visibleWindows},
        {"close", closeWindow}, {"call", callSlot},        {"font", applicationFont},
        {"icon", hasIcon},      {"translate", translated}, {"draw", drawWindow},
    };
    if (command == QLatin1String("ping")) {
        return "\"pong\"";
    }
    if (command == QLatin1String("latency-start")) {
        m_probe.start();
        return "true";
    }
    if (command == QLatin1String("latency-finish")) {
        return latencyReport(m_probe.finish());
    }
    const auto found = commands.find(command);
    return found == commands.end() ? error("no such command") : found->second(argument);
}

QObject* RemoteControlPlugin::create(const QString& /*name*/, const QString& /*argument*/)
{
    const QByteArray path = qgetenv("KEL_REMOTE_SOCKET");
    return path.isEmpty() ? nullptr : new RemoteControl(path);
}
