#include <QDebug>
#include <QFile>
#include <QFont>
#include <QFontDatabase>
#include <QMetaType>
#include <QTimer>
#include <QTranslator>

#include <functional>
#include <optional>

#include "app/fonts_ahead.h"
#include "app/gl_choice.h"
#include "app/instance_lock.h"
#include "app/kel_application.h"
#include "app/session_bus_ahead.h"
#include "app/settle.h"
#include "printer/printer_manager.h"
#include "ui/main_window/main_window.h"
#include "ui/png_icon/png_icon.h"

using morvik::kel::PrinterManager;

namespace {

constexpr const char* lockPath = "/tmp/kel.lock";
constexpr int refreshPeriodMs = 2000;
constexpr int fontPointSize = 11;
// By then the first statuses are shown, and their characters drawn.
constexpr int settledAfterMs = 10000;

void installTranslation(QTranslator& translator, const QString& file)
{
    if (translator.load(file, QStringLiteral(":/")))
        QCoreApplication::installTranslator(&translator);
}

void useFont(const QString& path)
{
    const int id = QFontDatabase::addApplicationFont(path);
    if (id == -1)
        return;
    const QStringList families = QFontDatabase::applicationFontFamilies(id);
    if (families.isEmpty())
        return;
    QFont font(families.first(), fontPointSize);
    font.setWeight(QFont::Normal);
    QApplication::setFont(font);
}

} // namespace

int main(int argc, char** argv)
{
    InstanceLock lock(lockPath);
    if (!lock.tryLock()) {
        qDebug() << "kel.lock cannot be locked.";
        return -1;
    }
    std::optional<NoGlStack> noGl(std::in_place);
    FontsAhead fonts;
    KelApplication application(argc, argv);
    SessionBusAhead bus;
    fonts.fillList();
    QApplication::setQuitOnLastWindowClosed(false); // the program lives on in the tray
    qRegisterMetaType<PrinterContext>("PrinterContext");

    QTranslator qtTexts;
    installTranslation(qtTexts, QStringLiteral(":/qt_zh_CN.qm"));
    QTranslator widgetTexts;
    installTranslation(widgetTexts, QStringLiteral(":/widgets.qm"));
    QApplication::setWindowIcon(pngIcon(QStringLiteral(":/res/start.png")));
    const QString fontPath = QCoreApplication::applicationDirPath() + QStringLiteral("/wqy-zenhei.ttf");
    fonts.wait();
    useFont(fontPath);

    MainWindow window;
    bus.wait();
    window.winId(); // the first native window: from here on the choice is made
    noGl.reset();
    PrinterManager& registry = PrinterManager::instance();
    registry.setCallback(std::bind(&MainWindow::updatePrinterStatus, &window, std::placeholders::_1));
    registry.start();
    window.show();
    QTimer timer;
    QObject::connect(&timer, &QTimer::timeout, &window, &MainWindow::sigUpdatePrinters);
    timer.start(refreshPeriodMs);
    QTimer::singleShot(settledAfterMs, &window,
                       [&fontPath] { settleMemory(QFile::encodeName(fontPath).toStdString()); });

    const int result = QApplication::exec();
    timer.stop();
    lock.unlock();
    // The workers still run, and their callback leads to this window: nobody is on the way to it from here
    // on.
    registry.stopPolling();
    return result;
}
