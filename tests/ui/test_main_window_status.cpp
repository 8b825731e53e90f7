#include "tests/ui/main_window_support.h"

#include <QtTest>

class TestMainWindowStatus : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void statusReachesListPageBeforeMonitorPage();
    void statusCallOnlyEmits();
    void statusFromAnotherThreadIsQueued();
    void selectionReachesTheMonitorPage();
    void pulseRefreshesTheList();
    void closingHidesAndStatusStillArrives();
    void destructionTakesEverythingAlong();
};

void TestMainWindowStatus::initTestCase()
{
    Q_INIT_RESOURCE(kel);
    QApplication::setQuitOnLastWindowClosed(false);
    qRegisterMetaType<PrinterContext>("PrinterContext");
}

void TestMainWindowStatus::init()
{
    fakeRegistry().reset();
}

void TestMainWindowStatus::statusReachesListPageBeforeMonitorPage()
{
    MainWindow window;
    fakeRegistry().printers = {printer("A", "", 2)};
    emit window.sigUpdatePrinters();
    auto* list = child<QListWidget>(window, "listPrinter");
    auto* shown = child<QLabel>(window, "lbPrinterState");
    QCOMPARE(shown->text(), QStringLiteral("离线"));
    QStringList whenIconChanged;
    connect(list->model(), &QAbstractItemModel::dataChanged, this, [&] { whenIconChanged << shown->text(); });
    window.updatePrinterStatus(printer("A", "就绪", 3));
    QCOMPARE(whenIconChanged, QStringList({"离线"}));
    QCOMPARE(shown->text(), QStringLiteral("[3]就绪"));
}

void TestMainWindowStatus::statusCallOnlyEmits()
{
    MainWindow window;
    std::vector<PrinterContext> received;
    connect(&window, &MainWindow::sigUpdatePrinterStatus, this,
            [&received](const PrinterContext& context) { received.push_back(context); });
    PrinterContext context = printer("A", "msg", 4);
    context.kToner = 40;
    window.updatePrinterStatus(context);
    QCOMPARE(received.size(), std::size_t(1));
    QCOMPARE(received[0].printerName, std::string("A"));
    QCOMPARE(received[0].stateMessage, std::string("msg"));
    QCOMPARE(received[0].state, 4);
    QCOMPARE(received[0].kToner, 40);
    QCOMPARE(fakeRegistry().starts, 0);
    QVERIFY(fakeRegistry().asked.empty());
}

void TestMainWindowStatus::statusFromAnotherThreadIsQueued()
{
    MainWindow window;
    fakeRegistry().printers = {printer("A", "", 2)};
    emit window.sigUpdatePrinters();
    auto* row = child<QListWidget>(window, "listPrinter")->item(0);
    auto* shown = child<QLabel>(window, "lbPrinterState");
    const QImage before = image(row->icon());

    std::thread worker([&window] { window.updatePrinterStatus(printer("A", "就绪", 3)); });
    worker.join();
    QCOMPARE(image(row->icon()), before);
    QCOMPARE(shown->text(), QStringLiteral("离线"));
    QCoreApplication::processEvents();
    QVERIFY(image(row->icon()) != before);
    QCOMPARE(shown->text(), QStringLiteral("[3]就绪"));
}

void TestMainWindowStatus::selectionReachesTheMonitorPage()
{
    MainWindow window;
    PrinterContext second = printer("B", "x");
    second.model = "M2";
    fakeRegistry().printers = {printer("A", "x"), second};
    emit window.sigUpdatePrinters();
    QCOMPARE(fakeRegistry().asked, std::vector<std::string>({"A"}));
    child<QListWidget>(window, "listPrinter")->setCurrentRow(1);
    QCOMPARE(fakeRegistry().asked, std::vector<std::string>({"A", "B"}));
    QCOMPARE(child<QLabel>(window, "lbPrinterModel")->text(), QStringLiteral("M2"));
}

void TestMainWindowStatus::pulseRefreshesTheList()
{
    MainWindow window;
    QCOMPARE(fakeRegistry().starts, 0);
    fakeRegistry().printers = {printer("A")};
    emit window.sigUpdatePrinters();
    QCOMPARE(fakeRegistry().starts, 1);
    QCOMPARE(child<QListWidget>(window, "listPrinter")->count(), 1);
}

void TestMainWindowStatus::closingHidesAndStatusStillArrives()
{
    MainWindow window;
    const QSignalSpy destroyed(&window, &QObject::destroyed);
    const QSignalSpy quitting(qApp, &QCoreApplication::aboutToQuit);
    fakeRegistry().printers = {printer("A", "", 2)};
    emit window.sigUpdatePrinters();
    window.show();
    window.close();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QCoreApplication::processEvents();
    QVERIFY(window.isHidden());
    QCOMPARE(destroyed.count(), 0);
    QCOMPARE(quitting.count(), 0);
    QVERIFY(window.findChild<QSystemTrayIcon*>()->isVisible());

    std::thread worker([&window] { window.updatePrinterStatus(printer("A", "就绪", 3)); });
    worker.join();
    QTRY_COMPARE(child<QLabel>(window, "lbPrinterState")->text(), QStringLiteral("[3]就绪"));
    fakeRegistry().printers.push_back(printer("B"));
    emit window.sigUpdatePrinters();
    QCOMPARE(child<QListWidget>(window, "listPrinter")->count(), 2);
}

void TestMainWindowStatus::destructionTakesEverythingAlong()
{
    auto window = std::make_unique<MainWindow>();
    const QList<QPointer<QObject>> all = {theOnly<AboutDialog>(),
                                          theOnly<SettingPage>(),
                                          window->findChild<PrinterListPage*>(),
                                          window->findChild<MonitorPage*>(),
                                          window->findChild<QSystemTrayIcon*>(),
                                          trayMenu(*window)};
    QStringList order;
    connect(all[0], &QObject::destroyed, this, [&order] { order << QStringLiteral("about"); });
    connect(all[1], &QObject::destroyed, this, [&order] { order << QStringLiteral("settings"); });
    connect(all[2], &QObject::destroyed, this, [&order] { order << QStringLiteral("list"); });
    window.reset();
    for (const auto& object : all) {
        QVERIFY(object.isNull());
    }
    QCOMPARE(order, QStringList({"settings", "about", "list"}));
}

QTEST_MAIN(TestMainWindowStatus)
#include "test_main_window_status.moc"
