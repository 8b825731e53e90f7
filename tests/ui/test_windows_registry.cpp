#include <QLabel>
#include <QListWidget>
#include <QtTest>

#include "printer/printer_manager.h"
#include "tests/support/tarn_control.h"
#include "tests/ui/naive_printer_list.h"
#include "tests/ui/panel_support.h"
#include "ui/main_window/main_window.h"

using morvik::kel::PrinterManager;

namespace {

constexpr int kPatienceMs = 20000; // the first poll comes 2 s after a printer was met

PrinterContext printer(const char* name, const char* stateMessage, int state = 3)
{
    PrinterContext context;
    context.printerName = name;
    context.ip = "127.0.0.9";
    context.state = state;
    context.stateMessage = stateMessage;
    return context;
}

} // namespace

// The windows over the registry itself: from the access library through a polling thread to the rows and
// labels.
class TestWindowsRegistry : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void cleanupTestCase();
    void init();

    void statusTravelsFromThePollToTheRow();
    void rowsFollowTheLibrarysList();
    void hiddenWindowKeepsFollowing();

private:
    QListWidgetItem* row(int index) { return child<QListWidget>(*m_window, "listPrinter")->item(index); }
    QStringList rows()
    {
        QStringList found;
        for (int i = 0; i < child<QListWidget>(*m_window, "listPrinter")->count(); ++i) {
            found << row(i)->text();
        }
        return found;
    }

    std::unique_ptr<MainWindow> m_window;
};

void TestWindowsRegistry::initTestCase()
{
    QApplication::setQuitOnLastWindowClosed(false);
    qRegisterMetaType<PrinterContext>("PrinterContext");
    m_window = std::make_unique<MainWindow>();
    PrinterManager::instance().setCallback(
        std::bind(&MainWindow::updatePrinterStatus, m_window.get(), std::placeholders::_1));
    m_window->show();
}

void TestWindowsRegistry::cleanupTestCase()
{
    PrinterManager::instance().stopPolling();
    m_window.reset();
}

void TestWindowsRegistry::init()
{
    // One pulse leaves every second row of a run that has gone.
    kel_test::setScriptedPrinters({});
    while (!rows().isEmpty()) {
        emit m_window->sigUpdatePrinters();
    }
}

void TestWindowsRegistry::statusTravelsFromThePollToTheRow()
{
    kel_test::setScriptedPrinters({printer("travels", "就绪")});
    emit m_window->sigUpdatePrinters();
    QCOMPARE(rows(), QStringList({"travels"}));
    QCOMPARE(iconOf(row(0)), IconKind::Grey);

    QTRY_COMPARE_WITH_TIMEOUT(iconOf(row(0)), IconKind::Green, kPatienceMs);
    QTRY_COMPARE_WITH_TIMEOUT(child<QLabel>(*m_window, "lbPrinterState")->text(), QStringLiteral("[3]就绪"),
                              kPatienceMs);
    kel_test::setScriptedStatus(printer("travels", "", 1));
    QTRY_COMPARE_WITH_TIMEOUT(iconOf(row(0)), IconKind::Grey, kPatienceMs);
    QTRY_COMPARE_WITH_TIMEOUT(child<QLabel>(*m_window, "lbPrinterState")->text(), QStringLiteral("[1]"),
                              kPatienceMs);
}

void TestWindowsRegistry::rowsFollowTheLibrarysList()
{
    kel_test::setScriptedPrinters({printer("keep", "x"), printer("go 1", "x"), printer("go 2", "x")});
    emit m_window->sigUpdatePrinters();
    QCOMPARE(rows(), QStringList({"keep", "go 1", "go 2"}));
    kel_test::setScriptedPrinters({printer("keep", "x"), printer("new", "x")});
    emit m_window->sigUpdatePrinters();
    QCOMPARE(rows(), QStringList({"keep", "go 2", "new"}));
    emit m_window->sigUpdatePrinters();
    QCOMPARE(rows(), QStringList({"keep", "new"}));
}

void TestWindowsRegistry::hiddenWindowKeepsFollowing()
{
    m_window->close();
    QVERIFY(m_window->isHidden());
    kel_test::setScriptedPrinters({printer("unseen", "就绪", 4)});
    emit m_window->sigUpdatePrinters();
    QTRY_COMPARE_WITH_TIMEOUT(iconOf(row(0)), IconKind::Green, kPatienceMs);
    QTRY_COMPARE_WITH_TIMEOUT(child<QLabel>(*m_window, "lbPrinterState")->text(), QStringLiteral("[4]就绪"),
                              kPatienceMs);
}

QTEST_MAIN(TestWindowsRegistry)
#include "test_windows_registry.moc"
