#include "tests/ui/printer_list_support.h"

#include <QtTest>

class TestPrinterListPageStatus : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void iconFollowsTheStateMessageAlone_data();
    void iconFollowsTheStateMessageAlone();
    void statusOfAnotherNameChangesNothing();
    void everyRowOfTheNameIsUpdated();
    void renamedRowIsFoundUnderItsNewName();
    void unchangedIconIsNotSetAgain();
    void selectionReportsTheRoleNotTheText();
    void noSelectionReportsNothing();
    void exceptionEndsTheRefreshAndIsLogged();
    void anErrorThatLastsIsLoggedOnce();
    void otherExceptionsLeaveTheSlotAndFreeTheMutex();
    void refreshWithinARefreshIsSkipped();
    void theMutexIsSharedByAllPages();
    void editButtonOpensIndependentEditors();
    void editorDeletesItselfOnClose();
};

void TestPrinterListPageStatus::initTestCase()
{
    Q_INIT_RESOURCE(kel);
}

void TestPrinterListPageStatus::init()
{
    fakeRegistry().reset();
}

void TestPrinterListPageStatus::iconFollowsTheStateMessageAlone_data()
{
    QTest::addColumn<QByteArray>("message");
    QTest::addColumn<int>("state");
    QTest::addColumn<int>("kind");
    QTest::newRow("ready") << QByteArray("就绪") << 3 << int(IconKind::Green);
    QTest::newRow("offline with a message") << QByteArray("x") << 2 << int(IconKind::Green);
    QTest::newRow("one blank") << QByteArray(" ") << 0 << int(IconKind::Green);
    QTest::newRow("no message") << QByteArray("") << 3 << int(IconKind::Grey);
    QTest::newRow("offline") << QByteArray("") << 2 << int(IconKind::Grey);
}

void TestPrinterListPageStatus::iconFollowsTheStateMessageAlone()
{
    QFETCH(QByteArray, message);
    QFETCH(int, state);
    QFETCH(int, kind);
    // Once when the row is made, once from either colour by a status.
    PrinterListPage fresh(nullptr);
    fakeRegistry().printers = {printer("A", message, state)};
    fresh.refreshPrinterList();
    QCOMPARE(int(iconOf(listOf(fresh)->item(0))), kind);
    for (const char* before : {"", "x"}) {
        PrinterListPage page(nullptr);
        fakeRegistry().printers = {printer("A", before)};
        page.refreshPrinterList();
        page.updatePrinterStatus(printer("A", message, state));
        QCOMPARE(int(iconOf(listOf(page)->item(0))), kind);
    }
}

void TestPrinterListPageStatus::statusOfAnotherNameChangesNothing()
{
    PrinterListPage page(nullptr);
    fakeRegistry().printers = {printer("A", "")};
    page.refreshPrinterList();
    for (const char* name : {"a", "A ", "AA", "", "B"}) {
        page.updatePrinterStatus(printer(name, "x"));
        QCOMPARE(iconOf(listOf(page)->item(0)), IconKind::Grey);
    }
    QCOMPARE(listOf(page)->count(), 1);
}

void TestPrinterListPageStatus::everyRowOfTheNameIsUpdated()
{
    PrinterListPage page(nullptr);
    fakeRegistry().printers = {printer("A", ""), printer("B", "")};
    page.refreshPrinterList();
    listOf(page)->addItem(QStringLiteral("A"));
    listOf(page)->insertItem(0, QStringLiteral("A"));
    page.updatePrinterStatus(printer("A", "x"));
    QCOMPARE(iconOf(listOf(page)->item(0)), IconKind::Green);
    QCOMPARE(iconOf(listOf(page)->item(1)), IconKind::Green);
    QCOMPARE(iconOf(listOf(page)->item(2)), IconKind::Grey);
    QCOMPARE(iconOf(listOf(page)->item(3)), IconKind::Green);
}

void TestPrinterListPageStatus::renamedRowIsFoundUnderItsNewName()
{
    PrinterListPage page(nullptr);
    fakeRegistry().printers = {printer("A", "")};
    page.refreshPrinterList();
    page.updatePrinterStatus(printer("A", ""));
    listOf(page)->item(0)->setText(QStringLiteral("Z"));
    page.updatePrinterStatus(printer("A", "x"));
    QCOMPARE(iconOf(listOf(page)->item(0)), IconKind::Grey);
    page.updatePrinterStatus(printer("Z", "x"));
    QCOMPARE(iconOf(listOf(page)->item(0)), IconKind::Green);
}

void TestPrinterListPageStatus::unchangedIconIsNotSetAgain()
{
    PrinterListPage page(nullptr);
    fakeRegistry().printers = {printer("A", "x")};
    page.refreshPrinterList();
    const QSignalSpy changes(listOf(page)->model(), &QAbstractItemModel::dataChanged);
    page.updatePrinterStatus(printer("A", "y"));
    QCOMPARE(changes.count(), 0);
    page.updatePrinterStatus(printer("A", ""));
    QCOMPARE(changes.count(), 1);
    page.updatePrinterStatus(printer("A", ""));
    QCOMPARE(changes.count(), 1);
    page.updatePrinterStatus(printer("A", "y"));
    QCOMPARE(changes.count(), 2);
}

void TestPrinterListPageStatus::selectionReportsTheRoleNotTheText()
{
    PrinterListPage page(nullptr);
    fakeRegistry().printers = {printer("A"), printer("B")};
    page.refreshPrinterList();
    listOf(page)->item(1)->setText(QStringLiteral("shown"));
    const QSignalSpy selected(&page, &PrinterListPage::currentItemChanged);
    listOf(page)->setCurrentRow(1);
    QCOMPARE(selected.count(), 1);
    QCOMPARE(selected[0][0].toString(), QStringLiteral("B"));
}

void TestPrinterListPageStatus::noSelectionReportsNothing()
{
    PrinterListPage page(nullptr);
    fakeRegistry().printers = {printer("A")};
    page.refreshPrinterList();
    const QSignalSpy selected(&page, &PrinterListPage::currentItemChanged);
    listOf(page)->setCurrentRow(-1);
    QCOMPARE(selected.count(), 0);
    page.refreshPrinterList();
    QCOMPARE(listOf(page)->currentRow(), 0);
    QCOMPARE(selected.count(), 1);
}

void TestPrinterListPageStatus::exceptionEndsTheRefreshAndIsLogged()
{
    PrinterListPage page(nullptr);
    fakeRegistry().printers = {printer("A"), printer("B")};
    page.refreshPrinterList();
    listOf(page)->setCurrentRow(-1);
    fakeRegistry().printersFail = true;
    {
        const MessageLog log;
        page.refreshPrinterList();
        QCOMPARE(log.lines(QtDebugMsg), QStringList({"tarner error: 1"}));
    }
    QCOMPARE(rows(page), QStringList({"A", "B"}));
    QCOMPARE(listOf(page)->currentRow(), -1);

    fakeRegistry().printersFail = false;
    fakeRegistry().printers = {printer("A")};
    page.refreshPrinterList();
    QCOMPARE(rows(page), QStringList({"A"}));
}

void TestPrinterListPageStatus::anErrorThatLastsIsLoggedOnce()
{
    PrinterListPage page(nullptr);
    const MessageLog log;
    fakeRegistry().printersFail = true;
    for (int round = 0; round < 3; ++round) {
        page.refreshPrinterList();
    }
    QCOMPARE(log.lines(QtDebugMsg), QStringList({"tarner error: 1"}));
    // The same one once it was over, and another one.
    fakeRegistry().printersFail = false;
    page.refreshPrinterList();
    fakeRegistry().printersFail = true;
    page.refreshPrinterList();
    QCOMPARE(log.lines(QtDebugMsg), QStringList({"tarner error: 1", "tarner error: 1"}));
    fakeRegistry().onStart = [] { throw morvik::kel::PrinterNotFound; };
    page.refreshPrinterList();
    page.refreshPrinterList();
    QCOMPARE(log.lines(QtDebugMsg), QStringList({"tarner error: 1", "tarner error: 1", "tarner error: 2"}));
}

void TestPrinterListPageStatus::otherExceptionsLeaveTheSlotAndFreeTheMutex()
{
    PrinterListPage page(nullptr);
    fakeRegistry().onStart = [] { throw std::runtime_error("disk full"); };
    QVERIFY_EXCEPTION_THROWN(page.refreshPrinterList(), std::runtime_error);
    fakeRegistry().onStart = nullptr;
    fakeRegistry().printers = {printer("A")};
    page.refreshPrinterList();
    QCOMPARE(rows(page), QStringList({"A"}));
}

void TestPrinterListPageStatus::refreshWithinARefreshIsSkipped()
{
    PrinterListPage page(nullptr);
    fakeRegistry().printers = {printer("A")};
    int reports = 0;
    connect(&page, &PrinterListPage::currentItemChanged, this, [&] {
        ++reports;
        page.refreshPrinterList();
    });
    fakeRegistry().onStart = [&page] { page.refreshPrinterList(); };
    page.refreshPrinterList();
    QCOMPARE(reports, 1);
    QCOMPARE(fakeRegistry().starts, 1);
    fakeRegistry().onStart = nullptr;
    page.refreshPrinterList();
    QCOMPARE(fakeRegistry().starts, 2);
}

void TestPrinterListPageStatus::theMutexIsSharedByAllPages()
{
    PrinterListPage one(nullptr);
    PrinterListPage other(nullptr);
    fakeRegistry().printers = {printer("A")};
    fakeRegistry().onStart = [&other] { other.refreshPrinterList(); };
    one.refreshPrinterList();
    QCOMPARE(fakeRegistry().starts, 1);
    QCOMPARE(listOf(other)->count(), 0);
}

void TestPrinterListPageStatus::editButtonOpensIndependentEditors()
{
    PrinterListPage page(nullptr);
    page.show();
    QVERIFY(editors().isEmpty());
    child<QPushButton>(page, "pbtnEditPrinterList")->click();
    child<QPushButton>(page, "pbtnEditPrinterList")->click();
    const QList<AddPrinterPage*> open = editors();
    QCOMPARE(open.size(), 2);
    for (const AddPrinterPage* editor : open) {
        QVERIFY(editor->isVisible());
        QCOMPARE(editor->parent(), nullptr);
        QVERIFY(editor->testAttribute(Qt::WA_DeleteOnClose));
    }
    open[0]->close();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QCOMPARE(editors(), QList<AddPrinterPage*>({open[1]}));
    QVERIFY(open[1]->isVisible());
    open[1]->close();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

void TestPrinterListPageStatus::editorDeletesItselfOnClose()
{
    PrinterListPage page(nullptr);
    child<QPushButton>(page, "pbtnEditPrinterList")->click();
    const QPointer<AddPrinterPage> editor = editors().value(0);
    QVERIFY(!editor.isNull());
    editor->close();
    QTRY_VERIFY(editor.isNull());
    // A page that goes while its editor is open leaves the editor to itself.
    auto* shortLived = new PrinterListPage(nullptr);
    child<QPushButton>(*shortLived, "pbtnEditPrinterList")->click();
    delete shortLived;
    QCOMPARE(editors().size(), 1);
    editors().constFirst()->close();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

QTEST_MAIN(TestPrinterListPageStatus)
#include "test_printer_list_page_status.moc"
