#include "tests/ui/main_window_support.h"

#include <QtTest>

class TestMainWindow : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void methodsComeInIndexOrder();
    void formHasItsNameSizeAndParts();
    void childrenComeInCreationOrder();
    void titleIsTheDisplayName();
    void maximiseButtonIsAbsent();
    void menuBarReadsFileThenAbout();
    void trayMenuSharesTheThreeActions();
    void thereIsNoSettingsAction();
    void trayIconHasIconTipAndMenu();
    void splitterIsConfigured();
    void splitterReplacesTheCentralWidget();
    void listIsLeftAndMonitorRight();
    void stretchFactorsHaveNoEffect();
    void handleIsOneGreyPixel();
    void noPaneCollapses();
    void keepsItsSizeInTheProgramsFont();
};

void TestMainWindow::initTestCase()
{
    Q_INIT_RESOURCE(kel);
    QApplication::setQuitOnLastWindowClosed(false);
    qRegisterMetaType<PrinterContext>("PrinterContext");
}

void TestMainWindow::init()
{
    fakeRegistry().reset();
}

void TestMainWindow::methodsComeInIndexOrder()
{
    QCOMPARE(
        ownMethods(MainWindow::staticMetaObject),
        QStringList({"signal sigUpdatePrinterStatus(PrinterContext)", "signal sigUpdatePrinters()",
                     "slot updatePrinterStatus(PrinterContext)", "slot showAboutDialog(bool)",
                     "slot showAboutDialog()", "slot showSettingDialog(bool)", "slot showSettingDialog()"}));
}

void TestMainWindow::formHasItsNameSizeAndParts()
{
    const MainWindow window;
    QCOMPARE(window.objectName(), QStringLiteral("MainWindow"));
    QCOMPARE(window.size(), QSize(1103, 606));
    QCOMPARE(window.parent(), nullptr);
    QCOMPARE(window.menuWidget(), child<QMenuBar>(window, "menuBar"));
    QCOMPARE(child<QMenuBar>(window, "menuBar")->geometry(), QRect(0, 0, 1102, 22));
    QVERIFY(child<QStatusBar>(window, "statusBar") != nullptr);
}

void TestMainWindow::childrenComeInCreationOrder()
{
    const MainWindow window;
    QStringList kinds;
    for (const QObject* object : window.children()) {
        if (object->objectName().startsWith(QLatin1String("qt_")) || object->inherits("QLayout") ||
            object->inherits("QRubberBand")) {
            continue;
        }
        kinds << QString::fromLatin1(object->metaObject()->className()) + ' ' + object->objectName();
    }
    QCOMPARE(kinds,
             QStringList({"QWidget centralWidget", "QMenuBar menuBar", "QStatusBar statusBar", "QAction ",
                          "QAction ", "QAction ", "QMenu ", "QMenu ", "QSystemTrayIcon ", "QSplitter "}));
    QStringList actions;
    for (const QAction* action : window.findChildren<QAction*>(QString(), Qt::FindDirectChildrenOnly)) {
        actions << action->text();
    }
    QCOMPARE(actions, QStringList({"显示主界面", "关于", "退出"}));
}

void TestMainWindow::titleIsTheDisplayName()
{
    QCOMPARE(MainWindow().windowTitle(), QStringLiteral("Kel 打印机管理工具"));
}

void TestMainWindow::maximiseButtonIsAbsent()
{
    const auto buttons = [](const QWidget& widget) {
        return widget.windowFlags() & (Qt::WindowMaximizeButtonHint | Qt::WindowMinimizeButtonHint |
                                       Qt::WindowCloseButtonHint | Qt::WindowSystemMenuHint);
    };
    MainWindow window;
    const QMainWindow plain;
    QCOMPARE(buttons(window), buttons(plain) & ~Qt::WindowMaximizeButtonHint);
    window.show();
    QVERIFY(!window.windowFlags().testFlag(Qt::WindowMaximizeButtonHint));
    QVERIFY(window.windowFlags().testFlag(Qt::WindowMinimizeButtonHint));
    QVERIFY(window.windowFlags().testFlag(Qt::WindowCloseButtonHint));
}

void TestMainWindow::menuBarReadsFileThenAbout()
{
    const MainWindow window;
    const QList<QAction*> entries = child<QMenuBar>(window, "menuBar")->actions();
    QCOMPARE(texts(entries), QStringList({"文件", "关于"}));
    QVERIFY(entries[0]->menu() != nullptr);
    QCOMPARE(entries[0]->menu()->parent(), &window);
    QCOMPARE(texts(entries[0]->menu()->actions()), QStringList({"退出"}));
    QCOMPARE(entries[1]->menu(), nullptr);
}

void TestMainWindow::trayMenuSharesTheThreeActions()
{
    const MainWindow window;
    const QList<QAction*> tray = trayMenu(window)->actions();
    QCOMPARE(texts(tray), QStringList({"显示主界面", "关于", "退出"}));
    const QList<QAction*> bar = child<QMenuBar>(window, "menuBar")->actions();
    QCOMPARE(bar[1], tray[1]);
    QCOMPARE(bar[0]->menu()->actions()[0], tray[2]);
    for (const QAction* action : tray) {
        QCOMPARE(action->parent(), &window);
    }
    QCOMPARE(trayMenu(window)->parent(), &window);
}

void TestMainWindow::thereIsNoSettingsAction()
{
    const MainWindow window;
    for (const QAction* action : window.findChildren<QAction*>()) {
        QVERIFY(!action->text().contains(QStringLiteral("设置")));
    }
}

void TestMainWindow::trayIconHasIconTipAndMenu()
{
    const MainWindow window;
    const auto icons = window.findChildren<QSystemTrayIcon*>();
    QCOMPARE(icons.size(), 1);
    QCOMPARE(icons[0]->parent(), &window);
    QCOMPARE(icons[0]->toolTip(), QStringLiteral("Kel 打印机管理工具"));
    QVERIFY(icons[0]->isVisible());
    const QIcon expected(QStringLiteral(":/res/start.png"));
    QVERIFY(!image(expected).isNull());
    QCOMPARE(image(icons[0]->icon()), image(expected));
}

void TestMainWindow::splitterIsConfigured()
{
    const MainWindow window;
    auto* splitter = window.findChild<QSplitter*>();
    QCOMPARE(splitter->orientation(), Qt::Horizontal);
    QCOMPARE(splitter->frameShadow(), QFrame::Raised);
    QVERIFY(!splitter->childrenCollapsible());
    QVERIFY(splitter->opaqueResize());
    QCOMPARE(splitter->handleWidth(), 1);
    QCOMPARE(splitter->styleSheet(), QStringLiteral("QSplitter::handle{background-color:  gray}"));
    QCOMPARE(splitter->windowTitle(), QStringLiteral("分割窗口"));
    QVERIFY(!splitter->isHidden());
}

void TestMainWindow::splitterReplacesTheCentralWidget()
{
    const MainWindow window;
    QCOMPARE(window.centralWidget(), window.findChild<QSplitter*>());
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QCOMPARE(window.findChild<QWidget*>(QStringLiteral("centralWidget")), nullptr);
}

void TestMainWindow::listIsLeftAndMonitorRight()
{
    MainWindow window;
    window.show();
    auto* splitter = window.findChild<QSplitter*>();
    QCOMPARE(splitter->count(), 2);
    QVERIFY(qobject_cast<PrinterListPage*>(splitter->widget(0)) != nullptr);
    QVERIFY(qobject_cast<MonitorPage*>(splitter->widget(1)) != nullptr);
    QVERIFY(splitter->widget(0)->geometry().right() < splitter->widget(1)->geometry().left());
}

void TestMainWindow::stretchFactorsHaveNoEffect()
{
    const MainWindow window;
    const auto* splitter = window.findChild<QSplitter*>();
    for (int pane = 0; pane < 2; ++pane) {
        QCOMPARE(splitter->widget(pane)->sizePolicy().horizontalStretch(), 0);
        QCOMPARE(splitter->widget(pane)->sizePolicy().verticalStretch(), 0);
    }
}

void TestMainWindow::handleIsOneGreyPixel()
{
    MainWindow window;
    window.show();
    auto* splitter = window.findChild<QSplitter*>();
    const QRect handle = splitter->handle(1)->geometry();
    const int gap = splitter->widget(1)->geometry().left() - splitter->widget(0)->geometry().right() - 1;
    QCOMPARE(gap, 1);
    const QImage shot = splitter->grab().toImage();
    const int x = splitter->widget(0)->geometry().right() + 1;
    QCOMPARE(shot.pixelColor(x, handle.center().y()), QColor(Qt::GlobalColor::darkGray));
}

void TestMainWindow::noPaneCollapses()
{
    MainWindow window;
    window.show();
    auto* splitter = window.findChild<QSplitter*>();
    const QList<QList<int>> attempts = {{0, 1100}, {1100, 0}};
    for (const QList<int>& sizes : attempts) {
        splitter->setSizes(sizes);
        QVERIFY(splitter->widget(0)->width() > 0);
        QVERIFY(splitter->widget(1)->width() > 0);
        QVERIFY(splitter->sizes()[0] > 0 && splitter->sizes()[1] > 0);
    }
}

void TestMainWindow::keepsItsSizeInTheProgramsFont()
{
    const int id = QFontDatabase::addApplicationFont(QStringLiteral(KEL_TEST_FONT));
    const QStringList families = QFontDatabase::applicationFontFamilies(id);
    QVERIFY(!families.isEmpty());
    const QFont before = QApplication::font();
    QApplication::setFont(QFont(families.first(), 11));
    {
        // All five toner bars are visible until the first printer is shown: the most that the window has to
        // hold.
        MainWindow window;
        window.show();
        QCoreApplication::processEvents();
        QCOMPARE(window.size(), QSize(1103, 606));
    }
    QApplication::setFont(before);
}

QTEST_MAIN(TestMainWindow)
#include "test_main_window.moc"
