#include <QDBusConnection>
#include <QDebug>
#include <QFont>
#include <QFontDatabase>
#include <QGuiApplication>
#include <QIcon>
#include <QMetaType>
#include <QTimer>
#include <QTranslator>

#include <functional>
#include <optional>

#include "app/gl_choice.h"
#include "app/instance_lock.h"
#include "app/kel_application.h"
#include "printer/printer_manager.h"
#include "ui/main_window/main_window.h"

using morvik::kel::PrinterManager;

namespace {

constexpr const char* kLockPath = "/tmp/kel.lock";
constexpr int kRefreshPeriodMs = 2000;
constexpr int kFontPointSize = 11;

void installTranslation(QTranslator& translator, const QString& file)
{
    if (translator.load(file, QStringLiteral(":/"))) {
        QCoreApplication::installTranslator(&translator);
    }
}

void useFont(const QString& path)
{
    const int id = QFontDatabase::addApplicationFont(path);
    if (id == -1) {
        return;
    }
    const QStringList families = QFontDatabase::applicationFontFamilies(id);
    if (families.isEmpty()) {
        return;
    }
    QFont font(families.first(), kFontPointSize);
    font.setWeight(QFont::Normal);
    QApplication::setFont(font);
}

// The first to ask Qt for the desktop's session bus, menu bar and tray icon, would do so in the window's
// constructor. Where there is none the connection starts one, and a bus daemon hands its environment on to
// all that it starts: it must not find NoGlStack's variable there. Only where the windows are X windows:
// elsewhere Qt may never ask for the bus.
void connectToSessionBus()
{
    if (QGuiApplication::platformName() == QLatin1String("xcb")) {
        QDBusConnection::sessionBus(); // Qt keeps the connection
    }
}

} // namespace

int main(int argc, char** argv)
{
    InstanceLock lock(kLockPath);
    if (!lock.tryLock()) {
        qDebug() << "kel.lock cannot be locked.";
        return -1;
    }
    KelApplication application(argc, argv);
    QGuiApplication::setDesktopFileName(QStringLiteral("org.morvik.Kel"));
    QApplication::setQuitOnLastWindowClosed(false); // the program lives on in the tray
    qRegisterMetaType<PrinterContext>("PrinterContext");

    QTranslator qtTexts;
    installTranslation(qtTexts, QStringLiteral(":/qt_zh_CN.qm"));
    QTranslator widgetTexts;
    installTranslation(widgetTexts, QStringLiteral(":/widgets.qm"));
    QApplication::setWindowIcon(QIcon(QStringLiteral(":/res/start.png")));
    useFont(QCoreApplication::applicationDirPath() + QStringLiteral("/wqy-zenhei.ttf"));

    connectToSessionBus();
    std::optional<NoGlStack> noGl(std::in_place);
    MainWindow window;
    window.winId(); // a native window, where there is no tray icon the first: the choice is made
    noGl.reset();
    PrinterManager& registry = PrinterManager::instance();
    registry.setCallback(std::bind(&MainWindow::updatePrinterStatus, &window, std::placeholders::_1));
    registry.start();
    window.show();
    QTimer timer;
    QObject::connect(&timer, &QTimer::timeout, &window, &MainWindow::sigUpdatePrinters);
    timer.start(kRefreshPeriodMs);

    const int result = QApplication::exec();
    timer.stop();
    lock.unlock();
    // The workers still run, and their callback leads to this window: nobody is on the way to it from here
    // on.
    registry.stopPolling();
    return result;
}
