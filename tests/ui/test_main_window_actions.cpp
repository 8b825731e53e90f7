#include "tests/ui/main_window_support.h"

#include <QtTest>

namespace {

// The result of an event loop in which the action is triggered; 1 when that does not end it.
int exitCodeOfLoopWith(QAction* action)
{
    QTimer::singleShot(0, action, &QAction::trigger);
    QTimer guard;
    guard.setSingleShot(true);
    QObject::connect(&guard, &QTimer::timeout, [] { QCoreApplication::exit(1); });
    guard.start(5000);
    return QCoreApplication::exec();
}

} // namespace

class TestMainWindowActions : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void clickingTheTrayIconDoesNothing();
    void centresOnTheFirstScreen_data();
    void centresOnTheFirstScreen();
    void noScreenMeansNoMove();
    void showActionShowsTheHiddenWindowCentred();
    void showActionLeavesAVisibleWindow();
    void aboutShowsTheThreeTexts_data();
    void aboutShowsTheThreeTexts();
    void aboutIsModelessAndReused();
    void quitEndsTheEventLoop_data();
    void quitEndsTheEventLoop();
    void settingsTextOpensTheSettings();
    void otherTextsDoNothing();
    void everyTestReadsTheTextAfresh();
    void eachTriggerIsHandledOnce();
    void settingsOpenOnTheirDefaults();
};

void TestMainWindowActions::initTestCase()
{
    Q_INIT_RESOURCE(kel);
    QApplication::setQuitOnLastWindowClosed(false);
    qRegisterMetaType<PrinterContext>("PrinterContext");
}

void TestMainWindowActions::init()
{
    fakeRegistry().reset();
}

void TestMainWindowActions::clickingTheTrayIconDoesNothing()
{
    MainWindow window;
    auto* icon = window.findChild<QSystemTrayIcon*>();
    for (const auto reason : {QSystemTrayIcon::Trigger, QSystemTrayIcon::DoubleClick,
                              QSystemTrayIcon::MiddleClick, QSystemTrayIcon::Context}) {
        emit icon->activated(reason);
        QVERIFY(window.isHidden());
        QVERIFY(theOnly<AboutDialog>()->isHidden());
    }
}

void TestMainWindowActions::centresOnTheFirstScreen_data()
{
    QTest::addColumn<QList<QRect>>("screens");
    QTest::addColumn<QSize>("window");
    QTest::addColumn<QPoint>("position");
    const QSize usual(1103, 606);
    QTest::newRow("full HD") << QList<QRect>{{0, 0, 1920, 1080}} << usual << QPoint(408, 237);
    QTest::newRow("origin is not added")
        << QList<QRect>{{1280, 200, 1920, 1080}} << usual << QPoint(408, 237);
    QTest::newRow("second screen does not count")
        << QList<QRect>{{0, 0, 1920, 1080}, {1920, 0, 3840, 2160}} << usual << QPoint(408, 237);
    QTest::newRow("truncates towards zero") << QList<QRect>{{0, 0, 800, 601}} << usual << QPoint(-151, -2);
    QTest::newRow("same size") << QList<QRect>{{0, 0, 1103, 606}} << usual << QPoint(0, 0);
}

void TestMainWindowActions::centresOnTheFirstScreen()
{
    QFETCH(QList<QRect>, screens);
    QFETCH(QSize, window);
    QFETCH(QPoint, position);
    const auto found = MainWindow::centredPosition(screens, window);
    QVERIFY(found.has_value());
    QCOMPARE(*found, position);
}

void TestMainWindowActions::noScreenMeansNoMove()
{
    QVERIFY(!MainWindow::centredPosition({}, QSize(1103, 606)).has_value());
}

void TestMainWindowActions::showActionShowsTheHiddenWindowCentred()
{
    MainWindow window;
    window.show();
    window.move(17, 23);
    window.close();
    trayAction(window, QStringLiteral("显示主界面"))->trigger();
    QVERIFY(window.isVisible());
    const QRect screen = QGuiApplication::screens().first()->geometry();
    QCOMPARE(window.pos(),
             QPoint((screen.width() - window.width()) / 2, (screen.height() - window.height()) / 2));
}

void TestMainWindowActions::showActionLeavesAVisibleWindow()
{
    MainWindow window;
    window.show();
    window.move(17, 23);
    trayAction(window, QStringLiteral("显示主界面"))->trigger();
    QVERIFY(window.isVisible());
    QCOMPARE(window.pos(), QPoint(17, 23));
}

void TestMainWindowActions::aboutShowsTheThreeTexts_data()
{
    QTest::addColumn<bool>("fromMenuBar");
    QTest::newRow("tray menu") << false;
    QTest::newRow("menu bar") << true;
}

void TestMainWindowActions::aboutShowsTheThreeTexts()
{
    QFETCH(bool, fromMenuBar);
    const MainWindow window;
    const auto* about = theOnly<AboutDialog>();
    QVERIFY(about->isHidden());
    const QList<QAction*> actions =
        fromMenuBar ? child<QMenuBar>(window, "menuBar")->actions() : trayMenu(window)->actions();
    actionNamed(actions, QStringLiteral("关于"))->trigger();
    QVERIFY(about->isVisible());
    QCOMPARE(child<QLabel>(*about, "labelName")->text(), QStringLiteral("Kel 打印机管理工具"));
    QCOMPARE(child<QLabel>(*about, "labelVersion")->text(), QStringLiteral("版本号：2.0.0-1+0"));
    QCOMPARE(child<QLabel>(*about, "labelCompany")->text(), QStringLiteral("版权所有 © 2026 Kel 项目"));
}

void TestMainWindowActions::aboutIsModelessAndReused()
{
    MainWindow window;
    auto* about = theOnly<AboutDialog>();
    window.showAboutDialog();
    QVERIFY(!about->isModal());
    about->setTexts(QStringLiteral("old"), QStringLiteral("old"), QStringLiteral("old"));
    about->close();
    QVERIFY(about->isHidden());
    window.showAboutDialog(true);
    QCOMPARE(theOnly<AboutDialog>(), about);
    QVERIFY(about->isVisible());
    QCOMPARE(child<QLabel>(*about, "labelVersion")->text(), QStringLiteral("版本号：2.0.0-1+0"));
}

void TestMainWindowActions::quitEndsTheEventLoop_data()
{
    QTest::addColumn<bool>("fromMenuBar");
    QTest::newRow("tray menu") << false;
    QTest::newRow("file menu") << true;
}

void TestMainWindowActions::quitEndsTheEventLoop()
{
    QFETCH(bool, fromMenuBar);
    const MainWindow window;
    const QMenu* menu =
        fromMenuBar ? child<QMenuBar>(window, "menuBar")->actions()[0]->menu() : trayMenu(window);
    QCOMPARE(exitCodeOfLoopWith(actionNamed(menu->actions(), QStringLiteral("退出"))), 0);
}

void TestMainWindowActions::settingsTextOpensTheSettings()
{
    const MainWindow window;
    QAction* action = trayMenu(window)->addAction(QStringLiteral("设置"));
    QVERIFY(theOnly<SettingPage>()->isHidden());
    action->trigger();
    QVERIFY(theOnly<SettingPage>()->isVisible());
    QVERIFY(theOnly<AboutDialog>()->isHidden());
}

void TestMainWindowActions::otherTextsDoNothing()
{
    const MainWindow window;
    trayMenu(window)->addAction(QStringLiteral("关于 "))->trigger();
    trayMenu(window)->addAction(QStringLiteral("&关于"))->trigger();
    QVERIFY(window.isHidden());
    QVERIFY(theOnly<AboutDialog>()->isHidden());
    QVERIFY(theOnly<SettingPage>()->isHidden());
}

namespace {

// Renames an action as soon as the watched window is shown.
class RenameOnShow : public QObject
{
public:
    RenameOnShow(QAction* action, QString text) : m_action(action), m_text(std::move(text)) {}
    bool eventFilter(QObject* watched, QEvent* event) override
    {
        if (event->type() == QEvent::Show) {
            m_action->setText(m_text);
        }
        return QObject::eventFilter(watched, event);
    }

private:
    QAction* m_action;
    QString m_text;
};

} // namespace

void TestMainWindowActions::everyTestReadsTheTextAfresh()
{
    MainWindow window;
    QAction* action = trayAction(window, QStringLiteral("显示主界面"));
    RenameOnShow toSettings(action, QStringLiteral("设置"));
    RenameOnShow toAbout(action, QStringLiteral("关于"));
    RenameOnShow toQuit(action, QStringLiteral("退出"));
    window.installEventFilter(&toSettings);
    theOnly<SettingPage>()->installEventFilter(&toAbout);
    theOnly<AboutDialog>()->installEventFilter(&toQuit);
    QCOMPARE(exitCodeOfLoopWith(action), 0);
    QVERIFY(window.isVisible());
    QVERIFY(theOnly<SettingPage>()->isVisible());
    QVERIFY(theOnly<AboutDialog>()->isVisible());
}

void TestMainWindowActions::eachTriggerIsHandledOnce()
{
    const MainWindow window;
    QSignalSpy triggered(trayMenu(window), &QMenu::triggered);
    trayAction(window, QStringLiteral("关于"))->trigger();
    QCOMPARE(triggered.count(), 1);
    child<QMenuBar>(window, "menuBar")->actions()[1]->trigger();
    QCOMPARE(triggered.count(), 2);
}

void TestMainWindowActions::settingsOpenOnTheirDefaults()
{
    MainWindow window;
    auto* settings = theOnly<SettingPage>();
    window.showSettingDialog();
    QVERIFY(settings->isVisible());
    QVERIFY(!settings->isModal());
    child<QAbstractButton>(*settings, "rbtnFiveMinutes")->click();
    child<QAbstractButton>(*settings, "pbtnSet")->click();
    QVERIFY(settings->isHidden());
    window.showSettingDialog(true);
    QCOMPARE(theOnly<SettingPage>(), settings);
    QVERIFY(settings->isVisible());
    QVERIFY(child<QAbstractButton>(*settings, "rbtnOneMinute")->isChecked());
}

QTEST_MAIN(TestMainWindowActions)
#include "test_main_window_actions.moc"
